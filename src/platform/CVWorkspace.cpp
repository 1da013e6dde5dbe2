#include "platform/CVWorkspace.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "platform/CVBundle.h"
#include "platform/CVPaths.h"
#include "platform/CVReadFile.h"
#include "platform/CVSubprocess.h"

namespace CVWorkspace {

namespace {

std::string trimmed(std::string_view text) {
    size_t start = text.find_first_not_of(" \t");
    if (start == std::string_view::npos) {
        return {};
    }
    size_t end = text.find_last_not_of(" \t\r");
    return std::string(text.substr(start, end - start + 1));
}

// The Exec value of the [Desktop Entry] group, with the value escapes (\s \n \t \r \\) undone.
std::optional<std::string> execValueOfDesktopEntry(const std::string& path) {
    std::optional<std::string> contents = CVReadWholeFile(path);
    if (!contents) {
        return std::nullopt;
    }
    bool inDesktopEntry = false;
    std::string_view rest(*contents);
    while (!rest.empty()) {
        size_t lineEnd = rest.find('\n');
        std::string_view line = rest.substr(0, lineEnd);
        rest = lineEnd == std::string_view::npos ? std::string_view() : rest.substr(lineEnd + 1);
        std::string text = trimmed(line);
        if (text.empty() || text[0] == '#') {
            continue;
        }
        if (text[0] == '[') {
            inDesktopEntry = text == "[Desktop Entry]";
            continue;
        }
        size_t equals = text.find('=');
        if (!inDesktopEntry || equals == std::string::npos ||
            trimmed(text.substr(0, equals)) != "Exec") {
            continue;
        }
        std::string raw = trimmed(text.substr(equals + 1));
        std::string value;
        for (size_t index = 0; index < raw.size(); ++index) {
            if (raw[index] != '\\' || index + 1 == raw.size()) {
                value += raw[index];
                continue;
            }
            switch (char escaped = raw[++index]) {
                case 's':
                    value += ' ';
                    break;
                case 'n':
                    value += '\n';
                    break;
                case 't':
                    value += '\t';
                    break;
                case 'r':
                    value += '\r';
                    break;
                case '\\':
                    value += '\\';
                    break;
                default:
                    value += '\\';
                    value += escaped;
                    break;
            }
        }
        return value;
    }
    return std::nullopt;
}

std::optional<std::string> searchPath(const std::string& program) {
    const char* path = getenv("PATH");
    std::string_view folders = path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin";
    while (true) {
        size_t colon = folders.find(':');
        std::string folder(folders.substr(0, colon));
        std::string candidate =
            CVPaths::appendingPathComponent(folder.empty() ? "." : folder, program);
        if (access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
        if (colon == std::string_view::npos) {
            return std::nullopt;
        }
        folders.remove_prefix(colon + 1);
    }
}

// The bundle whose Contents/MacOS/ folder holds this existing program.
std::optional<std::string> bundleHoldingProgram(const std::string& program) {
    struct stat status {};
    if (program.empty() || program[0] != '/' || stat(program.c_str(), &status) != 0 ||
        !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    return CVBundle::bundlePathOfExecutable(program);
}

CVError posixError(int code, const std::string& text) {
    CVError error;
    error.domain = "NSPOSIXErrorDomain";
    error.code = code;
    error.userInfo[NSLocalizedDescriptionKey] = text;
    return error;
}

}  // namespace

std::optional<std::string> programOfExecValue(const std::string& value) {
    std::string program;
    bool quoted = false;
    bool started = false;
    for (size_t index = 0; index < value.size(); ++index) {
        char character = value[index];
        if (!quoted && (character == ' ' || character == '\t')) {
            if (started) {
                break;
            }
            continue;
        }
        started = true;
        if (character == '"') {
            quoted = !quoted;
        } else if (quoted && character == '\\' && index + 1 < value.size()) {
            program += value[++index];
        } else {
            program += character;
        }
    }
    if (program.empty()) {
        return std::nullopt;
    }
    return program;
}

std::optional<std::string> URLForApplicationWithBundleIdentifier(const std::string& identifier) {
    std::vector<std::string> folders{CVPaths::dataHome()};
    for (const auto& folder : CVPaths::dataDirectories()) {
        folders.push_back(folder);
    }
    for (const auto& folder : folders) {
        auto exec = execValueOfDesktopEntry(
            CVPaths::appendingPathComponent(folder, "applications/" + identifier + ".desktop"));
        if (!exec) {
            continue;
        }
        auto program = programOfExecValue(*exec);
        if (!program) {
            return std::nullopt;
        }
        if (program->find('/') == std::string::npos) {
            program = searchPath(*program);
            if (!program) {
                return std::nullopt;
            }
        }
        if (auto bundle = bundleHoldingProgram(CVPaths::standardizingPath(*program))) {
            return bundle;
        }
        char resolved[PATH_MAX];
        if (realpath(program->c_str(), resolved) != nullptr) {
            return bundleHoldingProgram(resolved);
        }
        return std::nullopt;
    }
    return std::nullopt;
}

// Synchronous: the completion runs on the calling thread before this returns, which keeps the
// contract of an asynchronous completion that the caller waits for.
void openApplicationAtURL(const std::string& bundlePath,
                          const std::map<std::string, std::string>& extraEnvironment,
                          const OpenCompletion& completion) {
    auto bundle = CVBundle::bundleWithPath(bundlePath);
    if (!bundle) {
        completion(std::nullopt,
                   posixError(ENOENT, "The application at " + bundlePath +
                                          " could not be opened: " + strerror(ENOENT)));
        return;
    }
    auto executable = bundle->executablePath();
    if (!executable) {
        completion(std::nullopt,
                   posixError(ENOEXEC, "The application at " + bundlePath +
                                           " could not be launched: it names no executable."));
        return;
    }

    std::map<std::string, std::string> overrides = extraEnvironment;
    std::vector<std::string> environmentEntries;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        std::string_view text(*entry);
        auto name = std::string(text.substr(0, text.find('=')));
        if (!overrides.contains(name)) {
            environmentEntries.emplace_back(text);
        }
    }
    for (const auto& [name, value] : overrides) {
        environmentEntries.push_back(name);
        environmentEntries.back().append("=").append(value);
    }
    int failureCode = 0;
    std::optional<pid_t> applicationIdentifier = CVStartDetached(
        {.arguments = {*executable}, .environment = environmentEntries}, &failureCode);
    if (!applicationIdentifier) {
        completion(std::nullopt,
                   posixError(failureCode, "The application at " + bundlePath +
                                               " could not be launched: " + strerror(failureCode)));
        return;
    }
    completion(CVRunningApplication(*applicationIdentifier, bundlePath, bundle->bundleIdentifier()),
               std::nullopt);
}

}  // namespace CVWorkspace
