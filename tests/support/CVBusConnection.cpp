#include "CVBusConnection.h"

#include <cstring>
#include <stdexcept>

#include "platform/CVCorvaneContract.h"
#include "platform/CVSessionBus.h"

namespace {

using Clock = std::chrono::steady_clock;

}  // namespace

CVBusConnection::CVBusConnection(const std::string& address) {
    int result = 0;
    bus_ = CVSessionBus::connect(address, &result);
    if (!bus_) {
        throw std::runtime_error("cannot connect to " + address + ": " + strerror(-result));
    }
}

CVBusConnection::~CVBusConnection() {
    center_.reset();
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
    if (center_) {
        return;
    }
    // Through the center the tool listens with: only the application's notifications count.
    center_ = std::make_unique<CVDistributedNotificationCenter>(bus_);
    for (const char* name : {CVCorvaneContract::kDidFinishLaunchingNotification,
                             CVCorvaneContract::kCloseTabNotification,
                             CVCorvaneContract::kMergeFinishedByResolvingNotification,
                             CVCorvaneContract::kMergeFinishedWithoutResolvingNotification}) {
        center_->addObserver(name, std::nullopt,
                             [this, name](const std::optional<std::string>& object,
                                          const CVDistributedNotificationCenter::UserInfo& info) {
                                 notifications_.push_back({name, object, info});
                             });
    }
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
