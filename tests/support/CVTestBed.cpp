#include "CVTestBed.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "platform/CVCorvaneContract.h"

namespace {

// Variables passed through from the test's own environment: finding programs, and the
// sanitizers' settings.
constexpr const char* kInheritedVariables[] = {"PATH",         "USER",          "LOGNAME",
                                               "ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"};

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

CVTestBed::CVTestBed(std::string buildDirectory) : buildDirectory_(std::move(buildDirectory)) {
    signal(SIGPIPE, SIG_IGN);
    for (const char* folder : {"config", "share", "runtime", "tmp", "home", "work", "processes"}) {
        root_.makeFolder(folder);
    }
    chmod((root_ / "runtime").c_str(), 0700);
    writeDesktopEntry(dataHome(), applicationPath());
    daemon_ = std::make_unique<CVPrivateBus>(root());

    for (const char* name : kInheritedVariables) {
        if (const char* value = getenv(name)) {
            environment_.push_back(std::string(name) + "=" + value);
        }
    }
    for (const char* variable :
         {"HOME=home", "XDG_CONFIG_HOME=config", "XDG_DATA_HOME=data", "XDG_DATA_DIRS=share",
          "XDG_RUNTIME_DIR=runtime", "TMPDIR=tmp", "CORVANE_JOURNAL=journal.jsonl"}) {
        std::string entry = variable;
        environment_.push_back(entry.insert(entry.find('=') + 1, root() + "/"));
    }
    environment_.emplace_back("LANG=C.UTF-8");
    environment_.push_back("DBUS_SESSION_BUS_ADDRESS=" + busAddress());
}

CVTestBed::~CVTestBed() {
    bus_.reset();
    for (auto& process : started_) {
        process->signal(SIGKILL);
        process->wait(std::chrono::seconds(5));
    }
    endProcessesOfTheBus();
    daemon_.reset();
    started_.clear();
}

void CVTestBed::endProcessesOfTheBus() {
    std::vector<pid_t> processes = processesUsingBus(busAddress());
    for (pid_t pid : processes) {
        kill(pid, SIGKILL);
    }
    CVWaitUntil([&] { return std::ranges::all_of(processes, processHasEnded); },
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

void CVTestBed::setEnvironment(const CVEnvironmentChanges& changes) {
    environment_ = CVEnvironmentWithChanges(environment_, changes);
}

namespace {

std::vector<std::string> prepended(const std::string& program, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), program);
    return arguments;
}

}  // namespace

CVCommandResult CVTestBed::run(const std::vector<std::string>& command,
                               const CVRunOptions& options) {
    return CVRunCommand(command, CVEnvironmentWithChanges(environment_, options.environment),
                        options.workingDirectory.value_or(workDirectory()), options.standardInput,
                        options.deadline);
}

CVCommandResult CVTestBed::runTool(const std::vector<std::string>& arguments,
                                   const CVRunOptions& options) {
    return run(prepended(toolPath(), arguments), options);
}

CVCommandResult CVTestBed::runDefaults(const std::vector<std::string>& arguments) {
    return run(prepended(buildDirectory_ + "/src/tool/defaults", arguments));
}

CVCommandResult CVTestBed::runApplication(const std::vector<std::string>& arguments,
                                          const CVRunOptions& options) {
    return run(prepended(applicationPath(), arguments), options);
}

std::shared_ptr<CVTestProcess> CVTestBed::start(const std::vector<std::string>& command,
                                                const CVRunOptions& options) {
    auto process = std::make_shared<CVTestProcess>(
        command, CVEnvironmentWithChanges(environment_, options.environment),
        options.workingDirectory.value_or(workDirectory()), options.standardInput,
        root_ / "processes");
    started_.push_back(process);
    return process;
}

std::shared_ptr<CVTestProcess> CVTestBed::startTool(const std::vector<std::string>& arguments,
                                                    const CVRunOptions& options) {
    return start(prepended(toolPath(), arguments), options);
}

std::shared_ptr<CVTestProcess> CVTestBed::startApplication(std::chrono::milliseconds deadline) {
    auto application = start({applicationPath()});
    bool running = CVWaitUntil(
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

std::optional<pid_t> CVTestBed::applicationProcessID() {
    return bus().processOwningName(CVCorvaneContract::kApplicationBundleIdentifier);
}

CVCommandResult CVTestBed::listDocuments() {
    return runApplication({"--list"});
}

nlohmann::json CVTestBed::documents() {
    CVCommandResult result = listDocuments();
    return result.status == 0 ? nlohmann::json::parse(result.standardOutput)
                              : nlohmann::json::array();
}

nlohmann::json CVTestBed::waitForNewestDocument(const nlohmann::json& members,
                                                const std::string& other,
                                                std::chrono::milliseconds deadline) {
    nlohmann::json newest;
    bool found = CVWaitUntil(
        [&] {
            nlohmann::json all = documents();
            newest = all.empty() ? nlohmann::json() : all.back();
            return !all.empty() && hasMembers(newest, members) && newest["GUID"] != other;
        },
        deadline);
    EXPECT_TRUE(found) << members << " in " << documents();
    return found ? newest : nlohmann::json();
}

std::vector<std::string> CVTestBed::answeredGUIDs() const {
    std::vector<std::string> GUIDs;
    for (const nlohmann::json& entry : journalEntries()) {
        if (entry.contains("reply")) {
            GUIDs.push_back(entry["reply"]);
        }
    }
    return GUIDs;
}

std::vector<nlohmann::json> CVTestBed::fileListValues(const nlohmann::json& documents,
                                                      const std::string& key) {
    std::vector<nlohmann::json> values;
    for (const nlohmann::json& document : documents) {
        for (const nlohmann::json& fileList : document["fileLists"]) {
            values.push_back(fileList[key]);
        }
    }
    return values;
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

std::string CVTestBed::journal() const {
    std::string text = readFile(journalPath());
    return text.substr(0, text.rfind('\n') + 1);  // without a line still being written
}

std::vector<nlohmann::json> CVTestBed::journalEntries() const {
    std::vector<nlohmann::json> entries;
    std::istringstream lines(journal());
    for (std::string line; std::getline(lines, line);) {
        entries.push_back(nlohmann::json::parse(line));
    }
    return entries;
}

bool CVTestBed::hasMembers(const nlohmann::json& value, const nlohmann::json& members) {
    if (!members.is_object()) {
        return value == members;
    }
    if (!value.is_object()) {
        return false;
    }
    auto items = members.items();
    return std::all_of(items.begin(), items.end(), [&value](const auto& member) {
        return value.contains(member.key()) && hasMembers(value[member.key()], member.value());
    });
}

std::optional<nlohmann::json> CVTestBed::waitForJournalEntry(
    const nlohmann::json& members, std::chrono::milliseconds deadline) const {
    std::optional<nlohmann::json> found;
    CVWaitUntil(
        [&] {
            for (const nlohmann::json& entry : journalEntries()) {
                if (hasMembers(entry, members)) {
                    found = entry;
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
    return std::make_unique<CVBusConnection>(busAddress());
}
