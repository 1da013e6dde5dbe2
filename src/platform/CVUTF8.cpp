#include "platform/CVUTF8.h"

#include <cstdint>

bool CVIsValidUTF8(std::string_view bytes) {
    size_t index = 0;
    const size_t size = bytes.size();
    while (index < size) {
        auto lead = static_cast<uint8_t>(bytes[index]);
        if (lead < 0x80) {
            ++index;
            continue;
        }
        size_t length;
        uint32_t minimum;
        uint32_t value;
        if ((lead & 0xE0) == 0xC0) {
            length = 2, minimum = 0x80, value = lead & 0x1F;
        } else if ((lead & 0xF0) == 0xE0) {
            length = 3, minimum = 0x800, value = lead & 0x0F;
        } else if ((lead & 0xF8) == 0xF0) {
            length = 4, minimum = 0x10000, value = lead & 0x07;
        } else {
            return false;
        }
        if (size - index < length) {
            return false;
        }
        for (size_t offset = 1; offset < length; ++offset) {
            auto next = static_cast<uint8_t>(bytes[index + offset]);
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            value = (value << 6) | (next & 0x3F);
        }
        if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
            return false;
        }
        index += length;
    }
    return true;
}
