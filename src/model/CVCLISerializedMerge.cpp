#include "model/CVCLISerializedMerge.h"

#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVCodedMember.h"

const std::vector<CVCodingField>& CVCLISerializedMerge::codingFields() const {
    static const std::vector<CVCodingField> fields = {
        CVCodedMember<&CVCLISerializedMerge::fileList_>("fileList"),
        CVCodedMember<&CVCLISerializedMerge::outputFile_>("outputFile"),
        CVCodedMember<&CVCLISerializedMerge::baseFile_>("baseFile"),
        CVCodedMember<&CVCLISerializedMerge::label_>("label"),
    };
    return fields;
}
