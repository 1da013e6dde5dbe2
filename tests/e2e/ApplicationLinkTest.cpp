// The tool and the reference application on a private bus: launching (many runs at once
// included), reuse, sending, waiting for the tab to close, merge outcomes, and the ways a run can
// lose the application.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "CVPrivateBus.h"
#include "CVTestBed.h"
#include "CVWaitUntil.h"
#include "TemporaryFolder.h"
#include "platform/CVBusObject.h"
#include "platform/CVCorvaneContract.h"

using json = nlohmann::json;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

namespace {

using namespace std::chrono_literals;

class TheToolWithTheApplication : public ::testing::Test {
protected:
    CVTestBed bed;
    std::string left = bed.workDirectory() + "/left.txt";
    std::string right = bed.workDirectory() + "/right.txt";

    void SetUp() override {
        writeFile(left, "left\n");
        writeFile(right, "right\n");
    }

    // Waits until the application has opened `count` documents and answers the newest's GUID.
    // The journal is read rather than the application asked: a control client running while
    // the tool looks for the application would itself be a process of the application's bundle.
    std::string waitForDocuments(size_t count) {
        std::vector<std::string> guids;
        bool opened = CVWaitUntil([&] {
            guids = bed.answeredGUIDs();
            return guids.size() >= count;
        });
        EXPECT_TRUE(opened) << bed.root();
        return opened ? guids.back() : std::string();
    }

    // Waits until the application has opened `count` documents and its answer to the newest
    // call has left it. The journal's line is written just before the answer goes out; the
    // test's own call to the application is answered only after the call before it.
    void waitForDocumentsAnswered(size_t count) {
        waitForDocuments(count);
        CVBusObject<sd_bus_message> reply;
        int result = sd_bus_call_method(
            bed.bus().get(), CVCorvaneContract::kDistributedObjectsConnectionName,
            CVCorvaneContract::kProxyObjectPath, CVCorvaneContract::kProxyInterface, "processID",
            nullptr, reply.out(), "");
        EXPECT_GE(result, 0) << strerror(-result);
    }

    void removeDesktopEntry() {
        std::filesystem::remove(bed.dataHome() + "/applications/com.corvane.Corvane.desktop");
    }
};

TEST_F(TheToolWithTheApplication, LaunchesTheApplicationOnceThenReusesAndRemembersIt) {
    CVCommandResult launching = bed.runTool({left, right});
    EXPECT_EQ(launching.status, 0) << launching.standardError;
    EXPECT_EQ(launching.standardOutput, "");
    EXPECT_EQ(launching.standardError, "");
    std::optional<pid_t> launched = bed.applicationProcessID();
    ASSERT_TRUE(launched);
    // The second run finds the running copy and remembers it; the third takes the remembered one.
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(bed.runTool({left, right}).status, 0);
    }
    EXPECT_EQ(bed.applicationProcessID(), launched);
    EXPECT_EQ(CVTestBed::fileListValues(bed.documents(), "files"),
              std::vector<json>(3, json::array({left, right})));
    CVCommandResult remembered =
        bed.runDefaults({"read", "com.corvane.Corvane.cvdiff", "LastKnownCVPID"});
    EXPECT_EQ(remembered.standardOutput, std::to_string(*launched) + "\n");
}

// The waiting run's standard input goes as a private copy, which it removes once its own tab,
// and not another, is closed.
TEST_F(TheToolWithTheApplication, WaitsUntilItsOwnTabIsClosedThenRemovesItsCopyOfStandardInput) {
    auto waiting = bed.startTool({"-w", "-", right}, {.standardInput = "piped\n"});
    std::string own = waitForDocuments(1);
    std::vector<json> files = CVTestBed::fileListValues(bed.documents(), "files");
    ASSERT_EQ(files.size(), 1u);
    std::string copy = files[0][0];
    EXPECT_THAT(copy, MatchesRegex(".*/cvdiff-[0-9a-f]{4}\\.stdin"));
    EXPECT_EQ(readFile(copy), "piped\n");
    struct stat file {};
    struct stat folder {};
    ASSERT_EQ(stat(copy.c_str(), &file), 0);
    ASSERT_EQ(stat(std::filesystem::path(copy).parent_path().c_str(), &folder), 0);
    EXPECT_EQ(file.st_mode & 0777, 0600u);
    EXPECT_EQ(folder.st_mode & 0777, 0700u);

    ASSERT_EQ(bed.runTool({right, left}).status, 0);
    std::string other = waitForDocuments(2);
    ASSERT_NE(own, other);
    bed.closeTab(other);
    EXPECT_FALSE(CVWaitUntil([&] { return !waiting->isRunning(); }, 500ms));

    bed.closeTab(own);
    CVCommandResult result = waiting->wait(5s);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.standardError, "");
    EXPECT_EQ(folderEntries(bed.temporaryDirectory()), std::vector<std::string>{});
}

TEST_F(TheToolWithTheApplication, ExitsZeroForAResolvedMergeAndOneForAnUnresolvedOne) {
    std::string base = bed.workDirectory() + "/base.txt";
    writeFile(base, "base\n");
    for (bool resolved : {false, true}) {
        std::string output = bed.workDirectory() + (resolved ? "/resolved.txt" : "/unresolved.txt");
        auto merging = bed.startTool({"--merge", "--output", output, "--base", base, left, right});
        std::string guid = waitForDocuments(resolved ? 2 : 1);
        EXPECT_TRUE(std::filesystem::exists(output)) << "the output file is made before sending";
        bed.finishMerge(guid, resolved);
        CVCommandResult result = merging->wait(5s);
        // The run itself succeeded either way: only the status tells whether the merge was
        // resolved.
        EXPECT_EQ(result.status, resolved ? 0 : 1);
        EXPECT_EQ(result.standardError, "");
        EXPECT_EQ(readFile(output), resolved ? "left\n" : "");
    }
}

TEST_F(TheToolWithTheApplication, RemovesAMergesCapturedInputWhenItsTabClosesOrItQuits) {
    for (bool byQuitting : {false, true}) {
        CVCommandResult result =
            bed.runTool({"--merge", "-W", "--output", bed.workDirectory() + "/out", "-", right},
                        {.standardInput = "from standard input\n"});
        EXPECT_EQ(result.status, 1);  // not waited for
        ASSERT_EQ(bed.documents().size(), 1u);
        // The copy went with the merge: it is the application's now.
        ASSERT_EQ(folderEntries(bed.temporaryDirectory()).size(), 1u);
        if (byQuitting) {
            ASSERT_EQ(bed.quitApplication().status, 0);
        } else {
            ASSERT_EQ(bed.closeTab(bed.documents().back()["GUID"]).status, 0);
        }
        EXPECT_TRUE(CVWaitUntil([&] { return folderEntries(bed.temporaryDirectory()).empty(); }))
            << (byQuitting ? "after quitting" : "after closing the tab");
    }
}

// The application killed, then the bus: the waiting run ends with status 1 and says which.
TEST_F(TheToolWithTheApplication, EndsAWaitWhenTheApplicationOrTheBusGoesAway) {
    const std::pair<bool, std::string> losses[] = {
        {false, "Corvane quit while the action was running.\n" + kCVShortUsage},
        {true, "cvdiff has encountered an error communicating with Corvane. Exiting."}};
    for (const auto& [busGoes, error] : losses) {
        auto waiting = bed.startTool({"-w", left, right});
        // Killed any earlier, the application would not have answered the call: a failed call,
        // not a lost wait.
        waitForDocumentsAnswered(busGoes ? 2 : 1);
        std::optional<pid_t> application = bed.applicationProcessID();
        ASSERT_TRUE(application);
        if (busGoes) {
            bed.killBus();
        } else {
            kill(*application, SIGKILL);
        }
        CVCommandResult result = waiting->wait(5s);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.standardError, error);
    }
}

// Each way of not reaching the application, one after the other in the same session: what the
// tool says, at once (well before the launch wait's 60 seconds), with status 1.
TEST_F(TheToolWithTheApplication, SaysWhyItCouldNotReachTheApplication) {
    const std::string cannotConnect = "Could not connect to Corvane.\n" + kCVShortUsage;
    const std::string fake = bed.root() + "/Fake/Corvane.app";
    // A bundle that declares itself as Corvane with the build, registered in place of the real one.
    auto registerFake = [&](const std::string& build, const std::string& program) {
        makeBundle(fake, "com.corvane.Corvane", build);
        writeFile(fake + "/Contents/MacOS/Corvane", program);
        std::filesystem::permissions(fake + "/Contents/MacOS/Corvane",
                                     std::filesystem::perms::owner_all);
        writeDesktopEntry(bed.dataHome(), fake + "/Contents/MacOS/Corvane %F");
    };
    const std::vector<std::pair<std::function<void()>, std::string>> steps = {
        {[&] { removeDesktopEntry(); }, "Error: Unable to locate Corvane.\n" + cannotConnect},
        {[&] { registerFake("9078", ""); },
         "Error locating Corvane: This version of cvdiff (version 9077) is too old to launch the "
         "version of Corvane installed at " +
             fake + " (version 9078)\n" + cannotConnect},
        // An application that dies before it owns its names ends the launch.
        {[&] { registerFake("9077", "#!/bin/sh\nexit 3\n"); },
         "Timed out waiting for a response.\n" + kCVShortUsage},
        {[&] {
             bed.setEnvironment(
                 {{"DBUS_SESSION_BUS_ADDRESS", std::nullopt}, {"XDG_RUNTIME_DIR", std::nullopt}});
         },
         cannotConnect},
    };
    for (const auto& [setUp, error] : steps) {
        setUp();
        CVCommandResult result = bed.runTool({"-w", left, right}, {.deadline = 20s});
        EXPECT_FALSE(result.timedOut);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.standardError, error);
    }
}

TEST_F(TheToolWithTheApplication, LaunchesAnewWhenTheRunningCopyIsOnAnOlderBusAtTheSamePath) {
    // The session's bus path stays the same while the bus behind it is replaced: the stale copy
    // connected through the path when it led to the old bus.
    CVPrivateBus oldBus;
    std::string sessionPath = bed.root() + "/session-bus";
    std::filesystem::create_symlink(oldBus.address().substr(strlen("unix:path=")), sessionPath);
    bed.setEnvironment({{"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + sessionPath}});
    auto stale = bed.start({bed.applicationPath()});
    ASSERT_TRUE(CVWaitUntil([&] {
        return bed.run({"busctl", "--address=" + oldBus.address(), "status", "com.corvane.Corvane"})
                   .status == 0;
    }));
    std::filesystem::remove(sessionPath);
    std::filesystem::create_symlink(bed.root() + "/bus", sessionPath);

    CVCommandResult result = bed.runTool({left, right}, {.deadline = 30s});
    EXPECT_EQ(result.status, 0) << result.standardError;
    EXPECT_EQ(bed.answeredGUIDs().size(), 1u);
    EXPECT_TRUE(stale->isRunning());
}

TEST_F(TheToolWithTheApplication, CannotBeReachedByAnotherUsersClients) {
    ASSERT_NE(bed.startApplication(), nullptr);
    pid_t child = fork();
    if (child == 0) {
        if (setgid(65534) != 0 || setuid(65534) != 0) {
            _exit(2);  // Not root: nothing to show.
        }
        sd_bus* bus = nullptr;
        bool reached = sd_bus_new(&bus) >= 0 &&
                       sd_bus_set_address(bus, bed.busAddress().c_str()) >= 0 &&
                       sd_bus_set_bus_client(bus, 1) >= 0 && sd_bus_start(bus) >= 0 &&
                       sd_bus_call_method(bus, "com.corvane.Corvane.distributed-objects.cvdiff",
                                          "/com/corvane/Corvane/cvdiff",
                                          "com.corvane.Corvane.CVCLIProxyProtocol", "processID",
                                          nullptr, nullptr, "") >= 0;
        _exit(reached ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (WEXITSTATUS(status) == 2) {
        GTEST_SKIP() << "not root: cannot act as another user";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0) << "another user's client reached the application";
}

TEST_F(TheToolWithTheApplication, ShowsTheApplicationInItsDebugVersion) {
    const std::string tool =
        "cvdiff version: 6.4 (9077)\nBundle identifier: com.corvane.Corvane.cvdiff\n";
    const std::string logging =
        "To enable debug logging do this in Terminal:\n"
        "defaults write com.corvane.Corvane.cvdiff debug-logging -bool YES\n";
    const std::string found =
        "Corvane version: 6.4 (9077)\nCorvane at: '" + bed.bundlePath() + "'\n";
    for (const std::string& application : {found, std::string("Corvane version: NOT FOUND\n")}) {
        CVCommandResult result = bed.runTool({"--debug-version"});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.standardOutput, std::string(tool).append(application).append(logging));
        removeDesktopEntry();
    }
}

TEST_F(TheToolWithTheApplication, CapturesProcessSubstitutionOperands) {
    CVCommandResult result =
        bed.run({"bash", "-c", "\"$0\" <(echo one) <(echo two)", bed.toolPath()});
    EXPECT_EQ(result.status, 0) << result.standardError;
    std::vector<json> files = CVTestBed::fileListValues(bed.documents(), "files");
    ASSERT_EQ(files.size(), 1u);
    EXPECT_THAT(files[0], ElementsAre(MatchesRegex(".*/cvdiff-[0-9a-f]{4}\\.stdin"),
                                      MatchesRegex(".*/cvdiff-[0-9a-f]{4}\\.stdin")));
    EXPECT_EQ(folderEntries(bed.temporaryDirectory()), std::vector<std::string>{});
}

// Many runs started at once while Corvane is not running: every one must be delivered exactly
// once, however the launches race. Counted through the application's journal.
class ManyRunsFromCold : public TheToolWithTheApplication {
protected:
    // Starts every run at once and answers how many ended with status 0.
    int runTogether(const std::vector<std::vector<std::string>>& runs) {
        std::vector<std::shared_ptr<CVTestProcess>> started;
        started.reserve(runs.size());
        for (const auto& arguments : runs) {
            started.push_back(bed.startTool(arguments));
        }
        int succeeded = 0;
        for (auto& run : started) {
            CVCommandResult result = run->wait(120s);
            EXPECT_EQ(result.standardError, "");
            succeeded += result.status == 0 ? 1 : 0;
        }
        return succeeded;
    }
};

TEST_F(ManyRunsFromCold, DeliverSixtyFourDiffsEachOnce) {
    for (int round = 0; round < 3; ++round) {
        std::vector<std::vector<std::string>> runs(64, {left, right});
        EXPECT_EQ(runTogether(runs), 64) << "round " << round;
        EXPECT_EQ(bed.answeredGUIDs().size(), 64u * (round + 1)) << "round " << round;
        ASSERT_EQ(bed.quitApplication().status, 0);
        ASSERT_TRUE(CVWaitUntil([&] { return !bed.isApplicationRunning(); }));
    }
}

TEST_F(ManyRunsFromCold, DeliverTwoHundredPartialChangesetItemsIntoOneDocument) {
    std::vector<std::vector<std::string>> runs;
    std::vector<json> names;
    for (int item = 0; item < 200; ++item) {
        std::string name = "item-" + std::to_string(item);
        names.emplace_back(name);
        runs.push_back(
            {"--partial-changeset", "--UUID", "load", "--relative-path", name, left, right});
    }
    EXPECT_EQ(runTogether(runs), 200);
    EXPECT_EQ(bed.answeredGUIDs().size(), 200u);
    json documents = bed.documents();
    EXPECT_EQ(documents.size(), 1u);
    std::vector<json> paths = CVTestBed::fileListValues(documents, "relativePath");
    std::ranges::sort(paths);
    std::ranges::sort(names);
    EXPECT_EQ(paths, names);
}

}  // namespace
