#include "app/CorvaneJSON.h"

#include <cstdio>

namespace CorvaneJSON {

namespace {

// The length of the valid UTF-8 sequence at the start of the text, or 0 when it is not one.
size_t validSequenceLength(std::string_view text) {
    auto byte = [&](size_t index) { return static_cast<unsigned char>(text[index]); };
    unsigned char lead = byte(0);
    size_t length = lead < 0x80           ? 1
                    : (lead >> 5) == 0x6  ? 2
                    : (lead >> 4) == 0xE  ? 3
                    : (lead >> 3) == 0x1E ? 4
                                          : 0;
    if (length == 0 || length > text.size() || (length == 2 && lead < 0xC2)) {
        return 0;
    }
    for (size_t index = 1; index < length; ++index) {
        if ((byte(index) & 0xC0) != 0x80) {
            return 0;
        }
    }
    if ((length == 3 && lead == 0xE0 && byte(1) < 0xA0) ||
        (length == 3 && lead == 0xED && byte(1) >= 0xA0) ||
        (length == 4 && lead == 0xF0 && byte(1) < 0x90) ||
        (length == 4 && (lead > 0xF4 || (lead == 0xF4 && byte(1) >= 0x90)))) {
        return 0;
    }
    return length;
}

}  // namespace

std::string quoted(std::string_view text) {
    std::string result;
    result.reserve(text.size() + 2);
    result += '"';
    while (!text.empty()) {
        unsigned char character = static_cast<unsigned char>(text.front());
        size_t length = validSequenceLength(text);
        if (length == 0) {
            result += "\\ufffd";
            text.remove_prefix(1);
            continue;
        }
        if (character == '"' || character == '\\') {
            result += '\\';
            result += static_cast<char>(character);
        } else if (character == '\n') {
            result += "\\n";
        } else if (character == '\t') {
            result += "\\t";
        } else if (character == '\r') {
            result += "\\r";
        } else if (character < 0x20) {
            char escape[8];
            snprintf(escape, sizeof escape, "\\u%04x", character);
            result += escape;
        } else {
            result.append(text.substr(0, length));
        }
        text.remove_prefix(length);
    }
    result += '"';
    return result;
}

std::string quotedOrNull(const std::optional<std::string>& text) {
    return text ? quoted(*text) : "null";
}

}  // namespace CorvaneJSON
