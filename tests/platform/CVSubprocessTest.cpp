// Child processes as the tool and the tests start them: streams, folder, environment, signals,
// deadlines, and the detached launch of an application.
#include "platform/CVSubprocess.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "CVWaitUntil.h"
#include "TemporaryFolder.h"

namespace {

using namespace std::chrono_literals;

CVSubprocessResult run(const std::string& script, CVSubprocessOptions options = {}) {
    options.arguments = {"/bin/sh", "-c", script, "sh"};
    options.standardOutput = CVChildOutput::captured();
    options.standardError = CVChildOutput::captured();
    std::string whyNot;
    auto result = CVRunSubprocess(options, &whyNot, 20s);
    EXPECT_TRUE(result) << whyNot;
    return result.value_or(CVSubprocessResult{});
}

TEST(ASubprocess, CapturesBothStreamsAndFeedsInputLargerThanAPipe) {
    std::string input(1 << 20, 'x');
    CVSubprocessResult result = run("wc -c; echo error >&2; exit 3", {.standardInput = input});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.standardOutput, std::to_string(input.size()) + "\n");
    EXPECT_EQ(result.standardError, "error\n");
    // Without input the child reads nothing, rather than this process's standard input.
    EXPECT_EQ(run("wc -c").standardOutput, "0\n");
}

TEST(ASubprocess, StartsInItsFolderWithItsEnvironment) {
    TemporaryFolder folder;
    CVSubprocessResult result = run(
        R"(pwd; echo "$ONLY" "${HOME:-none}")",
        {.environment = std::vector<std::string>{"ONLY=this"}, .workingDirectory = folder.path()});
    EXPECT_EQ(result.standardOutput, folder.path() + "\nthis none\n");
}

TEST(ASubprocess, StartsWithNoSignalBlockedOrIgnored) {
    sigset_t blocked{};
    sigset_t previous{};
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &previous);
    sighandler_t previousHandler = signal(SIGHUP, SIG_IGN);
    CVSubprocessResult result = run(R"(sed -n 's/^Sig\(Blk\|Ign\):\t//p' /proc/self/status)");
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    signal(SIGHUP, previousHandler);
    // The masks of the standard signals (the C library keeps two real-time ones for itself).
    size_t next = 0;
    unsigned long long blockedMask = std::stoull(result.standardOutput, &next, 16);
    unsigned long long ignoredMask = std::stoull(result.standardOutput.substr(next), nullptr, 16);
    EXPECT_EQ(blockedMask & 0x7fffffff, 0u) << result.standardOutput;
    EXPECT_EQ(ignoredMask & 0x7fffffff, 0u) << result.standardOutput;
}

TEST(ASubprocess, SaysWhyItCouldNotStartAndReportsASignalAsStatus) {
    std::string whyNot;
    EXPECT_FALSE(CVRunSubprocess({.arguments = {"no-such-program-anywhere"}}, &whyNot));
    EXPECT_EQ(whyNot, "No such file or directory");
    EXPECT_FALSE(CVRunSubprocess({.arguments = {}}, &whyNot));
    EXPECT_EQ(run("kill -TERM $$").status, 128 + SIGTERM);
}

TEST(ASubprocess, KillsItsWholeGroupWhenTheDeadlinePasses) {
    TemporaryFolder folder;
    std::string marker = folder.path() + "/grandchild";
    auto child = CVSubprocess::start(
        {.arguments = {"/bin/sh", "-c", "sleep 30 & echo $! > \"$0\"; wait", marker},
         .ownProcessGroup = true},
        nullptr);
    ASSERT_TRUE(child);
    ASSERT_TRUE(CVWaitUntil([&] { return readFile(marker).find('\n') != std::string::npos; }));
    pid_t grandchild = std::stoi(readFile(marker));
    CVSubprocessResult result = child->finish(100ms);
    EXPECT_TRUE(result.timedOut);
    EXPECT_EQ(result.status, 128 + SIGKILL);
    EXPECT_TRUE(CVWaitUntil([&] {
        std::string state = readFile("/proc/" + std::to_string(grandchild) + "/stat");
        return state.empty() || state.find(") Z ") != std::string::npos;
    }));
}

TEST(ADetachedStart, LeavesNoChildAndGivesTheProgramASessionAndNoneOfOurDescriptors) {
    TemporaryFolder folder;
    std::string report = folder.path() + "/report";
    int open = dup(STDOUT_FILENO);  // not close-on-exec: a plain child would inherit it
    int error = 0;
    // Writes its session, folder and whether it holds the descriptor into the report.
    const std::string script =
        R"(held=no; [ -e /proc/$$/fd/$1 ] && held=yes; )"
        R"(echo $(cut -d' ' -f6 /proc/$$/stat) $(pwd) $held > "$0.part" && mv "$0.part" "$0")";
    std::optional<pid_t> started = CVStartDetached(
        {.arguments = {"/bin/sh", "-c", script, report, std::to_string(open)}}, &error);
    close(open);
    ASSERT_TRUE(started) << strerror(error);
    EXPECT_EQ(waitpid(*started, nullptr, WNOHANG), -1);  // not this process's child
    EXPECT_EQ(errno, ECHILD);
    ASSERT_TRUE(CVWaitUntil([&] { return !readFile(report).empty(); }));
    EXPECT_EQ(readFile(report), std::to_string(*started) + " / no\n");

    EXPECT_FALSE(CVStartDetached({.arguments = {"/no/such/program"}}, &error));
    EXPECT_EQ(error, ENOENT);
}

}  // namespace
