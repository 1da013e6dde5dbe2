#include "CVTestBed.h"

#include <dirent.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "TemporaryFolder.h"
#include "platform/CVCorvaneContract.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kDesktopEntryName = "com.corvane.Corvane.desktop";

// Variables passed through from the test's own environment: finding programs, and the
// sanitizers' settings.
constexpr const char* kInheritedVariables[] = {"PATH",         "USER",          "LOGNAME",
                                               "ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"};

std::string makeRoot() {
    const char* base = getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/cvdiff-bed-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed for " + pattern);
    }
    return std::filesystem::canonical(pattern).string();
}

void writeTextFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string busConfiguration(const std::string& socketPath) {
    return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig>\n"
           "  <type>session</type>\n"
           "  <listen>unix:path=" +
           socketPath +
           "</listen>\n"
           "  <auth>EXTERNAL</auth>\n"
           "  <policy context=\"default\">\n"
           "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
           "    <allow eavesdrop=\"true\"/>\n"
           "    <allow own=\"*\"/>\n"
           "  </policy>\n"
           "</busconfig>\n";
}

// The processes of this user whose environment names the bus address.
std::vector<pid_t> processesUsingBus(const std::string& busAddress) {
    std::vector<pid_t> found;
    std::string needle = "DBUS_SESSION_BUS_ADDRESS=" + busAddress;
    needle.push_back('\0');
    DIR* proc = opendir("/proc");
    if (proc == nullptr) {
        return found;
    }
    while (dirent* entry = readdir(proc)) {
        char* end = nullptr;
        long pid = strtol(entry->d_name, &end, 10);
        if (*end != '\0' || pid <= 0 || pid == getpid()) {
            continue;
        }
        struct stat status {};
        std::string folder = std::string("/proc/") + entry->d_name;
        if (stat(folder.c_str(), &status) != 0 || status.st_uid != getuid()) {
            continue;
        }
        std::string environment = readFile(folder + "/environ");
        environment.push_back('\0');
        if (environment.find(needle) != std::string::npos) {
            found.push_back(static_cast<pid_t>(pid));
        }
    }
    closedir(proc);
    return found;
}

}  // namespace

CVTestBed::CVTestBed(std::string buildDirectory)
    : buildDirectory_(std::move(buildDirectory)), root_(makeRoot()) {
    signal(SIGPIPE, SIG_IGN);
    for (const char* folder :
         {"config", "data/applications", "share", "runtime", "tmp", "home", "work", "processes"}) {
        std::filesystem::create_directories(root_ + "/" + folder);
    }
    chmod((root_ + "/runtime").c_str(), 0700);
    writeTextFile(
        dataHome() + "/applications/" + kDesktopEntryName,
        "[Desktop Entry]\nType=Application\nName=Corvane\nExec=" + applicationPath() + "\n");
    busAddress_ = "unix:path=" + root_ + "/bus";

    for (const char* name : kInheritedVariables) {
        if (const char* value = getenv(name)) {
            environment_.push_back(std::string(name) + "=" + value);
        }
    }
    environment_.push_back("HOME=" + root_ + "/home");
    environment_.push_back("LANG=C.UTF-8");
    environment_.push_back("XDG_CONFIG_HOME=" + configHome());
    environment_.push_back("XDG_DATA_HOME=" + dataHome());
    environment_.push_back("XDG_DATA_DIRS=" + root_ + "/share");
    environment_.push_back("XDG_RUNTIME_DIR=" + root_ + "/runtime");
    environment_.push_back("TMPDIR=" + temporaryDirectory());
    environment_.push_back("CORVANE_JOURNAL=" + journalPath());
    startDaemon();
    environment_.push_back("DBUS_SESSION_BUS_ADDRESS=" + busAddress_);
}

CVTestBed::~CVTestBed() {
    bus_.reset();
    for (auto& process : started_) {
        process->signal(SIGKILL);
        process->wait(std::chrono::seconds(5));
    }
    endProcessesOfTheBus();
    if (daemon_ > 0) {
        kill(-daemon_, SIGKILL);
    }
    started_.clear();
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
}

void CVTestBed::startDaemon() {
    std::string configuration = root_ + "/bus.conf";
    writeTextFile(configuration, busConfiguration(root_ + "/bus"));
    auto daemon = std::make_shared<CVTestProcess>(
        std::vector<std::string>{"dbus-daemon", "--config-file=" + configuration, "--nofork"},
        environment_, root_, std::nullopt, root_ + "/processes");
    daemon_ = daemon->processID();
    started_.push_back(daemon);
    bool connected = waitUntil([&] {
        if (!daemon->isRunning()) {
            return true;
        }
        try {
            bus_ = std::make_unique<CVBusConnection>(busAddress_);
        } catch (const std::runtime_error&) {
            return false;
        }
        return true;
    });
    if (!connected || bus_ == nullptr) {
        CVCommandResult result = daemon->wait(std::chrono::seconds(1));
        throw std::runtime_error("the private dbus-daemon did not start: " + result.standardError);
    }
}

void CVTestBed::endProcessesOfTheBus() {
    std::vector<pid_t> processes = processesUsingBus(busAddress_);
    for (pid_t pid : processes) {
        kill(pid, SIGKILL);
    }
    waitUntil(
        [&] {
            for (pid_t pid : processes) {
                if (!processHasEnded(pid)) {
                    return false;
                }
            }
            return true;
        },
        std::chrono::seconds(5));
}

bool CVTestBed::processHasEnded(pid_t pid) {
    if (kill(pid, 0) != 0) {
        return true;
    }
    std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
    size_t close = stat.rfind(')');
    return close == std::string::npos || (close + 2 < stat.size() && stat[close + 2] == 'Z');
}

void CVTestBed::setEnvironment(const std::string& name, const std::optional<std::string>& value) {
    std::erase_if(environment_, [&](const std::string& entry) {
        return entry.compare(0, name.size() + 1, name + "=") == 0;
    });
    if (value) {
        environment_.push_back(name + "=" + *value);
    }
}

namespace {

std::vector<std::string> environmentWithChanges(std::vector<std::string> environment,
                                                const CVRunOptions& options) {
    for (const auto& [name, value] : options.environment) {
        std::erase_if(environment, [&](const std::string& entry) {
            return entry.compare(0, name.size() + 1, name + "=") == 0;
        });
        if (value) {
            environment.push_back(name + "=" + *value);
        }
    }
    return environment;
}

std::vector<std::string> prepended(const std::string& program, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), program);
    return arguments;
}

}  // namespace

CVCommandResult CVTestBed::run(const std::vector<std::string>& command,
                               const CVRunOptions& options) {
    return CVRunCommand(command, environmentWithChanges(environment_, options),
                        options.workingDirectory.value_or(workDirectory()), options.standardInput,
                        options.deadline);
}

CVCommandResult CVTestBed::runTool(const std::vector<std::string>& arguments,
                                   const CVRunOptions& options) {
    return run(prepended(toolPath(), arguments), options);
}

CVCommandResult CVTestBed::runApplication(const std::vector<std::string>& arguments,
                                          const CVRunOptions& options) {
    return run(prepended(applicationPath(), arguments), options);
}

std::shared_ptr<CVTestProcess> CVTestBed::start(const std::vector<std::string>& command,
                                                const CVRunOptions& options) {
    auto process =
        std::make_shared<CVTestProcess>(command, environmentWithChanges(environment_, options),
                                        options.workingDirectory.value_or(workDirectory()),
                                        options.standardInput, root_ + "/processes");
    started_.push_back(process);
    return process;
}

std::shared_ptr<CVTestProcess> CVTestBed::startTool(const std::vector<std::string>& arguments,
                                                    const CVRunOptions& options) {
    return start(prepended(toolPath(), arguments), options);
}

std::shared_ptr<CVTestProcess> CVTestBed::startApplication(std::chrono::milliseconds deadline) {
    auto application = start({applicationPath()});
    bool running = waitUntil(
        [&] {
            return !application->isRunning() ||
                   (bus().nameHasOwner(CVCorvaneContract::kApplicationBundleIdentifier) &&
                    applicationProcessID() == application->processID());
        },
        deadline);
    if (!running || !application->isRunning()) {
        return nullptr;
    }
    return application;
}

bool CVTestBed::isApplicationRunning() {
    return bus().nameHasOwner(CVCorvaneContract::kApplicationBundleIdentifier);
}

bool CVTestBed::waitUntilApplicationRuns(bool running, std::chrono::milliseconds deadline) {
    return waitUntil([&] { return isApplicationRunning() == running; }, deadline);
}

std::optional<pid_t> CVTestBed::applicationProcessID() {
    return bus().processOwningName(CVCorvaneContract::kApplicationBundleIdentifier);
}

CVCommandResult CVTestBed::listDocuments() {
    return runApplication({"--list"});
}

CVCommandResult CVTestBed::closeTab(const std::string& GUID) {
    return runApplication({"--close-tab", GUID});
}

CVCommandResult CVTestBed::finishMerge(const std::string& GUID, bool resolved,
                                       const std::string& result) {
    std::vector<std::string> arguments = {"--finish-merge", GUID,
                                          resolved ? "--resolved" : "--unresolved"};
    if (resolved && !result.empty()) {
        arguments.insert(arguments.end(), {"--result", result});
    }
    return runApplication(arguments);
}

CVCommandResult CVTestBed::quitApplication() {
    return runApplication({"--quit"});
}

std::vector<std::string> CVTestBed::journalLines() const {
    std::vector<std::string> lines;
    std::string text = readFile(journalPath());
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            break;  // a line still being written
        }
        if (end > start) {
            lines.push_back(text.substr(start, end - start));
        }
        start = end + 1;
    }
    return lines;
}

std::optional<std::string> CVTestBed::waitForJournalLine(const std::vector<std::string>& fragments,
                                                         std::chrono::milliseconds deadline) const {
    std::optional<std::string> found;
    waitUntil(
        [&] {
            for (const std::string& line : journalLines()) {
                bool matches = true;
                for (const std::string& fragment : fragments) {
                    matches = matches && line.find(fragment) != std::string::npos;
                }
                if (matches) {
                    found = line;
                    return true;
                }
            }
            return false;
        },
        deadline);
    return found;
}

CVBusConnection& CVTestBed::bus() {
    if (!bus_) {
        bus_ = connect();
    }
    return *bus_;
}

std::unique_ptr<CVBusConnection> CVTestBed::connect() const {
    return std::make_unique<CVBusConnection>(busAddress_);
}

bool CVTestBed::waitUntil(const std::function<bool()>& condition,
                          std::chrono::milliseconds deadline) {
    auto end = Clock::now() + deadline;
    while (!condition()) {
        if (Clock::now() >= end) {
            return false;
        }
        poll(nullptr, 0, 2);
    }
    return true;
}
