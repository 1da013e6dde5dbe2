#include "access/CORSecurityScopedBookmarks.h"

#include <unistd.h>

#include "platform/CVBookmark.h"
#include "platform/CVPrint.h"

namespace CORSecurityScopedBookmarks {

namespace {

// Access to a resolved path is granted when the user may read it; it is held until exit.
bool startAccessingSecurityScopedResource(const std::string& path) {
    return ::access(path.c_str(), R_OK) == 0;
}

}  // namespace

std::string describe(const Data& data) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text = "<";
    for (size_t index = 0; index < data.size(); ++index) {
        if (index > 0 && index % 4 == 0) {
            text += ' ';
        }
        text += kDigits[data[index] >> 4];
        text += kDigits[data[index] & 0xf];
    }
    return text + ">";
}

std::optional<Data> createSecurityScopeBookmarkData(const std::string& path) {
    std::optional<CVError> error;
    auto data = CVBookmark::create(path, CVBookmark::withSecurityScope, &error);
    if (!data) {
        CVDebugLog([&] {
            return "Could not create bookmark data for " + path + ". " +
                   (error ? error->description() : std::string("(null)"));
        });
    }
    return data;
}

std::optional<std::string> resolveSecurityScopeBookmarkData(std::optional<Data>* data) {
    if (data == nullptr) {
        return std::nullopt;
    }
    if (!data->has_value()) {
        CVDebugLog("No bookmark data.");
        return std::nullopt;
    }
    bool isStale = false;
    std::optional<CVError> error;
    auto path = CVBookmark::resolve(**data, &isStale, &error);
    if (!path) {
        CVDebugLog([&] {
            std::string line = "Could not get url for " + describe(**data);
            return error ? line + ". " + error->description() : line;
        });
        return std::nullopt;
    }
    if (isStale) {
        if (auto fresh = createSecurityScopeBookmarkData(*path)) {
            *data = std::move(fresh);
        }
    }
    if (!startAccessingSecurityScopedResource(*path)) {
        CVDebugLog([&] { return "Could not start accessing " + *path; });
        return std::nullopt;
    }
    return path;
}

}  // namespace CORSecurityScopedBookmarks
