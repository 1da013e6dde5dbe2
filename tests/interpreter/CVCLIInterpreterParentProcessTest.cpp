// How the interpreter classifies the processes that called the tool, on real process chains.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <tuple>

#include "TemporaryFolder.h"
#include "TestProcess.h"
#include "interpreter/CVCLIInterpreter.h"
#include "process/ZPProcessInformation.h"

namespace {

using Strings = std::vector<std::string>;

// Which of the tests hold for a process: git, svn, p4, bzr, hg, any.
std::string classification(ZPProcessInformation& process) {
    std::string flags;
    flags += CVCLIInterpreter::processIsGit(process) ? "git " : "";
    flags += CVCLIInterpreter::processIsSubversion(process) ? "svn " : "";
    flags += CVCLIInterpreter::processIsPerforceCLI(process) ? "p4 " : "";
    flags += CVCLIInterpreter::processIsBazaar(process) ? "bzr " : "";
    flags += CVCLIInterpreter::processIsMercurial(process) ? "hg " : "";
    flags += CVCLIInterpreter::processIsVCS(process) ? "vcs" : "none";
    return flags;
}

// The classification of the helper started under the name, with the environment.
std::string classificationOfHelperNamed(const std::string& name,
                                        const std::vector<std::string>& environment = {}) {
    TemporaryFolder folder;
    std::filesystem::create_symlink(processTestHelperPath(), folder / name);
    TestProcess child(folder / name, {name}, environment);
    ZPProcessInformation process(child.reportedPid());
    return classification(process);
}

// This test program started again, at the end of the chain of programs given, to run
// the probe (kRunsAsProbe); returns what it reported.
std::string probeUnder(const TemporaryFolder& folder, std::vector<std::string> chain,
                       std::vector<std::string> environment = {}) {
    std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    chain.insert(chain.end(), {self, self});
    std::string report = folder / "report";
    environment.push_back("CV_CALLER_PROBE_REPORT=" + report);
    TestProcess first(chain.front(), chain, environment);
    EXPECT_EQ(first.waitForExit(), 0);
    return readFile(report);
}

std::string helperAt(const TemporaryFolder& folder, const std::string& relativePath) {
    std::string path = folder / relativePath;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::filesystem::copy_file(processTestHelperPath(), path);
    return path;
}

}  // namespace

TEST(AProcessName, ClassifiesTheVersionControlToolsByTheExactNameOrAPythonsScript) {
    const std::tuple<std::string, Strings, std::string> cases[] = {
        {"git", {}, "git vcs"},
        {"svn", {}, "svn vcs"},
        {"p4", {}, "p4 vcs"},
        {"brz", {}, "bzr vcs"},
        {"bzr", {}, "bzr vcs"},
        {"hg", {}, "hg vcs"},
        {"Git", {}, "none"},
        {"gitk", {}, "none"},
        {"python3", {"_=/usr/bin/hg"}, "none"},
        // Python is the script its shell started.
        {"Python", {"_=/usr/local/bin/bzr"}, "bzr vcs"},
        {"Python", {"_=/usr/local/bin/hg"}, "hg vcs"},
        {"Python", {"_=/usr/local/bin/brz"}, "none"},
        {"Python", {}, "none"},
    };
    for (const auto& [name, environment, expected] : cases) {
        EXPECT_EQ(classificationOfHelperNamed(name, environment), expected)
            << name << " " << (environment.empty() ? "" : environment.front());
    }
}

// When the tests below start this program as their probe, it reports how it classifies its
// callers and exits before any test runs: a static initializer on purpose. (clang-tidy takes the
// constant std::ios_base::out that std::ofstream uses for a global that may not be set yet.)
const bool kRunsAsProbe = [] {  // NOLINT(cppcoreguidelines-interfaces-global-init)
    const char* report = getenv("CV_CALLER_PROBE_REPORT");
    if (report == nullptr) {
        return false;
    }
    CVCLIInterpreter interpreter;
    auto parent = interpreter.significantParentProcess();
    std::ofstream(report) << parent->processName().value_or("(null)") << " "
                          << (parent->processIdentifier() == getppid() ? "direct" : "ancestor")
                          << (interpreter.parentIsGit() ? " git" : "")
                          << (interpreter.parentIsSubversion() ? " svn" : "")
                          << (interpreter.parentIsBazaar() ? " bzr" : "")
                          << (interpreter.parentIsPerforceCLI() ? " p4" : "")
                          << (interpreter.parentIsJetBrains() ? " jetbrains" : "")
                          << (interpreter.parentIsGitKraken() ? " gitkraken" : "")
                          << (interpreter.parentIsQuorvel() ? " quorvel" : "")
                          << (interpreter.parentCannotHandleStandardInput() ? " no-stdin" : "");
    _exit(0);
}();

TEST(ACaller, IsTheNearestVersionControlToolOrElseTheDirectParent) {
    TemporaryFolder folder;
    std::string git = helperAt(folder, "libexec/git");
    std::string hg = helperAt(folder, "hg");
    std::string svn = helperAt(folder, "svn");
    std::string launcher = helperAt(folder, "pycharm-2024.1/bin/pycharm.sh");
    std::string gitkraken = helperAt(folder, "gitkraken/gitkraken");
    std::string helper = processTestHelperPath();
    auto bundleWithIdentifier = [&](const std::string& name, const std::string& identifier) {
        return makeBundle(folder / (name + ".app"), identifier, std::nullopt, helper, name) +
               "/Contents/MacOS/" + name;
    };
    std::string quorvel = bundleWithIdentifier("Quorvel", "com.quorvel.Quorvel4");
    std::string other = bundleWithIdentifier("Other", "com.quorvel.Quorvel5");
    std::string bus = "DBUS_SESSION_BUS_ADDRESS=unix:path=" + folder / "bus";
    // Each chain is the helper starting the next program ("--spawn PATH ARGUMENT-0 ...").
    const std::tuple<Strings, Strings, std::string> cases[] = {
        {{git, "--spawn", "/bin/sh", "sh", "-c", R"("$@"; :)"}, {}, "git ancestor git"},
        {{svn, "--spawn", git, git, "--spawn", hg, hg, "--spawn"}, {}, "hg direct"},
        {{git, "--spawn", svn, svn, "--spawn"}, {}, "svn direct svn"},
        {{helper, "--spawn", "/bin/sh", "sh", "-c", R"("$@"; :)"}, {}, "sh direct"},
        // A JetBrains IDE or GitKraken cannot handle standard input.
        {{launcher, "--spawn"}, {}, "pycharm.sh direct jetbrains no-stdin"},
        {{gitkraken, "--spawn"}, {}, "gitkraken direct gitkraken no-stdin"},
        {{launcher, "--spawn", git, git, "--spawn"}, {}, "git direct git"},
        // Quorvel when its bundle says so.
        {{quorvel, "--spawn"}, {bus}, "Quorvel direct quorvel"},
        {{other, "--spawn"}, {bus}, "Other direct"},
    };
    for (const auto& [chain, environment, expected] : cases) {
        EXPECT_EQ(probeUnder(folder, chain, environment), expected) << expected;
    }
}
