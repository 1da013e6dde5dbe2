#include "access/CORAppGroup.h"

#include "access/CORSecurityScopedBookmarks.h"
#include "platform/CVBookmark.h"
#include "platform/CVCorvaneContract.h"
#include "platform/CVPrint.h"
#include "platform/CVSystemLog.h"

namespace CORAppGroup {

CVUserDefaults& appGroupUserDefaults() {
    static CVUserDefaults suite(CVCorvaneContract::kSharedItemsAppGroupIdentifier);
    return suite;
}

void addSecurityScopeBookmark(CVUserDefaults& defaults, const std::optional<std::string>& path,
                              const std::string& key) {
    if (!path) {
        return;
    }
    if (auto data = CORSecurityScopedBookmarks::createSecurityScopeBookmarkData(*path)) {
        defaults.setData(*data, key);
    }
}

std::optional<std::string> resolveSecurityScopedBookmarkDataForKey(
    CVUserDefaults& defaults, const std::optional<std::string>& key) {
    if (!key) {
        return std::nullopt;
    }
    std::optional<CORSecurityScopedBookmarks::Data> data = defaults.dataForKey(*key);
    if (!data) {
        CVDebugLog([&] { return "No bookmark stored for " + *key; });
        return std::nullopt;
    }
    const auto original = *data;
    auto path = CORSecurityScopedBookmarks::resolveSecurityScopeBookmarkData(&data);
    if (data && *data != original) {
        defaults.setData(*data, *key);
    }
    return path;
}

void storeSecurityScopedAccessBookmarkForURL(CVUserDefaults& defaults, const std::string& path) {
    addSecurityScopeBookmark(defaults, path, kResolvedAccessBookmarkKey);
}

std::optional<std::string> resolveSecurityScopedAccessBookmark(CVUserDefaults& defaults) {
    return resolveSecurityScopedBookmarkDataForKey(defaults,
                                                   std::string(kResolvedAccessBookmarkKey));
}

void removeSecurityScopedAccessBookmark(CVUserDefaults& defaults) {
    defaults.removeObjectForKey(kResolvedAccessBookmarkKey);
}

void shareAccessBookmarkWithURL(CVUserDefaults& defaults, const std::string& path) {
    std::optional<CVError> error;
    auto data = CVBookmark::create(path, CVBookmark::minimalBookmark, &error);
    if (!data) {
        CVSystemLog("Could not create the bookmark data for " + path + ". " +
                    (error ? error->description() : std::string("(null)")));
        return;
    }
    defaults.setData(*data, kSharedAccessBookmarkKey);
}

std::optional<std::string> resolveSharedAccessBookmark(CVUserDefaults& defaults) {
    auto data = defaults.dataForKey(kSharedAccessBookmarkKey);
    if (!data) {
        return std::nullopt;
    }
    std::optional<CVError> error;
    auto path = CVBookmark::resolve(*data, nullptr, &error);
    if (error) {
        CVDebugLog([&] {
            return "Could not get the url for " + CORSecurityScopedBookmarks::describe(*data) +
                   " data. " + error->description();
        });
    }
    return path;
}

void removeSharedAccessBookmark(CVUserDefaults& defaults) {
    defaults.removeObjectForKey(kSharedAccessBookmarkKey);
}

}  // namespace CORAppGroup

namespace CORSharedItemsAppGroup {

void exportSharedAccessBookmarkForURL(const std::string& path) {
    CORAppGroup::shareAccessBookmarkWithURL(CORAppGroup::appGroupUserDefaults(), path);
}

void importSharedAccessBookmark() {
    CVUserDefaults& defaults = CORAppGroup::appGroupUserDefaults();
    auto shared = CORAppGroup::resolveSharedAccessBookmark(defaults);
    if (!shared) {
        return;
    }
    CORAppGroup::storeSecurityScopedAccessBookmarkForURL(defaults, *shared);
    if (auto path = CORAppGroup::resolveSecurityScopedAccessBookmark(defaults)) {
        CVDebugLog([&] { return "Successfully imported the shared bookmark for " + *path; });
    }
    CORAppGroup::removeSharedAccessBookmark(defaults);
}

}  // namespace CORSharedItemsAppGroup
