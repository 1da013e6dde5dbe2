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

sd_bus* shared() {
    static sd_bus* bus = [] {
        auto busAddress = address();
        if (!busAddress) {
            return static_cast<sd_bus*>(nullptr);
        }
        sd_bus* connection = nullptr;
        if (sd_bus_new(&connection) < 0) {
            return static_cast<sd_bus*>(nullptr);
        }
        if (sd_bus_set_address(connection, busAddress->c_str()) < 0 ||
            sd_bus_set_bus_client(connection, 1) < 0 || sd_bus_start(connection) < 0) {
            sd_bus_unref(connection);
            return static_cast<sd_bus*>(nullptr);
        }
        return connection;
    }();
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
    sd_bus_creds* credentials = nullptr;
    if (sd_bus_get_name_creds(bus, name, SD_BUS_CREDS_UNIQUE_NAME, &credentials) < 0) {
        return std::nullopt;
    }
    const char* unique = nullptr;
    std::optional<std::string> owner;
    if (sd_bus_creds_get_unique_name(credentials, &unique) >= 0 && unique != nullptr) {
        owner = unique;
    }
    sd_bus_creds_unref(credentials);
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
    sd_bus_add_match(bus, &match_, rule.c_str(), ownerChanged, this);
}

CVBusNameOwnerWatch::~CVBusNameOwnerWatch() {
    sd_bus_slot_unref(match_);
}

int CVBusNameOwnerWatch::ownerChanged(sd_bus_message* message, void* userdata, sd_bus_error*) {
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    if (sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner) >= 0) {
        static_cast<CVBusNameOwnerWatch*>(userdata)->handler_(newOwner);
    }
    return 0;
}
