#include "link/CVDistributedNotificationWaiter.h"

#include <memory>

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
    auto& center = CVDistributedNotificationCenter::defaultCenter();
    center.removeObserver(registration_);
    if (quitRegistration_) {
        center.removeObserver(*quitRegistration_);
    }
}

bool CVDistributedNotificationWaiter::runRunLoopUntilNotificationsReceived() {
    std::unique_ptr<CVRunLoopTimer> presencePoll;
    if (processID_ != 0) {
        presencePoll =
            std::make_unique<CVRunLoopTimer>(runLoop(), 1.0, [this] { checkIfParentExists(); });
    }
    return CVBlockingObserver::runRunLoopUntilNotificationsReceived();
}

void CVDistributedNotificationWaiter::endWhenApplicationQuits() {
    if (quitRegistration_) {
        return;
    }
    quitRegistration_ =
        CVDistributedNotificationCenter::defaultCenter().addApplicationQuitObserver([this] {
            // A notification the application sent before it quit has already ended the wait.
            if (!stopRunning()) {
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
    if (awaitsNotificationObject_ || (notificationObject_ && object != notificationObject_)) {
        return;
    }
    userInfo_ = info;
    stopRunLoop();
}
