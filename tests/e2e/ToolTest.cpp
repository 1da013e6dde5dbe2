// The tool on its own: texts, exit statuses, what goes to which stream, robustness against any
// argument vector, and that a run leaves nothing in the temporary directory.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "CVTestBed.h"
#include "TemporaryFolder.h"
#include "cli/CVCLIUsage.h"

namespace {

const std::string kVersion = "6.4 (9077)\n";
const std::string kReset = "File access for cvdiff was reset.\n";

class ATool : public ::testing::Test {
protected:
    CVTestBed bed;
};

// Runs that end without the application: what each prints, on which stream, with which status.
TEST_F(ATool, AnswersEveryRunThatNeedsNoApplicationWithItsTextAndStatus) {
    writeFile(bed.workDirectory() + "/b", "b\n");
    writeFile(bed.workDirectory() + "/-", "not standard input\n");
    // The same file through a linked folder; a folder holding a name that is not UTF-8.
    const std::string folder = bed.workDirectory() + "/folder";
    writeFile(folder + "/f.txt", "");
    std::filesystem::create_directory_symlink(folder, bed.workDirectory() + "/link");
    for (const char* name : {"/left/plain.txt", "/right/plain.txt", "/right/sub/caf\xE9.txt"}) {
        writeFile(bed.workDirectory() + name, "");
    }
    std::filesystem::create_directories(bed.workDirectory() + "/left/sub");
    const std::string duplicate = "cvdiff: " + folder +
                                  "/f.txt: cannot use duplicate files within the same file list\n" +
                                  kCVShortUsage;
    const std::string notUTF8 =
        "cvdiff: right/sub/caf\\xE9.txt: file name is not valid UTF-8\n" + kCVShortUsage;
    std::vector<std::string> many(100000, "x");
    many.insert(many.begin(), "--merge");
    auto missing = [](const std::string& name) {
        return "cvdiff: \"" + name + "\": No such file or directory\n" + kCVShortUsage;
    };
    struct Case {
        std::vector<std::string> arguments;
        int status;
        std::string output;
        std::string error;
        std::optional<std::string> input = std::nullopt;
    };
    const Case cases[] = {
        {{"--version"}, 0, kVersion, ""},
        {{"-v"}, 0, kVersion, ""},
        {{"--short-version"}, 0, kVersion, ""},
        {{"\xff\xfe", "--version", "\xc0\xaf"}, 0, kVersion, ""},  // arguments not UTF-8 dropped
        {{"--help"}, 0, CVCLIUsage::usageString(), ""},
        {{"-h"}, 0, CVCLIUsage::usageString(), ""},
        // Grammar errors: the short usage alone.
        {{"--version", "x"}, 1, "", kCVShortUsage},
        {{"--merge", "a", "b"}, 1, "", kCVShortUsage},
        {{"-w", "-W", "a"}, 1, "", kCVShortUsage},
        {{"--label"}, 1, "", kCVShortUsage},
        {{}, 1, "", kCVShortUsage},
        {{"--label", std::string(size_t{100} * 1024, 'x')}, 1, "", kCVShortUsage},
        {many, 1, "", kCVShortUsage},
        // Standard input is captured before the merge fails to parse; the copy goes with the run.
        {{"--merge"}, 1, "", kCVShortUsage, std::string(3 << 20, 'z')},
        // With --no-stdin the diff has no file at all: the grammar fails without reading the pipe.
        {{"--no-stdin"}, 1, "", kCVShortUsage, "data"},
        {{"--reset-file-access", "x"}, 1, kReset, kCVShortUsage},
        // An operand that is not there, empty, or "-" when standard input gave nothing.
        {{"missing-left.txt", "missing-right.txt"}, 1, "", missing("missing-left.txt")},
        {{"", "b"}, 1, "", missing("")},
        {{"b", ""}, 1, "", missing("")},
        {{"--merge", "--output", "", "b", "b"}, 1, "", missing("")},
        {{"--changeset", "--filelist", "", "b"}, 1, "", missing("")},
        {{"-", "b"}, 1, "", missing("-"), ""},
        {{"", "", "--", ""}, 1, "", missing("")},
        {{"folder/f.txt", "link/f.txt"}, 1, "", duplicate},
        {{"--changeset", "--filelist", "left", "right"}, 1, "", notUTF8},
        // Descriptor 7 is not open in the tool: the operand is dropped, and with it the whole
        // diff, which then succeeds without sending anything. Standard output is the write end
        // of a pipe: reading it must not wait for the tool itself.
        {{"/dev/fd/7"}, 0, "", "bad file descriptor: /dev/fd/7\n"},
        {{"/dev/fd/1"}, 0, "", "bad file descriptor: /dev/fd/1\n"},
    };
    for (const Case& sample : cases) {
        SCOPED_TRACE(testing::PrintToString(sample.arguments));
        CVCommandResult result =
            bed.runTool(sample.arguments,
                        {.standardInput = sample.input, .deadline = std::chrono::seconds(10)});
        EXPECT_FALSE(result.timedOut);
        EXPECT_EQ(result.status, sample.status);
        EXPECT_EQ(result.standardOutput, sample.output);
        EXPECT_EQ(result.standardError, sample.error);
    }
    EXPECT_FALSE(bed.isApplicationRunning());
    EXPECT_EQ(folderEntries(bed.temporaryDirectory()), std::vector<std::string>{});
}

TEST_F(ATool, ResetsFileAccessEvenWhenNoGrantWasStored) {
    const std::string suite = "K7CV2T9QX4.com.corvane.sharedItems";
    bed.runDefaults({"write", suite, "CVDiffResolvedAccessBookmark", "-string", "grant"});
    for (int time = 0; time < 2; ++time) {
        CVCommandResult reset = bed.runTool({"--reset-file-access"});
        EXPECT_EQ(reset.status, 0);
        EXPECT_EQ(reset.standardOutput, kReset);
    }
    EXPECT_EQ(bed.runDefaults({"read", suite, "CVDiffResolvedAccessBookmark"}).status, 1);
}

TEST_F(ATool, EndsTheCrashCommandThroughTheLastResortHandler) {
    CVCommandResult result = bed.runTool({"--crash"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_TRUE(result.standardError.starts_with(
        "cvdiff has encountered an error. Exiting. (-[CVRunLoop firstObject]: unrecognized "
        "selector sent to instance 0x"))
        << result.standardError;
    EXPECT_EQ(result.standardError.back(), ')');
}

}  // namespace
