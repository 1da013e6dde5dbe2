#include "platform/CVSessionBus.h"

#include <cerrno>
#include <chrono>

#include "platform/CVEnvironment.h"

namespace CVSessionBus {

std::optional<std::string> addressFromEnvironment(
    const std::optional<std::string>& busAddress,
    const std::optional<std::string>& runtimeDirectory) {
    if (busAddress && !busAddress->empty()) {
        return busAddress;
    }
    if (runtimeDirectory && !runtimeDirectory->empty()) {
        return "unix:path=" + *runtimeDirectory + "/bus";
    }
    return std::nullopt;
}

std::optional<std::string> address() {
    return addressFromEnvironment(CVEnvironmentValue("DBUS_SESSION_BUS_ADDRESS"),
                                  CVEnvironmentValue("XDG_RUNTIME_DIR"));
}

std::optional<std::string> socketPathOfAddress(const std::string& address) {
    static constexpr std::string_view kKey = "unix:path=";
    size_t start = address.find(kKey);
    if (start == std::string::npos) {
        return std::nullopt;
    }
    start += kKey.size();
    size_t end = address.find_first_of(",;", start);
    return address.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

CVBusObject<sd_bus> connect(const std::string& address, int* error) {
    CVBusObject<sd_bus> bus;
    int result = sd_bus_new(bus.out());
    if (result >= 0) {
        result = sd_bus_set_address(bus, address.c_str());
    }
    if (result >= 0) {
        result = sd_bus_set_bus_client(bus, 1);
    }
    if (result >= 0) {
        result = sd_bus_start(bus);
    }
    if (result < 0) {
        bus.reset();
        if (error != nullptr) {
            *error = result;
        }
    }
    return bus;
}

namespace {

// The shared connection once it is opened; kept for the life of the process.
sd_bus* sharedBus = nullptr;

}  // namespace

sd_bus* shared() {
    // Opened once; flushShared() finds it in sharedBus.
    static sd_bus* const bus = sharedBus = address() ? connect(*address()).release() : nullptr;
    return bus;
}

void flushShared() {
    if (sharedBus != nullptr) {
        sd_bus_flush(sharedBus);
    }
}

bool sharedCanPassDescriptors() {
    sd_bus* bus = shared();
    return bus != nullptr && sd_bus_can_send(bus, SD_BUS_TYPE_UNIX_FD) > 0;
}

std::optional<std::string> ownerOfName(sd_bus* bus, const char* name) {
    if (bus == nullptr) {
        return std::nullopt;
    }
    CVBusObject<sd_bus_creds> credentials;
    if (sd_bus_get_name_creds(bus, name, SD_BUS_CREDS_UNIQUE_NAME, credentials.out()) < 0) {
        return std::nullopt;
    }
    const char* unique = nullptr;
    std::optional<std::string> owner;
    if (sd_bus_creds_get_unique_name(credentials, &unique) >= 0 && unique != nullptr) {
        owner = unique;
    }
    return owner;
}

}  // namespace CVSessionBus

CVBusPendingCall::CVBusPendingCall(sd_bus_message* message, uint64_t timeout)
    : bus_(sd_bus_message_get_bus(message)) {
    // Queued until the connection is up. A connection still being set up is not waited for, but
    // moved on as far as what the bus has sent allows: once the bus has accepted the
    // authentication, Hello and the queued calls go out now rather than at the first wait.
    sendError_ = sd_bus_call_async(bus_, slot_.out(), message, replied, this, timeout);
    while (sendError_ >= 0 && sd_bus_is_ready(bus_) == 0 && sd_bus_process(bus_, nullptr) > 0) {
    }
}

int CVBusPendingCall::replied(sd_bus_message* reply, void* userdata, sd_bus_error*) {
    static_cast<CVBusPendingCall*>(userdata)->reply_.reset(sd_bus_message_ref(reply));
    return 0;
}

int CVBusPendingCall::wait(uint64_t timeout) {
    if (sendError_ < 0) {
        return sendError_;
    }
    using Clock = std::chrono::steady_clock;
    // A year or more is no limit (and would overflow the clock).
    constexpr uint64_t kNoDeadline = uint64_t(24) * 3600 * 1'000'000 * 365;
    std::optional<Clock::time_point> deadline;
    if (timeout < kNoDeadline) {
        deadline = Clock::now() + std::chrono::microseconds(timeout);
    }
    while (reply_ == nullptr) {
        int result = sd_bus_process(bus_, nullptr);
        if (result == 0) {
            uint64_t wait = UINT64_MAX;
            if (deadline) {
                auto left =
                    std::chrono::duration_cast<std::chrono::microseconds>(*deadline - Clock::now());
                if (left.count() <= 0) {
                    return -ETIMEDOUT;
                }
                wait = uint64_t(left.count());
            }
            result = sd_bus_wait(bus_, wait);
        }
        if (result < 0) {
            return result;
        }
    }
    return 0;
}

CVBusNameQuestion::CVBusNameQuestion(sd_bus* bus, const char* name, Kind kind) {
    if (bus == nullptr) {
        return;
    }
    CVBusObject<sd_bus_message> message;
    const char* member = kind == Kind::hasOwner ? "NameHasOwner" : "GetConnectionUnixProcessID";
    if (sd_bus_message_new_method_call(bus, message.out(), "org.freedesktop.DBus",
                                       "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                       member) >= 0 &&
        sd_bus_message_append(message, "s", name) >= 0) {
        call_.emplace(message, 0);
    }
}

sd_bus_message* CVBusNameQuestion::answer() {
    if (!call_ || call_->wait() < 0 || sd_bus_message_is_method_error(call_->reply(), nullptr)) {
        return nullptr;
    }
    return call_->reply();
}

bool CVBusNameQuestion::hasOwner() {
    sd_bus_message* reply = answer();
    int hasOwner = 0;
    return reply != nullptr && sd_bus_message_rewind(reply, 1) >= 0 &&
           sd_bus_message_read(reply, "b", &hasOwner) >= 0 && hasOwner != 0;
}

std::optional<pid_t> CVBusNameQuestion::ownerProcessIdentifier() {
    sd_bus_message* reply = answer();
    uint32_t processIdentifier = 0;
    if (reply == nullptr || sd_bus_message_rewind(reply, 1) < 0 ||
        sd_bus_message_read(reply, "u", &processIdentifier) < 0 || processIdentifier == 0) {
        return std::nullopt;
    }
    return static_cast<pid_t>(processIdentifier);
}

CVBusNameOwnerWatch::CVBusNameOwnerWatch(sd_bus* bus, const char* name, Handler handler)
    : handler_(std::move(handler)) {
    if (bus == nullptr) {
        return;
    }
    std::string rule = std::string(
                           "type='signal',sender='org.freedesktop.DBus',"
                           "path='/org/freedesktop/DBus',interface='org.freedesktop.DBus',"
                           "member='NameOwnerChanged',arg0='") +
                       name + "'";
    // Synchronous: the daemon has the match when this returns.
    sd_bus_add_match(bus, match_.out(), rule.c_str(), ownerChanged, this);
}

int CVBusNameOwnerWatch::ownerChanged(sd_bus_message* message, void* userdata, sd_bus_error*) {
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    if (sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner) >= 0) {
        static_cast<CVBusNameOwnerWatch*>(userdata)->handler_(oldOwner, newOwner);
    }
    return 0;
}
