#include "platform/CVJSON.h"

#include <cstdio>

#include "platform/CVUTF8.h"

std::string CVJSONQuoted(std::string_view text) {
    std::string result;
    result.reserve(text.size() + 2);
    result += '"';
    while (!text.empty()) {
        unsigned char character = static_cast<unsigned char>(text.front());
        size_t length = CVUTF8SequenceLength(text);
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
        } else if (character < 0x20 || character == 0x7F) {
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

std::string CVJSONQuotedOrNull(const std::optional<std::string>& text) {
    return text ? CVJSONQuoted(*text) : "null";
}
