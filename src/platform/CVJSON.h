#pragma once

#include <optional>
#include <string>
#include <string_view>

// The text as a JSON string literal: quotes, backslashes and control characters escaped, and every
// byte that is not part of well-formed UTF-8 written as U+FFFD.
std::string CVJSONQuoted(std::string_view text);
// CVJSONQuoted, or null for nothing.
std::string CVJSONQuotedOrNull(const std::optional<std::string>& text);
