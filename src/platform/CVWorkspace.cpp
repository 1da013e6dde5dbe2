#include "platform/CVWorkspace.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <vector>

#include "platform/CVBundle.h"
#include "platform/CVPaths.h"

extern char** environ;

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
    std::ifstream file(path);
    if (!file) {
        return std::nullopt;
    }
    bool inDesktopEntry = false;
    std::string line;
    while (std::getline(file, line)) {
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

// What the launching children report through the pipe.
struct LaunchReport {
    enum Kind : int { kStarted, kForkFailed, kExecFailed } kind;
    int value;  // the application's process identifier, or errno
};

void writeReport(int pipe, LaunchReport report) {
    while (write(pipe, &report, sizeof report) < 0 && errno == EINTR) {
    }
}

// Runs in the forked grandchild: only async-signal-safe calls from here on.
[[noreturn]] void becomeApplication(const char* executable, char* const* arguments,
                                    char* const* environment, int reportPipe) {
    setsid();
    // The application must not inherit the tool's signal mask or ignored signals.
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    struct sigaction defaultAction {};
    defaultAction.sa_handler = SIG_DFL;
    for (int signalNumber = 1; signalNumber < NSIG; ++signalNumber) {
        sigaction(signalNumber, &defaultAction, nullptr);
    }
    int null = open("/dev/null", O_RDWR);
    if (null >= 0) {
        dup2(null, STDIN_FILENO);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        if (null > STDERR_FILENO) {
            close(null);
        }
    }
    // The application outlives the tool: it must not hold the tool's descriptors (a caller
    // reading the tool's pipes would wait for it). The report pipe is already close-on-exec.
    close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    // Like any launched application it should not keep the tool's working folder busy.
    if (chdir("/") != 0) {
        writeReport(reportPipe, {LaunchReport::kExecFailed, errno});
        _exit(127);
    }
    execve(executable, arguments, environment);
    writeReport(reportPipe, {LaunchReport::kExecFailed, errno});
    _exit(127);
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

    // Everything the children need is built before forking.
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
        environmentEntries.push_back(name + "=" + value);
    }
    std::vector<char*> environment;
    for (auto& entry : environmentEntries) {
        environment.push_back(entry.data());
    }
    environment.push_back(nullptr);
    std::string executableCopy = *executable;
    char* arguments[] = {executableCopy.data(), nullptr};

    auto failure = [&](int code) {
        completion(std::nullopt, posixError(code, "The application at " + bundlePath +
                                                      " could not be launched: " + strerror(code)));
    };
    int reportPipe[2];
    if (pipe2(reportPipe, O_CLOEXEC) != 0) {
        failure(errno);
        return;
    }
    // Double fork: the intermediate child exits at once and is reaped here, so the application
    // is adopted by init and the tool never has to wait for it.
    pid_t intermediate = fork();
    if (intermediate < 0) {
        int code = errno;
        close(reportPipe[0]);
        close(reportPipe[1]);
        failure(code);
        return;
    }
    if (intermediate == 0) {
        close(reportPipe[0]);
        pid_t application = fork();
        if (application == 0) {
            becomeApplication(executableCopy.c_str(), arguments, environment.data(), reportPipe[1]);
        }
        writeReport(reportPipe[1], application < 0
                                       ? LaunchReport{LaunchReport::kForkFailed, errno}
                                       : LaunchReport{LaunchReport::kStarted, application});
        _exit(0);
    }
    close(reportPipe[1]);
    while (waitpid(intermediate, nullptr, 0) < 0 && errno == EINTR) {
    }
    // The pipe reaches its end once the application has executed (close-on-exec) or failed.
    pid_t applicationIdentifier = -1;
    int failureCode = 0;
    LaunchReport report{};
    ssize_t count;
    while ((count = read(reportPipe[0], &report, sizeof report)) != 0) {
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            failureCode = errno;
            break;
        }
        if (count != sizeof report) {
            break;
        }
        if (report.kind == LaunchReport::kStarted) {
            applicationIdentifier = report.value;
        } else {
            failureCode = report.value;
        }
    }
    close(reportPipe[0]);
    if (failureCode != 0 || applicationIdentifier < 0) {
        failure(failureCode != 0 ? failureCode : ECHILD);
        return;
    }
    completion(CVRunningApplication(applicationIdentifier, bundlePath, bundle->bundleIdentifier()),
               std::nullopt);
}

}  // namespace CVWorkspace
