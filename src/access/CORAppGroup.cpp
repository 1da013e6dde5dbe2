#include "access/CORAppGroup.h"

#include "platform/CVCorvaneContract.h"

namespace CORAppGroup {

CVUserDefaults& appGroupUserDefaults() {
    static CVUserDefaults suite(CVCorvaneContract::kSharedItemsAppGroupIdentifier);
    return suite;
}

void removeSecurityScopedAccessBookmark(CVUserDefaults& defaults) {
    defaults.removeObjectForKey(kResolvedAccessBookmarkKey);
}

}  // namespace CORAppGroup
