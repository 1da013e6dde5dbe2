#include "app/CorvaneAuthorization.h"

#include <mutex>
#include <utility>

#include "access/CORAppGroup.h"
#include "platform/CVEnvironment.h"

namespace CorvaneAuthorization {

namespace {

std::mutex askPersonMutex;
AskPerson askPersonHook;

AskPerson currentAskPerson() {
    std::lock_guard lock(askPersonMutex);
    return askPersonHook;
}

}  // namespace

void setAskPerson(AskPerson askPerson) {
    std::lock_guard lock(askPersonMutex);
    askPersonHook = std::move(askPerson);
}

void answerRequestForPath(const std::string& path, Answer done) {
    if (CVEnvironmentValue("CORVANE_REFUSE_FILE_ACCESS").has_value()) {
        done(false);
        return;
    }
    auto grant = [path, done = std::move(done)](bool allowed) {
        if (allowed) {
            CORSharedItemsAppGroup::exportSharedAccessBookmarkForURL(path);
        }
        done(allowed);
    };
    if (AskPerson askPerson = currentAskPerson()) {
        askPerson(path, std::move(grant));
    } else {
        grant(true);
    }
}

}  // namespace CorvaneAuthorization
