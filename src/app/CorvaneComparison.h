#pragma once

#include <atomic>
#include <cstddef>
#include <string_view>
#include <vector>

// Two texts compared line by line, as chunks that a view aligns side by side. The line diff is
// libgit2's; what is ours is turning its hunks into chunks that cover both texts, and feeding it
// long texts a window of lines at a time, so that what it holds does not grow with the texts.
//
// Lines: a text is split after every line feed; a last line without one still counts, and a text
// that ends in a line feed has no empty line after it.

struct CorvaneDiffOptions {
    // Whitespace does not count: "a b" equals "ab", and CR LF equals LF.
    bool ignoreWhitespace = false;
    // Changes made only of blank lines are not changes: such a chunk is equal, but keeps its
    // lines on each side, so an equal chunk may then have different counts (views align it with
    // filler like any other).
    bool ignoreBlankLines = false;
};

// A run of 0-based lines.
struct CorvaneLineRange {
    int start = 0;
    int count = 0;
    int end() const { return start + count; }
};

struct CorvaneChunk {
    enum class Kind { equal, inserted, deleted, changed };
    Kind kind = Kind::equal;
    CorvaneLineRange left, right;
};

struct CorvaneComparison {
    // Consecutive chunks cover both texts, in order; an equal chunk has the same count on both
    // sides unless blank lines are ignored (its lines may differ in what is ignored).
    std::vector<CorvaneChunk> chunks;
    // Whether the comparison was cancelled before it finished (the chunks are then empty).
    bool cancelled = false;

    // The chunks that are not equal.
    int changeCount() const;
    bool identical() const { return !cancelled && changeCount() == 0; }
};

// Compares two texts. Safe to call off the main thread; returns a cancelled comparison when
// *cancelled becomes true before the result is complete (may be null).
CorvaneComparison CorvaneCompare(std::string_view left, std::string_view right,
                                 CorvaneDiffOptions options,
                                 const std::atomic<bool>* cancelled = nullptr);

// Byte offsets within one line.
struct CorvaneSpan {
    int start = 0;
    int end = 0;
    bool operator==(const CorvaneSpan&) const = default;
};

// For each line of each side of a changed chunk, the byte ranges that changed.
struct CorvaneInlineDiff {
    std::vector<std::vector<CorvaneSpan>> left, right;
};

// The changed words of a changed chunk: each side is cut into words, runs of white space and
// single marks, and the two sequences are diffed. Spans never split a UTF-8 sequence. Lines may
// end with their line feed (ignored). When what differs between the tokens both sides begin and
// end with is past kCorvaneInlineTokenLimit tokens a side, the chunk is left without spans (its
// lines stay tinted as a whole).
CorvaneInlineDiff CorvaneCompareInline(const std::vector<std::string_view>& leftLines,
                                       const std::vector<std::string_view>& rightLines);
inline constexpr std::size_t kCorvaneInlineTokenLimit = 100000;

// The offset where each line begins; its size is the text's line count.
std::vector<std::size_t> CorvaneLineStarts(std::string_view text);
