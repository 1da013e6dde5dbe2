#include <gtest/gtest.h>
#include <sys/mman.h>

#include "CVRecordSamples.h"
#include "model/CVCLISerializedChangeset.h"
#include "model/CVPackedCoding.h"
#include "model/CVPackedInvocationWriter.h"
#include "model/CVWireCoding.h"

namespace {

// The record an invocation message carrying the descriptor gives.
std::shared_ptr<CVCLISerializedObject> readDescriptor(int descriptor, std::string* why) {
    WireMessage message([&](sd_bus_message* m) {
        EXPECT_EQ(CVWireCoding::appendPackedInvocation(m, descriptor), 0);
    });
    return CVWireCoding::readInvocationRecord(message.get(), why);
}

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

TEST(ThePackedInvocationWriter, SealsTheInvocationWithItsListsWrittenInBetween) {
    auto invocation = sampleInvocation();
    auto changeset = invocation->changeset();
    auto lists = *changeset->fileLists();
    changeset->setFileLists(CVCLISerializedChangeset::FileLists());
    CVPackedInvocationWriter writer;
    ASSERT_TRUE(writer.begin(*invocation, *changeset));
    for (const auto& list : lists) {
        ASSERT_TRUE(writer.addFileList(*list));
    }
    ASSERT_TRUE(writer.finish());
    EXPECT_EQ(write(writer.descriptor(), "x", 1), -1) << "sealed against writes";

    std::string why;
    auto decoded = readDescriptor(writer.descriptor(), &why);
    ASSERT_NE(decoded, nullptr) << why;
    changeset->setFileLists(lists);
    EXPECT_TRUE(decoded->isEqualTo(*invocation));
    EXPECT_EQ(writer.fileListCount(), lists.size());

    // The same bytes in a file that is not sealed are refused.
    int unsealed = memfd_create("unsealed", MFD_CLOEXEC);
    std::string packed = *CVPackedCoding::pack(*invocation);
    ASSERT_EQ(write(unsealed, packed.data(), packed.size()), ssize_t(packed.size()));
    EXPECT_EQ(readDescriptor(unsealed, &why), nullptr);
    EXPECT_EQ(why, "the payload's file is not sealed against changes");
    close(unsealed);
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
