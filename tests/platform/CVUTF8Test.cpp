#include "platform/CVUTF8.h"

#include <gtest/gtest.h>

TEST(CVUTF8Test, MeasuresOnlyWellFormedSequences) {
    EXPECT_EQ(CVUTF8SequenceLength("a"), 1u);
    EXPECT_EQ(CVUTF8SequenceLength("\xC3\xA9x"), 2u);
    EXPECT_EQ(CVUTF8SequenceLength("\xE2\x80\x99"), 3u);
    EXPECT_EQ(CVUTF8SequenceLength("\xF0\x9F\x98\x80"), 4u);
    EXPECT_EQ(CVUTF8SequenceLength(""), 0u);
    EXPECT_EQ(CVUTF8SequenceLength("\x80"), 0u) << "a continuation byte first";
    EXPECT_EQ(CVUTF8SequenceLength("\xC0\xAF"), 0u) << "overlong two bytes";
    EXPECT_EQ(CVUTF8SequenceLength("\xE0\x80\xAF"), 0u) << "overlong three bytes";
    EXPECT_EQ(CVUTF8SequenceLength("\xED\xA0\x80"), 0u) << "a surrogate";
    EXPECT_EQ(CVUTF8SequenceLength("\xF4\x90\x80\x80"), 0u) << "past U+10FFFF";
    EXPECT_EQ(CVUTF8SequenceLength("\xE2\x80"), 0u) << "cut short";
}

TEST(CVUTF8Test, ValidatesAndEscapesWholeTexts) {
    EXPECT_TRUE(CVIsValidUTF8(""));
    EXPECT_TRUE(CVIsValidUTF8("caf\xC3\xA9 \xE2\x80\x99"));
    EXPECT_FALSE(CVIsValidUTF8("caf\xE9"));
    EXPECT_FALSE(CVIsValidUTF8(std::string_view("a\xF0\x9F\x98", 4)));

    EXPECT_EQ(CVEscapingInvalidUTF8("caf\xE9/\xC3\xA9"), "caf\\xE9/\xC3\xA9");
    EXPECT_EQ(CVEscapingInvalidUTF8("\xFF\xFE"), "\\xFF\\xFE");
    EXPECT_EQ(CVEscapingInvalidUTF8("plain"), "plain");
}
