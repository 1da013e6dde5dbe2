#pragma once

#include <optional>
#include <string>
#include <vector>

// Home-folder helpers of the file manager. The home folder is the user database's entry for the
// real user; $HOME is deliberately not consulted.

// The home folder of the real user, or nothing when the user database has no entry for it or the
// entry's folder is empty.
std::optional<std::string> currentUserHomeDirectoryPath();

// The home folder with each component appended in order, or nothing when there is no home folder.
std::optional<std::string> homeURLWithPathComponents(const std::vector<std::string>& components);
