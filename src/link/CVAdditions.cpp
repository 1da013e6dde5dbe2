#include "link/CVAdditions.h"

#include <pwd.h>
#include <unistd.h>

#include "platform/CVPaths.h"

std::optional<std::string> currentUserHomeDirectoryPath() {
    const passwd* entry = getpwuid(getuid());
    if (entry == nullptr || entry->pw_dir == nullptr || *entry->pw_dir == '\0') {
        return std::nullopt;
    }
    return std::string(entry->pw_dir);
}

std::optional<std::string> homeURLWithPathComponents(const std::vector<std::string>& components) {
    std::optional<std::string> path = currentUserHomeDirectoryPath();
    if (!path) {
        return std::nullopt;
    }
    for (const std::string& component : components) {
        *path = CVPaths::appendingPathComponent(*path, component);
    }
    return path;
}
