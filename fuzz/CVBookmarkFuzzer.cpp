// Bookmark data comes back from the application and the app-group store: parsing and resolving
// must survive any bytes, and well-formed data must serialise back to the same bytes.
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/CVBookmark.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::span<const uint8_t> bytes(data, size);
    if (auto contents = CVBookmark::parse(bytes)) {
        std::vector<uint8_t> again = CVBookmark::serialize(*contents);
        if (again.size() != size || !std::equal(again.begin(), again.end(), data)) {
            __builtin_trap();
        }
    }
    bool isStale = false;
    std::optional<CVError> error;
    auto path = CVBookmark::resolve(bytes, &isStale, &error);
    if (!path && !error) {
        __builtin_trap();
    }
    return 0;
}
