#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "link/CVBlockingObserver.h"
#include "link/CVDistributedNotificationCenter.h"

class CVRunLoopTimer;

// Waits for one distributed notification: the wait ends when a notification of the name arrives
// (from `notificationObject` only, when one is set), or is cancelled when the process `processID`
// (polled every second; 0: never) is gone or the duration passes.
class CVDistributedNotificationWaiter : public CVBlockingObserver {
public:
    static constexpr const char* kApplicationQuitReason =
        "Corvane quit while the action was running.";

    // Registers for the name at once, so that a notification posted from now on is not missed;
    // with `object`, the registration itself is limited to that object.
    CVDistributedNotificationWaiter(double maximumDuration, int32_t processID,
                                    const std::string& notificationName,
                                    const std::optional<std::string>& object);
    ~CVDistributedNotificationWaiter() override;

    // The base wait, with the one-second presence poll of `processID` while it runs.
    bool runRunLoopUntilNotificationsReceived() override;

    // Also ends the wait, as when the application quits, once the application's name loses the
    // owner it has now: the process identifier the application reports is its own word, the
    // bus's is not.
    void endWhenApplicationQuits();

    int32_t processID() const { return processID_; }
    // Filters in the handler only: setting it later does not change the registration.
    const std::optional<std::string>& notificationObject() const { return notificationObject_; }
    void setNotificationObject(std::optional<std::string> object) {
        notificationObject_ = std::move(object);
        awaitsNotificationObject_ = false;
    }
    // Until `setNotificationObject`, notifications are none of this wait's: the object is the
    // answer to a call still under way, and the application posts a document's notifications
    // only after it has answered. (A run that reads the bus while it waits for that answer would
    // otherwise take another document's notification for its own.)
    void awaitNotificationObject() { awaitsNotificationObject_ = true; }
    // The user info of the notification that ended the wait.
    const CVDistributedNotificationCenter::UserInfo& userInfo() const { return userInfo_; }

private:
    void checkIfParentExists();
    void distributedNotificationReceived(const std::optional<std::string>& object,
                                         const CVDistributedNotificationCenter::UserInfo& info);

    int32_t processID_;
    std::optional<std::string> notificationObject_;
    bool awaitsNotificationObject_ = false;
    CVDistributedNotificationCenter::UserInfo userInfo_;
    CVDistributedNotificationCenter::Token registration_;
    std::optional<CVDistributedNotificationCenter::Token> quitRegistration_;
};
