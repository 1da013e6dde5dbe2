// Who called the tool: the significant parent process and the questions asked about it.
#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

#include "interpreter/CVCLIInterpreter.h"
#include "platform/CVPaths.h"
#include "platform/CVPrint.h"
#include "platform/CVRunningApplication.h"
#include "process/ZPLinuxCallers.h"
#include "process/ZPProcessInformation.h"

namespace {

bool nameEquals(ZPProcessInformation& process, std::string_view name) {
    return process.processName() == name;
}

// Bazaar and Mercurial on the desktop platform run as an interpreter named "Python"; the shell's
// "_" tells which script it started.
bool isPythonRunningScript(ZPProcessInformation& process, std::string_view script) {
    if (!nameEquals(process, "Python")) {
        return false;
    }
    auto underscore = process.valueForEnvironmentKey("_");
    return underscore && CVPaths::lastPathComponent(*underscore) == script;
}

std::optional<std::string> firstArgument(ZPProcessInformation* process) {
    if (process == nullptr) {
        return std::nullopt;
    }
    const auto& arguments = process->arguments();
    if (!arguments || arguments->empty()) {
        return std::nullopt;
    }
    return arguments->front();
}

bool containsIgnoringCase(std::string_view text, std::string_view part) {
    auto lower = [](unsigned char character) { return std::tolower(character); };
    const auto* found = std::search(text.begin(), text.end(), part.begin(), part.end(),
                                    [&](char a, char b) { return lower(a) == lower(b); });
    return found != text.end();
}

// The paths that name what the process runs: its first argument and its executable file.
std::vector<std::string> programPaths(ZPProcessInformation* process) {
    std::vector<std::string> paths;
    if (process == nullptr) {
        return paths;
    }
    if (auto argument = firstArgument(process)) {
        paths.push_back(*argument);
    }
    if (auto executable = process->executablePath()) {
        paths.push_back(*executable);
    }
    return paths;
}

}  // namespace

std::shared_ptr<ZPProcessInformation> CVCLIInterpreter::significantParentProcess() {
    if (!didComputeSignificantParent_) {
        auto parent = ZPProcessInformation::parentOfCurrentProcess();
        significantParentProcess_ = findVCSParentProcess(parent);
        if (!significantParentProcess_) {
            significantParentProcess_ = std::move(parent);
        }
        didComputeSignificantParent_ = true;
    }
    return significantParentProcess_;
}

std::shared_ptr<ZPProcessInformation> CVCLIInterpreter::findVCSParentProcess(
    std::shared_ptr<ZPProcessInformation> process) {
    // The tool itself is never tested; each step reads only the ancestor's /proc/PID/stat, unless
    // its name is "Python", whose environment tells Bazaar and Mercurial apart.
    for (; process; process = process->parentProcessInformation()) {
        if (processIsVCS(*process)) {
            CVDebugLog([&] { return "Found VCS parent process:\n" + process->description(); });
            return process;
        }
    }
    return nullptr;
}

void CVCLIInterpreter::scanParentProcesses() {
    // Only the log reads the chain, so it is not walked while nothing would be written.
    if (!CVDebugLoggingEnabled()) {
        return;
    }
    CVDebugLog(std::string_view("Scanning processes..."));
    for (auto process = ZPProcessInformation::currentProcess(); process;
         process = process->parentProcessInformation()) {
        logInfoForProcess(*process);
    }
}

void CVCLIInterpreter::logInfoForProcess(ZPProcessInformation& process) {
    // Deliberately not the whole environment: the log shows every variable's name, but values
    // only of the variables the tool itself reads.
    static const std::set<std::string> kVariablesTheToolReads = {
        "_",
        "APP_SANDBOX_CONTAINER_ID",
        "DBUS_SESSION_BUS_ADDRESS",
        "GIT_DIFF_PATH_COUNTER",
        "GIT_DIFF_PATH_TOTAL",
        "GIT_WORK_TREE",
        "PATH",
        "PWD",
        "TMPDIR",
        "XDG_CONFIG_HOME",
        "XDG_DATA_DIRS",
        "XDG_DATA_HOME",
        "XDG_RUNTIME_DIR",
    };
    CVDebugLog([&] { return "Process: " + process.debugDescription(&kVariablesTheToolReads); });
}

bool CVCLIInterpreter::processIsGit(ZPProcessInformation& process) {
    return nameEquals(process, "git");
}

bool CVCLIInterpreter::processIsSubversion(ZPProcessInformation& process) {
    return nameEquals(process, "svn");
}

bool CVCLIInterpreter::processIsPerforceCLI(ZPProcessInformation& process) {
    return nameEquals(process, "p4");
}

bool CVCLIInterpreter::processIsBazaar(ZPProcessInformation& process) {
    // On Linux Breezy and Bazaar run under their own command names.
    return nameEquals(process, "brz") || nameEquals(process, "bzr") ||
           isPythonRunningScript(process, "bzr");
}

bool CVCLIInterpreter::processIsMercurial(ZPProcessInformation& process) {
    return nameEquals(process, "hg") || isPythonRunningScript(process, "hg");
}

bool CVCLIInterpreter::processIsVCS(ZPProcessInformation& process) {
    return processIsGit(process) || processIsSubversion(process) || processIsPerforceCLI(process) ||
           processIsBazaar(process) || processIsMercurial(process);
}

bool CVCLIInterpreter::parentIsGit() {
    auto parent = significantParentProcess();
    return parent && processIsGit(*parent);
}

bool CVCLIInterpreter::parentIsSubversion() {
    auto parent = significantParentProcess();
    return parent && processIsSubversion(*parent);
}

bool CVCLIInterpreter::parentIsBazaar() {
    auto parent = significantParentProcess();
    return parent && processIsBazaar(*parent);
}

bool CVCLIInterpreter::parentIsPerforceCLI() {
    auto parent = significantParentProcess();
    return parent && processIsPerforceCLI(*parent);
}

bool CVCLIInterpreter::parentIsQuorvel() {
    auto parent = significantParentProcess();
    if (!parent) {
        return false;
    }
    auto application =
        CVRunningApplication::runningApplicationWithProcessIdentifier(parent->processIdentifier());
    if (!application) {
        return false;
    }
    const auto& identifier = application->bundleIdentifier();
    // One identifier is tested twice; the duplicate is harmless and kept.
    return identifier == "com.quorvel.Quorvel" || identifier == "com.quorvel.Quorvel4" ||
           identifier == "com.quorvel.QuorvelSetapp" || identifier == "com.quorvel.Quorvel";
}

bool CVCLIInterpreter::parentIsJetBrains() {
    auto parent = significantParentProcess();
    if (auto argument = firstArgument(parent.get());
        argument && argument->find(".app") != std::string::npos) {
        // "pystorm" is kept as it has always been spelled; it still matches any path holding it.
        static constexpr std::array<std::string_view, 8> kProducts = {
            "/idea",   "/webstorm", "IntelliJ", "phpstorm",
            "appcode", "rubymine",  "clion",    "pystorm"};
        for (std::string_view product : kProducts) {
            if (containsIgnoringCase(*argument, product)) {
                return true;
            }
        }
    }
    return std::ranges::any_of(programPaths(parent.get()), [](const std::string& path) {
        return ZPLinuxCallers::isJetBrainsProgramPath(path);
    });
}

bool CVCLIInterpreter::parentIsGitKraken() {
    auto parent = significantParentProcess();
    if (auto argument = firstArgument(parent.get());
        argument && argument->find("MacOS/GitKraken") != std::string::npos) {
        return true;
    }
    return std::ranges::any_of(programPaths(parent.get()), [](const std::string& path) {
        return ZPLinuxCallers::isGitKrakenProgramPath(path);
    });
}

bool CVCLIInterpreter::parentCannotHandleStandardInput() {
    return parentIsJetBrains() || parentIsGitKraken();
}
