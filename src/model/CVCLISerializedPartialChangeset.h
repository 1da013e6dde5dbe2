#pragma once

#include <memory>
#include <optional>
#include <string>

#include "model/CVCLISerializedObject.h"

class CVCLISerializedFileList;

// One item of a changeset that arrives over several invocations.
class CVCLISerializedPartialChangeset : public CVCLISerializedObject {
public:
    static constexpr const char* kClassName = "CVCLISerializedPartialChangeset";

    std::string className() const override { return kClassName; }
    const std::vector<CVCodingField>& codingFields() const override;
    // "<Class 0x... label:... UUID:... UUIDForProcess:... fileList:... >".
    std::string description() const override;

    const std::shared_ptr<CVCLISerializedFileList>& fileList() const { return fileList_; }
    void setFileList(std::shared_ptr<CVCLISerializedFileList> list) { fileList_ = std::move(list); }
    const std::optional<std::string>& label() const { return label_; }
    void setLabel(std::optional<std::string> label) { label_ = std::move(label); }
    const std::optional<std::string>& UUID() const { return UUID_; }
    void setUUID(std::optional<std::string> identifier) { UUID_ = std::move(identifier); }
    const std::optional<std::string>& UUIDForProcess() const { return UUIDForProcess_; }
    void setUUIDForProcess(std::optional<std::string> identifier) {
        UUIDForProcess_ = std::move(identifier);
    }

private:
    std::shared_ptr<CVCLISerializedFileList> fileList_;
    std::optional<std::string> label_;
    std::optional<std::string> UUID_;
    std::optional<std::string> UUIDForProcess_;
};
