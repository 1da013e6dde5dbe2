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

}  // namespace CVSessionBus
