#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <optional>
#include <string>

#include "platform/CVBusObject.h"

// The user's D-Bus session bus.
namespace CVSessionBus {

// DBUS_SESSION_BUS_ADDRESS, else "unix:path=$XDG_RUNTIME_DIR/bus"; nothing when neither is set.
std::optional<std::string> address();
// The same rule applied to another process's environment value and runtime folder.
std::optional<std::string> addressFromEnvironment(
    const std::optional<std::string>& busAddress,
    const std::optional<std::string>& runtimeDirectory);
// The socket path of the first "unix:path=" entry of an address, for telling sessions apart.
std::optional<std::string> socketPathOfAddress(const std::string& address);

// A new client connection to the bus at the address; null, with the negative errno in `error`
// (may be null), when it cannot be made.
CVBusObject<sd_bus> connect(const std::string& address, int* error = nullptr);

// This process's connection, opened on first use and kept; null when no bus can be reached.
// Not thread-safe: used from the main thread.
sd_bus* shared();

// Whether the shared connection can pass file descriptors (a local socket whose bus agreed to
// it); false without a bus.
bool sharedCanPassDescriptors();

// The unique name ("":1.42") of the connection that owns the well-known name on the bus; nothing
// when no one owns it or the bus cannot answer. One round trip.
std::optional<std::string> ownerOfName(sd_bus* bus, const char* name);

}  // namespace CVSessionBus

// Calls back whenever the well-known name changes hands on the bus: with the old and the new
// owner's unique names, "" standing for no owner. The match is in place when the constructor
// returns, so a change after that is never missed; callbacks come from the run loop the bus is
// attached to. A watch that could not be made (no bus) never calls back.
class CVBusNameOwnerWatch {
public:
    using Handler = std::function<void(const std::string& oldOwner, const std::string& newOwner)>;
    CVBusNameOwnerWatch(sd_bus* bus, const char* name, Handler handler);
    CVBusNameOwnerWatch(const CVBusNameOwnerWatch&) = delete;
    CVBusNameOwnerWatch& operator=(const CVBusNameOwnerWatch&) = delete;

private:
    static int ownerChanged(sd_bus_message* message, void* userdata, sd_bus_error* error);

    Handler handler_;
    CVBusObject<sd_bus_slot> match_;
};
