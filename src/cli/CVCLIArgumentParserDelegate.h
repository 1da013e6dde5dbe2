#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/CVFileDictionary.h"

class CVCLIArgumentParser;

// Receives the one command a parse recognised. Every method gets the parser first (null when an
// argument adapter calls it); strings are absent where the option was not given.
class CVCLIArgumentParserDelegate {
public:
    virtual ~CVCLIArgumentParserDelegate() = default;

    virtual void parserDidParseVersionCommand(CVCLIArgumentParser* parser) = 0;
    virtual void parserDidParseShortVersionCommand(CVCLIArgumentParser* parser) = 0;
    virtual void parserDidParseDebugVersionCommand(CVCLIArgumentParser* parser) = 0;
    virtual void parserDidParseHelpCommand(CVCLIArgumentParser* parser) = 0;
    // Called as soon as the option is read, even when the parse fails afterwards.
    virtual void parserDidParseResetFileAccessCommand(CVCLIArgumentParser* parser) = 0;
    virtual void parserDidParseCrashCommand(CVCLIArgumentParser* parser) = 0;

    // A diff: one or more files in command-line order, the standard-input snapshot first when
    // it was prepended.
    virtual void parserDidParseDiffCommand(CVCLIArgumentParser* parser, bool shouldWait,
                                           const std::optional<std::string>& label,
                                           const std::vector<CVFileDictionary>& files) = 0;
    // A merge: exactly two files.
    virtual void parserDidParseMergeCommand(CVCLIArgumentParser* parser,
                                            const std::string& outputPath,
                                            const std::optional<std::string>& commonBaseFile,
                                            bool shouldWait,
                                            const std::vector<CVFileDictionary>& files) = 0;
    // A complete changeset: one or more items.
    virtual void parserDidParseChangesetCommand(
        CVCLIArgumentParser* parser, const std::optional<std::string>& label, bool shouldWait,
        const std::vector<CVFileListDictionary>& fileLists) = 0;
    // One item of a partial changeset: exactly two files.
    virtual void parserDidParsePartialChangesetCommand(
        CVCLIArgumentParser* parser, const std::optional<std::string>& UUID,
        const std::optional<std::string>& label, const std::optional<std::string>& relativePath,
        bool shouldWait, const std::vector<CVFileDictionary>& files) = 0;
    virtual void parserDidParseMarkChangesetAsClosedCommand(CVCLIArgumentParser* parser,
                                                            const std::string& UUID) = 0;
};
