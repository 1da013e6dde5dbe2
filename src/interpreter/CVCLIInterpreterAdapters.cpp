// The fixed calling conventions of Subversion, Bazaar and Perforce: the argument shapes are told
// apart by their count alone and handed to the same callbacks the parser would call, with no
// parser. None of the tool's own options are recognised in these shapes.
#include "interpreter/CVCLIInterpreter.h"
#include "model/CVCLISerializedFileList.h"

namespace {

CVFileDictionary temporaryFile(const std::string& path) {
    return CVFileDictionary{path, true, std::nullopt};
}

CVFileDictionary plainFile(const std::string& path) {
    return CVFileDictionary{path, std::nullopt, std::nullopt};
}

// A two-file comparison of these tools: an item of the partial changeset of the calling tool,
// named by its path below the current directory.
void sendTwoFileItem(CVCLIInterpreter& interpreter, const std::string& currentDirectory,
                     const std::string& left, const std::string& right) {
    std::optional<std::string> relativePath =
        CVCLISerializedFileList::relativePathForCurrentDirectory(currentDirectory, {left, right});
    interpreter.parserDidParsePartialChangesetCommand(
        nullptr, std::optional<std::string>{}, std::optional<std::string>{}, relativePath, false,
        std::vector<CVFileDictionary>{plainFile(left), plainFile(right)});
}

// A merge of these tools, always waited for: program, base, theirs, mine, merged, and for
// Subversion a working-copy path after them.
void sendMerge(CVCLIInterpreter& interpreter, const std::vector<std::string>& arguments) {
    interpreter.parserDidParseMergeCommand(
        nullptr, arguments[4], std::optional<std::string>(arguments[1]), true,
        std::vector<CVFileDictionary>{temporaryFile(arguments[2]), temporaryFile(arguments[3])});
}

}  // namespace

// Merge: program, base, theirs, mine, merged, working-copy path. Diff: ..., label, left, right,
// the label being the right file's working-copy path, a tab and a revision note.
bool CVCLIInterpreter::parseSubversionArguments(const std::vector<std::string>& arguments,
                                                std::optional<CVError>*) {
    size_t count = arguments.size();
    if (count == 6) {
        sendMerge(*this, arguments);
        return true;
    }
    if (count < 4) {
        return false;
    }
    const std::string& label = arguments[count - 3];
    std::optional<std::string> relativePath(label.substr(0, label.find('\t')));
    parserDidParsePartialChangesetCommand(
        nullptr, std::optional<std::string>{}, std::optional<std::string>{}, relativePath, false,
        std::vector<CVFileDictionary>{plainFile(arguments[count - 2]),
                                      plainFile(arguments[count - 1])});
    return true;
}

// Diff: program, left, right. Any other shape may use the tool's own grammar.
bool CVCLIInterpreter::parseBazaarArguments(const std::vector<std::string>& arguments,
                                            std::optional<CVError>* error) {
    if (arguments.size() != 3) {
        return parser_->parseWithError(error);
    }
    sendTwoFileItem(*this, workingDirectory_, arguments[1], arguments[2]);
    return true;
}

// Merge: program, base, theirs, yours, merged. Diff: program, left, right, anything else.
bool CVCLIInterpreter::parsePerforceArguments(const std::vector<std::string>& arguments,
                                              std::optional<CVError>*) {
    size_t count = arguments.size();
    if (count == 5) {
        sendMerge(*this, arguments);
        return true;
    }
    if (count < 3) {
        return false;
    }
    sendTwoFileItem(*this, workingDirectory_, arguments[1], arguments[2]);
    return true;
}
