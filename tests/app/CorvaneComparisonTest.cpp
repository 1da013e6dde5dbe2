// The comparison model: chunks that cover both texts, the ignore options, inline spans, and how a
// side is read.
#include "app/CorvaneComparison.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "TemporaryFolder.h"
#include "app/CorvaneText.h"
#include "platform/CVHeldFile.h"

namespace {

using Kind = CorvaneChunk::Kind;

// "=2/2 ~1/1 +0/2 -1/0": each chunk's kind and its counts on the left and right.
std::string outline(const CorvaneComparison& comparison) {
    std::string text;
    for (const CorvaneChunk& chunk : comparison.chunks) {
        text += (text.empty() ? "" : " ") + std::string(1, "=+-~"[static_cast<int>(chunk.kind)]) +
                std::to_string(chunk.left.count) + "/" + std::to_string(chunk.right.count);
    }
    return text;
}

TEST(AComparison, CoversBothTextsWithChunksInOrder) {
    struct Case {
        const char* name;
        std::string left, right;
        std::string expected;
        CorvaneDiffOptions options = {};
    };
    using namespace std::string_literals;
    const Case cases[] = {
        {"identical", "a\nb\n", "a\nb\n", "=2/2"},
        {"both empty", "", "", ""},
        {"one changed line", "a\nb\nc\n", "a\nB\nc\n", "=1/1 ~1/1 =1/1"},
        {"inserted at the start", "b\n", "a\nb\n", "+0/1 =1/1"},
        {"deleted at the end", "a\nb\n", "a\n", "=1/1 -1/0"},
        {"everything new", "", "a\nb\n", "+0/2"},
        {"last line without line feed", "a\nb", "a\nb\n", "=1/1 ~1/1"},
        {"NUL bytes are text", "a\n\0\n"s, "a\n\0x\n"s, "=1/1 ~1/1"},
        {"CR LF against LF", "a\r\nb\r\n", "a\nb\n", "~2/2"},
        {"CR LF as white space", "a\r\nb\r\n", "a\nb\n", "=2/2", {.ignoreWhitespace = true}},
        {"spaces ignored", "int  x = 1;\n", "int x=1;\n", "=1/1", {.ignoreWhitespace = true}},
        {"blank lines", "a\nb\n", "a\n\n\nb\n", "=1/1 =0/2 =1/1", {.ignoreBlankLines = true}},
    };
    for (const Case& c : cases) {
        CorvaneComparison comparison = CorvaneCompare(c.left, c.right, c.options);
        EXPECT_EQ(outline(comparison), c.expected) << c.name;
        int left = 0;
        int right = 0;
        for (const CorvaneChunk& chunk : comparison.chunks) {
            EXPECT_EQ(chunk.left.start, left) << c.name;
            EXPECT_EQ(chunk.right.start, right) << c.name;
            left = chunk.left.end();
            right = chunk.right.end();
        }
        EXPECT_EQ(left, static_cast<int>(CorvaneLineStarts(c.left).size())) << c.name;
        EXPECT_EQ(right, static_cast<int>(CorvaneLineStarts(c.right).size())) << c.name;
    }
}

TEST(AComparison, CountsItsChangesAndStopsWhenCancelled) {
    CorvaneComparison comparison = CorvaneCompare("a\nb\nc\nd\n", "a\nX\nc\nd\ne\n", {});
    EXPECT_EQ(comparison.changeCount(), 2);

    std::atomic<bool> cancelled{true};
    CorvaneComparison stopped = CorvaneCompare("a\n", "b\n", {}, &cancelled);
    EXPECT_TRUE(stopped.cancelled);
    EXPECT_TRUE(stopped.chunks.empty());
    EXPECT_FALSE(stopped.identical());
}

TEST(AComparison, OfTextsLongerThanWhatIsDiffedAtOnceFindsEveryChangeWhereItIs) {
    // Changes near the first window's end, a deletion, an insertion longer than two windows
    // and a changed last line without a line feed.
    std::string left;
    std::string right;
    for (int line = 0; line < 300000; ++line) {
        std::string text = "line " + std::to_string(line);
        left += text + "\n";
        if (line == 150000) {
            for (int added = 0; added < 140000; ++added) {
                right += "added " + std::to_string(added) + "\n";
            }
        }
        if (line == 10 || line == 65530 || line == 299999) {
            text = std::string("changed ").append(text);
        }
        if (line < 100000 || line >= 100005) {
            right += text + "\n";
        }
    }
    left.pop_back();
    right.pop_back();
    std::string changes;
    for (const CorvaneChunk& chunk : CorvaneCompare(left, right, {}).chunks) {
        if (chunk.kind != Kind::equal) {
            changes += std::to_string(chunk.left.start) + "+" + std::to_string(chunk.left.count) +
                       "/" + std::to_string(chunk.right.start) + "+" +
                       std::to_string(chunk.right.count) + " ";
        }
    }
    EXPECT_EQ(changes,
              "10+1/10+1 65530+1/65530+1 100000+5/100000+0 150000+0/149995+140000 "
              "299999+1/439994+1 ");
}

TEST(AnInlineDiff, MarksTheChangedWordsOfEachLineWithoutLosingTheLineBreaks) {
    using Spans = std::vector<std::vector<CorvaneSpan>>;
    struct InlineCase {
        std::vector<std::string_view> left, right;
        Spans leftSpans, rightSpans;
    };
    const InlineCase cases[] = {
        {{"int count = 1;\n", "return café;\n"},
         {"long count = 2;\n", "return cafés;\n"},
         {{{0, 3}, {12, 13}}, {{7, 12}}},
         {{{0, 4}, {13, 14}}, {{7, 13}}}},
        // One edited stretch.
        {{"v = compute(a);\n"}, {"v = recompute(a);\n"}, {{{4, 11}}}, {{{4, 13}}}},
        {{"a b"}, {"a x b"}, {{}}, {{{2, 4}}}},
        {{"a b", "c"}, {"a b c"}, {{}, {}}, {{{3, 4}}}},
        {{"x = 1;"}, {"x = 1;", ""}, {{}}, {{}, {}}},
        // A line only one side has is all new: no spans of its own.
        {{"same"}, {"same", "added line"}, {{}}, {{}, {{0, 10}}}},
    };
    for (const InlineCase& test : cases) {
        CorvaneInlineDiff diff = CorvaneCompareInline(test.left, test.right);
        EXPECT_EQ(diff.left, test.leftSpans) << test.left[0];
        EXPECT_EQ(diff.right, test.rightSpans) << test.right[0];
    }
}

CorvaneText readSide(const std::string& path) {
    int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    CorvaneText text = CorvaneReadText(descriptor);
    close(descriptor);
    return text;
}

TEST(ASide, IsTextLatin1OrBinary) {
    TemporaryFolder folder;
    auto read = [&](const std::string& bytes) { return readSide(folder.write("side", bytes)); };
    CorvaneText utf8 = read("caf\xc3\xa9\r\n");
    EXPECT_EQ(utf8.kind, CorvaneText::Kind::text);
    EXPECT_EQ(utf8.utf8, "caf\xc3\xa9\r\n");
    EXPECT_TRUE(utf8.hasCRLF);
    EXPECT_FALSE(utf8.decodedAsLatin1);

    CorvaneText latin1 = read("caf\xe9\n");
    EXPECT_EQ(latin1.utf8, "caf\xc3\xa9\n");
    EXPECT_TRUE(latin1.decodedAsLatin1);

    CorvaneText binary = read(std::string("PNG\0\x01", 5));
    EXPECT_EQ(binary.kind, CorvaneText::Kind::binary);
    EXPECT_EQ(binary.size, 5u);
}

TEST(ASide, IsUnreadableWithAReasonWhenItIsAPipeADeviceOrClosedAndAbsentWhenTheNullDevice) {
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    CorvaneText pipeSide = CorvaneReadText(pipeEnds[0]);
    close(pipeEnds[0]);
    close(pipeEnds[1]);
    EXPECT_EQ(pipeSide.kind, CorvaneText::Kind::unreadable);
    EXPECT_EQ(pipeSide.reason, "This is not a regular file (a pipe), so it is not read.");
    EXPECT_EQ(CorvaneReadText(-1).reason, "The file could not be opened.");
    EXPECT_EQ(readSide("/dev/zero").reason,
              "This is not a regular file (a device), so it is not read.");

    CorvaneText null = readSide("/dev/null");
    EXPECT_EQ(null.kind, CorvaneText::Kind::text);
    EXPECT_TRUE(null.absent);
    EXPECT_EQ(null.utf8, "");
}

TEST(AHeldFile, StillReadsWhatItHeldAfterItsPathIsGoneAndRemovesACaptureWhenReleased) {
    TemporaryFolder folder;
    std::string kept = folder.write("kept", "stays\n");
    std::string capture = folder.write("capture", "left over\n");
    auto keptFile = CVHeldFile::open(kept, false);
    auto captureFile = CVHeldFile::open(capture, true);
    ASSERT_GE(captureFile->descriptor(), 0);
    ASSERT_EQ(::unlink(capture.c_str()), 0);  // the tool's caller cleans up right after the call
    EXPECT_EQ(CorvaneReadText(captureFile->descriptor()).utf8, "left over\n");

    std::string recreated = folder.write("capture", "again");
    captureFile.reset();
    keptFile.reset();
    EXPECT_EQ(::access(recreated.c_str(), F_OK), -1);
    EXPECT_EQ(::access(kept.c_str(), F_OK), 0);
    EXPECT_LT(CVHeldFile::open(folder / "missing", false)->descriptor(), 0);
}

}  // namespace
