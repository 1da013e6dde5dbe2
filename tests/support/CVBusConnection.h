#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/CVBusObject.h"

// A distributed notification as a listener receives it.
struct CVReceivedNotification {
    std::string name;
    // The coded string object, or nothing for nil.
    std::optional<std::string> object;
    // The user info's keys.
    std::vector<std::string> userInfoKeys;
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

    // Receives the distributed notifications (every member of the notifications interface) from
    // now on.
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
    static int handleNotification(sd_bus_message* message, void* userdata, sd_bus_error* error);

    CVBusObject<sd_bus> bus_;
    CVBusObject<sd_bus_slot> match_;
    std::vector<CVReceivedNotification> notifications_;
};
