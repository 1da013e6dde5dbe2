// The commands and options the parser accepts, built from the primitives in
// CVCLIArgumentParser.cpp.

#include "cli/CVCLIArgumentParser.h"

#include <utility>

namespace {

const CVCLIArgumentParser::OptionGroup& labelExclusiveOptions() {
    static const CVCLIArgumentParser::OptionGroup group{"--label", "-l"};
    return group;
}

// The options that form a group of their own.
const CVCLIArgumentParser::OptionGroup& soleOptionGroup(const char* option) {
    static const std::set<std::string> groups[] = {
        {"--relative-path"}, {"--UUID"},          {"--output"},   {"--base"},
        {"--diff"},          {"--wait-debugger"}, {"--filename"},
    };
    for (const auto& group : groups) {
        if (*group.begin() == option) {
            return group;
        }
    }
    static const std::set<std::string> none;
    return none;
}

void storeValue(std::optional<std::string>* target, const std::string& value) {
    if (target != nullptr) {
        *target = value;
    }
}

bool isStandardInputPath(const std::string& path) {
    return path == "-" || path == "/dev/stdin" || path == "/dev/fd/0";
}

CVFileDictionary devNull() {
    return CVFileDictionary{"/dev/null", std::nullopt, std::nullopt};
}

}  // namespace

// Commands without operands.

bool CVCLIArgumentParser::parseVersion(CommandAction& action) {
    auto store = [this, &action](bool&) {
        action = [this] {
            if (delegate_ != nullptr) {
                delegate_->parserDidParseVersionCommand(this);
            }
        };
    };
    return consumeOption("--version", store) || consumeOption("-v", store);
}

bool CVCLIArgumentParser::parseShortVersion(CommandAction& action) {
    return consumeOption("--short-version", [this, &action](bool&) {
        action = [this] {
            if (delegate_ != nullptr) {
                delegate_->parserDidParseShortVersionCommand(this);
            }
        };
    });
}

bool CVCLIArgumentParser::parseDebugVersion(CommandAction& action) {
    return consumeOption("--debug-version", [this, &action](bool&) {
        action = [this] {
            if (delegate_ != nullptr) {
                delegate_->parserDidParseDebugVersionCommand(this);
            }
        };
    });
}

bool CVCLIArgumentParser::parseHelp(CommandAction& action) {
    auto store = [this, &action](bool&) {
        action = [this] {
            if (delegate_ != nullptr) {
                delegate_->parserDidParseHelpCommand(this);
            }
        };
    };
    return consumeOption("--help", store) || consumeOption("-h", store);
}

bool CVCLIArgumentParser::parseResetFileAccess(CommandAction&) {
    // Deliberately acts at once, before the rest of the command line is checked.
    return consumeOption("--reset-file-access", [this](bool&) {
        if (delegate_ != nullptr) {
            delegate_->parserDidParseResetFileAccessCommand(this);
        }
    });
}

bool CVCLIArgumentParser::parseCrash(CommandAction& action) {
    return consumeOption("--crash", [this, &action](bool&) {
        action = [this] {
            if (delegate_ != nullptr) {
                delegate_->parserDidParseCrashCommand(this);
            }
        };
    });
}

// Document commands.

bool CVCLIArgumentParser::parsePartialChangeset(CommandAction& action) {
    if (!consumeOption("--partial-changeset", nullptr)) {
        return false;
    }
    std::optional<std::string> label;
    std::optional<std::string> relativePath;
    std::optional<std::string> uuid;
    bool shouldWait = false;
    if (!parsePartialChangesetOptionsIntoLabel(&label, &shouldWait, &relativePath, &uuid)) {
        return false;
    }
    parseFileDelimiter();
    CVFileDictionary leftFile;
    CVFileDictionary rightFile;
    if (!parseFileListWithLeftFile(&leftFile, &rightFile)) {
        return false;
    }
    action = [this, uuid = std::move(uuid), label = std::move(label),
              relativePath = std::move(relativePath), shouldWait,
              files = std::vector<CVFileDictionary>{std::move(leftFile), std::move(rightFile)}] {
        if (delegate_ != nullptr) {
            delegate_->parserDidParsePartialChangesetCommand(this, uuid, label, relativePath,
                                                             shouldWait, files);
        }
    };
    return true;
}

bool CVCLIArgumentParser::parseMarkChangesetAsClosed(CommandAction& action) {
    return consumeOptionExpectingArgument(
        "--mark-changeset-as-closed", nullptr, [this, &action](const std::string& uuid) {
            action = [this, uuid] {
                if (delegate_ != nullptr) {
                    delegate_->parserDidParseMarkChangesetAsClosedCommand(this, uuid);
                }
            };
        });
}

bool CVCLIArgumentParser::parseChangeset(CommandAction& action) {
    if (!consumeOption("--changeset", nullptr)) {
        return false;
    }
    std::optional<std::string> label;
    bool shouldWait = false;
    if (!parseChangesetOptionsWithShouldWait(&shouldWait, &label)) {
        return false;
    }
    std::vector<CVFileListDictionary> fileLists;
    for (;;) {
        std::optional<std::string> relativePath;
        CVFileDictionary leftFile;
        CVFileDictionary rightFile;
        if (!parseFileListWithRelativePath(&relativePath, &leftFile, &rightFile)) {
            break;
        }
        fileLists.push_back(CVFileListDictionary{{std::move(leftFile), std::move(rightFile)},
                                                 std::move(relativePath)});
    }
    if (!isSuccessful() || fileLists.empty()) {
        return false;
    }
    action = [this, label = std::move(label), shouldWait, fileLists = std::move(fileLists)] {
        if (delegate_ != nullptr) {
            delegate_->parserDidParseChangesetCommand(this, label, shouldWait, fileLists);
        }
    };
    return true;
}

bool CVCLIArgumentParser::parseMerge(CommandAction& action) {
    if (!consumeOption("--merge", nullptr)) {
        return false;
    }
    bool shouldWait = true;
    std::optional<std::string> outputPath;
    std::optional<std::string> commonBaseFile;
    bool result = false;
    CVFileDictionary firstFile;
    CVFileDictionary secondFile;
    if (parseMergeOptionsIntoShouldWait(&shouldWait, &outputPath, &commonBaseFile)) {
        parseFileDelimiter();
        result = parseFile(&firstFile) && parseFile(&secondFile);
    }
    if (!outputPath) {
        raise("merges require that a valid --output path be specified.");
        return false;
    }
    if (!result) {
        return false;
    }
    action = [this, outputPath = std::move(*outputPath), commonBaseFile = std::move(commonBaseFile),
              shouldWait,
              files = std::vector<CVFileDictionary>{std::move(firstFile), std::move(secondFile)}] {
        if (delegate_ != nullptr) {
            delegate_->parserDidParseMergeCommand(this, outputPath, commonBaseFile, shouldWait,
                                                  files);
        }
    };
    return true;
}

bool CVCLIArgumentParser::parseDiff(CommandAction& action) {
    std::optional<std::string> label;
    bool shouldWait = false;
    if (!parseDiffOptionsIntoLabel(&label, &shouldWait)) {
        return false;
    }
    parseFileDelimiter();
    std::vector<CVFileDictionary> files;
    if (!parseFiles(&files)) {
        return false;
    }
    action = [this, shouldWait, label = std::move(label), files = std::move(files)] {
        if (delegate_ != nullptr) {
            delegate_->parserDidParseDiffCommand(this, shouldWait, label, files);
        }
    };
    return true;
}

// Option rules.

bool CVCLIArgumentParser::parseWait(bool* shouldWait) {
    const OptionGroup* group = &waitExclusiveOptions();
    auto set = [shouldWait](bool value) {
        return [shouldWait, value](bool&) {
            if (shouldWait != nullptr) {
                *shouldWait = value;
            }
        };
    };
    return consumeOption("--wait", group, set(true)) || consumeOption("-w", group, set(true)) ||
           consumeOption("--no-wait", group, set(false)) || consumeOption("-W", group, set(false));
}

bool CVCLIArgumentParser::parseLabel(std::optional<std::string>* label) {
    const OptionGroup* group = &labelExclusiveOptions();
    auto store = [label](const std::string& value) { storeValue(label, value); };
    return consumeOptionExpectingArgument("--label", group, store) ||
           consumeOptionExpectingArgument("-l", group, store);
}

bool CVCLIArgumentParser::parseWaitDebugger() {
    return consumeOption("--wait-debugger", &soleOptionGroup("--wait-debugger"), nullptr);
}

bool CVCLIArgumentParser::parseDiffFlag() {
    return consumeOption("--diff", &soleOptionGroup("--diff"), nullptr);
}

bool CVCLIArgumentParser::parseRelativePath(std::optional<std::string>* relativePath) {
    return consumeOptionExpectingArgument(
        "--relative-path", &soleOptionGroup("--relative-path"),
        [relativePath](const std::string& value) { storeValue(relativePath, value); });
}

bool CVCLIArgumentParser::parseUUID(std::optional<std::string>* uuid) {
    return consumeOptionExpectingArgument(
        "--UUID", &soleOptionGroup("--UUID"),
        [uuid](const std::string& value) { storeValue(uuid, value); });
}

bool CVCLIArgumentParser::parseOutputPath(std::optional<std::string>* outputPath) {
    return consumeOptionExpectingArgument(
        "--output", &soleOptionGroup("--output"),
        [outputPath](const std::string& value) { storeValue(outputPath, value); });
}

bool CVCLIArgumentParser::parseCommonBaseFile(std::optional<std::string>* commonBaseFile) {
    return consumeOptionExpectingArgument(
        "--base", &soleOptionGroup("--base"),
        [commonBaseFile](const std::string& value) { storeValue(commonBaseFile, value); });
}

bool CVCLIArgumentParser::parseIsTemporary(std::optional<bool>* isTemporary) {
    const OptionGroup* group = &snapshotExclusiveOptions();
    auto set = [isTemporary](bool value) {
        return [isTemporary, value](bool&) { *isTemporary = value; };
    };
    return consumeOption("--snapshot", group, set(true)) || consumeOption("-s", group, set(true)) ||
           consumeOption("--no-snapshot", group, set(false)) ||
           consumeOption("-S", group, set(false));
}

// Option loops. Within one pass the rules are tried in order, so a rule that failed with an error
// does not stop the later ones of that pass; the error ends the loop at its next test.

bool CVCLIArgumentParser::parseDiffOptionsIntoLabel(std::optional<std::string>* label,
                                                    bool* shouldWait) {
    while (isSuccessful() &&
           (parseDiffFlag() || parseWaitDebugger() || parseLabel(label) || parseWait(shouldWait))) {
    }
    return isSuccessful();
}

bool CVCLIArgumentParser::parseChangesetOptionsWithShouldWait(bool* shouldWait,
                                                              std::optional<std::string>* label) {
    while (isSuccessful() && (parseLabel(label) || parseWaitDebugger() || parseWait(shouldWait))) {
    }
    return isSuccessful();
}

bool CVCLIArgumentParser::parseMergeOptionsIntoShouldWait(
    bool* shouldWait, std::optional<std::string>* outputPath,
    std::optional<std::string>* commonBaseFile) {
    while (isSuccessful() && (parseWait(shouldWait) || parseWaitDebugger() ||
                              parseOutputPath(outputPath) || parseCommonBaseFile(commonBaseFile))) {
    }
    return isSuccessful();
}

bool CVCLIArgumentParser::parsePartialChangesetOptionsIntoLabel(
    std::optional<std::string>* label, bool* shouldWait, std::optional<std::string>* relativePath,
    std::optional<std::string>* uuid) {
    while (isSuccessful() && (parseLabel(label) || parseWaitDebugger() || parseWait(shouldWait) ||
                              parseRelativePath(relativePath) || parseUUID(uuid))) {
    }
    return isSuccessful();
}

bool CVCLIArgumentParser::parseFileOptionsIntoIsTemporary(std::optional<bool>* isTemporary) {
    // A label, file name or relative path after an operand is accepted and has no effect.
    while (isSuccessful() &&
           (parseIsTemporary(isTemporary) || parseLabel(nullptr) ||
            consumeOptionExpectingArgument("--filename", &soleOptionGroup("--filename"), nullptr) ||
            parseRelativePath(nullptr))) {
    }
    return isSuccessful();
}

// File rules.

bool CVCLIArgumentParser::parsePath(std::string* path) {
    return consumeStringWithBlock([path](const std::string& token, bool&) { *path = token; });
}

bool CVCLIArgumentParser::parseFile(CVFileDictionary* file) {
    // Each operand's own options form a scope of their own.
    std::set<std::string> commandOptions = std::move(parsedOptions_);
    parsedOptions_.clear();

    bool result = false;
    std::string path;
    std::optional<bool> isTemporary;
    if (parsePath(&path) && parseFileOptionsIntoIsTemporary(&isTemporary)) {
        result = true;
        if (!(isStandardInputPath(path) && consumeStdInTmpFileIntoFile(file))) {
            *file = CVFileDictionary{std::move(path), isTemporary, std::nullopt};
        }
    }

    parsedOptions_ = std::move(commandOptions);
    return result;
}

bool CVCLIArgumentParser::parseFiles(std::vector<CVFileDictionary>* files) {
    CVFileDictionary file;
    while (parseFile(&file)) {
        files->push_back(std::move(file));
    }
    // Standard input joins the list at the front when no operand claimed it.
    CVFileDictionary standardInput;
    if (consumeStdInTmpFileIntoFile(&standardInput)) {
        files->insert(files->begin(), std::move(standardInput));
    }
    return !files->empty();
}

bool CVCLIArgumentParser::parseFileStatusAndFileWithLeftFile(CVFileDictionary* leftFile,
                                                             CVFileDictionary* rightFile) {
    return consumeOption("--file-status", &fileStatusExclusiveOptions(), [&](bool& result) {
        if (consumeOption("added", nullptr)) {
            *leftFile = devNull();
            result = parseFile(rightFile);
        } else if (consumeOption("removed", nullptr)) {
            *rightFile = devNull();
            result = parseFile(leftFile);
        } else {
            result = false;
        }
    });
}

bool CVCLIArgumentParser::parseFileListWithLeftFile(CVFileDictionary* leftFile,
                                                    CVFileDictionary* rightFile) {
    return parseFileStatusAndFileWithLeftFile(leftFile, rightFile) ||
           (parseFile(leftFile) && parseFile(rightFile));
}

bool CVCLIArgumentParser::parseFileListWithRelativePath(std::optional<std::string>* relativePath,
                                                        CVFileDictionary* leftFile,
                                                        CVFileDictionary* rightFile) {
    if (!consumeOption("--filelist", nullptr)) {
        return false;
    }
    parseRelativePath(relativePath);
    if (!isSuccessful()) {
        return false;
    }
    return parseFileListWithLeftFile(leftFile, rightFile);
}

bool CVCLIArgumentParser::consumeStdInTmpFileIntoFile(CVFileDictionary* file) {
    if (stdinTempFileProvider_) {
        stdinTempFile_ = std::exchange(stdinTempFileProvider_, nullptr)();
    }
    if (!stdinTempFile_) {
        return false;
    }
    *file = std::move(*stdinTempFile_);
    stdinTempFile_.reset();
    return true;
}
