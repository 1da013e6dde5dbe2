#pragma once

#include <memory>
#include <regex>
#include <string>

#include "model/CVCLISerializedChangeset.h"
#include "model/CVCLISerializedChangesetSummary.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVCLISerializedMerge.h"
#include "model/CVCLISerializedPartialChangeset.h"

// Records with every kind of field set, for the coding tests.
inline std::shared_ptr<CVCLISerializedFile> sampleFile(const std::string& path) {
    auto file = std::make_shared<CVCLISerializedFile>();
    file->setFilePath(path);
    file->setTemporary(true);
    file->setURLBookmarkData(CVCLISerializedFile::Data{0, 1, 2, 255});
    file->setBookmarkURL(path);
    return file;
}

inline std::shared_ptr<CVCLISerializedFileList> sampleFileList() {
    auto list = std::make_shared<CVCLISerializedFileList>();
    list->addFile(sampleFile("/left/a.txt"));
    list->addFile(CVCLISerializedFile::serializedSummaryFileWithPath("right/a.txt"));
    list->setStatus(3);
    list->setRelativePath("a.txt");
    list->setLabel("A \"label\" ü");
    return list;
}

inline std::shared_ptr<CVCLISerializedDiffInvocation> sampleInvocation() {
    auto changeset = std::make_shared<CVCLISerializedChangeset>();
    changeset->addFileList(sampleFileList());
    changeset->addFileList(sampleFileList());
    changeset->setLabel("changes");
    auto partial = std::make_shared<CVCLISerializedPartialChangeset>();
    partial->setFileList(sampleFileList());
    partial->setUUID("UUID:mine");
    partial->setUUIDForProcess("PID:42-700000000");
    auto summary = std::make_shared<CVCLISerializedChangesetSummary>();
    summary->addFileList(sampleFileList());
    auto merge = std::make_shared<CVCLISerializedMerge>();
    merge->setFileList(sampleFileList());
    merge->setOutputFile(sampleFile("/out.txt"));
    auto invocation = std::make_shared<CVCLISerializedDiffInvocation>();
    invocation->setFileList(sampleFileList());
    invocation->setChangeset(changeset);
    invocation->setPartialChangeset(partial);
    invocation->setChangesetSummary(summary);
    invocation->setMerge(merge);
    invocation->setWaitForTabClose(true);
    invocation->setParentPID(-7);
    invocation->setParentProcessName("git");
    return invocation;
}

// The text with every address ("0x..." as %p prints it) replaced by "0x?".
inline std::string withoutAddresses(const std::string& text) {
    static const std::regex address("0x[0-9a-f]+");
    return std::regex_replace(text, address, "0x?");
}
