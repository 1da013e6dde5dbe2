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
    std::string className() const override { return "CVCLISerializedMerge"; }
    // "fileList", "outputFile", "baseFile", "label".
    const std::vector<CVCodingField>& codingFields() const override;
    CVCodedValue valueForKey(const std::string& key) const override;

    const std::shared_ptr<CVCLISerializedFileList>& fileList() const { return fileList_; }
    void setFileList(std::shared_ptr<CVCLISerializedFileList> list) { fileList_ = std::move(list); }
    const std::shared_ptr<CVCLISerializedFile>& outputFile() const { return outputFile_; }
    void setOutputFile(std::shared_ptr<CVCLISerializedFile> file) { outputFile_ = std::move(file); }
    const std::shared_ptr<CVCLISerializedFile>& baseFile() const { return baseFile_; }
    void setBaseFile(std::shared_ptr<CVCLISerializedFile> file) { baseFile_ = std::move(file); }
    // The tool never sets it: merges travel without a label.
    const std::optional<std::string>& label() const { return label_; }
    void setLabel(std::optional<std::string> label) { label_ = std::move(label); }

protected:
    void storeValueForKey(const CVCodedValue& value, const std::string& key) override;

private:
    std::shared_ptr<CVCLISerializedFileList> fileList_;
    std::shared_ptr<CVCLISerializedFile> outputFile_;
    std::shared_ptr<CVCLISerializedFile> baseFile_;
    std::optional<std::string> label_;
};
