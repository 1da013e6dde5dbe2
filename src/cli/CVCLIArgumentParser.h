#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "cli/CVCLIArgumentParserDelegate.h"
#include "cli/CVFileDictionary.h"
#include "platform/CVError.h"

// Turns one command line into exactly one command and reports it to the delegate. A hand-written
// recursive-descent parser over a one-token look-ahead: a consumed token is never given back, and
// each rule starts where the previous one stopped. One parser serves one command line: create it,
// set the delegate (and the standard-input snapshot), call parseWithError once.
//
// CVCLIArgumentParser.cpp holds the tokenizer and the primitives, CVCLIArgumentParserGrammar.cpp
// the command and option rules.
class CVCLIArgumentParser {
public:
    // Preset to true; the action may set it to false to make the rule fail.
    using OptionAction = std::function<void(bool& result)>;
    using StringAction = std::function<void(const std::string& token, bool& result)>;
    // Receives an option's argument; cannot make the rule fail.
    using ValueAction = std::function<void(const std::string& value)>;
    // Calls exactly one delegate method when run.
    using CommandAction = std::function<void()>;
    // Option forms of which only one may be used per option scope.
    using OptionGroup = std::set<std::string>;

    // arguments: the full argument vector, the program path first. globalFlags: the flags that
    // are lifted out of the command line before "--" (see wasGlobalFlagSet).
    CVCLIArgumentParser(const std::vector<std::string>& arguments,
                        const std::optional<std::set<std::string>>& globalFlags);
    // A parser without global flags.
    static std::unique_ptr<CVCLIArgumentParser> parserWithArguments(
        const std::vector<std::string>& arguments);

    CVCLIArgumentParser(const CVCLIArgumentParser&) = delete;
    CVCLIArgumentParser& operator=(const CVCLIArgumentParser&) = delete;

    // Splits "--name=value" tokens at every "=", keeps everything after a lone "--" whole (except
    // "--file-status=added|removed"), and lifts the global flags out. Sets globalFlagsSet.
    std::vector<std::string> tokenizeArguments(
        const std::vector<std::string>& arguments,
        const std::optional<std::set<std::string>>& globalFlags);
    bool wasGlobalFlagSet(const std::string& flag) const;

    // Tries the commands in their fixed order and, when one matched and no token is left, runs
    // its delegate call. Returns false otherwise; the error slot (may be null) then receives
    // parseError, which is absent when no rule matched and none raised an error.
    bool parseWithError(std::optional<CVError>* error);

    const std::vector<std::string>& arguments() const { return arguments_; }
    const std::set<std::string>& globalFlagsSet() const { return globalFlagsSet_; }
    const std::string& programPath() const { return programPath_; }
    void setProgramPath(std::string path) { programPath_ = std::move(path); }
    // Not owned; may be null.
    CVCLIArgumentParserDelegate* delegate() const { return delegate_; }
    void setDelegate(CVCLIArgumentParserDelegate* delegate) { delegate_ = delegate; }
    // The standard-input snapshot waiting to be claimed by a file operand or prepended to a diff.
    const std::optional<CVFileDictionary>& stdinTempFile() const { return stdinTempFile_; }
    void setStdinTempFile(std::optional<CVFileDictionary> file) {
        stdinTempFile_ = std::move(file);
    }
    // Makes the snapshot only when a rule first asks for it, so that the commands which read no
    // files (help, version, mark closed, ...) never wait for standard input. Runs at most once.
    using StdinTempFileProvider = std::function<std::optional<CVFileDictionary>()>;
    void setStdinTempFileProvider(StdinTempFileProvider provider) {
        stdinTempFileProvider_ = std::move(provider);
    }
    // Sticky: a later error may replace it, nothing clears it.
    const std::optional<CVError>& parseError() const { return parseError_; }
    void setParseError(std::optional<CVError> error) { parseError_ = std::move(error); }
    const std::set<std::string>& parsedOptions() const { return parsedOptions_; }
    void setParsedOptions(std::set<std::string> options) { parsedOptions_ = std::move(options); }
    bool didParseFileDelimiter() const { return didParseFileDelimiter_; }
    void setDidParseFileDelimiter(bool value) { didParseFileDelimiter_ = value; }
    bool isSuccessful() const { return !parseError_.has_value(); }

    static CVError errorWithLocalizedDescription(const std::string& text);

    // The look-ahead token, fetched first when needed; null once the tokens are exhausted.
    const std::string* currentArgument();

    // The one matching primitive: matches `string` exactly, or any token when it is absent.
    // Consumes the token on a match; a clash with `group` sets parseError and returns false.
    bool consumeString(std::optional<std::string_view> string, const OptionGroup* group,
                       const StringAction& block);
    bool consumeOption(std::string_view option, const OptionGroup* group,
                       const OptionAction& block);
    bool consumeOption(std::string_view option, const OptionAction& block);
    // Takes whatever token comes next.
    bool consumeStringWithBlock(const StringAction& block);
    // Takes the next token; sets parseError to `reason` when none is left.
    bool expectStringWithReason(const std::string& reason, const ValueAction& block);
    // The option and its argument as two tokens; "%@ expects an argument" when it is the last.
    bool consumeOptionExpectingArgument(std::string_view option, const OptionGroup* group,
                                        const ValueAction& block);
    // An optional lone "--" before the file operands.
    bool parseFileDelimiter();

    // The shared exclusivity groups, created once.
    static const OptionGroup& waitExclusiveOptions();
    static const OptionGroup& snapshotExclusiveOptions();
    static const OptionGroup& fileStatusExclusiveOptions();

private:
    // Command rules, in the order parseWithError tries them.
    bool parseVersion(CommandAction& action);
    bool parseShortVersion(CommandAction& action);
    bool parseDebugVersion(CommandAction& action);
    bool parseHelp(CommandAction& action);
    bool parseResetFileAccess(CommandAction& action);
    bool parseCrash(CommandAction& action);
    bool parsePartialChangeset(CommandAction& action);
    bool parseMarkChangesetAsClosed(CommandAction& action);
    bool parseChangeset(CommandAction& action);
    bool parseMerge(CommandAction& action);
    bool parseDiff(CommandAction& action);

    // Option rules: true when the option was consumed; a null target reads and drops the value.
    bool parseWait(bool* shouldWait);
    bool parseLabel(std::optional<std::string>* label);
    bool parseWaitDebugger();
    bool parseDiffFlag();
    bool parseRelativePath(std::optional<std::string>* relativePath);
    bool parseUUID(std::optional<std::string>* uuid);
    bool parseOutputPath(std::optional<std::string>* outputPath);
    bool parseCommonBaseFile(std::optional<std::string>* commonBaseFile);
    bool parseIsTemporary(std::optional<bool>* isTemporary);

    // Option loops: any order, until nothing matches or an error is raised; return isSuccessful.
    bool parseDiffOptionsIntoLabel(std::optional<std::string>* label, bool* shouldWait);
    bool parseChangesetOptionsWithShouldWait(bool* shouldWait, std::optional<std::string>* label);
    bool parseMergeOptionsIntoShouldWait(bool* shouldWait, std::optional<std::string>* outputPath,
                                         std::optional<std::string>* commonBaseFile);
    bool parsePartialChangesetOptionsIntoLabel(std::optional<std::string>* label, bool* shouldWait,
                                               std::optional<std::string>* relativePath,
                                               std::optional<std::string>* uuid);
    bool parseFileOptionsIntoIsTemporary(std::optional<bool>* isTemporary);

    // File rules.
    bool parsePath(std::string* path);
    bool parseFile(CVFileDictionary* file);
    bool parseFiles(std::vector<CVFileDictionary>* files);
    bool parseFileStatusAndFileWithLeftFile(CVFileDictionary* leftFile,
                                            CVFileDictionary* rightFile);
    bool parseFileListWithLeftFile(CVFileDictionary* leftFile, CVFileDictionary* rightFile);
    bool parseFileListWithRelativePath(std::optional<std::string>* relativePath,
                                       CVFileDictionary* leftFile, CVFileDictionary* rightFile);
    bool consumeStdInTmpFileIntoFile(CVFileDictionary* file);

    void raise(const std::string& text) { parseError_ = errorWithLocalizedDescription(text); }

    bool didParseFileDelimiter_ = false;
    std::vector<std::string> arguments_;
    std::optional<CVFileDictionary> stdinTempFile_;
    StdinTempFileProvider stdinTempFileProvider_;
    std::string programPath_;
    CVCLIArgumentParserDelegate* delegate_ = nullptr;
    std::set<std::string> globalFlagsSet_;
    // The read position: the index of the next token to fetch, and the look-ahead's index.
    std::size_t nextArgumentIndex_ = 0;
    std::optional<std::size_t> currentArgumentIndex_;
    std::optional<CVError> parseError_;
    std::set<std::string> parsedOptions_;
};
