#include "model/CVCLISerializedDiffInvocation.h"

#include "model/CVCLISerializedChangeset.h"
#include "model/CVCLISerializedChangesetSummary.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVCLISerializedMerge.h"
#include "model/CVCLISerializedPartialChangeset.h"

using Type = CVCodedValue::Type;

const std::vector<CVCodingField>& CVCLISerializedDiffInvocation::codingFields() const {
    static const std::vector<CVCodingField> fields = {
        {"fileList", Type::record, true, "CVCLISerializedFileList"},
        {"changeset", Type::record, true, "CVCLISerializedChangeset"},
        {"partialChangeset", Type::record, true, "CVCLISerializedPartialChangeset"},
        {"changesetSummary", Type::record, true, "CVCLISerializedChangesetSummary"},
        {"merge", Type::record, true, "CVCLISerializedMerge"},
        {"waitForTabClose", Type::boolean, false},
        {"parentPID", Type::int32, false},
        {"parentProcessName", Type::string, true},
    };
    return fields;
}

CVCodedValue CVCLISerializedDiffInvocation::valueForKey(const std::string& key) const {
    if (key == "fileList") {
        return CVCodedValue::Record(fileList_);
    }
    if (key == "changeset") {
        return CVCodedValue::Record(changeset_);
    }
    if (key == "partialChangeset") {
        return CVCodedValue::Record(partialChangeset_);
    }
    if (key == "changesetSummary") {
        return CVCodedValue::Record(changesetSummary_);
    }
    if (key == "merge") {
        return CVCodedValue::Record(merge_);
    }
    if (key == "waitForTabClose") {
        return waitForTabClose_;
    }
    if (key == "parentPID") {
        return parentPID_;
    }
    if (key == "parentProcessName") {
        return parentProcessName_;
    }
    return {};
}

void CVCLISerializedDiffInvocation::storeValueForKey(const CVCodedValue& value,
                                                     const std::string& key) {
    if (key == "fileList") {
        fileList_ = CVRecordOfClass<CVCLISerializedFileList>(value);
    } else if (key == "changeset") {
        changeset_ = CVRecordOfClass<CVCLISerializedChangeset>(value);
    } else if (key == "partialChangeset") {
        partialChangeset_ = CVRecordOfClass<CVCLISerializedPartialChangeset>(value);
    } else if (key == "changesetSummary") {
        changesetSummary_ = CVRecordOfClass<CVCLISerializedChangesetSummary>(value);
    } else if (key == "merge") {
        merge_ = CVRecordOfClass<CVCLISerializedMerge>(value);
    } else if (key == "waitForTabClose") {
        waitForTabClose_ = *value.boolean();
    } else if (key == "parentPID") {
        parentPID_ = *value.int32();
    } else if (key == "parentProcessName") {
        parentProcessName_ = CVOptionalString(value);
    }
}

std::string CVCLISerializedDiffInvocation::description() const {
    return "<" + className() + ": " + address() + " wait:" + std::to_string(int(waitForTabClose_)) +
           " isChangeset:" + std::to_string(int(isChangeset())) +
           " changeset: " + CVDescribe(changeset_) + " fileList: " + CVDescribe(fileList_);
}
