#include "cli/CVCLIArgumentParser.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

constexpr std::string_view kFileDelimiter = "--";

bool isSplitFileStatus(const std::string& argument) {
    return argument == "--file-status=added" || argument == "--file-status=removed";
}

void appendPiecesSplitAtEquals(const std::string& argument, std::vector<std::string>& tokens) {
    std::size_t start = 0;
    for (;;) {
        std::size_t equals = argument.find('=', start);
        if (equals == std::string::npos) {
            tokens.emplace_back(argument, start);
            return;
        }
        tokens.emplace_back(argument, start, equals - start);
        start = equals + 1;
    }
}

// Members in code-unit order (a std::set of std::string already is), joined by ", ".
std::string joinedGroup(const CVCLIArgumentParser::OptionGroup& group) {
    std::string text;
    for (const auto& member : group) {
        if (!text.empty()) {
            text += ", ";
        }
        text += member;
    }
    return text;
}

bool intersects(const CVCLIArgumentParser::OptionGroup& group, const std::set<std::string>& used) {
    return std::any_of(group.begin(), group.end(),
                       [&used](const std::string& member) { return used.contains(member); });
}

}  // namespace

CVCLIArgumentParser::CVCLIArgumentParser(const std::vector<std::string>& arguments,
                                         const std::optional<std::set<std::string>>& globalFlags) {
    // In the body: tokenizing also fills globalFlagsSet_, which must be constructed by then.
    arguments_ = tokenizeArguments(arguments, globalFlags);
    if (const std::string* first = currentArgument()) {
        programPath_ = *first;
        currentArgumentIndex_.reset();
    }
}

std::unique_ptr<CVCLIArgumentParser> CVCLIArgumentParser::parserWithArguments(
    const std::vector<std::string>& arguments) {
    return std::make_unique<CVCLIArgumentParser>(arguments, std::nullopt);
}

std::vector<std::string> CVCLIArgumentParser::tokenizeArguments(
    const std::vector<std::string>& arguments,
    const std::optional<std::set<std::string>>& globalFlags) {
    std::vector<std::string> tokens;
    tokens.reserve(arguments.size());
    std::set<std::string> foundFlags;
    auto isGlobalFlag = [&globalFlags](const std::string& argument) {
        return globalFlags.has_value() && globalFlags->count(argument) != 0;
    };

    bool afterDelimiter = false;
    for (const auto& argument : arguments) {
        if (argument == kFileDelimiter) {
            afterDelimiter = true;
        }
        if (isSplitFileStatus(argument)) {
            // Split even after "--": a file-status pair is never a file name.
            if (!afterDelimiter && isGlobalFlag(argument)) {
                foundFlags.insert(argument);
            } else {
                appendPiecesSplitAtEquals(argument, tokens);
            }
        } else if (!afterDelimiter && isGlobalFlag(argument)) {
            foundFlags.insert(argument);
        } else if (!afterDelimiter && argument.starts_with("--")) {
            appendPiecesSplitAtEquals(argument, tokens);
        } else {
            tokens.push_back(argument);
        }
    }

    globalFlagsSet_ = std::move(foundFlags);
    return tokens;
}

bool CVCLIArgumentParser::wasGlobalFlagSet(const std::string& flag) const {
    return globalFlagsSet_.contains(flag);
}

CVError CVCLIArgumentParser::errorWithLocalizedDescription(const std::string& text) {
    return CVError::withLocalizedDescription(text);
}

bool CVCLIArgumentParser::parseWithError(std::optional<CVError>* error) {
    parsedOptions_.clear();

    CommandAction action;
    using Rule = bool (CVCLIArgumentParser::*)(CommandAction&);
    static constexpr Rule kRules[] = {
        &CVCLIArgumentParser::parseVersion,
        &CVCLIArgumentParser::parseShortVersion,
        &CVCLIArgumentParser::parseDebugVersion,
        &CVCLIArgumentParser::parseHelp,
        &CVCLIArgumentParser::parseResetFileAccess,
        &CVCLIArgumentParser::parseCrash,
        &CVCLIArgumentParser::parsePartialChangeset,
        &CVCLIArgumentParser::parseMarkChangesetAsClosed,
        &CVCLIArgumentParser::parseChangeset,
        &CVCLIArgumentParser::parseMerge,
        &CVCLIArgumentParser::parseDiff,
    };
    bool matched = std::any_of(std::begin(kRules), std::end(kRules),
                               [this, &action](Rule rule) { return (this->*rule)(action); });

    bool result = false;
    if (matched) {
        // Only leftover tokens turn a recognised command into a failure; an error raised inside
        // a rule that still succeeded (a clash that ended the file list) is deliberately ignored.
        if (const std::string* leftover = currentArgument()) {
            raise("unexpected argument: " + *leftover);
        } else {
            result = true;
            if (action) {
                action();
            }
        }
    }
    if (!result && error != nullptr) {
        *error = parseError_;
    }
    return result;
}

const std::string* CVCLIArgumentParser::currentArgument() {
    if (!currentArgumentIndex_ && nextArgumentIndex_ < arguments_.size()) {
        currentArgumentIndex_ = nextArgumentIndex_++;
    }
    return currentArgumentIndex_ ? &arguments_[*currentArgumentIndex_] : nullptr;
}

bool CVCLIArgumentParser::consumeString(std::optional<std::string_view> string,
                                        const OptionGroup* group, const StringAction& block) {
    const std::string* token = currentArgument();
    if (token == nullptr || (string && *token != *string)) {
        return false;
    }
    currentArgumentIndex_.reset();

    if (group != nullptr && intersects(*group, parsedOptions_)) {
        raise("Only one of " + joinedGroup(*group) + " may be specified.");
        return false;
    }
    bool result = true;
    if (block) {
        block(*token, result);
    }
    if (group != nullptr && result) {
        // The form actually used ("-w", not "--wait").
        parsedOptions_.insert(*token);
    }
    return result;
}

bool CVCLIArgumentParser::consumeOption(std::string_view option, const OptionGroup* group,
                                        const OptionAction& block) {
    return consumeString(option, group, [&block](const std::string&, bool& result) {
        if (block) {
            block(result);
        }
    });
}

bool CVCLIArgumentParser::consumeOption(std::string_view option, const OptionAction& block) {
    return consumeOption(option, nullptr, block);
}

bool CVCLIArgumentParser::consumeStringWithBlock(const StringAction& block) {
    return consumeString(std::nullopt, nullptr, block);
}

bool CVCLIArgumentParser::expectStringWithReason(const std::string& reason,
                                                 const ValueAction& block) {
    bool consumed = consumeStringWithBlock([&block](const std::string& value, bool&) {
        if (block) {
            block(value);
        }
    });
    if (!consumed) {
        raise(reason);
    }
    return consumed;
}

bool CVCLIArgumentParser::consumeOptionExpectingArgument(std::string_view option,
                                                         const OptionGroup* group,
                                                         const ValueAction& block) {
    return consumeString(option, group, [this, &block](const std::string& form, bool& result) {
        result = expectStringWithReason(form + " expects an argument", block);
    });
}

bool CVCLIArgumentParser::parseFileDelimiter() {
    static const OptionGroup group{std::string(kFileDelimiter)};
    return consumeOption(kFileDelimiter, &group, [this](bool&) { didParseFileDelimiter_ = true; });
}

const CVCLIArgumentParser::OptionGroup& CVCLIArgumentParser::waitExclusiveOptions() {
    static const OptionGroup group{"--wait", "-w", "--no-wait", "-W"};
    return group;
}

const CVCLIArgumentParser::OptionGroup& CVCLIArgumentParser::snapshotExclusiveOptions() {
    static const OptionGroup group{"--snapshot", "-s", "--no-snapshot", "-S"};
    return group;
}

const CVCLIArgumentParser::OptionGroup& CVCLIArgumentParser::fileStatusExclusiveOptions() {
    static const OptionGroup group{"--file-status"};
    return group;
}
