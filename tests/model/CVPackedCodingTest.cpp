#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "CVRecordSamples.h"
#include "model/CVCLISerializedChangeset.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVPackedCoding.h"
#include "model/CVPackedInvocationWriter.h"

namespace {

std::string u32(uint32_t value) {
    return std::string{char(value), char(value >> 8), char(value >> 16), char(value >> 24)};
}
std::string counted(const std::string& bytes) {
    return u32(uint32_t(bytes.size())) + bytes;
}
std::string fileRecord(const std::string& temporary) {
    return "r" + counted("CVCLISerializedFile") + u32(4) + "s" + counted("/x") + temporary + "nn";
}

}  // namespace

TEST(ThePackedCoding, GivesBackEveryRecordClassFieldByField) {
    for (const auto& record : everyRecordClass()) {
        std::string why;
        auto decoded = CVPackedCoding::unpack(*CVPackedCoding::pack(*record), &why);
        ASSERT_NE(decoded, nullptr) << record->className() << ": " << why;
        EXPECT_TRUE(decoded->isEqualTo(*record)) << record->className();
    }
}

TEST(ThePackedStream, CarriesTheInvocationAndThenItsListsHoweverTheBytesArrive) {
    auto invocation = sampleInvocation();
    auto changeset = invocation->changeset();
    auto lists = *changeset->fileLists();
    changeset->setFileLists(CVCLISerializedChangeset::FileLists());
    CVPackedInvocationWriter writer;
    ASSERT_TRUE(writer.begin(*invocation));
    int reading = dup(writer.readingEnd());
    writer.closeReadingEnd();
    for (const auto& list : lists) {
        ASSERT_TRUE(writer.addFileList(*list));
    }
    ASSERT_TRUE(writer.finish());
    EXPECT_EQ(writer.fileListCount(), lists.size());
    std::string stream(1 << 16, '\0');
    ssize_t length = read(reading, stream.data(), stream.size());
    close(reading);
    ASSERT_GT(length, 0);
    stream.resize(size_t(length));
    EXPECT_EQ(writer.size(), stream.size());

    for (size_t piece : {size_t(1), size_t(7), stream.size()}) {
        CVPackedCoding::StreamReader reader;
        std::vector<std::shared_ptr<CVCLISerializedFileList>> read;
        for (size_t offset = 0; offset < stream.size(); offset += piece) {
            ASSERT_TRUE(reader.append(std::string_view(stream).substr(offset, piece)))
                << reader.whyRefused();
            EXPECT_EQ(reader.isEnded(), offset + piece >= stream.size()) << piece;
            for (auto& list : reader.takeFileLists()) {
                EXPECT_NE(reader.root(), nullptr) << "the invocation comes first";
                read.push_back(std::move(list));
            }
        }
        ASSERT_NE(reader.root(), nullptr);
        EXPECT_TRUE(reader.root()->isEqualTo(*invocation)) << piece;
        ASSERT_EQ(read.size(), lists.size());
        for (size_t index = 0; index < lists.size(); ++index) {
            EXPECT_TRUE(read[index]->isEqualTo(*lists[index]));
        }
    }
}

TEST(ThePackedStream, BreaksWithoutASignalWhenTheReaderGoes) {
    auto invocation = sampleInvocation();
    invocation->changeset()->setFileLists(CVCLISerializedChangeset::FileLists());
    auto list = sampleFileList();
    CVPackedInvocationWriter writer;
    ASSERT_TRUE(writer.begin(*invocation));
    writer.closeReadingEnd();
    // No SIGPIPE ends the test: the lists that no longer reach anyone fail instead.
    bool written = true;
    for (int index = 0; index < 10000 && written; ++index) {
        written = writer.addFileList(*list);
    }
    EXPECT_FALSE(written);
    EXPECT_TRUE(writer.isBroken());
    EXPECT_FALSE(writer.finish());
}

TEST(ThePackedStream, IsRefusedForAnythingButAnInvocationWithAChangesetAndWholeFileLists) {
    auto invocation = sampleInvocation();
    invocation->changeset()->setFileLists(CVCLISerializedChangeset::FileLists());
    std::string root = counted(*CVPackedCoding::pack(*invocation));
    std::string list;
    ASSERT_TRUE(CVPackedCoding::appendRecord(&list, *sampleFileList()));
    auto noChangeset = sampleInvocation();
    noChangeset->setChangeset(nullptr);
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"CVP1" + root, "the stream does not begin with \"CVS1\""},
        {"CVS1" + u32(0), "the stream ends before its invocation"},
        {"CVS1" + counted("CVP1n"), "expected a record, found nil"},
        {"CVS1" + counted(*CVPackedCoding::pack(*sampleFileList())),
         "the stream's invocation has no changeset"},
        {"CVS1" + counted(*CVPackedCoding::pack(*noChangeset)),
         "the stream's invocation has no changeset"},
        {"CVS1" + counted(*CVPackedCoding::pack(*sampleInvocation())),
         "the stream's invocation carries file lists of its own"},
        {"CVS1" + root + counted("n"), "expected a CVCLISerializedFileList, found nil"},
        {"CVS1" + root + counted(fileRecord("t")),
         "expected a CVCLISerializedFileList, found CVCLISerializedFile"},
        {"CVS1" + root + counted(list.substr(0, 20)), "the payload ends inside a value"},
        {"CVS1" + root + counted(list) + u32(0) + "x", "bytes follow the end of the stream"},
        {"CVS1" + root + u32(0) + counted(list), "bytes follow the end of the stream"},
    };
    for (const auto& [bytes, reason] : cases) {
        CVPackedCoding::StreamReader reader;
        EXPECT_FALSE(reader.append(bytes)) << reason;
        EXPECT_EQ(reader.whyRefused(), reason);
        EXPECT_FALSE(reader.append("CVS1")) << "nothing is taken after a refusal";
    }
    CVPackedCoding::StreamReader unfinished;
    EXPECT_TRUE(unfinished.append("CVS1" + root + counted(list) + u32(5)));
    EXPECT_FALSE(unfinished.isEnded());
    EXPECT_EQ(unfinished.takeFileLists().size(), 1U);
}

TEST(ThePackedDecoder, RefusesWhatTheWireDecoderRefusesAndMalformedBytes) {
    std::string deep = "CVP1r" + counted("CVCLISerializedChangeset") + u32(2);
    for (int level = 0; level < 40; ++level) {
        deep += "a" + u32(1);
    }
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"XVP1n", "the payload does not begin with \"CVP1\""},
        {"CVP1n", "expected a record, found nil"},
        {"CVP1?", "unknown value tag 63"},
        {"CVP1r" + counted("CVCLISerializedNothing"),
         "unknown class name \"CVCLISerializedNothing\""},
        {"CVP1r" + counted("CVCLISerializedFile") + u32(3),
         "CVCLISerializedFile: 3 values for 4 keys"},
        {"CVP1" + fileRecord("s" + counted("yes")),
         "CVCLISerializedFile: key \"temporary\" expects boolean or nil, found string"},
        {"CVP1" + fileRecord("t") + "n", "bytes follow the record"},
        {"CVP1" + fileRecord("t").substr(0, 30), "the payload ends inside a value"},
        {"CVP1r" + counted("CVCLISerializedFile") + u32(4) + "s" + counted("\xff"),
         "a string that is not UTF-8 without NUL"},
        {"CVP1r" + counted("CVCLISerializedChangeset") + u32(2) + "a" + u32(1000),
         "an array of 1000 values in 0 bytes"},
        {deep, "values nested deeper than 32 levels"},
    };
    for (const auto& [bytes, reason] : cases) {
        std::string why;
        EXPECT_EQ(CVPackedCoding::unpack(bytes, &why), nullptr) << reason;
        EXPECT_EQ(why, reason);
    }
}
