#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "model/CVCLISerializedObject.h"

class CVCLISerializedChangeset;
class CVCLISerializedChangesetSummary;
class CVCLISerializedFileList;
class CVCLISerializedMerge;
class CVCLISerializedPartialChangeset;

// The root record of a run: the request (usually exactly one of the five request fields), whether
// the tool waits, and who called it.
class CVCLISerializedDiffInvocation : public CVCLISerializedObject {
public:
    static constexpr const char* kClassName = "CVCLISerializedDiffInvocation";

    std::string className() const override { return kClassName; }
    const std::vector<CVCodingField>& codingFields() const override;
    // "<Class: 0x... wait:%i isChangeset:%i changeset: ... fileList: ..." with no closing bracket,
    // deliberately.
    std::string description() const override;

    bool waitForTabClose() const { return waitForTabClose_; }
    void setWaitForTabClose(bool wait) { waitForTabClose_ = wait; }
    int32_t parentPID() const { return parentPID_; }
    void setParentPID(int32_t pid) { parentPID_ = pid; }
    const std::optional<std::string>& parentProcessName() const { return parentProcessName_; }
    void setParentProcessName(std::optional<std::string> name) {
        parentProcessName_ = std::move(name);
    }
    const std::shared_ptr<CVCLISerializedFileList>& fileList() const { return fileList_; }
    void setFileList(std::shared_ptr<CVCLISerializedFileList> list) { fileList_ = std::move(list); }
    const std::shared_ptr<CVCLISerializedChangeset>& changeset() const { return changeset_; }
    void setChangeset(std::shared_ptr<CVCLISerializedChangeset> changeset) {
        changeset_ = std::move(changeset);
    }
    const std::shared_ptr<CVCLISerializedChangesetSummary>& changesetSummary() const {
        return changesetSummary_;
    }
    void setChangesetSummary(std::shared_ptr<CVCLISerializedChangesetSummary> summary) {
        changesetSummary_ = std::move(summary);
    }
    const std::shared_ptr<CVCLISerializedPartialChangeset>& partialChangeset() const {
        return partialChangeset_;
    }
    void setPartialChangeset(std::shared_ptr<CVCLISerializedPartialChangeset> partial) {
        partialChangeset_ = std::move(partial);
    }
    const std::shared_ptr<CVCLISerializedMerge>& merge() const { return merge_; }
    void setMerge(std::shared_ptr<CVCLISerializedMerge> merge) { merge_ = std::move(merge); }

    // Exactly "git"; any other spelling, or no name, is not git.
    bool isInvokedByGit() const { return parentProcessName_ == "git"; }
    bool isChangeset() const { return changeset_ != nullptr; }
    bool isChangesetSummary() const { return changesetSummary_ != nullptr; }
    bool isPartialChangeset() const { return partialChangeset_ != nullptr; }
    bool isMerge() const { return merge_ != nullptr; }

private:
    bool waitForTabClose_ = false;
    int32_t parentPID_ = 0;
    std::optional<std::string> parentProcessName_;
    std::shared_ptr<CVCLISerializedFileList> fileList_;
    std::shared_ptr<CVCLISerializedChangeset> changeset_;
    std::shared_ptr<CVCLISerializedChangesetSummary> changesetSummary_;
    std::shared_ptr<CVCLISerializedPartialChangeset> partialChangeset_;
    std::shared_ptr<CVCLISerializedMerge> merge_;
};
