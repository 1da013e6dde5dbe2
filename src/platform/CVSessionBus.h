#pragma once

#include <systemd/sd-bus.h>

#include <optional>
#include <string>

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

// This process's connection, opened on first use and kept; null when no bus can be reached.
// Not thread-safe: used from the main thread.
sd_bus* shared();

}  // namespace CVSessionBus
