#include <gtest/gtest.h>

#include <stdexcept>

#include "CVRecordSamples.h"

TEST(TheDescriptions, FollowTheFormatsOfEachRecordClass) {
    auto file = sampleFile("/left/a.txt");
    EXPECT_EQ(withoutAddresses(file->description()), "<CVCLISerializedFile 0x? `/left/a.txt` 1>");
    file->setTemporary(std::nullopt);
    EXPECT_EQ(withoutAddresses(file->description()),
              "<CVCLISerializedFile 0x? `/left/a.txt` (null)>");
    EXPECT_EQ(CVCLISerializedFile::serializedSummaryFileWithPath("b.c")->description(), "b.c");
    EXPECT_EQ(CVCLISerializedFile().description(), "(null)");

    auto list = std::make_shared<CVCLISerializedFileList>();
    list->addFile(CVCLISerializedFile::serializedSummaryFileWithPath("x.c"));
    list->addFile(CVCLISerializedFile::serializedSummaryFileWithPath("y.c"));
    list->setStatus(3);
    EXPECT_EQ(withoutAddresses(list->description()),
              "<CVCLISerializedFileList 0x? status: R (\nx.c,\ny.c\n)>");

    CVCLISerializedChangeset changeset;
    changeset.addFileList(list);
    changeset.addFileList(list);
    EXPECT_EQ(withoutAddresses(changeset.description()),
              "<CVCLISerializedChangeset 0x? label:(null) count:2 fileLists:[" +
                  withoutAddresses(list->description()) + ", " +
                  withoutAddresses(list->description()) + "] >");
    changeset.setFileLists(std::nullopt);
    EXPECT_EQ(withoutAddresses(changeset.description()),
              "<CVCLISerializedChangeset 0x? label:(null) count:0 fileLists:[(null)] >");

    CVCLISerializedChangesetSummary summary;
    summary.setUUIDForProcess("PID:1-2");
    EXPECT_EQ(withoutAddresses(summary.description()),
              "<CVCLISerializedChangesetSummary 0x? UUIDForProcess:PID:1-2 count:0 fileLists:[] "
              ">");

    CVCLISerializedPartialChangeset partial;
    partial.setUUID("UUID:x");
    EXPECT_EQ(withoutAddresses(partial.description()),
              "<CVCLISerializedPartialChangeset 0x? label:(null) UUID:UUID:x "
              "UUIDForProcess:(null) fileList:(null) >");

    EXPECT_EQ(withoutAddresses(CVCLISerializedMerge().description()),
              "<CVCLISerializedMerge: 0x?>");

    CVCLISerializedDiffInvocation invocation;
    invocation.setWaitForTabClose(true);
    EXPECT_EQ(withoutAddresses(invocation.description()),
              "<CVCLISerializedDiffInvocation: 0x? wait:1 isChangeset:0 changeset: (null) "
              "fileList: (null)");
}

TEST(TheDescriptions, RefuseAStatusWithoutASymbol) {
    CVCLISerializedFileList list;
    list.setStatus(4);
    EXPECT_THROW(list.description(), std::out_of_range);
}

TEST(AnInvocation, IsInvokedByGitOnlyForExactlyGit) {
    CVCLISerializedDiffInvocation invocation;
    EXPECT_FALSE(invocation.isInvokedByGit());
    for (const auto& [name, byGit] : std::vector<std::pair<std::string, bool>>{
             {"Git", false}, {"git ", false}, {"gitk", false}, {"", false}, {"git", true}}) {
        invocation.setParentProcessName(name);
        EXPECT_EQ(invocation.isInvokedByGit(), byGit) << name;
    }
}

TEST(AnInvocation, DerivesItsRequestFlagsFromItsFields) {
    auto invocation = sampleInvocation();
    EXPECT_TRUE(invocation->isChangeset() && invocation->isChangesetSummary() &&
                invocation->isPartialChangeset() && invocation->isMerge());
    CVCLISerializedDiffInvocation empty;
    EXPECT_FALSE(empty.isChangeset() || empty.isChangesetSummary() || empty.isPartialChangeset() ||
                 empty.isMerge());
    EXPECT_EQ(
        empty.keysForCoding(),
        (std::vector<std::string>{"fileList", "changeset", "partialChangeset", "changesetSummary",
                                  "merge", "waitForTabClose", "parentPID", "parentProcessName"}));
}
