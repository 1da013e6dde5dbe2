#include "link/CVAdditions.h"

#include "platform/CVPaths.h"

std::optional<std::string> currentUserHomeDirectoryPath() {
    return CVPaths::homeDirectory();
}

std::optional<std::string> homeURLWithPathComponents(const std::vector<std::string>& components) {
    return CVPaths::pathByExtendingPathWithComponents(currentUserHomeDirectoryPath(), components);
}
