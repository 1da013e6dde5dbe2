#include "link/CVApplicationLocator.h"

#include <sys/auxv.h>
#include <unistd.h>

#include <cctype>
#include <climits>
#include <cstdio>
#include <set>

#include "platform/CVBundle.h"
#include "platform/CVCorvaneContract.h"
#include "platform/CVPaths.h"
#include "platform/CVPrint.h"
#include "platform/CVRunningApplication.h"
#include "platform/CVUserDefaults.h"
#include "platform/CVWorkspace.h"

namespace {

constexpr const char* kVersionKey = "CVDiffBundleVersion";
constexpr const char* kLastKnownProcessKey = "LastKnownCVPID";
constexpr const char* kTrashMarker = ".Trash";
constexpr const char* kSystemApplicationPath = "/Applications/Corvane.app";
constexpr const char* kUserApplicationPath = "Applications/Corvane.app";

// How the log shows an absent value.
std::string describe(const std::optional<std::string>& value) {
    return value.value_or("(null)");
}

CVError locatingError(const std::string& text, const std::string& bundlePath) {
    CVError error = CVError::withLocalizedDescription(text);
    error.userInfo[kCorvaneErrorBundlePathKey] = bundlePath;
    return error;
}

std::optional<std::string> readLink(const char* path) {
    char target[PATH_MAX];
    ssize_t length = readlink(path, target, sizeof target);
    if (length <= 0 || static_cast<size_t>(length) >= sizeof target) {
        return std::nullopt;
    }
    return std::string(target, static_cast<size_t>(length));
}

// The tool's executable as it was started (the path given to exec, made absolute) and the same
// with every link resolved.
struct ToolExecutable {
    std::optional<std::string> invokedPath;
    std::optional<std::string> resolvedPath;
};

ToolExecutable toolExecutable() {
    ToolExecutable executable;
    executable.resolvedPath = readLink("/proc/self/exe");
    // getauxval answers every entry as an integer, this one the address of a string.
    const char* startedAs =
        reinterpret_cast<const char*>(getauxval(AT_EXECFN));  // NOLINT(performance-no-int-to-ptr)
    if (startedAs != nullptr && *startedAs != '\0') {
        std::string path = startedAs;
        if (path[0] != '/') {
            char workingFolder[PATH_MAX];
            if (getcwd(workingFolder, sizeof workingFolder) == nullptr) {
                return executable;
            }
            path = CVPaths::appendingPathComponent(workingFolder, path);
        }
        executable.invokedPath = CVPaths::standardizingPath(path);
    }
    return executable;
}

void logRejection(const std::string& location) {
    CVDebugLog(
        [&] { return "Rejected Corvane at " + location + " for not being the required version"; });
}

// Tries one candidate with the launchability test, collecting its error on refusal.
std::optional<std::string> tryCandidate(const std::optional<std::string>& path,
                                        std::vector<CVError>& errors) {
    std::optional<CVError> error;
    auto usable = usableCorvaneAtPath(path, &error);
    if (!usable && error) {
        errors.push_back(std::move(*error));
    }
    return usable;
}

std::optional<std::string> searchWithoutLogging(bool* isRunning,
                                                std::optional<CVRunningApplication>* running,
                                                std::vector<CVError>& errors) {
    using namespace CVCorvaneContract;
    auto& defaults = CVUserDefaults::standardUserDefaults();

    // 1. The copy that ran last time is trusted as it is.
    if (auto lastKnown = defaults.integerForKey(kLastKnownProcessKey)) {
        auto application = CVRunningApplication::runningApplicationWithProcessIdentifier(
            static_cast<int32_t>(*lastKnown));
        if (!application) {
            defaults.removeObjectForKey(kLastKnownProcessKey);
        } else if (application->bundleIdentifier() == kApplicationBundleIdentifier) {
            auto path = application->bundlePath();
            CVDebugLog(
                [&] { return "Found Corvane at " + describe(path) + " using the previous PID"; });
            if (isRunning != nullptr) {
                *isRunning = true;
            }
            if (running != nullptr) {
                *running = std::move(application);
            }
            return path;
        }
    }

    // 2. A running copy must be a build we accept; the trash does not matter once it runs.
    for (const auto& application : CVRunningApplication::runningApplications()) {
        if (application.bundleIdentifier() != kApplicationBundleIdentifier) {
            continue;
        }
        auto path = application.bundlePath();
        CVDebugLog(
            [&] { return "Found Corvane at " + describe(path) + " using runningApplications"; });
        if (!path) {
            continue;
        }
        std::optional<CVError> error;
        if (isRequiredVersionOfCorvaneAtPath(*path, &error)) {
            if (isRunning != nullptr) {
                *isRunning = true;
                defaults.setInteger(application.processIdentifier(), kLastKnownProcessKey);
            }
            if (running != nullptr) {
                *running = application;
            }
            return path;
        }
        if (error) {
            errors.push_back(std::move(*error));
        }
        logRejection(*path);
    }

    // 3. A tool started through a link uses the bundle that hosts its real executable.
    ToolExecutable executable = toolExecutable();
    if (executable.resolvedPath && executable.invokedPath != executable.resolvedPath) {
        if (auto bundle = CVApplicationLocator::hostingBundleOfResolvedToolPath(
                CVPaths::standardizingPath(*executable.resolvedPath))) {
            std::string url = CVPaths::fileURLDescription(*bundle, true);
            CVDebugLog([&] {
                return "Found Corvane at " + url + " resolving cvdiff symlink hosting bundle";
            });
            if (auto path = tryCandidate(bundle, errors)) {
                return path;
            }
            // Two blanks after "at": this line has always been written so.
            CVDebugLog([&] {
                return "Rejected Corvane at  " + url + " for not being the required version";
            });
        }
    }

    // 4. The installed application registered for the identifier.
    auto registered =
        CVWorkspace::URLForApplicationWithBundleIdentifier(kApplicationBundleIdentifier);
    std::string registeredURL =
        registered ? CVPaths::fileURLDescription(*registered, true) : "(null)";
    CVDebugLog([&] {
        return "Found Corvane at " + registeredURL + " using URLForApplicationWithBundleIdentifier";
    });
    if (auto path = tryCandidate(registered, errors)) {
        return path;
    }
    logRejection(registeredURL);

    // 5. and 6. The standard locations.
    if (auto path = tryCandidate(kSystemApplicationPath, errors)) {
        return path;
    }
    logRejection(kSystemApplicationPath);
    std::string userApplicationPath = CVPaths::appendingPathComponent(
        CVPaths::homeDirectory().value_or("/"), kUserApplicationPath);
    if (auto path = tryCandidate(userApplicationPath, errors)) {
        return path;
    }
    logRejection(userApplicationPath);
    return std::nullopt;
}

}  // namespace

bool isRequiredVersionOfCorvaneAtPath(const std::string& path, std::optional<CVError>* error) {
    auto bundle = CVBundle::bundleWithPath(path);
    if (!bundle) {
        return false;
    }
    if (bundle->bundleIdentifier() == CVCorvaneContract::kToolBundleIdentifier) {
        return true;
    }
    auto storedVersion = bundle->objectForInfoDictionaryKey(kVersionKey);
    long applicationBuild = CVApplicationLocator::integerValue(storedVersion);
    long toolBuild = CVApplicationLocator::integerValue(CVCorvaneContract::kToolBuildNumber);
    if (applicationBuild == toolBuild ||
        (CVCorvaneContract::kOldestAcceptedApplicationBuild <= applicationBuild &&
         applicationBuild < toolBuild)) {
        return true;
    }
    CVDebugLog([&] {
        return "Corvane at " + path + " is version: " + std::to_string(applicationBuild) +
               " while cvdiff is version: " + std::to_string(toolBuild);
    });
    if (applicationBuild >= toolBuild) {
        CVSetError(error, locatingError(std::string("This version of cvdiff (version ") +
                                            CVCorvaneContract::kToolBuildNumber +
                                            ") is too old to launch the version of Corvane "
                                            "installed at " +
                                            path + " (version " + describe(storedVersion) + ")",
                                        path));
    } else {
        CVSetError(error, locatingError("The version of Corvane installed at " + path +
                                            " (version " + describe(storedVersion) +
                                            ") is too old to be launched by cvdiff (version " +
                                            CVCorvaneContract::kToolBuildNumber + ")",
                                        path));
    }
    return false;
}

std::optional<std::string> usableCorvaneAtPath(const std::optional<std::string>& path,
                                               std::optional<CVError>* error) {
    if (!path || !isRequiredVersionOfCorvaneAtPath(*path, error)) {
        return std::nullopt;
    }
    if (path->find(kTrashMarker) != std::string::npos) {
        CVSetError(error,
                   locatingError("Corvane cannot be launched because it is in the trash.", *path));
        return std::nullopt;
    }
    return path;
}

std::optional<std::string> locateCorvaneApplication(
    bool* isRunning, std::optional<CVRunningApplication>* runningApplication) {
    std::vector<CVError> errors;
    auto path = searchWithoutLogging(isRunning, runningApplication, errors);
    if (!path) {
        CVPrint(stderr, CVApplicationLocator::reportForErrors(errors));
    }
    CVDebugLog([&] { return "Corvane path to use: " + describe(path); });
    return path;
}

namespace CVApplicationLocator {

long integerValue(const std::optional<std::string>& text) {
    if (!text) {
        return 0;
    }
    size_t index = 0;
    while (index < text->size() && std::isspace(static_cast<unsigned char>((*text)[index])) != 0) {
        ++index;
    }
    bool negative = false;
    if (index < text->size() && ((*text)[index] == '+' || (*text)[index] == '-')) {
        negative = (*text)[index] == '-';
        ++index;
    }
    long value = 0;
    for (; index < text->size() && std::isdigit(static_cast<unsigned char>((*text)[index])) != 0;
         ++index) {
        int digit = (*text)[index] - '0';
        if (value > (LONG_MAX - digit) / 10) {
            return negative ? LONG_MIN : LONG_MAX;
        }
        value = value * 10 + digit;
    }
    return negative ? -value : value;
}

std::optional<std::string> hostingBundleOfResolvedToolPath(const std::string& resolvedPath) {
    static constexpr const char* kTail[] = {"cvdiff", "MacOS", "Contents"};
    std::string candidate = resolvedPath;
    for (const char* expected : kTail) {
        size_t slash = candidate.rfind('/');
        if (slash == std::string::npos ||
            candidate.compare(slash + 1, std::string::npos, expected) != 0) {
            return std::nullopt;
        }
        candidate.erase(slash == 0 ? 1 : slash);
    }
    return candidate;
}

std::string reportForErrors(const std::vector<CVError>& errors) {
    std::vector<std::string> descriptions;
    std::set<std::string> seenPaths;
    for (const auto& error : errors) {
        auto path = error.userInfo.find(kCorvaneErrorBundlePathKey);
        std::string key = path == error.userInfo.end() ? std::string() : path->second;
        if (seenPaths.insert(key).second) {
            descriptions.push_back(error.localizedDescription());
        }
    }
    if (descriptions.empty()) {
        return "Error: Unable to locate Corvane.\n";
    }
    if (descriptions.size() == 1) {
        return "Error locating Corvane: " + descriptions.front() + "\n";
    }
    // The parenthesised list, one quoted element per line, that the platform prints for arrays.
    std::string list = "(\n";
    for (size_t index = 0; index < descriptions.size(); ++index) {
        list += "    \"";
        for (char character : descriptions[index]) {
            if (character == '"' || character == '\\') {
                list += '\\';
            }
            list += character;
        }
        list += index + 1 < descriptions.size() ? "\",\n" : "\"\n";
    }
    list += ")";
    return "Errors locating Corvane: " + list + "\n";
}

}  // namespace CVApplicationLocator
