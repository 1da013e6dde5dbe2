#include "model/CVCLISerializedMerge.h"

#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"

using Type = CVCodedValue::Type;

const std::vector<CVCodingField>& CVCLISerializedMerge::codingFields() const {
    static const std::vector<CVCodingField> fields = {
        {"fileList", Type::record, true, "CVCLISerializedFileList"},
        {"outputFile", Type::record, true, "CVCLISerializedFile"},
        {"baseFile", Type::record, true, "CVCLISerializedFile"},
        {"label", Type::string, true},
    };
    return fields;
}

CVCodedValue CVCLISerializedMerge::valueForKey(const std::string& key) const {
    if (key == "fileList") {
        return CVCodedValue::Record(fileList_);
    }
    if (key == "outputFile") {
        return CVCodedValue::Record(outputFile_);
    }
    if (key == "baseFile") {
        return CVCodedValue::Record(baseFile_);
    }
    if (key == "label") {
        return label_;
    }
    return {};
}

void CVCLISerializedMerge::storeValueForKey(const CVCodedValue& value, const std::string& key) {
    if (key == "fileList") {
        fileList_ = CVRecordOfClass<CVCLISerializedFileList>(value);
    } else if (key == "outputFile") {
        outputFile_ = CVRecordOfClass<CVCLISerializedFile>(value);
    } else if (key == "baseFile") {
        baseFile_ = CVRecordOfClass<CVCLISerializedFile>(value);
    } else if (key == "label") {
        label_ = CVOptionalString(value);
    }
}
