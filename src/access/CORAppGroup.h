#pragma once

#include "platform/CVUserDefaults.h"

// The app-group defaults suite the tool shares with the application, and the tool's own grant
// of file access stored in it.
namespace CORAppGroup {

inline constexpr const char* kResolvedAccessBookmarkKey = "CVDiffResolvedAccessBookmark";
inline constexpr const char* kSharedAccessBookmarkKey = "SharedAccessBookmark";

// The shared suite, created once on first use (thread-safe).
CVUserDefaults& appGroupUserDefaults();

// Removes the tool's own grant ("CVDiffResolvedAccessBookmark").
void removeSecurityScopedAccessBookmark(CVUserDefaults& defaults);

}  // namespace CORAppGroup
