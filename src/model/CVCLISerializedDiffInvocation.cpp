#include "model/CVCLISerializedDiffInvocation.h"

#include "model/CVCLISerializedChangeset.h"
#include "model/CVCLISerializedChangesetSummary.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVCLISerializedMerge.h"
#include "model/CVCLISerializedPartialChangeset.h"
#include "model/CVCodedMember.h"

const std::vector<CVCodingField>& CVCLISerializedDiffInvocation::codingFields() const {
    static const std::vector<CVCodingField> fields = {
        CVCodedMember<&CVCLISerializedDiffInvocation::fileList_>("fileList"),
        CVCodedMember<&CVCLISerializedDiffInvocation::changeset_>("changeset"),
        CVCodedMember<&CVCLISerializedDiffInvocation::partialChangeset_>("partialChangeset"),
        CVCodedMember<&CVCLISerializedDiffInvocation::changesetSummary_>("changesetSummary"),
        CVCodedMember<&CVCLISerializedDiffInvocation::merge_>("merge"),
        CVCodedMember<&CVCLISerializedDiffInvocation::waitForTabClose_>("waitForTabClose"),
        CVCodedMember<&CVCLISerializedDiffInvocation::parentPID_>("parentPID"),
        CVCodedMember<&CVCLISerializedDiffInvocation::parentProcessName_>("parentProcessName"),
    };
    return fields;
}

std::string CVCLISerializedDiffInvocation::description() const {
    return descriptionStart(": ") + " wait:" + std::to_string(int(waitForTabClose_)) +
           " isChangeset:" + std::to_string(int(isChangeset())) +
           " changeset: " + CVDescribe(changeset_) + " fileList: " + CVDescribe(fileList_);
}
