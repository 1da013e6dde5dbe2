#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// The length of the well-formed UTF-8 sequence at the start of the bytes (no overlong forms,
// surrogates or values past U+10FFFF); 0 when the bytes are empty or do not begin with one.
size_t CVUTF8SequenceLength(std::string_view bytes);
// Whether the bytes are well-formed UTF-8 throughout.
bool CVIsValidUTF8(std::string_view bytes);
// The bytes with every byte that is not part of a well-formed sequence written as "\xNN", for
// naming such bytes in a message.
std::string CVEscapingInvalidUTF8(std::string_view bytes);
// The bytes read as Latin-1 (every byte the code point of the same value), in UTF-8.
std::string CVUTF8FromLatin1(std::string_view bytes);
