// The tool at the edges users and scripts reach: interruptions, empty operands, standard input that
// stays open (an IDE's included), output that cannot be written, and what the debug log may show.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "CVTestBed.h"
#include "CVWaitUntil.h"
#include "TemporaryFolder.h"

using json = nlohmann::json;

namespace {

using namespace std::chrono_literals;

class TheTool : public ::testing::Test {
protected:
    CVTestBed bed;
    const std::string defaultsFile =
        bed.root() + "/config/corvane/com.corvane.Corvane.cvdiff.plist";

    void SetUp() override { writeFile(bed.workDirectory() + "/b", "b\n"); }
    std::vector<std::string> leftovers() { return folderEntries(bed.temporaryDirectory()); }
    // A shell line run with the tool's path as $0.
    std::shared_ptr<CVTestProcess> startShell(const std::string& line) {
        return bed.start({"/bin/sh", "-c", line, bed.toolPath()});
    }
};

// Interrupted while it reads standard input, or later while it waits for the tab, the tool
// removes its copy; while waiting it then ends by the signal.
TEST_F(TheTool, RemovesItsCaptureWhenInterruptedWhileReadingStandardInputOrWaiting) {
    for (int signalNumber : {SIGINT, SIGHUP, SIGTERM}) {
        SCOPED_TRACE("signal " + std::to_string(signalNumber));
        // The writer keeps the pipe open, so the tool is still reading when the signal comes.
        auto reading = startShell("(echo data; exec sleep 60) | \"$0\" -w - b");
        ASSERT_TRUE(CVWaitUntil([&] { return !leftovers().empty(); }));
        reading->signal(signalNumber);
        EXPECT_FALSE(reading->wait(10s).timedOut);
        EXPECT_TRUE(CVWaitUntil([&] { return leftovers().empty(); }))
            << testing::PrintToString(leftovers());

        const size_t answered = bed.answeredGUIDs().size();
        auto waiting = bed.startTool({"-w", "-", "b"}, {.standardInput = "captured\n"});
        ASSERT_TRUE(CVWaitUntil([&] { return bed.answeredGUIDs().size() > answered; }, 30s));
        waiting->signal(signalNumber);
        EXPECT_EQ(waiting->wait(10s).status, 128 + signalNumber);
        EXPECT_EQ(leftovers(), std::vector<std::string>{});
    }
}

TEST_F(TheTool, NeitherWaitsForNorCapturesStandardInputForCommandsThatReadNoFiles) {
    // Standard input is a pipe whose writer never closes it.
    for (const char* command : {"--version", "-v", "--short-version", "--debug-version", "--help",
                                "-h", "--reset-file-access", "--mark-changeset-as-closed UUID"}) {
        auto run = startShell(
            std::string("mkfifo pipe && exec 0<>pipe && rm pipe && exec \"$0\" ") + command);
        CVCommandResult result = run->wait(10s);
        EXPECT_FALSE(result.timedOut) << command;
        EXPECT_EQ(result.status, 0) << command << ": " << result.standardError;
    }
    EXPECT_EQ(leftovers(), std::vector<std::string>{});
}

// A caller recognised from the process chain as Linux really runs it.
TEST_F(TheTool, NeverMakesAJetBrainsRuntimeInAnyInstallationGiveStandardInput) {
    // An IDE started from bin/<product>.sh runs as <install>/jbr/bin/java; here a shell stands
    // in for that runtime, and its standard input is a pipe nobody ever closes.
    std::string install = bed.workDirectory() + "/apps/some-ide-2024.3";
    std::filesystem::create_directories(install + "/jbr/bin");
    writeFile(install + "/product-info.json", R"({"name": "GoLand", "productCode": "GO"})");
    std::filesystem::copy_file("/bin/sh", install + "/jbr/bin/java");
    writeFile(bed.workDirectory() + "/a", "a\n");
    CVCommandResult result = bed.run(
        {install + "/jbr/bin/java", "-c",
         "mkfifo pipe && exec 0<>pipe && rm pipe && \"$0\" a b; echo status $?", bed.toolPath()},
        {.deadline = 30s});
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.standardOutput, "status 0\n") << result.standardError;
    // Two files: no standard-input copy was put before them.
    EXPECT_EQ(
        CVTestBed::fileListValues(bed.documents(), "files"),
        std::vector<json>{json::array({bed.workDirectory() + "/a", bed.workDirectory() + "/b"})});
}

TEST_F(TheTool, FailsWhenItsOutputCannotBeWritten) {
    CVCommandResult result = bed.run({"/bin/sh", "-c", "\"$0\" --help >/dev/full", bed.toolPath()});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.standardError, "cvdiff: write error: No space left on device\n");
}

TEST_F(TheTool, LogsArgumentsEscapedAndNoEnvironmentValuesItDoesNotRead) {
    bed.runDefaults({"write", "com.corvane.Corvane.cvdiff", "debug-logging", "-bool", "YES"});
    bed.setEnvironment({{"SECRET_TOKEN", "hunter2"}});
    CVCommandResult result = bed.runTool({"--version", "a \"quoted\"\nline"});
    EXPECT_NE(result.standardError.find(R"("a \"quoted\"\nline")"), std::string::npos)
        << result.standardError;
    EXPECT_EQ(result.standardError.find("a \"quoted\"\nline"), std::string::npos);
    EXPECT_EQ(result.standardError.find("hunter2"), std::string::npos);
}

TEST_F(TheTool, PairsFoldersIntoAChangesetEvenDeeperThanTheOpenFileLimitOrSaysItCannot) {
    std::string deep;
    for (int level = 0; level < 1100; ++level) {
        deep += "d/";
    }
    for (const char* side : {"left/", "right/"}) {
        ASSERT_EQ(
            bed.run({"/bin/sh", "-c", "mkdir -p \"$0\" && echo \"$0\" > \"$0/f\"", side + deep})
                .status,
            0);
    }
    for (const char* name : {"/left/a.txt", "/left/sub/b.txt", "/right/a.txt", "/right/c.txt"}) {
        writeFile(bed.workDirectory() + name, name);
    }
    // Below the hard limit the walk raises its own soft limit and pairs the deep file.
    CVCommandResult paired = bed.run({"/bin/sh", "-c",
                                      "ulimit -S -n 1024 && exec \"$0\" --changeset --filelist "
                                      "left right",
                                      bed.toolPath()});
    EXPECT_EQ(paired.status, 0) << paired.standardError;
    EXPECT_EQ(CVTestBed::fileListValues(bed.documents(), "relativePath"),
              (std::vector<json>{"a.txt", "c.txt", deep + "f", "sub/b.txt"}));

    CVCommandResult refused =
        bed.run({"/bin/sh", "-c", "ulimit -n 1024 && exec \"$0\" --changeset --filelist left right",
                 bed.toolPath()});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.standardError,
              "cvdiff: left: the folder tree is deeper than the open-file limit allows\n" +
                  kCVShortUsage);
}

TEST_F(TheTool, StreamsAChangesetTooLargeForOneMessageOfTheBusWhileItPairsIt) {
    // Long paths make some 9 MB of items out of a few hundred, more than the bed's bus carries in
    // one message.
    std::string folder;
    for (int level = 0; level < 12; ++level) {
        folder += std::string(240, static_cast<char>('a' + level)) + "/";
    }
    const int items = 800;
    for (const char* side : {"left/", "right/"}) {
        ASSERT_EQ(bed.run({"/bin/sh", "-c",
                           "mkdir -p \"$0\" && cd \"$0\" && seq -f 'f%g' 1 $1 | xargs touch",
                           side + folder, std::to_string(items)})
                      .status,
                  0);
    }
    // It waits for the tab like any other document.
    auto waiting = bed.startTool({"--changeset", "--wait", "--filelist", "left", "right"});
    ASSERT_TRUE(CVWaitUntil([&] { return !bed.documents().empty(); }, 20s))
        << waiting->wait(1s).standardError;
    nlohmann::json document = bed.documents().back();
    std::vector<json> paths = CVTestBed::fileListValues(json::array({document}), "relativePath");
    EXPECT_EQ(paths.size(), size_t(items));
    EXPECT_NE(std::ranges::find(paths, json(folder + "f799")), paths.end());
    EXPECT_TRUE(waiting->isRunning());
    ASSERT_EQ(bed.closeTab(document["GUID"]).status, 0);
    CVCommandResult result = waiting->wait(10s);
    EXPECT_EQ(result.status, 0) << result.standardError;
    EXPECT_EQ(result.standardError, "");

    // A pairing that fails once the stream has begun leaves it unfinished: the application
    // refuses it and opens nothing, and the run reports its own error.
    writeFile(bed.workDirectory() + "/right/" + folder + "zz\xff", "");
    size_t before = bed.documents().size();
    CVCommandResult failed = bed.runTool({"--changeset", "--filelist", "left", "right"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.standardError.find("zz\\xFF: file name is not valid UTF-8\n") !=
                std::string::npos)
        << failed.standardError;
    EXPECT_EQ(bed.documents().size(), before);
    EXPECT_TRUE(CVWaitUntil(
        [&] {
            return std::ranges::any_of(bed.journalEntries(), [](const json& entry) {
                return entry.value("error", "") == "the stream ends before the frame that ends it";
            });
        },
        5s));
    EXPECT_TRUE(bed.applicationProcessID());
}

TEST_F(TheTool, IsNotHeldUpOrCrashedByPoisonedStateFiles) {
    const std::string closedChangesets = bed.dataHome() + "/Corvane/ClosedChangesets.plist";
    std::string deeplyNested = "<plist><array>";
    for (int level = 0; level < 200000; ++level) {
        deeplyNested += "<array>";
    }
    for (const std::string kind : {"nested", "fifo", "zero"}) {
        for (const std::string& path : {defaultsFile, closedChangesets}) {
            std::filesystem::create_directories(std::filesystem::path(path).parent_path());
            std::filesystem::remove(path);
            if (kind == "fifo") {
                ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
            } else if (kind == "zero") {
                std::filesystem::create_symlink("/dev/zero", path);
            } else {
                writeFile(path, deeplyNested);
            }
        }
        for (const std::vector<std::string>& arguments :
             {std::vector<std::string>{"--version"}, {"--mark-changeset-as-closed", "U"}}) {
            CVCommandResult result = bed.runTool(arguments, {.deadline = 20s});
            EXPECT_FALSE(result.timedOut) << kind;
            EXPECT_EQ(result.status, 0) << kind << ": " << result.standardError;
        }
    }
}

TEST_F(TheTool, KeepsAnUnreadableDefaultsFileAsideBeforeReplacingIt) {
    writeFile(defaultsFile, "not a property list, but the user's keys were in here");
    for (int time = 0; time < 2; ++time) {
        bed.runDefaults({"write", "com.corvane.Corvane.cvdiff", "debug-logging", "-bool", "NO"});
    }
    EXPECT_EQ(readFile(defaultsFile + ".corrupt"),
              "not a property list, but the user's keys were in here");
    EXPECT_EQ(
        bed.runDefaults({"read", "com.corvane.Corvane.cvdiff", "debug-logging"}).standardOutput,
        "0\n");
}

}  // namespace
