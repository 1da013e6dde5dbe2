#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Security-scoped bookmarks of paths: creation, resolution (refreshing stale data in place) and the
// start of access. Failures are lines in the debug log, never errors to the caller.
namespace CORSecurityScopedBookmarks {

using Data = std::vector<uint8_t>;

// Security-scoped bookmark data of the path, or nothing (logged).
std::optional<Data> createSecurityScopeBookmarkData(const std::string& path);

// The path the data leads to, with access started, or nothing (logged). A null reference gives
// nothing silently. When the data resolves as stale and fresh data can be made, the data in the
// reference is replaced with it.
std::optional<std::string> resolveSecurityScopeBookmarkData(std::optional<Data>* data);

// The data as the debug log shows it: "<0a1b2c3d 4e...>".
std::string describe(const Data& data);

}  // namespace CORSecurityScopedBookmarks
