#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "link/CVDistributedNotificationCenter.h"
#include "platform/CVBusObject.h"

// A distributed notification as a listener receives it.
struct CVReceivedNotification {
    std::string name;
    // The coded string object, or nothing for nil.
    std::optional<std::string> object;
    // The user info's string values.
    CVDistributedNotificationCenter::UserInfo userInfo;
};

// A client connection to a bus, for tests: calls, name queries and distributed notifications.
class CVBusConnection {
public:
    // Connects to the address; throws std::runtime_error when it cannot.
    explicit CVBusConnection(const std::string& address);
    ~CVBusConnection();
    CVBusConnection(const CVBusConnection&) = delete;
    CVBusConnection& operator=(const CVBusConnection&) = delete;

    sd_bus* get() const { return bus_; }

    bool nameHasOwner(const std::string& name);
    // The process that owns the name; nothing when nobody does.
    std::optional<pid_t> processOwningName(const std::string& name);

    // Receives the application's notifications from now on, as the tool does.
    void observeNotifications();
    // The notifications received so far, in order of arrival.
    const std::vector<CVReceivedNotification>& notifications() const { return notifications_; }
    // Processes the bus until a notification of that name (and with that object, when given)
    // has arrived; answers it, or nothing when the deadline passed.
    std::optional<CVReceivedNotification> waitForNotification(
        const std::string& name, const std::optional<std::string>& object = std::nullopt,
        std::chrono::milliseconds deadline = std::chrono::seconds(10));
    // Handles whatever the bus has queued, without waiting.
    void processPending();

private:
    CVBusObject<sd_bus> bus_;
    std::unique_ptr<CVDistributedNotificationCenter> center_;
    std::vector<CVReceivedNotification> notifications_;
};
