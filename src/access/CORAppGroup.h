#pragma once

#include <optional>
#include <string>

#include "platform/CVUserDefaults.h"

// The app-group defaults suite the tool shares with the application, and the two grants of file
// access stored in it: the shared one the application exports ("SharedAccessBookmark", a minimal
// bookmark kept until the tool imports it) and the tool's own ("CVDiffResolvedAccessBookmark", a
// security-scoped bookmark kept until reset and rewritten when it resolves stale).
namespace CORAppGroup {

inline constexpr const char* kResolvedAccessBookmarkKey = "CVDiffResolvedAccessBookmark";
inline constexpr const char* kSharedAccessBookmarkKey = "SharedAccessBookmark";

// The shared suite, created once on first use (thread-safe).
CVUserDefaults& appGroupUserDefaults();

// Stores security-scoped bookmark data of the path under the key; leaves the key as it was when
// there is no path or no data could be made.
void addSecurityScopeBookmark(CVUserDefaults& defaults, const std::optional<std::string>& path,
                              const std::string& key);
// The started path of the grant under the key, or nothing (logged). A stale grant that resolves
// is rewritten under the key with fresh data.
std::optional<std::string> resolveSecurityScopedBookmarkDataForKey(
    CVUserDefaults& defaults, const std::optional<std::string>& key);

void storeSecurityScopedAccessBookmarkForURL(CVUserDefaults& defaults, const std::string& path);
std::optional<std::string> resolveSecurityScopedAccessBookmark(CVUserDefaults& defaults);
// Removes the tool's own grant ("CVDiffResolvedAccessBookmark").
void removeSecurityScopedAccessBookmark(CVUserDefaults& defaults);

// Stores a minimal bookmark of the path under "SharedAccessBookmark"; when none can be made, the
// system log says so (whatever debug logging says) and nothing is stored.
void shareAccessBookmarkWithURL(CVUserDefaults& defaults, const std::string& path);
// The path of the shared grant (staleness ignored), or nothing.
std::optional<std::string> resolveSharedAccessBookmark(CVUserDefaults& defaults);
void removeSharedAccessBookmark(CVUserDefaults& defaults);

}  // namespace CORAppGroup

// The two ends of the exchange of a grant through the app group.
namespace CORSharedItemsAppGroup {

// The application's side: shares a minimal bookmark of the path.
void exportSharedAccessBookmarkForURL(const std::string& path);
// The tool's side: turns a shared grant into the tool's own and removes the shared key, whether
// the new grant resolves or not. Without a shared grant nothing changes.
void importSharedAccessBookmark();

}  // namespace CORSharedItemsAppGroup
