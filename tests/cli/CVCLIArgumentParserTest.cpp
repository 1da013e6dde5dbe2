#include "cli/CVCLIArgumentParser.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "RecordingDelegate.h"

void PrintTo(const CVFileDictionary& entry, std::ostream* stream) {
    *stream << "{" << entry.path << " temporary=" << testing::PrintToString(entry.isTemporary)
            << " deleteOnExit=" << testing::PrintToString(entry.deleteOnExit) << "}";
}

void PrintTo(const CVFileListDictionary& list, std::ostream* stream) {
    *stream << testing::PrintToString(list.files) << " at "
            << testing::PrintToString(list.relativePath);
}

void PrintTo(const RecordedCall& call, std::ostream* stream) {
    using testing::PrintToString;
    *stream << call.command << " wait=" << PrintToString(call.shouldWait)
            << " label=" << PrintToString(call.label) << " uuid=" << PrintToString(call.uuid)
            << " relativePath=" << PrintToString(call.relativePath)
            << " output=" << PrintToString(call.outputPath)
            << " base=" << PrintToString(call.commonBaseFile)
            << " files=" << PrintToString(call.files)
            << " fileLists=" << PrintToString(call.fileLists);
}

namespace {

const CVFileDictionary kSnapshot{"/tmp/cvdiff-1234.stdin", std::nullopt, true};

struct Outcome {
    bool result = false;
    std::optional<CVError> error;
    std::vector<RecordedCall> calls;
};

Outcome parse(std::vector<std::string> arguments,
              std::optional<CVFileDictionary> snapshot = std::nullopt) {
    arguments.insert(arguments.begin(), "/usr/local/bin/cvdiff");
    CVCLIArgumentParser parser(arguments, std::set<std::string>{"--no-stdin"});
    RecordingDelegate delegate;
    parser.setDelegate(&delegate);
    parser.setStdinTempFile(std::move(snapshot));
    Outcome outcome;
    outcome.result = parser.parseWithError(&outcome.error);
    outcome.calls = delegate.calls;
    return outcome;
}

// A parse that must fail with exactly this message and without calling the delegate.
void expectFailure(const std::vector<std::string>& arguments, const std::string& message) {
    Outcome outcome = parse(arguments);
    EXPECT_FALSE(outcome.result);
    ASSERT_TRUE(outcome.error.has_value()) << message;
    EXPECT_EQ(outcome.error->localizedDescription(), message);
    EXPECT_EQ(outcome.error, CVError::withLocalizedDescription(message));
    EXPECT_TRUE(outcome.calls.empty());
}

// A parse that must succeed with exactly this one delegate call.
void expectCall(const std::vector<std::string>& arguments, const RecordedCall& call,
                std::optional<CVFileDictionary> snapshot = std::nullopt) {
    Outcome outcome = parse(arguments, std::move(snapshot));
    EXPECT_TRUE(outcome.result) << (outcome.error ? outcome.error->localizedDescription() : "");
    EXPECT_EQ(outcome.calls, std::vector<RecordedCall>{call});
}

RecordedCall diff(std::vector<CVFileDictionary> files, bool shouldWait = false,
                  std::optional<std::string> label = std::nullopt) {
    return {.command = "diff",
            .shouldWait = shouldWait,
            .label = std::move(label),
            .files = std::move(files)};
}

std::vector<std::string> tokens(const std::vector<std::string>& arguments) {
    return CVCLIArgumentParser(arguments, std::set<std::string>{"--no-stdin"}).arguments();
}

}  // namespace

TEST(ATokenizer, SplitsDoubleDashOptionsBeforeTheDelimiterAndFileStatusPairsAtEqualsSigns) {
    using Strings = std::vector<std::string>;
    const std::pair<Strings, Strings> cases[] = {
        {{"p", "--label=a=b", "--output="}, {"p", "--label", "a", "b", "--output", ""}},
        {{"p", "-l=x", "-", "a=b"}, {"p", "-l=x", "-", "a=b"}},  // never single-dash tokens
        {{"p", "--", "--label=x", "--file-status=added", "--file-status=removed",
          "--file-status=other"},
         {"p", "--", "--label=x", "--file-status", "added", "--file-status", "removed",
          "--file-status=other"}},
    };
    for (const auto& [arguments, expected] : cases) {
        EXPECT_EQ(tokens(arguments), expected);
    }
}

TEST(ATokenizer, LiftsGlobalFlagsOutOnlyBeforeTheDelimiter) {
    CVCLIArgumentParser parser({"p", "a", "--no-stdin", "--no-stdin=1", "--", "--no-stdin"},
                               std::set<std::string>{"--no-stdin"});
    EXPECT_TRUE(parser.wasGlobalFlagSet("--no-stdin"));
    EXPECT_EQ(parser.arguments(),
              (std::vector<std::string>{"p", "a", "--no-stdin", "1", "--", "--no-stdin"}));
    EXPECT_EQ(parser.programPath(), "p");
    EXPECT_FALSE(CVCLIArgumentParser({"p", "--", "--no-stdin"}, std::set<std::string>{"--no-stdin"})
                     .wasGlobalFlagSet("--no-stdin"));
}

TEST(AParser, RecognisesTheInformationalCommandsOnlyAloneButTellsOfAResetAnyway) {
    for (const auto& [option, command] : std::vector<std::pair<std::string, std::string>>{
             {"--version", "version"},
             {"-v", "version"},
             {"--short-version", "short-version"},
             {"--debug-version", "debug-version"},
             {"--help", "help"},
             {"-h", "help"},
             {"--crash", "crash"},
             {"--reset-file-access", "reset-file-access"}}) {
        expectCall({option}, {.command = command});
    }
    expectFailure({"--version", "x"}, "unexpected argument: x");
    // A file access reset is told of even when the parse then fails.
    Outcome outcome = parse({"--reset-file-access", "x"});
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ(outcome.error, CVError::withLocalizedDescription("unexpected argument: x"));
    EXPECT_EQ(outcome.calls, std::vector<RecordedCall>{{.command = "reset-file-access"}});
}

TEST(AParser, FailsWithoutAnErrorWhenNothingMatches) {
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {"--changeset"},
                                               {"--partial-changeset", "a"},
                                               {"--merge", "--output", "o", "a"}}) {
        Outcome outcome = parse(arguments);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.error, std::nullopt);
        EXPECT_TRUE(outcome.calls.empty());
    }
}

TEST(ADiff, TakesItsOptionsThenTheDelimiterThenFilesEachWithItsOwnOptions) {
    expectCall({"-w", "--label", "x", "--", "a", "-s", "b", "--no-snapshot"},
               diff({file("a", true), file("b", false)}, true, "x"));
    expectCall({"--label=x", "--diff", "--wait-debugger", "a"}, diff({file("a")}, false, "x"));
    expectCall({"--label", "--wait", "a"}, diff({file("a")}, false, "--wait"));
    expectCall({"a", "-l", "L", "--filename", "f", "--relative-path", "r", "b"},
               diff({file("a"), file("b")}));
    expectCall({"-l", "L", "a", "-l", "M", "-s", "b", "-s"},
               diff({file("a", true), file("b", true)}, false, "L"));
}

TEST(ADiff, ReadsEveryTokenAfterAnOperandThatIsNotItsOptionAsAnotherOperand) {
    expectCall({"x", "--help", "-w", "--", "-x"},
               diff({file("x"), file("--help"), file("-w"), file("--"), file("-x")}));
    expectCall({"", ""}, diff({file(""), file("")}));
}

TEST(ADiff, PlacesTheStandardInputSnapshotWhereAnOperandClaimsIt) {
    expectCall({"a", "b"}, diff({kSnapshot, file("a"), file("b")}), kSnapshot);
    expectCall({"a", "-", "b"}, diff({file("a"), kSnapshot, file("b")}), kSnapshot);
    expectCall({"-", "-", "b"}, diff({kSnapshot, file("-"), file("b")}), kSnapshot);
    expectCall({"/dev/stdin", "-s"}, diff({kSnapshot}), kSnapshot);
    expectCall({"/dev/fd/0"}, diff({kSnapshot}), kSnapshot);
    expectCall({}, diff({kSnapshot}), kSnapshot);
    expectCall({"-", "a"}, diff({file("-"), file("a")}));
}

TEST(ADiff, KeepsTheFilesReadBeforeAnOperandWhoseOptionsClash) {
    Outcome outcome = parse({"a", "b", "-s", "-S"});
    EXPECT_TRUE(outcome.result);
    EXPECT_EQ(outcome.calls, std::vector<RecordedCall>{diff({file("a")})});

    expectFailure({"a", "-s", "-S"},
                  "Only one of --no-snapshot, --snapshot, -S, -s may be specified.");
}

TEST(AParser, RejectsARepeatedOptionOfAGroupWithTheSortedGroup) {
    expectFailure({"-w", "-W", "a"}, "Only one of --no-wait, --wait, -W, -w may be specified.");
    expectFailure({"--wait", "--wait", "a"},
                  "Only one of --no-wait, --wait, -W, -w may be specified.");
    expectFailure({"--label", "a", "--label", "b", "c"},
                  "Only one of --label, -l may be specified.");
    expectFailure({"--diff", "--diff", "a"}, "Only one of --diff may be specified.");
    expectFailure({"--partial-changeset", "--UUID", "u", "--UUID", "v", "a", "b"},
                  "Only one of --UUID may be specified.");
}

TEST(AParser, NamesTheOptionAsSpelledWhenItsArgumentIsMissing) {
    expectFailure({"-l"}, "-l expects an argument");
    expectFailure({"--label"}, "--label expects an argument");
    expectFailure({"a", "--filename"}, "--filename expects an argument");
    expectFailure({"--mark-changeset-as-closed"}, "--mark-changeset-as-closed expects an argument");
    expectFailure({"--merge", "--output", "o", "--base"}, "--base expects an argument");
}

TEST(AMerge, NeedsAnOutputPathAndExactlyTwoFiles) {
    expectFailure({"--merge", "a", "b"}, "merges require that a valid --output path be specified.");
    expectFailure({"--merge", "-w", "-W", "a", "b"},
                  "merges require that a valid --output path be specified.");
    expectFailure({"--merge", "--output", "o", "a", "b", "c"}, "unexpected argument: c");
    // The missing output replaces the error of the option that lacked it.
    expectFailure({"--merge", "--output"},
                  "merges require that a valid --output path be specified.");
}

TEST(AMerge, WaitsUnlessToldNotTo) {
    expectCall({"--merge", "--output=o", "--base", "B", "--", "a", "-s", "b"},
               {.command = "merge",
                .shouldWait = true,
                .outputPath = "o",
                .commonBaseFile = "B",
                .files = {file("a", true), file("b")}});
    expectCall({"--merge", "--output", "o", "-W", "b", "a"}, {.command = "merge",
                                                              .shouldWait = false,
                                                              .outputPath = "o",
                                                              .files = {file("b"), file("a")}});
}

TEST(AChangeset, CollectsItemsAndDropsAnIncompleteLastOne) {
    expectCall(
        {"--changeset", "--filelist", "a", "b", "--filelist", "--relative-path", "r", "c", "d"},
        {.command = "changeset",
         .shouldWait = false,
         .fileLists = {{{file("a"), file("b")}, std::nullopt}, {{file("c"), file("d")}, "r"}}});
    expectCall({"--changeset", "-w", "-l", "L", "--filelist", "a", "b", "--filelist", "c"},
               {.command = "changeset",
                .shouldWait = true,
                .label = "L",
                .fileLists = {{{file("a"), file("b")}, std::nullopt}}});
    expectCall({"--changeset", "--filelist", "--file-status=removed", "a"},
               {.command = "changeset",
                .shouldWait = false,
                .fileLists = {{{file("a"), file("/dev/null")}, std::nullopt}}});
}

TEST(AChangeset, AllowsARelativePathOrFileStatusInOneItemOnly) {
    expectFailure({"--changeset", "--filelist", "--relative-path", "r", "a", "b", "--filelist",
                   "--relative-path", "s", "c", "d"},
                  "Only one of --relative-path may be specified.");
    expectFailure({"--changeset", "--filelist", "--file-status", "added", "a", "--filelist",
                   "--file-status", "removed", "b"},
                  "Only one of --file-status may be specified.");
}

TEST(APartialChangeset, ReadsOnePairOptionallyInFileStatusForm) {
    expectCall({"--partial-changeset", "--UUID", "u", "-l", "L", "--file-status=added", "f"},
               {.command = "partial-changeset",
                .shouldWait = false,
                .label = "L",
                .uuid = "u",
                .files = {file("/dev/null"), file("f")}});
    expectCall({"--partial-changeset", "--relative-path", "r", "-w", "--", "a", "b"},
               {.command = "partial-changeset",
                .shouldWait = true,
                .relativePath = "r",
                .files = {file("a"), file("b")}});
    // An unknown status word becomes the left file.
    expectCall(
        {"--partial-changeset", "--file-status", "bogus", "a"},
        {.command = "partial-changeset", .shouldWait = false, .files = {file("bogus"), file("a")}});
}

TEST(AChangesetMark, CarriesItsIdentifier) {
    expectCall({"--mark-changeset-as-closed", "U"},
               {.command = "mark-changeset-as-closed", .uuid = "U"});
    expectFailure({"--mark-changeset-as-closed", "U", "V"}, "unexpected argument: V");
}

TEST(AParser, ReadsHugeCommandLines) {
    std::vector<std::string> manyOptions;
    for (int index = 0; index < 50000; ++index) {
        manyOptions.insert(manyOptions.end(), {"a", "-s"});
    }
    EXPECT_EQ(parse(manyOptions).calls.at(0).files.size(), 50000u);

    std::string huge(1 << 20, 'x');
    EXPECT_EQ(parse({huge}).calls.at(0).files, std::vector<CVFileDictionary>{file(huge)});
    // Every "=" of a double-dash argument makes a token: a label, then a million empty files.
    Outcome equals = parse({"--label=" + std::string(1 << 20, '=')});
    ASSERT_EQ(equals.calls.size(), 1u);
    EXPECT_EQ(equals.calls[0].files.size(), 1u << 20);
}
