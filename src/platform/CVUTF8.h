#pragma once

#include <string_view>

// Whether the bytes are well-formed UTF-8 (no overlong forms, surrogates or values past U+10FFFF).
bool CVIsValidUTF8(std::string_view bytes);
