#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// One side of a comparison, ready to show: its text in UTF-8, or why it cannot be shown as text.
struct CorvaneText {
    enum class Kind { text, binary, unreadable };
    Kind kind = Kind::text;
    // The text in UTF-8, line ends as in the file.
    std::string utf8;
    // The bytes were not UTF-8 and were read as Latin-1.
    bool decodedAsLatin1 = false;
    // There is no file on this side (the caller passed /dev/null for an added or deleted file):
    // an empty text.
    bool absent = false;
    // At least one line ends in CR LF.
    bool hasCRLF = false;
    // For an unreadable side: a sentence a person understands ("not a regular file (a pipe)").
    std::string reason;
    // The file's size in bytes, as far as it is known.
    std::uint64_t size = 0;
};

// The text as a pane shows it: without the line end that closes its last line, so that a file's
// final newline does not show as one more, empty, numbered line. A text whose last line has no
// line end is returned whole.
std::string_view CorvaneShownText(std::string_view utf8);

// Whether the text's last line lacks a line end (an empty text has no last line).
bool CorvaneLacksFinalLineEnd(std::string_view utf8);

// The largest file shown as text; a larger one is described by its size instead.
inline constexpr std::uint64_t kCorvaneLargestText = 1ull << 30;

// Whether two files hold the same bytes (their sizes first, then their contents); false when
// either cannot be read.
bool CorvaneSameBytes(const std::string& left, const std::string& right);

// Reads a side from an open descriptor, from its start, without moving its offset. Never blocks:
// a pipe, socket or device is unreadable with a reason. Binary means a NUL byte within the first
// 8,000 bytes, the rule git uses.
CorvaneText CorvaneReadText(int descriptor);
