#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "model/CVCLISerializedObject.h"

class CVCLISerializedFileList;

// A whole changeset sent in one invocation: its items and an optional title.
class CVCLISerializedChangeset : public CVCLISerializedObject {
public:
    using FileLists = std::vector<std::shared_ptr<CVCLISerializedFileList>>;

    static constexpr const char* kClassName = "CVCLISerializedChangeset";

    std::string className() const override { return kClassName; }
    const std::vector<CVCodingField>& codingFields() const override;
    // "<Class 0x... label:... count:N fileLists:[...] >".
    std::string description() const override;

    // Empty after construction; nothing only when a decoded record carried nil.
    const std::optional<FileLists>& fileLists() const { return fileLists_; }
    void setFileLists(std::optional<FileLists> lists) { fileLists_ = std::move(lists); }
    // Appends the list as it is; does nothing while there is no array.
    void addFileList(std::shared_ptr<CVCLISerializedFileList> list);
    const std::optional<std::string>& label() const { return label_; }
    void setLabel(std::optional<std::string> label) { label_ = std::move(label); }

private:
    std::optional<FileLists> fileLists_ = FileLists();
    std::optional<std::string> label_;
};
