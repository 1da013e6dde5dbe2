#include "model/CVCLISerializedPartialChangeset.h"

#include "model/CVCLISerializedFileList.h"

using Type = CVCodedValue::Type;

const std::vector<CVCodingField>& CVCLISerializedPartialChangeset::codingFields() const {
    static const std::vector<CVCodingField> fields = {
        {"fileList", Type::record, true, "CVCLISerializedFileList"},
        {"UUID", Type::string, true},
        {"UUIDForProcess", Type::string, true},
        {"label", Type::string, true},
    };
    return fields;
}

CVCodedValue CVCLISerializedPartialChangeset::valueForKey(const std::string& key) const {
    if (key == "fileList") {
        return CVCodedValue::Record(fileList_);
    }
    if (key == "UUID") {
        return UUID_;
    }
    if (key == "UUIDForProcess") {
        return UUIDForProcess_;
    }
    if (key == "label") {
        return label_;
    }
    return {};
}

void CVCLISerializedPartialChangeset::storeValueForKey(const CVCodedValue& value,
                                                       const std::string& key) {
    if (key == "fileList") {
        fileList_ = CVRecordOfClass<CVCLISerializedFileList>(value);
    } else if (key == "UUID") {
        UUID_ = CVOptionalString(value);
    } else if (key == "UUIDForProcess") {
        UUIDForProcess_ = CVOptionalString(value);
    } else if (key == "label") {
        label_ = CVOptionalString(value);
    }
}

std::string CVCLISerializedPartialChangeset::description() const {
    return "<" + className() + " " + address() + " label:" + CVDescribe(label_) +
           " UUID:" + CVDescribe(UUID_) + " UUIDForProcess:" + CVDescribe(UUIDForProcess_) +
           " fileList:" + CVDescribe(fileList_) + " >";
}
