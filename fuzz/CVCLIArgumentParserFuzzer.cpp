// Feeds arbitrary command lines to the tokenizer and the grammar and checks what reaches the
// delegate. Input: a flags byte (bit 0: a standard-input snapshot is waiting; bit 1: "--no-stdin"
// is a global flag), then the arguments separated by NUL bytes, the program path first.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cli/CVCLIArgumentParser.h"
#include "cli/CVCLIArgumentParserDelegate.h"

namespace {

void check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

const CVFileDictionary kSnapshot{"/tmp/cvdiff-fuzz.stdin", std::nullopt, true};

class CheckingDelegate : public CVCLIArgumentParserDelegate {
public:
    int calls = 0;
    bool resetFileAccess = false;

    void parserDidParseVersionCommand(CVCLIArgumentParser*) override { ++calls; }
    void parserDidParseShortVersionCommand(CVCLIArgumentParser*) override { ++calls; }
    void parserDidParseDebugVersionCommand(CVCLIArgumentParser*) override { ++calls; }
    void parserDidParseHelpCommand(CVCLIArgumentParser*) override { ++calls; }
    void parserDidParseResetFileAccessCommand(CVCLIArgumentParser*) override {
        ++calls;
        resetFileAccess = true;
    }
    void parserDidParseCrashCommand(CVCLIArgumentParser*) override { ++calls; }
    void parserDidParseDiffCommand(CVCLIArgumentParser* parser, bool,
                                   const std::optional<std::string>&,
                                   const std::vector<CVFileDictionary>& files) override {
        ++calls;
        check(!files.empty());
        checkFiles(parser, files);
    }
    void parserDidParseMergeCommand(CVCLIArgumentParser* parser, const std::string&,
                                    const std::optional<std::string>&, bool,
                                    const std::vector<CVFileDictionary>& files) override {
        ++calls;
        check(files.size() == 2);
        checkFiles(parser, files);
    }
    void parserDidParseChangesetCommand(
        CVCLIArgumentParser* parser, const std::optional<std::string>&, bool,
        const std::vector<CVFileListDictionary>& fileLists) override {
        ++calls;
        check(!fileLists.empty());
        for (const auto& list : fileLists) {
            check(list.files.size() == 2);
            checkFiles(parser, list.files);
        }
    }
    void parserDidParsePartialChangesetCommand(
        CVCLIArgumentParser* parser, const std::optional<std::string>&,
        const std::optional<std::string>&, const std::optional<std::string>&, bool,
        const std::vector<CVFileDictionary>& files) override {
        ++calls;
        check(files.size() == 2);
        checkFiles(parser, files);
    }
    void parserDidParseMarkChangesetAsClosedCommand(CVCLIArgumentParser*,
                                                    const std::string&) override {
        ++calls;
    }

private:
    // The snapshot is handed over at most once, untouched, and only the parser's own copies
    // are marked for deletion.
    static void checkFiles(CVCLIArgumentParser* parser,
                           const std::vector<CVFileDictionary>& files) {
        int snapshots = 0;
        for (const auto& file : files) {
            if (file.deleteOnExit) {
                check(file == kSnapshot);
                ++snapshots;
            }
        }
        check(snapshots <= 1);
        check(snapshots == 0 || !parser->stdinTempFile());
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const bool snapshotWaiting = (data[0] & 1) != 0;
    const bool noStdinIsGlobal = (data[0] & 2) != 0;

    std::vector<std::string> arguments;
    std::string current;
    for (std::size_t index = 1; index < size; ++index) {
        if (data[index] == 0) {
            arguments.push_back(std::move(current));
            current.clear();
        } else {
            current.push_back(static_cast<char>(data[index]));
        }
    }
    arguments.push_back(std::move(current));

    std::optional<std::set<std::string>> globalFlags;
    if (noStdinIsGlobal) {
        globalFlags = std::set<std::string>{"--no-stdin"};
    }
    CVCLIArgumentParser parser(arguments, globalFlags);
    // The global flag is lifted out exactly when it is a whole argument before the delimiter.
    bool flagBeforeDelimiter = false;
    for (const auto& argument : arguments) {
        if (argument == "--") {
            break;
        }
        flagBeforeDelimiter = flagBeforeDelimiter || argument == "--no-stdin";
    }
    check(parser.wasGlobalFlagSet("--no-stdin") == (noStdinIsGlobal && flagBeforeDelimiter));

    CheckingDelegate delegate;
    parser.setDelegate(&delegate);
    if (snapshotWaiting) {
        parser.setStdinTempFile(kSnapshot);
    }
    std::optional<CVError> error;
    bool parsed = parser.parseWithError(&error);
    if (parsed) {
        check(delegate.calls == 1);
    } else {
        // Only a file-access reset is told before the rest of the line is checked.
        check(delegate.calls == (delegate.resetFileAccess ? 1 : 0));
        check(error == parser.parseError());
        check(!error || !error->localizedDescription().empty());
    }
    check(parser.isSuccessful() == !parser.parseError().has_value());
    return 0;
}
