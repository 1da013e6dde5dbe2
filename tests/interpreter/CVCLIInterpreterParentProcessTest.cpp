// How the interpreter classifies the processes that called the tool, on real process chains.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

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

// The arguments of process_test_helper that start a shell, which starts the next program.
std::vector<std::string> shellStarting() {
    return {"/bin/sh", "sh", "-c", "\"$@\"; :"};
}

std::vector<std::string> operator+(std::vector<std::string> first,
                                   const std::vector<std::string>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::string helperAt(const TemporaryFolder& folder, const std::string& relativePath) {
    std::string path = folder / relativePath;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::filesystem::copy_file(processTestHelperPath(), path);
    return path;
}

}  // namespace

TEST(AProcessName, ClassifiesTheVersionControlTools) {
    EXPECT_EQ(classificationOfHelperNamed("git"), "git vcs");
    EXPECT_EQ(classificationOfHelperNamed("svn"), "svn vcs");
    EXPECT_EQ(classificationOfHelperNamed("p4"), "p4 vcs");
    EXPECT_EQ(classificationOfHelperNamed("brz"), "bzr vcs");
    EXPECT_EQ(classificationOfHelperNamed("bzr"), "bzr vcs");
    EXPECT_EQ(classificationOfHelperNamed("hg"), "hg vcs");
}

TEST(AProcessName, IsComparedExactly) {
    EXPECT_EQ(classificationOfHelperNamed("Git"), "none");
    EXPECT_EQ(classificationOfHelperNamed("gitk"), "none");
    EXPECT_EQ(classificationOfHelperNamed("python3", {"_=/usr/bin/hg"}), "none");
}

TEST(APythonProcess, IsTheScriptItsShellStarted) {
    EXPECT_EQ(classificationOfHelperNamed("Python", {"_=/usr/local/bin/bzr"}), "bzr vcs");
    EXPECT_EQ(classificationOfHelperNamed("Python", {"_=/usr/local/bin/hg"}), "hg vcs");
    EXPECT_EQ(classificationOfHelperNamed("Python", {"_=/usr/local/bin/brz"}), "none");
    EXPECT_EQ(classificationOfHelperNamed("Python", {}), "none");
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

TEST(ACaller, UnderAShellThatGitStartedIsGit) {
    TemporaryFolder folder;
    std::string git = helperAt(folder, "libexec/git");

    EXPECT_EQ(probeUnder(folder, Strings{git, "--spawn"} + shellStarting()), "git ancestor git");
}

TEST(ACaller, IsTheNearestVersionControlTool) {
    TemporaryFolder folder;
    std::string git = helperAt(folder, "git");
    std::string hg = helperAt(folder, "hg");
    std::string svn = helperAt(folder, "svn");

    EXPECT_EQ(probeUnder(folder, {svn, "--spawn", git, git, "--spawn", hg, hg, "--spawn"}),
              "hg direct");
    EXPECT_EQ(probeUnder(folder, {git, "--spawn", svn, svn, "--spawn"}), "svn direct svn");
}

TEST(ACaller, WithoutAVersionControlAncestorIsTheDirectParent) {
    TemporaryFolder folder;

    EXPECT_EQ(probeUnder(folder, Strings{processTestHelperPath(), "--spawn"} + shellStarting()),
              "sh direct");
}

TEST(ACaller, ThatIsAJetBrainsIDEOrGitKrakenCannotHandleStandardInput) {
    TemporaryFolder folder;
    std::string launcher = helperAt(folder, "pycharm-2024.1/bin/pycharm.sh");
    std::string gitkraken = helperAt(folder, "gitkraken/gitkraken");
    std::string git = helperAt(folder, "git");

    EXPECT_EQ(probeUnder(folder, {launcher, "--spawn"}), "pycharm.sh direct jetbrains no-stdin");
    EXPECT_EQ(probeUnder(folder, {gitkraken, "--spawn"}), "gitkraken direct gitkraken no-stdin");
    EXPECT_EQ(probeUnder(folder, {launcher, "--spawn", git, git, "--spawn"}), "git direct git");
}

TEST(ACaller, IsQuorvelWhenItsBundleSaysSo) {
    TemporaryFolder folder;
    auto bundleWithIdentifier = [&](const std::string& name, const std::string& identifier) {
        return makeBundle(folder / (name + ".app"), identifier, std::nullopt,
                          processTestHelperPath(), name) +
               "/Contents/MacOS/" + name;
    };
    std::string quorvel = bundleWithIdentifier("Quorvel", "com.quorvel.Quorvel4");
    std::string other = bundleWithIdentifier("Other", "com.quorvel.Quorvel5");
    std::string bus = "DBUS_SESSION_BUS_ADDRESS=unix:path=" + folder / "bus";

    EXPECT_EQ(probeUnder(folder, {quorvel, "--spawn"}, {bus}), "Quorvel direct quorvel");
    EXPECT_EQ(probeUnder(folder, {other, "--spawn"}, {bus}), "Other direct");
}
