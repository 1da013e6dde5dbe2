#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/CVCLISerializedObject.h"

class CVCLISerializedFileList;

// A changeset announced ahead of its items by git's name-status lines.
class CVCLISerializedChangesetSummary : public CVCLISerializedObject {
public:
    using FileLists = std::vector<std::shared_ptr<CVCLISerializedFileList>>;

    // One file list per line of `git diff --name-status` output that has at least two
    // tab-separated fields, in line order; never null. Lines end at LF, CR LF, CR, NEL, U+2028 and
    // U+2029.
    static std::shared_ptr<CVCLISerializedChangesetSummary>
    serializedChangesetSummaryWithGitSummaryLines(std::string_view lines);

    static constexpr const char* kClassName = "CVCLISerializedChangesetSummary";

    std::string className() const override { return kClassName; }
    const std::vector<CVCodingField>& codingFields() const override;
    // "<Class 0x... UUIDForProcess:... count:N fileLists:[...] >".
    std::string description() const override;

    // Empty after construction; nothing only when a decoded record carried nil.
    const std::optional<FileLists>& fileLists() const { return fileLists_; }
    void setFileLists(std::optional<FileLists> lists) { fileLists_ = std::move(lists); }
    // Appends the list as it is; does nothing while there is no array.
    void addFileList(std::shared_ptr<CVCLISerializedFileList> list);
    const std::optional<std::string>& UUIDForProcess() const { return UUIDForProcess_; }
    void setUUIDForProcess(std::optional<std::string> identifier) {
        UUIDForProcess_ = std::move(identifier);
    }

private:
    std::optional<FileLists> fileLists_ = FileLists();
    std::optional<std::string> UUIDForProcess_;
};
