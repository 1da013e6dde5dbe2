#include "platform/CVSealedFile.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

TEST(ASealedFile, IsMappedOnlyWhenSealedAndSmallEnough) {
    CVSealedFileWriter writer;
    ASSERT_TRUE(writer.isOpen());
    ASSERT_TRUE(writer.append("[{\"GUID\":") && writer.append("\"A\"}]"));
    int sealed = writer.seal();
    ASSERT_GE(sealed, 0);
    EXPECT_EQ(write(sealed, "x", 1), -1) << "sealed against writes";
    std::string why;
    std::optional<CVSealedFileMapping> mapping = CVSealedFileMapping::map(sealed, 64, &why);
    ASSERT_TRUE(mapping) << why;
    EXPECT_EQ(mapping->bytes(), "[{\"GUID\":\"A\"}]");
    EXPECT_FALSE(CVSealedFileMapping::map(sealed, 8, &why));
    EXPECT_FALSE(why.empty());
    close(sealed);

    // The same bytes in a file that may still change are refused.
    int unsealed = memfd_create("unsealed", MFD_CLOEXEC);
    ASSERT_EQ(write(unsealed, "[]", 2), 2);
    EXPECT_FALSE(CVSealedFileMapping::map(unsealed, 64, &why));
    EXPECT_EQ(why, "the payload's file is not sealed against changes");
    close(unsealed);
}
