#include "app/CorvaneAuthorization.h"

#include <mutex>
#include <utility>

#include "access/CORAppGroup.h"
#include "platform/CVEnvironment.h"

namespace CorvaneAuthorization {

namespace {

std::mutex askPersonMutex;
AskPerson askPersonHook;

bool personAllows(const std::string& path) {
    AskPerson askPerson;
    {
        std::lock_guard lock(askPersonMutex);
        askPerson = askPersonHook;
    }
    return askPerson == nullptr || askPerson(path);
}

}  // namespace

void setAskPerson(AskPerson askPerson) {
    std::lock_guard lock(askPersonMutex);
    askPersonHook = std::move(askPerson);
}

bool answerRequestForPath(const std::string& path) {
    if (CVEnvironmentValue("CORVANE_REFUSE_FILE_ACCESS").has_value() || !personAllows(path)) {
        return false;
    }
    CORSharedItemsAppGroup::exportSharedAccessBookmarkForURL(path);
    return true;
}

}  // namespace CorvaneAuthorization
