#include "CVBusConnection.h"

#include <cstring>
#include <stdexcept>

#include "platform/CVCorvaneContract.h"
#include "platform/CVSessionBus.h"

namespace {

using Clock = std::chrono::steady_clock;

// Reads a variant holding a string or nil ("g" ""); nothing for nil or another type.
std::optional<std::string> readStringOrNil(sd_bus_message* message) {
    char type = 0;
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(message, &type, &contents) <= 0 || type != 'v') {
        return std::nullopt;
    }
    std::optional<std::string> text;
    sd_bus_message_enter_container(message, 'v', contents);
    if (strcmp(contents, "s") == 0) {
        const char* value = nullptr;
        sd_bus_message_read(message, "s", &value);
        text = value;
    } else {
        sd_bus_message_skip(message, contents);
    }
    sd_bus_message_exit_container(message);
    return text;
}

}  // namespace

CVBusConnection::CVBusConnection(const std::string& address) {
    int result = 0;
    bus_ = CVSessionBus::connect(address, &result);
    if (!bus_) {
        throw std::runtime_error("cannot connect to " + address + ": " + strerror(-result));
    }
}

CVBusConnection::~CVBusConnection() {
    match_.reset();
    sd_bus_flush_close_unref(bus_.release());
}

bool CVBusConnection::nameHasOwner(const std::string& name) {
    CVBusObject<sd_bus_message> reply;
    int owned = 0;
    if (sd_bus_call_method(bus_, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", "NameHasOwner", nullptr, reply.out(), "s",
                           name.c_str()) >= 0) {
        sd_bus_message_read(reply, "b", &owned);
    }
    return owned != 0;
}

std::optional<pid_t> CVBusConnection::processOwningName(const std::string& name) {
    CVBusObject<sd_bus_message> reply;
    std::optional<pid_t> owner;
    if (sd_bus_call_method(bus_, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", "GetConnectionUnixProcessID", nullptr,
                           reply.out(), "s", name.c_str()) >= 0) {
        uint32_t pid = 0;
        if (sd_bus_message_read(reply, "u", &pid) >= 0) {
            owner = static_cast<pid_t>(pid);
        }
    }
    return owner;
}

void CVBusConnection::observeNotifications() {
    if (match_ != nullptr) {
        return;
    }
    std::string rule =
        std::string("type='signal',interface='") + CVCorvaneContract::kNotificationInterface + "'";
    int result = sd_bus_add_match(bus_, match_.out(), rule.c_str(), handleNotification, this);
    if (result < 0) {
        throw std::runtime_error(std::string("cannot add a match: ") + strerror(-result));
    }
}

int CVBusConnection::handleNotification(sd_bus_message* message, void* userdata, sd_bus_error*) {
    CVReceivedNotification notification;
    notification.name = sd_bus_message_get_member(message);
    notification.object = readStringOrNil(message);
    if (sd_bus_message_enter_container(message, 'a', "{sv}") > 0) {
        while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
            const char* key = nullptr;
            sd_bus_message_read(message, "s", &key);
            notification.userInfoKeys.push_back(key);
            sd_bus_message_skip(message, "v");
            sd_bus_message_exit_container(message);
        }
        sd_bus_message_exit_container(message);
    }
    static_cast<CVBusConnection*>(userdata)->notifications_.push_back(std::move(notification));
    return 0;
}

void CVBusConnection::processPending() {
    while (sd_bus_process(bus_, nullptr) > 0) {
    }
}

std::optional<CVReceivedNotification> CVBusConnection::waitForNotification(
    const std::string& name, const std::optional<std::string>& object,
    std::chrono::milliseconds deadline) {
    observeNotifications();
    auto end = Clock::now() + deadline;
    size_t examined = 0;
    while (true) {
        processPending();
        for (; examined < notifications_.size(); ++examined) {
            const CVReceivedNotification& notification = notifications_[examined];
            if (notification.name == name && (!object || notification.object == object)) {
                return notification;
            }
        }
        auto left = std::chrono::duration_cast<std::chrono::microseconds>(end - Clock::now());
        if (left.count() <= 0) {
            return std::nullopt;
        }
        sd_bus_wait(bus_, static_cast<uint64_t>(left.count()));
    }
}
