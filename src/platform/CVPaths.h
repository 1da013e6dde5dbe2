#pragma once

#include <optional>
#include <string>
#include <vector>

// Where the tool's state lives on Linux. The home folder comes from the user database, never
// from $HOME.
namespace CVPaths {

// The home folder of the real user, or nothing when the user database has no entry for it.
std::optional<std::string> homeDirectory();
// $XDG_CONFIG_HOME, else ~/.config.
std::string configHome();
// $XDG_DATA_HOME, else ~/.local/share.
std::string dataHome();
// $XDG_DATA_DIRS split at ':', else /usr/local/share and /usr/share.
std::vector<std::string> dataDirectories();
// The temporary directory with a trailing slash: $TMPDIR, else /tmp/.
std::string temporaryDirectory();

// The current directory of this process; "" when it cannot be read.
std::string currentDirectory();

// Joins path components with exactly one separator between them.
std::string appendingPathComponent(const std::string& base, const std::string& component);
// The last component of a path ("" for "/").
std::string lastPathComponent(const std::string& path);
// The path without its last component and the slashes before it ("" when it has one component,
// "/" for a component of the root).
std::string stringByDeletingLastPathComponent(const std::string& path);
// Removes "." components, resolves ".." lexically and drops redundant and trailing slashes.
std::string standardizingPath(const std::string& path);

// The base path with each component appended in order. Nothing when the base is absent; the base
// unchanged when the components are absent.
std::optional<std::string> pathByExtendingPathWithComponents(
    std::optional<std::string> base, const std::optional<std::vector<std::string>>& components);

// How the debug log shows a file URL: "file://" with the percent-encoded absolute path, and a
// trailing slash for a folder.
std::string fileURLDescription(const std::string& path, bool isDirectory);

}  // namespace CVPaths
