// The test bed itself: hermetic environment, commands with deadlines, and cleanup.

#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>

#include "CVTestBed.h"
#include "TemporaryFolder.h"

namespace {

using namespace std::chrono_literals;

TEST(ATestBed, RunsCommandsInItsOwnSessionWithTheApplicationRegistered) {
    CVTestBed bed;
    CVCommandResult result =
        bed.run({"sh", "-c",
                 "echo \"$DBUS_SESSION_BUS_ADDRESS|$XDG_DATA_HOME|$PWD\"; cat; echo oops >&2; "
                 "exit 3"},
                {.standardInput = "typed\n"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.standardOutput,
              bed.busAddress() + "|" + bed.dataHome() + "|" + bed.workDirectory() + "\ntyped\n");
    EXPECT_EQ(result.standardError, "oops\n");
    EXPECT_FALSE(result.timedOut);
    EXPECT_NE(readFile(bed.dataHome() + "/applications/com.corvane.Corvane.desktop")
                  .find("\nExec=" + bed.applicationPath() + "\n"),
              std::string::npos);
}

TEST(ATestBed, KillsACommandThatOutlivesItsDeadline) {
    CVTestBed bed;
    CVCommandResult result = bed.run({"sleep", "30"}, {.deadline = 200ms});
    EXPECT_TRUE(result.timedOut);
    EXPECT_EQ(result.status, 128 + SIGKILL);
}

TEST(ATestBed, WaitsForABackgroundCommandAndCollectsItsOutput) {
    CVTestBed bed;
    auto process = bed.start({"sh", "-c", "read line; echo got $line"}, {.standardInput = "it\n"});
    CVCommandResult result = process->wait(10s);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.standardOutput, "got it\n");
}

TEST(ATestBed, EndsEveryProcessOfItsBusWhenItGoes) {
    pid_t escaped = 0;
    {
        CVTestBed bed;
        // A process in a session of its own, as the tool starts the application.
        CVCommandResult result = bed.run({"sh", "-c", "setsid sleep 60 >/dev/null 2>&1 & echo $!"});
        escaped = std::stoi(result.standardOutput);
        ASSERT_EQ(kill(escaped, 0), 0);
        ASSERT_TRUE(bed.startApplication());
    }
    EXPECT_TRUE(CVWaitUntil([&] { return CVTestBed::processHasEnded(escaped); }, 5s));
}

}  // namespace
