#pragma once

#include <memory>
#include <optional>
#include <string>

#include "model/CVCLISerializedObject.h"

class CVCLISerializedFile;
class CVCLISerializedFileList;

// A merge of two sides into an output file, with an optional common base. Its description is the
// base class's "<CVCLISerializedMerge: 0x...>".
class CVCLISerializedMerge : public CVCLISerializedObject {
public:
    static constexpr const char* kClassName = "CVCLISerializedMerge";

    std::string className() const override { return kClassName; }
    const std::vector<CVCodingField>& codingFields() const override;

    const std::shared_ptr<CVCLISerializedFileList>& fileList() const { return fileList_; }
    void setFileList(std::shared_ptr<CVCLISerializedFileList> list) { fileList_ = std::move(list); }
    const std::shared_ptr<CVCLISerializedFile>& outputFile() const { return outputFile_; }
    void setOutputFile(std::shared_ptr<CVCLISerializedFile> file) { outputFile_ = std::move(file); }
    const std::shared_ptr<CVCLISerializedFile>& baseFile() const { return baseFile_; }
    void setBaseFile(std::shared_ptr<CVCLISerializedFile> file) { baseFile_ = std::move(file); }
    // The tool never sets it: merges travel without a label.
    const std::optional<std::string>& label() const { return label_; }
    void setLabel(std::optional<std::string> label) { label_ = std::move(label); }

private:
    std::shared_ptr<CVCLISerializedFileList> fileList_;
    std::shared_ptr<CVCLISerializedFile> outputFile_;
    std::shared_ptr<CVCLISerializedFile> baseFile_;
    std::optional<std::string> label_;
};
