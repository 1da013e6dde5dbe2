#include "platform/CVRunningApplication.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string_view>

#include "platform/CVBundle.h"
#include "platform/CVReadFile.h"
#include "platform/CVSessionBus.h"

namespace {

constexpr std::string_view kDeletedSuffix = " (deleted)";

// What tells two sessions apart: the bus socket path, else the whole address (no bus at all is a
// session of its own kind too).
std::optional<std::string> sessionKeyOfAddress(const std::optional<std::string>& address) {
    if (!address) {
        return std::nullopt;
    }
    if (auto socketPath = CVSessionBus::socketPathOfAddress(*address)) {
        return socketPath;
    }
    return address;
}

// The session bus a process was started with: its DBUS_SESSION_BUS_ADDRESS, else its
// $XDG_RUNTIME_DIR/bus. An unreadable environment belongs to no session we can share. A process
// caught while the kernel still executes its program shows an empty environment for a moment.
std::optional<std::optional<std::string>> sessionKeyOfProcess(int procFolder,
                                                              const std::string& processName) {
    auto environment = CVReadWholeFileAt(procFolder, processName + "/environ");
    if (!environment) {
        return std::nullopt;
    }
    std::optional<std::string> busAddress;
    std::optional<std::string> runtimeDirectory;
    std::string_view rest(*environment);
    while (!rest.empty()) {
        size_t end = rest.find('\0');
        std::string_view entry = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        if (entry.starts_with("DBUS_SESSION_BUS_ADDRESS=")) {
            busAddress = std::string(entry.substr(entry.find('=') + 1));
        } else if (entry.starts_with("XDG_RUNTIME_DIR=")) {
            runtimeDirectory = std::string(entry.substr(entry.find('=') + 1));
        }
    }
    return sessionKeyOfAddress(CVSessionBus::addressFromEnvironment(busAddress, runtimeDirectory));
}

// One pass over the process table: the tests in the order of their cost, so that the common
// process (not in a bundle) costs one readlink. Only the bundle's main executable (its
// CFBundleExecutable) is the application: the tool, which lives beside it in Contents/MacOS/, and
// other helpers are not.
class Scanner {
public:
    Scanner()
        : procFolder_(open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
          userIdentifier_(getuid()),
          ownSession_(sessionKeyOfAddress(CVSessionBus::address())) {}
    ~Scanner() {
        if (procFolder_ >= 0) {
            close(procFolder_);
        }
    }
    Scanner(const Scanner&) = delete;
    Scanner& operator=(const Scanner&) = delete;

    int procFolder() const { return procFolder_; }

    std::optional<CVRunningApplication> applicationWithProcessName(const char* name) {
        char executable[PATH_MAX];
        std::string processName(name);
        ssize_t length =
            readlinkat(procFolder_, (processName + "/exe").c_str(), executable, sizeof executable);
        if (length <= 0 || static_cast<size_t>(length) >= sizeof executable) {
            return std::nullopt;
        }
        std::string_view executablePath(executable, static_cast<size_t>(length));
        std::string_view livePath = executablePath;
        if (livePath.ends_with(kDeletedSuffix)) {
            livePath.remove_suffix(kDeletedSuffix.size());
        }
        auto bundlePath = CVBundle::bundlePathOfExecutable(livePath);
        if (!bundlePath) {
            return std::nullopt;
        }
        struct stat status {};
        if (fstatat(procFolder_, name, &status, 0) != 0 || status.st_uid != userIdentifier_) {
            return std::nullopt;
        }
        // A bundle folder gone since the process started still makes an application, one without
        // an identifier.
        auto bundle = CVBundle::bundleWithPath(*bundlePath);
        auto executableName =
            bundle ? bundle->objectForInfoDictionaryKey("CFBundleExecutable") : std::nullopt;
        if (executableName && !executablePath.ends_with("/" + *executableName) &&
            !executablePath.ends_with("/" + *executableName + std::string(kDeletedSuffix))) {
            return std::nullopt;
        }
        auto session = sessionKeyOfProcess(procFolder_, processName);
        if (!session || *session != ownSession_) {
            return std::nullopt;
        }
        return CVRunningApplication(static_cast<int32_t>(std::stoi(processName)), *bundlePath,
                                    bundle ? bundle->bundleIdentifier() : std::nullopt);
    }

private:
    int procFolder_;
    uid_t userIdentifier_;
    std::optional<std::string> ownSession_;
};

bool isProcessName(const char* name) {
    if (*name == '\0') {
        return false;
    }
    for (const char* character = name; *character != '\0'; ++character) {
        if (*character < '0' || *character > '9') {
            return false;
        }
    }
    return true;
}

}  // namespace

CVRunningApplication::CVRunningApplication(int32_t processIdentifier,
                                           std::optional<std::string> bundlePath,
                                           std::optional<std::string> bundleIdentifier)
    : processIdentifier_(processIdentifier),
      bundlePath_(std::move(bundlePath)),
      bundleIdentifier_(std::move(bundleIdentifier)) {}

std::vector<CVRunningApplication> CVRunningApplication::runningApplications() {
    std::vector<CVRunningApplication> applications;
    Scanner scanner;
    if (scanner.procFolder() < 0) {
        return applications;
    }
    DIR* folder = fdopendir(dup(scanner.procFolder()));
    if (folder == nullptr) {
        return applications;
    }
    while (dirent* entry = readdir(folder)) {
        if (entry->d_type != DT_DIR || !isProcessName(entry->d_name)) {
            continue;
        }
        if (auto application = scanner.applicationWithProcessName(entry->d_name)) {
            applications.push_back(std::move(*application));
        }
    }
    closedir(folder);
    return applications;
}

std::optional<CVRunningApplication> CVRunningApplication::runningApplicationWithProcessIdentifier(
    int32_t processIdentifier) {
    if (processIdentifier <= 0) {
        return std::nullopt;
    }
    Scanner scanner;
    if (scanner.procFolder() < 0) {
        return std::nullopt;
    }
    return scanner.applicationWithProcessName(std::to_string(processIdentifier).c_str());
}

std::optional<CVRunningApplication> CVRunningApplication::applicationOwningName(
    CVBusNameQuestion& owner) {
    std::optional<pid_t> processIdentifier = owner.ownerProcessIdentifier();
    if (!processIdentifier) {
        return std::nullopt;
    }
    return runningApplicationWithProcessIdentifier(*processIdentifier);
}

bool CVRunningApplication::isFinishedLaunching() const {
    if (!bundleIdentifier_) {
        return false;
    }
    CVBusNameQuestion owner(CVSessionBus::shared(), bundleIdentifier_->c_str(),
                            CVBusNameQuestion::Kind::ownerProcessIdentifier);
    return owner.ownerProcessIdentifier() == processIdentifier_;
}
