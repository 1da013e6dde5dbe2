#include "app/CorvaneComparison.h"

#include <git2.h>

#include <algorithm>
#include <cctype>
#include <optional>
#include <string>
#include <utility>

namespace {

constexpr std::size_t kPatienceLimit = 16 << 20;
// Lines a side that libgit2 compares at a time, and the part of a window's end that is compared
// again with the next one (a fraction of the window).
constexpr int kWindowLines = 1 << 16;
constexpr int kWindowMarginFraction = 8;

// libgit2 wants one initialisation per process before its first use.
void initializeLibGit2() {
    static const int once = git_libgit2_init();
    (void)once;
}

// A hunk with 0-based starts: a side with no lines starts where the other side's lines go.
struct Hunk {
    int leftStart, leftCount, rightStart, rightCount;
};

struct HunkCollector {
    std::vector<Hunk> hunks;
    const std::atomic<bool>* cancelled = nullptr;
};

int collectHunk(const git_diff_delta*, const git_diff_hunk* hunk, void* payload) {
    auto* collector = static_cast<HunkCollector*>(payload);
    if (collector->cancelled != nullptr && collector->cancelled->load(std::memory_order_relaxed)) {
        return 1;  // Any non-zero answer ends the diff.
    }
    // In hunk headers a side without lines names the line before the gap.
    int leftStart = hunk->old_lines == 0 ? hunk->old_start : hunk->old_start - 1;
    int rightStart = hunk->new_lines == 0 ? hunk->new_start : hunk->new_start - 1;
    collector->hunks.push_back({leftStart, hunk->old_lines, rightStart, hunk->new_lines});
    return 0;
}

// The hunks of a line diff of the two buffers, or nothing when it was cancelled.
std::optional<std::vector<Hunk>> diffHunks(std::string_view left, std::string_view right,
                                           uint32_t flags, const std::atomic<bool>* cancelled) {
    initializeLibGit2();
    git_diff_options options;
    git_diff_options_init(&options, GIT_DIFF_OPTIONS_VERSION);
    // Binary detection is the caller's: here every buffer is text.
    options.flags = GIT_DIFF_FORCE_TEXT | flags;
    options.context_lines = 0;
    options.interhunk_lines = 0;
    HunkCollector collector;
    collector.cancelled = cancelled;
    int error =
        git_diff_buffers(left.data(), left.size(), nullptr, right.data(), right.size(), nullptr,
                         &options, nullptr, nullptr, collectHunk, nullptr, &collector);
    if (error != 0) {
        return std::nullopt;
    }
    return std::move(collector.hunks);
}

// The offset `count` lines on from `from`, or the text's end; *counted is how many lines were
// passed (a last line without a line feed counts).
std::size_t skipLines(std::string_view text, std::size_t from, int count, int* counted) {
    *counted = 0;
    while (*counted < count && from < text.size()) {
        std::size_t end = text.find('\n', from);
        from = end == std::string_view::npos ? text.size() : end + 1;
        ++*counted;
    }
    return from;
}

// The last pair of equal lines of a window's hunks that is before both limits (lines from the
// window's start), or nothing; *settled is how many of the hunks come before it.
std::optional<std::pair<int, int>> lastEqualPairBefore(const std::vector<Hunk>& hunks,
                                                       int leftLines, int rightLines, int leftLimit,
                                                       int rightLimit, std::size_t* settled) {
    std::optional<std::pair<int, int>> pair;
    int left = 0;
    int right = 0;
    for (std::size_t index = 0; index <= hunks.size(); ++index) {
        // The equal lines from (left, right) up to the next hunk, or to the window's end.
        int run = index < hunks.size() ? hunks[index].leftStart - left
                                       : std::min(leftLines - left, rightLines - right);
        int last = std::min({run - 1, leftLimit - 1 - left, rightLimit - 1 - right});
        if (last >= 0) {
            pair = {left + last, right + last};
            *settled = index;
        }
        if (index < hunks.size()) {
            left = hunks[index].leftStart + hunks[index].leftCount;
            right = hunks[index].rightStart + hunks[index].rightCount;
        }
    }
    return pair;
}

// The hunks of a line diff of two texts of any length, compared a window of lines at a time so
// that libgit2, which keeps about 200 bytes for every line it compares, never holds more than a
// window's worth. A window is settled up to its last equal lines clear of its end (what is
// matched near the end may belong with lines the window does not hold), and the next window
// starts after them; a window without such lines is doubled. Texts that fit in one window are
// diffed whole.
std::optional<std::vector<Hunk>> windowedHunks(std::string_view left, std::string_view right,
                                               uint32_t flags, const std::atomic<bool>* cancelled) {
    std::vector<Hunk> hunks;
    int leftLine = 0;
    int rightLine = 0;
    std::size_t leftByte = 0;
    std::size_t rightByte = 0;
    int window = kWindowLines;
    while (true) {
        if (cancelled != nullptr && cancelled->load(std::memory_order_relaxed)) {
            return std::nullopt;
        }
        int leftLines = 0;
        int rightLines = 0;
        std::size_t leftEnd = skipLines(left, leftByte, window, &leftLines);
        std::size_t rightEnd = skipLines(right, rightByte, window, &rightLines);
        // Once one side's window reaches its end, the rest of both is diffed whole.
        bool last = leftEnd == left.size() || rightEnd == right.size();
        if (last) {
            leftEnd = left.size();
            rightEnd = right.size();
        }
        std::optional<std::vector<Hunk>> part =
            diffHunks(left.substr(leftByte, leftEnd - leftByte),
                      right.substr(rightByte, rightEnd - rightByte), flags, cancelled);
        if (!part) {
            return std::nullopt;
        }
        std::size_t settled = part->size();
        std::optional<std::pair<int, int>> pair;
        if (!last) {
            int margin = window / kWindowMarginFraction;
            pair = lastEqualPairBefore(*part, leftLines, rightLines, leftLines - margin,
                                       rightLines - margin, &settled);
            if (!pair) {
                window *= 2;
                continue;
            }
        }
        for (std::size_t index = 0; index < settled; ++index) {
            const Hunk& hunk = (*part)[index];
            hunks.push_back({hunk.leftStart + leftLine, hunk.leftCount, hunk.rightStart + rightLine,
                             hunk.rightCount});
        }
        if (last) {
            return hunks;
        }
        // On after the pair.
        int skipped = 0;
        leftByte = skipLines(left, leftByte, pair->first + 1, &skipped);
        rightByte = skipLines(right, rightByte, pair->second + 1, &skipped);
        leftLine += pair->first + 1;
        rightLine += pair->second + 1;
        window = kWindowLines;
    }
}

int lineCount(std::string_view text) {
    auto count = static_cast<int>(std::count(text.begin(), text.end(), '\n'));
    return count + (!text.empty() && text.back() != '\n' ? 1 : 0);
}

CorvaneChunk::Kind kindOf(const Hunk& hunk) {
    if (hunk.leftCount == 0) {
        return CorvaneChunk::Kind::inserted;
    }
    if (hunk.rightCount == 0) {
        return CorvaneChunk::Kind::deleted;
    }
    return CorvaneChunk::Kind::changed;
}

// Inline tokens: a word (letters, digits, '_' and every byte of a multi-byte character), a run of
// white space, or one other character.
enum class TokenClass { word, space, mark };

TokenClass classOf(unsigned char byte) {
    if (isalnum(byte) || byte == '_' || byte >= 0x80) {
        return TokenClass::word;
    }
    if (byte == ' ' || byte == '\t' || byte == '\r' || byte == '\f' || byte == '\v') {
        return TokenClass::space;
    }
    return TokenClass::mark;
}

struct Token {
    int line;
    int start;
    int end;
};

// Cuts the lines into tokens and writes them one a line into `buffer` for the line diff; a line
// break between two lines is a token of its own (an empty token at the end of the line).
std::vector<Token> tokenize(const std::vector<std::string_view>& lines, std::string& buffer) {
    std::vector<Token> tokens;
    for (int line = 0; line < static_cast<int>(lines.size()); ++line) {
        std::string_view text = lines[line];
        if (!text.empty() && text.back() == '\n') {
            text.remove_suffix(1);
        }
        for (std::size_t at = 0; at < text.size();) {
            TokenClass kind = classOf(static_cast<unsigned char>(text[at]));
            std::size_t end = at + 1;
            if (kind != TokenClass::mark) {
                while (end < text.size() &&
                       classOf(static_cast<unsigned char>(text[end])) == kind) {
                    ++end;
                }
            }
            tokens.push_back({line, static_cast<int>(at), static_cast<int>(end)});
            buffer.append(text.substr(at, end - at));
            buffer.push_back('\n');
            at = end;
        }
        tokens.push_back({line, static_cast<int>(text.size()), static_cast<int>(text.size())});
        buffer.append("\x01\n");
    }
    return tokens;
}

// Marks the changed tokens' bytes, merged into spans per line.
std::vector<std::vector<CorvaneSpan>> spansOf(const std::vector<Token>& tokens,
                                              const std::vector<bool>& changed, std::size_t lines) {
    std::vector<std::vector<CorvaneSpan>> spans(lines);
    for (std::size_t index = 0; index < tokens.size(); ++index) {
        const Token& token = tokens[index];
        if (!changed[index] || token.start == token.end) {
            continue;
        }
        auto& lineSpans = spans[static_cast<std::size_t>(token.line)];
        if (!lineSpans.empty() && lineSpans.back().end == token.start) {
            lineSpans.back().end = token.end;
        } else {
            lineSpans.push_back({token.start, token.end});
        }
    }
    return spans;
}

// Whether every line of the range holds white space only.
bool allBlank(std::string_view text, const std::vector<std::size_t>& starts,
              CorvaneLineRange range) {
    if (range.count == 0) {
        return true;
    }
    std::size_t begin = starts[static_cast<std::size_t>(range.start)];
    std::size_t end = static_cast<std::size_t>(range.end()) < starts.size()
                          ? starts[static_cast<std::size_t>(range.end())]
                          : text.size();
    return std::all_of(text.begin() + static_cast<std::ptrdiff_t>(begin),
                       text.begin() + static_cast<std::ptrdiff_t>(end), [](char character) {
                           return isspace(static_cast<unsigned char>(character));
                       });
}

}  // namespace

int CorvaneComparison::changeCount() const {
    return static_cast<int>(std::count_if(chunks.begin(), chunks.end(), [](const auto& chunk) {
        return chunk.kind != CorvaneChunk::Kind::equal;
    }));
}

CorvaneComparison CorvaneCompare(std::string_view left, std::string_view right,
                                 CorvaneDiffOptions options, const std::atomic<bool>* cancelled) {
    // Patience diffs read better (a moved function stays whole, braces do not pair up across
    // functions) but cost about a quarter more; past a size where that costs a person a wait,
    // the default algorithm keeps a million-line file under a second.
    uint32_t flags = left.size() + right.size() <= kPatienceLimit ? GIT_DIFF_PATIENCE : 0;
    if (options.ignoreWhitespace) {
        flags |= GIT_DIFF_IGNORE_WHITESPACE;
    }
    CorvaneComparison comparison;
    std::optional<std::vector<Hunk>> hunks = windowedHunks(left, right, flags, cancelled);
    if (!hunks || (cancelled != nullptr && cancelled->load())) {
        comparison.cancelled = true;
        return comparison;
    }

    std::vector<std::size_t> leftStarts;
    std::vector<std::size_t> rightStarts;
    if (options.ignoreBlankLines) {
        leftStarts = CorvaneLineStarts(left);
        rightStarts = CorvaneLineStarts(right);
    }
    int leftLine = 0;
    int rightLine = 0;
    auto addEqualUpTo = [&](int leftEnd, int rightEnd) {
        if (leftEnd > leftLine) {
            comparison.chunks.push_back({CorvaneChunk::Kind::equal,
                                         {leftLine, leftEnd - leftLine},
                                         {rightLine, rightEnd - rightLine}});
        }
        leftLine = leftEnd;
        rightLine = rightEnd;
    };
    comparison.chunks.reserve(hunks->size() * 2 + 1);
    for (const Hunk& hunk : *hunks) {
        addEqualUpTo(hunk.leftStart, hunk.rightStart);
        CorvaneChunk chunk{
            kindOf(hunk), {hunk.leftStart, hunk.leftCount}, {hunk.rightStart, hunk.rightCount}};
        // An ignored change keeps its lines on both sides, so that the panes still align.
        if (options.ignoreBlankLines && allBlank(left, leftStarts, chunk.left) &&
            allBlank(right, rightStarts, chunk.right)) {
            chunk.kind = CorvaneChunk::Kind::equal;
        }
        comparison.chunks.push_back(chunk);
        leftLine = hunk.leftStart + hunk.leftCount;
        rightLine = hunk.rightStart + hunk.rightCount;
    }
    addEqualUpTo(lineCount(left), lineCount(right));
    return comparison;
}

CorvaneInlineDiff CorvaneCompareInline(const std::vector<std::string_view>& leftLines,
                                       const std::vector<std::string_view>& rightLines) {
    CorvaneInlineDiff result;
    result.left.resize(leftLines.size());
    result.right.resize(rightLines.size());
    std::string leftBuffer;
    std::string rightBuffer;
    std::vector<Token> leftTokens = tokenize(leftLines, leftBuffer);
    std::vector<Token> rightTokens = tokenize(rightLines, rightBuffer);
    // The tokens both sides begin and end with are not changed; what is left between is often
    // a single token a side (one word edited), which needs no diff at all.
    auto text = [](const std::vector<std::string_view>& lines, const Token& token) {
        return lines[static_cast<std::size_t>(token.line)].substr(
            static_cast<std::size_t>(token.start),
            static_cast<std::size_t>(token.end - token.start));
    };
    auto same = [&](std::size_t leftIndex, std::size_t rightIndex) {
        const Token& a = leftTokens[leftIndex];
        const Token& b = rightTokens[rightIndex];
        // A line's end matches only a line's end.
        bool aEnds = a.start == a.end;
        bool bEnds = b.start == b.end;
        return aEnds == bEnds && text(leftLines, a) == text(rightLines, b);
    };
    std::size_t prefix = 0;
    while (prefix < leftTokens.size() && prefix < rightTokens.size() && same(prefix, prefix)) {
        ++prefix;
    }
    std::size_t suffix = 0;
    while (suffix < leftTokens.size() - prefix && suffix < rightTokens.size() - prefix &&
           same(leftTokens.size() - 1 - suffix, rightTokens.size() - 1 - suffix)) {
        ++suffix;
    }
    std::size_t leftMiddle = leftTokens.size() - prefix - suffix;
    std::size_t rightMiddle = rightTokens.size() - prefix - suffix;
    std::vector<bool> leftChanged(leftTokens.size());
    std::vector<bool> rightChanged(rightTokens.size());
    if (leftMiddle > kCorvaneInlineTokenLimit || rightMiddle > kCorvaneInlineTokenLimit) {
        return result;
    }
    if (leftMiddle <= 1 || rightMiddle <= 1) {
        std::fill_n(leftChanged.begin() + static_cast<std::ptrdiff_t>(prefix), leftMiddle, true);
        std::fill_n(rightChanged.begin() + static_cast<std::ptrdiff_t>(prefix), rightMiddle, true);
    } else {
        std::optional<std::vector<Hunk>> hunks = diffHunks(leftBuffer, rightBuffer, 0, nullptr);
        if (!hunks) {
            return result;
        }
        for (const Hunk& hunk : *hunks) {
            std::fill_n(leftChanged.begin() + hunk.leftStart, hunk.leftCount, true);
            std::fill_n(rightChanged.begin() + hunk.rightStart, hunk.rightCount, true);
        }
    }
    result.left = spansOf(leftTokens, leftChanged, leftLines.size());
    result.right = spansOf(rightTokens, rightChanged, rightLines.size());
    return result;
}

std::vector<std::size_t> CorvaneLineStarts(std::string_view text) {
    std::vector<std::size_t> starts;
    if (text.empty()) {
        return starts;
    }
    starts.push_back(0);
    for (std::size_t at = text.find('\n'); at != std::string_view::npos;
         at = text.find('\n', at + 1)) {
        if (at + 1 < text.size()) {
            starts.push_back(at + 1);
        }
    }
    return starts;
}
