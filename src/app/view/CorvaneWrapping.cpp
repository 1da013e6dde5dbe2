#include "app/view/CorvaneWrapping.h"

#include <glib.h>

std::vector<int> CorvaneWrappedRowStarts(std::string_view text,
                                         const std::vector<std::size_t>& lineStarts, int columns) {
    std::vector<int> starts;
    starts.reserve(lineStarts.size() + 1);
    int row = 0;
    for (std::size_t line = 0; line < lineStarts.size(); ++line) {
        starts.push_back(row);
        std::size_t end = line + 1 < lineStarts.size() ? lineStarts[line + 1] : text.size();
        const char* at = text.data() + lineStarts[line];
        const char* stop = text.data() + end;
        long width = 0;
        while (at < stop && *at != '\n' && *at != '\r') {
            gunichar character = g_utf8_get_char_validated(at, stop - at);
            if (character == static_cast<gunichar>(-1) || character == static_cast<gunichar>(-2)) {
                width += 1;
                at += 1;
                continue;
            }
            width = character == '\t' ? (width / 8 + 1) * 8
                                      : width + (g_unichar_iswide(character) ? 2 : 1);
            at = g_utf8_next_char(at);
        }
        row += width == 0 ? 1 : static_cast<int>((width + columns - 1) / columns);
    }
    starts.push_back(row);
    return starts;
}
