#include <gtest/gtest.h>

#include <stdexcept>

#include "CVRecordSamples.h"

TEST(TheDescriptions, FollowTheFormatsOfEachRecordClass) {
    auto unflagged = sampleFile("/left/a.txt");
    unflagged->setTemporary(std::nullopt);
    auto list = std::make_shared<CVCLISerializedFileList>();
    list->addFile(CVCLISerializedFile::serializedSummaryFileWithPath("x.c"));
    list->addFile(CVCLISerializedFile::serializedSummaryFileWithPath("y.c"));
    list->setStatus(3);
    const std::string listText = "<CVCLISerializedFileList 0x? status: R (\nx.c,\ny.c\n)>";
    auto changeset = std::make_shared<CVCLISerializedChangeset>();
    changeset->addFileList(list);
    changeset->addFileList(list);
    auto withoutLists = std::make_shared<CVCLISerializedChangeset>();
    withoutLists->setFileLists(std::nullopt);
    withoutLists->addFileList(list);  // ignored without an array
    auto summary = std::make_shared<CVCLISerializedChangesetSummary>();
    summary->setUUIDForProcess("PID:1-2");
    auto partial = std::make_shared<CVCLISerializedPartialChangeset>();
    partial->setUUID("UUID:x");
    auto invocation = std::make_shared<CVCLISerializedDiffInvocation>();
    invocation->setWaitForTabClose(true);
    const std::pair<std::shared_ptr<CVCLISerializedObject>, std::string> cases[] = {
        {sampleFile("/left/a.txt"), "<CVCLISerializedFile 0x? `/left/a.txt` 1>"},
        {unflagged, "<CVCLISerializedFile 0x? `/left/a.txt` (null)>"},
        {CVCLISerializedFile::serializedSummaryFileWithPath("b.c"), "b.c"},
        {std::make_shared<CVCLISerializedFile>(), "(null)"},
        {list, listText},
        {changeset, "<CVCLISerializedChangeset 0x? label:(null) count:2 fileLists:[" + listText +
                        ", " + listText + "] >"},
        {withoutLists, "<CVCLISerializedChangeset 0x? label:(null) count:0 fileLists:[(null)] >"},
        {summary,
         "<CVCLISerializedChangesetSummary 0x? UUIDForProcess:PID:1-2 count:0 fileLists:[] >"},
        {partial,
         "<CVCLISerializedPartialChangeset 0x? label:(null) UUID:UUID:x UUIDForProcess:(null) "
         "fileList:(null) >"},
        {std::make_shared<CVCLISerializedMerge>(), "<CVCLISerializedMerge: 0x?>"},
        {invocation,
         "<CVCLISerializedDiffInvocation: 0x? wait:1 isChangeset:0 changeset: (null) fileList: "
         "(null)"},
    };
    for (const auto& [record, description] : cases) {
        EXPECT_EQ(withoutAddresses(record->description()), description);
    }
}

TEST(TheDescriptions, RefuseAStatusWithoutASymbol) {
    CVCLISerializedFileList list;
    list.setStatus(4);
    EXPECT_THROW(list.description(), std::out_of_range);
}

// The order the keyed coding writes and the application's JSON reads.
TEST(AnInvocation, CodesItsEightKeysInOrder) {
    EXPECT_EQ(
        CVCLISerializedDiffInvocation().keysForCoding(),
        (std::vector<std::string>{"fileList", "changeset", "partialChangeset", "changesetSummary",
                                  "merge", "waitForTabClose", "parentPID", "parentProcessName"}));
}
