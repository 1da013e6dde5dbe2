#include "link/cvdiff-util.h"

#include <cstdio>
#include <string_view>

#include "platform/CVPaths.h"

// The components are a typed vector, so the "components are not an array" assertion of the
// dynamically typed original cannot fail here and has no counterpart.
std::optional<std::string> pathByExtendingPathWithComponents(
    std::optional<std::string> base, const std::optional<std::vector<std::string>>& components) {
    if (!base || !components) {
        return base;
    }
    for (const auto& component : *components) {
        base = CVPaths::appendingPathComponent(*base, component);
    }
    return base;
}

std::string fileURLDescription(const std::string& path, bool isDirectory) {
    static constexpr std::string_view kUnreserved =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/!$&'()*+,;=:@";
    std::string url = "file://";
    for (unsigned char character : path) {
        if (kUnreserved.find(static_cast<char>(character)) != std::string_view::npos) {
            url += static_cast<char>(character);
        } else {
            char escaped[4];
            std::snprintf(escaped, sizeof escaped, "%%%02X", character);
            url += escaped;
        }
    }
    if (isDirectory && !url.ends_with('/')) {
        url += '/';
    }
    return url;
}
