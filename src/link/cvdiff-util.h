#pragma once

#include <optional>
#include <string>
#include <vector>

// The base path with each component appended in order. Nothing when the base is absent; the base
// unchanged when the components are absent.
std::optional<std::string> pathByExtendingPathWithComponents(
    std::optional<std::string> base, const std::optional<std::vector<std::string>>& components);

// How the debug log shows a file URL: "file://" with the percent-encoded absolute path, and a
// trailing slash for a folder.
std::string fileURLDescription(const std::string& path, bool isDirectory);
