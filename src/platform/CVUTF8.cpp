#include "platform/CVUTF8.h"

#include <cstdio>

size_t CVUTF8SequenceLength(std::string_view bytes) {
    if (bytes.empty()) {
        return 0;
    }
    auto byte = [&](size_t index) { return static_cast<unsigned char>(bytes[index]); };
    unsigned char lead = byte(0);
    size_t length = lead < 0x80           ? 1
                    : (lead >> 5) == 0x6  ? 2
                    : (lead >> 4) == 0xE  ? 3
                    : (lead >> 3) == 0x1E ? 4
                                          : 0;
    if (length == 0 || length > bytes.size() || (length == 2 && lead < 0xC2)) {
        return 0;
    }
    for (size_t index = 1; index < length; ++index) {
        if ((byte(index) & 0xC0) != 0x80) {
            return 0;
        }
    }
    // Overlong three- and four-byte forms, surrogates, and values past U+10FFFF.
    if ((length == 3 && lead == 0xE0 && byte(1) < 0xA0) ||
        (length == 3 && lead == 0xED && byte(1) >= 0xA0) ||
        (length == 4 && lead == 0xF0 && byte(1) < 0x90) ||
        (length == 4 && (lead > 0xF4 || (lead == 0xF4 && byte(1) >= 0x90)))) {
        return 0;
    }
    return length;
}

bool CVIsValidUTF8(std::string_view bytes) {
    while (!bytes.empty()) {
        size_t length =
            static_cast<unsigned char>(bytes.front()) < 0x80 ? 1 : CVUTF8SequenceLength(bytes);
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

std::string CVEscapingInvalidUTF8(std::string_view bytes) {
    std::string escaped;
    escaped.reserve(bytes.size());
    while (!bytes.empty()) {
        size_t length = CVUTF8SequenceLength(bytes);
        if (length == 0) {
            char escape[5];
            snprintf(escape, sizeof escape, "\\x%02X", static_cast<unsigned char>(bytes.front()));
            escaped += escape;
            length = 1;
        } else {
            escaped += bytes.substr(0, length);
        }
        bytes.remove_prefix(length);
    }
    return escaped;
}

std::string CVUTF8FromLatin1(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size() + bytes.size() / 8);
    for (unsigned char byte : bytes) {
        if (byte < 0x80) {
            text.push_back(static_cast<char>(byte));
        } else {
            text.push_back(static_cast<char>(0xC0 | (byte >> 6)));
            text.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
        }
    }
    return text;
}
