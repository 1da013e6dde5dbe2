#pragma once

#include <optional>
#include <string>
#include <string_view>

// The few pieces of JSON text the application writes (listings and journal lines).
namespace CorvaneJSON {

// The text as a JSON string literal; bytes that are not valid UTF-8 are written as U+FFFD.
std::string quoted(std::string_view text);
// quoted(), or null for nothing.
std::string quotedOrNull(const std::optional<std::string>& text);

}  // namespace CorvaneJSON
