#include "cli/CVCLIArgumentParser.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

using Calls = std::vector<std::string>;

std::string option(const std::string& name, const std::optional<std::string>& value) {
    return value ? " " + name + "=" + *value : "";
}

std::string wait(bool shouldWait) {
    return shouldWait ? " wait" : " no-wait";
}

// "'path' flags, 'path' flags...", the flags named after the options that set them.
std::string describe(const std::vector<CVFileDictionary>& files) {
    std::string text;
    for (const CVFileDictionary& file : files) {
        text += (text.empty() ? "'" : ", '") + file.path + "'";
        if (file.isTemporary) {
            text += *file.isTemporary ? " snapshot" : " no-snapshot";
        }
        if (file.deleteOnExit) {
            text += *file.deleteOnExit ? " deleted" : " kept";
        }
    }
    return text;
}

// Records every call, in order, as a line naming the command and everything it was given.
class RecordingDelegate : public CVCLIArgumentParserDelegate {
public:
    Calls calls;

    void parserDidParseVersionCommand(CVCLIArgumentParser*) override { record("version"); }
    void parserDidParseShortVersionCommand(CVCLIArgumentParser*) override {
        record("short-version");
    }
    void parserDidParseDebugVersionCommand(CVCLIArgumentParser*) override {
        record("debug-version");
    }
    void parserDidParseHelpCommand(CVCLIArgumentParser*) override { record("help"); }
    void parserDidParseResetFileAccessCommand(CVCLIArgumentParser*) override {
        record("reset-file-access");
    }
    void parserDidParseCrashCommand(CVCLIArgumentParser*) override { record("crash"); }
    void parserDidParseDiffCommand(CVCLIArgumentParser*, bool shouldWait,
                                   const std::optional<std::string>& label,
                                   const std::vector<CVFileDictionary>& files) override {
        record("diff" + wait(shouldWait) + option("label", label) + ": " + describe(files));
    }
    void parserDidParseMergeCommand(CVCLIArgumentParser*, const std::string& outputPath,
                                    const std::optional<std::string>& commonBaseFile,
                                    bool shouldWait,
                                    const std::vector<CVFileDictionary>& files) override {
        record("merge" + wait(shouldWait) + option("output", outputPath) +
               option("base", commonBaseFile) + ": " + describe(files));
    }
    void parserDidParseChangesetCommand(
        CVCLIArgumentParser*, const std::optional<std::string>& label, bool shouldWait,
        const std::vector<CVFileListDictionary>& fileLists) override {
        std::string call = "changeset" + wait(shouldWait) + option("label", label) + ":";
        for (const CVFileListDictionary& list : fileLists) {
            call += " [" + describe(list.files) + "]" + option("relative-path", list.relativePath);
        }
        record(call);
    }
    void parserDidParsePartialChangesetCommand(
        CVCLIArgumentParser*, const std::optional<std::string>& uuid,
        const std::optional<std::string>& label, const std::optional<std::string>& relativePath,
        bool shouldWait, const std::vector<CVFileDictionary>& files) override {
        record("partial-changeset" + wait(shouldWait) + option("label", label) +
               option("uuid", uuid) + option("relative-path", relativePath) + ": " +
               describe(files));
    }
    void parserDidParseMarkChangesetAsClosedCommand(CVCLIArgumentParser*,
                                                    const std::string& uuid) override {
        record("mark-changeset-as-closed" + option("uuid", uuid));
    }

private:
    void record(std::string call) { calls.push_back(std::move(call)); }
};

// The standard-input snapshot, and how a call shows it.
const CVFileDictionary kSnapshot{"/tmp/cvdiff-1234.stdin", std::nullopt, true};
const std::string kSnap = "'/tmp/cvdiff-1234.stdin' deleted";

struct Outcome {
    bool result = false;
    std::optional<CVError> error;
    Calls calls;
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
void expectCall(const std::vector<std::string>& arguments, const std::string& call,
                std::optional<CVFileDictionary> snapshot = std::nullopt) {
    Outcome outcome = parse(arguments, std::move(snapshot));
    EXPECT_TRUE(outcome.result) << (outcome.error ? outcome.error->localizedDescription() : "");
    EXPECT_EQ(outcome.calls, Calls{call});
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
        expectCall({option}, command);
    }
    expectFailure({"--version", "x"}, "unexpected argument: x");
    // A file access reset is told of even when the parse then fails.
    Outcome outcome = parse({"--reset-file-access", "x"});
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ(outcome.error, CVError::withLocalizedDescription("unexpected argument: x"));
    EXPECT_EQ(outcome.calls, Calls{"reset-file-access"});
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

TEST(AParser, RefusesWithAMessageNamingTheFault) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        // A repeated option of a group names the sorted group.
        {{"-w", "-W", "a"}, "Only one of --no-wait, --wait, -W, -w may be specified."},
        {{"--wait", "--wait", "a"}, "Only one of --no-wait, --wait, -W, -w may be specified."},
        {{"--label", "a", "--label", "b", "c"}, "Only one of --label, -l may be specified."},
        {{"--diff", "--diff", "a"}, "Only one of --diff may be specified."},
        {{"--partial-changeset", "--UUID", "u", "--UUID", "v", "a", "b"},
         "Only one of --UUID may be specified."},
        {{"a", "-s", "-S"}, "Only one of --no-snapshot, --snapshot, -S, -s may be specified."},
        // A changeset allows a relative path or file status in one item only.
        {{"--changeset", "--filelist", "--relative-path", "r", "a", "b", "--filelist",
          "--relative-path", "s", "c", "d"},
         "Only one of --relative-path may be specified."},
        {{"--changeset", "--filelist", "--file-status", "added", "a", "--filelist", "--file-status",
          "removed", "b"},
         "Only one of --file-status may be specified."},
        // A missing argument names the option as spelled.
        {{"-l"}, "-l expects an argument"},
        {{"--label"}, "--label expects an argument"},
        {{"a", "--filename"}, "--filename expects an argument"},
        {{"--mark-changeset-as-closed"}, "--mark-changeset-as-closed expects an argument"},
        {{"--merge", "--output", "o", "--base"}, "--base expects an argument"},
        // A merge needs an output path, whose absence replaces any other error, and two files.
        {{"--merge", "a", "b"}, "merges require that a valid --output path be specified."},
        {{"--merge", "-w", "-W", "a", "b"},
         "merges require that a valid --output path be specified."},
        {{"--merge", "--output"}, "merges require that a valid --output path be specified."},
        {{"--merge", "--output", "o", "a", "b", "c"}, "unexpected argument: c"},
        {{"--mark-changeset-as-closed", "U", "V"}, "unexpected argument: V"},
    };
    for (const auto& [arguments, message] : cases) {
        expectFailure(arguments, message);
    }
}

TEST(ADiff, TakesItsOptionsThenTheDelimiterThenFilesEachWithItsOwnOptions) {
    expectCall({"-w", "--label", "x", "--", "a", "-s", "b", "--no-snapshot"},
               "diff wait label=x: 'a' snapshot, 'b' no-snapshot");
    expectCall({"--label=x", "--diff", "--wait-debugger", "a"}, "diff no-wait label=x: 'a'");
    expectCall({"--label", "--wait", "a"}, "diff no-wait label=--wait: 'a'");
    expectCall({"a", "-l", "L", "--filename", "f", "--relative-path", "r", "b"},
               "diff no-wait: 'a', 'b'");
    expectCall({"-l", "L", "a", "-l", "M", "-s", "b", "-s"},
               "diff no-wait label=L: 'a' snapshot, 'b' snapshot");
    // Every token after an operand that is not its option is another operand.
    expectCall({"x", "--help", "-w", "--", "-x"}, "diff no-wait: 'x', '--help', '-w', '--', '-x'");
    expectCall({"", ""}, "diff no-wait: '', ''");
}

TEST(ADiff, PlacesTheStandardInputSnapshotWhereAnOperandClaimsIt) {
    expectCall({"a", "b"}, "diff no-wait: " + kSnap + ", 'a', 'b'", kSnapshot);
    expectCall({"a", "-", "b"}, "diff no-wait: 'a', " + kSnap + ", 'b'", kSnapshot);
    expectCall({"-", "-", "b"}, "diff no-wait: " + kSnap + ", '-', 'b'", kSnapshot);
    expectCall({"/dev/stdin", "-s"}, "diff no-wait: " + kSnap, kSnapshot);
    expectCall({"/dev/fd/0"}, "diff no-wait: " + kSnap, kSnapshot);
    expectCall({}, "diff no-wait: " + kSnap, kSnapshot);
    expectCall({"-", "a"}, "diff no-wait: '-', 'a'");
}

TEST(ADiff, KeepsTheFilesReadBeforeAnOperandWhoseOptionsClash) {
    Outcome outcome = parse({"a", "b", "-s", "-S"});
    EXPECT_TRUE(outcome.result);
    EXPECT_EQ(outcome.calls, Calls{"diff no-wait: 'a'"});
}

TEST(AMerge, WaitsUnlessToldNotTo) {
    expectCall({"--merge", "--output=o", "--base", "B", "--", "a", "-s", "b"},
               "merge wait output=o base=B: 'a' snapshot, 'b'");
    expectCall({"--merge", "--output", "o", "-W", "b", "a"}, "merge no-wait output=o: 'b', 'a'");
}

TEST(AChangeset, CollectsItemsAndDropsAnIncompleteLastOne) {
    expectCall(
        {"--changeset", "--filelist", "a", "b", "--filelist", "--relative-path", "r", "c", "d"},
        "changeset no-wait: ['a', 'b'] ['c', 'd'] relative-path=r");
    expectCall({"--changeset", "-w", "-l", "L", "--filelist", "a", "b", "--filelist", "c"},
               "changeset wait label=L: ['a', 'b']");
    expectCall({"--changeset", "--filelist", "--file-status=removed", "a"},
               "changeset no-wait: ['a', '/dev/null']");
}

TEST(APartialChangeset, ReadsOnePairOptionallyInFileStatusForm) {
    expectCall({"--partial-changeset", "--UUID", "u", "-l", "L", "--file-status=added", "f"},
               "partial-changeset no-wait label=L uuid=u: '/dev/null', 'f'");
    expectCall({"--partial-changeset", "--relative-path", "r", "-w", "--", "a", "b"},
               "partial-changeset wait relative-path=r: 'a', 'b'");
    // An unknown status word becomes the left file.
    expectCall({"--partial-changeset", "--file-status", "bogus", "a"},
               "partial-changeset no-wait: 'bogus', 'a'");
}

TEST(AChangesetMark, CarriesItsIdentifier) {
    expectCall({"--mark-changeset-as-closed", "U"}, "mark-changeset-as-closed uuid=U");
}

TEST(AParser, ReadsHugeCommandLines) {
    std::vector<std::string> manyOptions;
    std::string manyFiles;
    for (int index = 0; index < 50000; ++index) {
        manyOptions.insert(manyOptions.end(), {"a", "-s"});
        manyFiles += index == 0 ? "'a' snapshot" : ", 'a' snapshot";
    }
    EXPECT_EQ(parse(manyOptions).calls, Calls{"diff no-wait: " + manyFiles});

    std::string huge(1 << 20, 'x');
    EXPECT_EQ(parse({huge}).calls, Calls{"diff no-wait: '" + huge + "'"});
    // Every "=" of a double-dash argument makes a token: a label, then a million empty files.
    std::string emptyFiles = "''";
    for (int index = 1; index < 1 << 20; ++index) {
        emptyFiles += ", ''";
    }
    EXPECT_EQ(parse({"--label=" + std::string(1 << 20, '=')}).calls,
              Calls{"diff no-wait label=: " + emptyFiles});
}
