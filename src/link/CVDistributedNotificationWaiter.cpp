#include "link/CVDistributedNotificationWaiter.h"

#include "platform/CVRunLoop.h"
#include "process/ZPProcessInformation.h"

CVDistributedNotificationWaiter::CVDistributedNotificationWaiter(
    double maximumDuration, int32_t processID, const std::string& notificationName,
    const std::optional<std::string>& object)
    : CVBlockingObserver(maximumDuration), processID_(processID), notificationObject_(object) {
    registration_ = CVDistributedNotificationCenter::defaultCenter().addObserver(
        notificationName, object,
        [this](const std::optional<std::string>& notificationObject,
               const CVDistributedNotificationCenter::UserInfo& info) {
            distributedNotificationReceived(notificationObject, info);
        });
}

CVDistributedNotificationWaiter::~CVDistributedNotificationWaiter() {
    CVDistributedNotificationCenter::defaultCenter().removeObserver(registration_);
}

bool CVDistributedNotificationWaiter::runRunLoopUntilNotificationsReceived() {
    std::unique_ptr<CVRunLoopTimer> presencePoll;
    if (processID_ != 0) {
        presencePoll =
            std::make_unique<CVRunLoopTimer>(runLoop(), 1.0, [this] { checkIfParentExists(); });
    }
    return CVBlockingObserver::runRunLoopUntilNotificationsReceived();
}

void CVDistributedNotificationWaiter::endWhenNameLosesItsOwner(const char* name) {
    ownerWatch_ = std::make_unique<CVBusNameOwnerWatch>(
        CVSessionBus::shared(), name, [this](const std::string& newOwner) {
            // A notification the application sent before it quit has already ended the wait.
            if (newOwner.empty() && !stopRunning()) {
                cancelRunLoopWithReason(kApplicationQuitReason);
            }
        });
}

void CVDistributedNotificationWaiter::checkIfParentExists() {
    if (!ZPProcessInformation::processInformationWithProcessIdentifier(processID_)->isRunning()) {
        cancelRunLoopWithReason(kApplicationQuitReason);
    }
}

void CVDistributedNotificationWaiter::distributedNotificationReceived(
    const std::optional<std::string>& object,
    const CVDistributedNotificationCenter::UserInfo& info) {
    if (notificationObject_ && object != notificationObject_) {
        return;
    }
    userInfo_ = info;
    stopRunLoop();
}
