#include "model/CVCLISerializedPartialChangeset.h"

#include "model/CVCLISerializedFileList.h"
#include "model/CVCodedMember.h"

const std::vector<CVCodingField>& CVCLISerializedPartialChangeset::codingFields() const {
    static const std::vector<CVCodingField> fields = {
        CVCodedMember<&CVCLISerializedPartialChangeset::fileList_>("fileList"),
        CVCodedMember<&CVCLISerializedPartialChangeset::UUID_>("UUID"),
        CVCodedMember<&CVCLISerializedPartialChangeset::UUIDForProcess_>("UUIDForProcess"),
        CVCodedMember<&CVCLISerializedPartialChangeset::label_>("label"),
    };
    return fields;
}

std::string CVCLISerializedPartialChangeset::description() const {
    return descriptionStart(" ") + " label:" + CVDescribe(label_) + " UUID:" + CVDescribe(UUID_) +
           " UUIDForProcess:" + CVDescribe(UUIDForProcess_) + " fileList:" + CVDescribe(fileList_) +
           " >";
}
