#include "link/CVAdditions.h"

#include "link/cvdiff-util.h"
#include "platform/CVPaths.h"

std::optional<std::string> currentUserHomeDirectoryPath() {
    return CVPaths::homeDirectory();
}

std::optional<std::string> homeURLWithPathComponents(const std::vector<std::string>& components) {
    return pathByExtendingPathWithComponents(currentUserHomeDirectoryPath(), components);
}
