// git's quoted names arrive in changeset summaries: unquoting must survive any bytes, and a name
// quoted the way git quotes it must come back byte for byte.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "app/CorvaneChangesetItems.h"

namespace {

// git's quoting: letters for the usual control characters, three octal digits for other bytes
// below space, DEL and every byte from 0x80.
std::string quotedAsGitDoes(std::string_view name) {
    static constexpr std::string_view kLetters = "\aa\bb\tt\nn\vv\ff\rr\"\"\\\\";
    std::string quoted = "\"";
    for (char character : name) {
        auto byte = static_cast<unsigned char>(character);
        if (size_t found = kLetters.find(character);
            found != std::string_view::npos && found % 2 == 0) {
            quoted += '\\';
            quoted += kLetters[found + 1];
        } else if (byte < 0x20 || byte >= 0x7f) {
            quoted += '\\';
            quoted += static_cast<char>('0' + (byte >> 6));
            quoted += static_cast<char>('0' + ((byte >> 3) & 7));
            quoted += static_cast<char>('0' + (byte & 7));
        } else {
            quoted += character;
        }
    }
    return quoted + "\"";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    std::string unquoted = CorvaneUnquoteGitPath(bytes);
    if (unquoted.size() > size) {
        __builtin_trap();
    }
    if (CorvaneUnquoteGitPath(quotedAsGitDoes(bytes)) != bytes) {
        __builtin_trap();
    }
    return 0;
}
