#include "platform/CVSessionBus.h"

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

sd_bus* shared() {
    // Kept for the life of the process.
    static sd_bus* bus = address() ? connect(*address()).release() : nullptr;
    return bus;
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
