#include "model/CVCLISerializedChangeset.h"

#include "model/CVCLISerializedFileList.h"

using Type = CVCodedValue::Type;

const std::vector<CVCodingField>& CVCLISerializedChangeset::codingFields() const {
    static const std::vector<CVCodingField> fields = {
        {"fileLists", Type::array, true, "CVCLISerializedFileList"},
        {"label", Type::string, true},
    };
    return fields;
}

CVCodedValue CVCLISerializedChangeset::valueForKey(const std::string& key) const {
    if (key == "fileLists") {
        return CVCodedArray(fileLists_);
    }
    if (key == "label") {
        return label_;
    }
    return {};
}

void CVCLISerializedChangeset::storeValueForKey(const CVCodedValue& value, const std::string& key) {
    if (key == "fileLists") {
        fileLists_ = CVRecordArray<CVCLISerializedFileList>(value);
    } else if (key == "label") {
        label_ = CVOptionalString(value);
    }
}

void CVCLISerializedChangeset::addFileList(std::shared_ptr<CVCLISerializedFileList> list) {
    if (fileLists_) {
        fileLists_->push_back(std::move(list));
    }
}

std::string CVCLISerializedChangeset::description() const {
    size_t count = fileLists_ ? fileLists_->size() : 0;
    return "<" + className() + " " + address() + " label:" + CVDescribe(label_) +
           " count:" + std::to_string(count) + " fileLists:[" +
           CVJoinedDescriptions(fileLists_, ", ") + "] >";
}
