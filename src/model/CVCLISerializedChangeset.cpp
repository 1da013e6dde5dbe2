#include "model/CVCLISerializedChangeset.h"

#include "model/CVCLISerializedFileList.h"
#include "model/CVCodedMember.h"

const std::vector<CVCodingField>& CVCLISerializedChangeset::codingFields() const {
    static const std::vector<CVCodingField> fields = {
        CVCodedMember<&CVCLISerializedChangeset::fileLists_>("fileLists"),
        CVCodedMember<&CVCLISerializedChangeset::label_>("label"),
    };
    return fields;
}

void CVCLISerializedChangeset::addFileList(std::shared_ptr<CVCLISerializedFileList> list) {
    if (fileLists_) {
        fileLists_->push_back(std::move(list));
    }
}

std::string CVCLISerializedChangeset::description() const {
    size_t count = fileLists_ ? fileLists_->size() : 0;
    return descriptionStart(" ") + " label:" + CVDescribe(label_) +
           " count:" + std::to_string(count) + " fileLists:[" +
           CVJoinedDescriptions(fileLists_, ", ") + "] >";
}
