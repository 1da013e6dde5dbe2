#include "app/CorvaneInvocationReader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "../model/CVRecordSamples.h"
#include "model/CVPackedInvocationWriter.h"

namespace {

// The stream the tool writes for the invocation, whose changeset's lists follow it.
std::string streamOf(const CVCLISerializedDiffInvocation& invocation,
                     const CVCLISerializedChangeset::FileLists& lists) {
    CVPackedInvocationWriter writer;
    EXPECT_TRUE(writer.begin(invocation));
    int reading = dup(writer.readingEnd());
    writer.closeReadingEnd();
    for (const auto& list : lists) {
        EXPECT_TRUE(writer.addFileList(*list));
    }
    EXPECT_TRUE(writer.finish());
    std::string stream(1 << 16, '\0');
    ssize_t length = read(reading, stream.data(), stream.size());
    close(reading);
    stream.resize(size_t(std::max<ssize_t>(length, 0)));
    return stream;
}

std::shared_ptr<CVCLISerializedDiffInvocation> changesetInvocation() {
    auto invocation = std::make_shared<CVCLISerializedDiffInvocation>();
    invocation->setChangeset(std::make_shared<CVCLISerializedChangeset>());
    invocation->changeset()->setLabel("changes");
    invocation->setParentPID(getpid());
    return invocation;
}

}  // namespace

TEST(AStreamedInvocation, IsAChangesetWhoseItemsAreMadeAsTheirFramesArrive) {
    CVCLISerializedChangeset::FileLists lists = {sampleFileList(), sampleFileList()};
    lists[1]->setRelativePath("b.txt");
    auto invocation = changesetInvocation();
    std::string stream = streamOf(*invocation, lists);

    CorvaneInvocationReader::StreamedInvocation streamed;
    std::string why;
    for (char byte : stream) {
        ASSERT_TRUE(streamed.append(std::string_view(&byte, 1), &why)) << why;
    }
    std::optional<CorvaneInvocationReader::Invocation> read = streamed.finish(&why);
    ASSERT_TRUE(read) << why;
    EXPECT_EQ(read->request.kind, CorvaneDocumentKind::changeset);
    EXPECT_EQ(read->request.label, "changes");
    ASSERT_EQ(read->request.fileLists.size(), 2U);
    EXPECT_EQ(read->request.fileLists[0].relativePath, "a.txt");
    EXPECT_EQ(read->request.fileLists[1].relativePath, "b.txt");
    EXPECT_EQ(read->request.fileLists[1].files,
              (std::vector<std::string>{"/left/a.txt", "right/a.txt"}));
    // The record keeps the lists too, for the journal; with none written they are let go.
    invocation->changeset()->setFileLists(lists);
    EXPECT_TRUE(read->record->isEqualTo(*invocation));
    CorvaneInvocationReader::StreamedInvocation unjournaled(false);
    ASSERT_TRUE(unjournaled.append(stream, &why)) << why;
    read = unjournaled.finish(&why);
    ASSERT_TRUE(read) << why;
    EXPECT_EQ(read->request.fileLists.size(), 2U);
    EXPECT_EQ(read->record->changeset()->fileLists()->size(), 0U);
}

TEST(AStreamedInvocation, IsRefusedWhenItIsNoChangesetOrEndsBeforeItsEnd) {
    std::string why;
    auto everything = sampleInvocation();  // a merge first of all
    everything->changeset()->setFileLists(CVCLISerializedChangeset::FileLists());
    CorvaneInvocationReader::StreamedInvocation merge;
    EXPECT_FALSE(merge.append(streamOf(*everything, {}), &why));
    EXPECT_EQ(why, "Only the file lists of a changeset are streamed.");

    std::string stream = streamOf(*changesetInvocation(), {sampleFileList()});
    CorvaneInvocationReader::StreamedInvocation cut;
    EXPECT_TRUE(cut.append(stream.substr(0, stream.size() - 1), &why));
    EXPECT_FALSE(cut.finish(&why));
    EXPECT_EQ(why, "the stream ends before the frame that ends it");

    CorvaneInvocationReader::StreamedInvocation malformed;
    EXPECT_FALSE(malformed.append(std::string("CVS1\x05\0\0\0CVP1?", 13), &why));
    EXPECT_EQ(why, "unknown value tag 63");
}
