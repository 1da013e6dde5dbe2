// The fixed calling conventions of Subversion, Bazaar and Perforce: the argument shapes are told
// apart by their count alone and handed to the same callbacks the parser would call, with no
// parser. None of the tool's own options are recognised in these shapes.
#include <unistd.h>

#include <cerrno>

#include "interpreter/CVCLIInterpreter.h"
#include "model/CVCLISerializedFileList.h"

namespace {

std::string currentDirectoryPath() {
    std::string path(4096, '\0');
    while (getcwd(path.data(), path.size()) == nullptr) {
        if (errno != ERANGE) {
            return {};
        }
        path.resize(path.size() * 2);
    }
    path.resize(path.find('\0'));
    return path;
}

CVFileDictionary temporaryFile(const std::string& path) {
    return CVFileDictionary{path, true, std::nullopt};
}

CVFileDictionary plainFile(const std::string& path) {
    return CVFileDictionary{path, std::nullopt, std::nullopt};
}

}  // namespace

// Merge: program, base, theirs, mine, merged, working-copy path. Diff: ..., label, left, right,
// the label being the right file's working-copy path, a tab and a revision note.
bool CVCLIInterpreter::parseSubversionArguments(const std::vector<std::string>& arguments,
                                                std::optional<CVError>*) {
    size_t count = arguments.size();
    if (count == 6) {
        parser(nullptr, arguments[4], std::optional<std::string>(arguments[1]), true,
               std::vector<CVFileDictionary>{temporaryFile(arguments[2]),
                                             temporaryFile(arguments[3])});
        return true;
    }
    if (count < 4) {
        return false;
    }
    const std::string& label = arguments[count - 3];
    std::optional<std::string> relativePath(label.substr(0, label.find('\t')));
    parser(nullptr, std::optional<std::string>{}, std::optional<std::string>{}, relativePath, false,
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
    std::optional<std::string> relativePath =
        CVCLISerializedFileList::relativePathForCurrentDirectory(currentDirectoryPath(),
                                                                 {arguments[1], arguments[2]});
    parser(nullptr, std::optional<std::string>{}, std::optional<std::string>{}, relativePath, false,
           std::vector<CVFileDictionary>{plainFile(arguments[1]), plainFile(arguments[2])});
    return true;
}

// Merge: program, base, theirs, yours, merged. Diff: program, left, right, anything else.
bool CVCLIInterpreter::parsePerforceArguments(const std::vector<std::string>& arguments,
                                              std::optional<CVError>*) {
    size_t count = arguments.size();
    if (count == 5) {
        parser(nullptr, arguments[4], std::optional<std::string>(arguments[1]), true,
               std::vector<CVFileDictionary>{temporaryFile(arguments[2]),
                                             temporaryFile(arguments[3])});
        return true;
    }
    if (count < 3) {
        return false;
    }
    std::optional<std::string> relativePath =
        CVCLISerializedFileList::relativePathForCurrentDirectory(currentDirectoryPath(),
                                                                 {arguments[1], arguments[2]});
    parser(nullptr, std::optional<std::string>{}, std::optional<std::string>{}, relativePath, false,
           std::vector<CVFileDictionary>{plainFile(arguments[1]), plainFile(arguments[2])});
    return true;
}
