// The tool on its own: texts, exit statuses, what goes to which stream, robustness against any
// argument vector, and that a run leaves nothing in the temporary directory.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "CVTestBed.h"
#include "TemporaryFolder.h"
#include "cli/CVCLIUsage.h"

namespace {

const std::string kShortUsage =
    "usage: cvdiff [--version] [--wait] [--label <label>] FILE [opt] [FILE [opt]...]\n"
    "try cvdiff --help for more information.\n";

class ATool : public ::testing::Test {
protected:
    CVTestBed bed;

    CVCommandResult run(const std::vector<std::string>& arguments, CVRunOptions options = {}) {
        return bed.runTool(arguments, options);
    }
    // Everything the runs left in the temporary directory.
    std::vector<std::string> leftovers() { return folderEntries(bed.temporaryDirectory()); }
};

TEST_F(ATool, PrintsItsVersionFromItsBundleInformation) {
    for (const char* option : {"--version", "-v"}) {
        CVCommandResult result = run({option});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.standardOutput, "6.4 (9077)\n");
        EXPECT_EQ(result.standardError, "");
    }
    CVCommandResult shortVersion = run({"--short-version"});
    EXPECT_EQ(shortVersion.status, 0);
    EXPECT_EQ(shortVersion.standardOutput, "6.4 (9077)\n");
}

TEST_F(ATool, PrintsTheWholeUsageTextForHelp) {
    for (const char* option : {"--help", "-h"}) {
        CVCommandResult result = run({option});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.standardOutput, CVCLIUsage::usageString());
        EXPECT_EQ(std::count(result.standardOutput.begin(), result.standardOutput.end(), '\n'), 70);
    }
}

TEST_F(ATool, ReportsAGrammarErrorThroughTheShortUsageAlone) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--version", "x"},
                                                      {"--merge", "a", "b"},
                                                      {"-w", "-W", "a"},
                                                      {"--label"},
                                                      {}}) {
        CVCommandResult result = run(arguments);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.standardOutput, "");
        EXPECT_EQ(result.standardError, kShortUsage);
    }
}

TEST_F(ATool, PrintsAnErrorDescriptionBeforeTheShortUsage) {
    CVCommandResult result = run({"missing-left.txt", "missing-right.txt"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError,
              "cvdiff: \"missing-left.txt\": No such file or directory\n" + kShortUsage);
}

TEST_F(ATool, RefusesTheSameFileNamedThroughALinkedFolder) {
    std::string folder = bed.workDirectory() + "/folder";
    writeFile(folder + "/f.txt", "");
    std::filesystem::create_directory_symlink(folder, bed.workDirectory() + "/link");
    CVCommandResult result = run({"folder/f.txt", "link/f.txt"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.standardError,
              "cvdiff: " + folder +
                  "/f.txt: cannot use duplicate files within the same file list\n" + kShortUsage);
}

TEST_F(ATool, RefusesToPairAFolderHoldingANameThatIsNotUTF8) {
    std::filesystem::create_directories(bed.workDirectory() + "/left/sub");
    for (const char* name : {"/left/plain.txt", "/right/plain.txt", "/right/sub/caf\xE9.txt"}) {
        writeFile(bed.workDirectory() + name, "");
    }
    CVCommandResult result = run({"--changeset", "--filelist", "left", "right"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.standardError,
              "cvdiff: right/sub/caf\\xE9.txt: file name is not valid UTF-8\n" + kShortUsage);
}

TEST_F(ATool, ResetsFileAccessEvenWhenNoGrantWasStored) {
    const std::string suite = "K7CV2T9QX4.com.corvane.sharedItems";
    bed.run({CVDIFF_BINARY_DIR "/src/tool/defaults", "write", suite, "CVDiffResolvedAccessBookmark",
             "-string", "grant"});
    CVCommandResult reset = run({"--reset-file-access"});
    EXPECT_EQ(reset.status, 0);
    EXPECT_EQ(reset.standardOutput, "File access for cvdiff was reset.\n");
    EXPECT_EQ(bed.run({CVDIFF_BINARY_DIR "/src/tool/defaults", "read", suite,
                       "CVDiffResolvedAccessBookmark"})
                  .status,
              1);

    CVCommandResult again = run({"--reset-file-access"});
    EXPECT_EQ(again.standardOutput, "File access for cvdiff was reset.\n");

    CVCommandResult followedByMore = run({"--reset-file-access", "x"});
    EXPECT_EQ(followedByMore.status, 1);
    EXPECT_EQ(followedByMore.standardOutput, "File access for cvdiff was reset.\n");
    EXPECT_EQ(followedByMore.standardError, kShortUsage);
}

TEST_F(ATool, EndsTheCrashCommandThroughTheLastResortHandler) {
    CVCommandResult result = run({"--crash"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_TRUE(result.standardError.starts_with(
        "cvdiff has encountered an error. Exiting. (-[CVRunLoop firstObject]: unrecognized "
        "selector sent to instance 0x"))
        << result.standardError;
    EXPECT_EQ(result.standardError.back(), ')');
}

TEST_F(ATool, DropsArgumentsThatAreNotUTF8) {
    CVCommandResult result = run({"\xff\xfe", "--version", "\xc0\xaf"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.standardOutput, "6.4 (9077)\n");
}

TEST_F(ATool, SurvivesHugeAndEmptyArgumentVectors) {
    std::vector<std::string> many(100000, "x");
    many.insert(many.begin(), "--merge");
    CVCommandResult manyResult = run(many);
    EXPECT_EQ(manyResult.status, 1);
    EXPECT_FALSE(manyResult.timedOut);

    CVCommandResult large = run({"--label", std::string(100 * 1024, 'x')});
    EXPECT_EQ(large.status, 1);
    EXPECT_EQ(large.standardError, kShortUsage);

    CVCommandResult empty = run({"", "", "--", ""});
    EXPECT_EQ(empty.status, 1);
    EXPECT_FALSE(empty.timedOut);
}

TEST_F(ATool, CapturesStandardInputAndRemovesTheCopyWhenNoCommandUsesIt) {
    // The merge fails to parse after standard input was captured.
    CVCommandResult result = run({"--merge"}, {.standardInput = std::string(3 << 20, 'z')});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(leftovers(), std::vector<std::string>{});
}

TEST_F(ATool, NeverReadsStandardInputWhenToldNotTo) {
    // With --no-stdin the diff has no file at all: the grammar fails without reading the pipe.
    CVCommandResult result = run({"--no-stdin"}, {.standardInput = "data"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.standardError, kShortUsage);
    EXPECT_EQ(leftovers(), std::vector<std::string>{});
}

TEST_F(ATool, ReportsAndDropsDescriptorPathsThatCannotBeRead) {
    // Descriptor 7 is not open in the tool: the operand is dropped, and with it the whole diff,
    // which then succeeds without sending anything.
    CVCommandResult result = run({"/dev/fd/7"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.standardError, "bad file descriptor: /dev/fd/7\n");

    // Standard output is the write end of a pipe: reading it must not wait for the tool itself.
    CVCommandResult writeEnd = run({"/dev/fd/1"}, {.deadline = std::chrono::seconds(10)});
    EXPECT_FALSE(writeEnd.timedOut);
    EXPECT_EQ(writeEnd.standardError, "bad file descriptor: /dev/fd/1\n");
    EXPECT_EQ(leftovers(), std::vector<std::string>{});
}

}  // namespace
