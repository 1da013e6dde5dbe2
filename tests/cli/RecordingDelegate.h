#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "cli/CVCLIArgumentParser.h"
#include "cli/CVCLIArgumentParserDelegate.h"

// One delegate call with everything it was given; fields a command does not have stay empty.
struct RecordedCall {
    std::string command{};
    std::optional<bool> shouldWait{};
    std::optional<std::string> label{};
    std::optional<std::string> uuid{};
    std::optional<std::string> relativePath{};
    std::optional<std::string> outputPath{};
    std::optional<std::string> commonBaseFile{};
    std::vector<CVFileDictionary> files{};
    std::vector<CVFileListDictionary> fileLists{};

    bool operator==(const RecordedCall&) const = default;
};

void PrintTo(const RecordedCall& call, std::ostream* stream);

inline CVFileDictionary file(std::string path, std::optional<bool> isTemporary = std::nullopt) {
    return CVFileDictionary{std::move(path), isTemporary, std::nullopt};
}

// Records every call in order.
class RecordingDelegate : public CVCLIArgumentParserDelegate {
public:
    std::vector<RecordedCall> calls;

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
        calls.push_back(
            {.command = "diff", .shouldWait = shouldWait, .label = label, .files = files});
    }
    void parserDidParseMergeCommand(CVCLIArgumentParser*, const std::string& outputPath,
                                    const std::optional<std::string>& commonBaseFile,
                                    bool shouldWait,
                                    const std::vector<CVFileDictionary>& files) override {
        calls.push_back({.command = "merge",
                         .shouldWait = shouldWait,
                         .outputPath = outputPath,
                         .commonBaseFile = commonBaseFile,
                         .files = files});
    }
    void parserDidParseChangesetCommand(
        CVCLIArgumentParser*, const std::optional<std::string>& label, bool shouldWait,
        const std::vector<CVFileListDictionary>& fileLists) override {
        calls.push_back({.command = "changeset",
                         .shouldWait = shouldWait,
                         .label = label,
                         .fileLists = fileLists});
    }
    void parserDidParsePartialChangesetCommand(
        CVCLIArgumentParser*, const std::optional<std::string>& uuid,
        const std::optional<std::string>& label, const std::optional<std::string>& relativePath,
        bool shouldWait, const std::vector<CVFileDictionary>& files) override {
        calls.push_back({.command = "partial-changeset",
                         .shouldWait = shouldWait,
                         .label = label,
                         .uuid = uuid,
                         .relativePath = relativePath,
                         .files = files});
    }
    void parserDidParseMarkChangesetAsClosedCommand(CVCLIArgumentParser*,
                                                    const std::string& uuid) override {
        calls.push_back({.command = "mark-changeset-as-closed", .uuid = uuid});
    }

private:
    void record(std::string command) { calls.push_back({.command = std::move(command)}); }
};
