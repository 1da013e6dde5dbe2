#pragma once

#include <systemd/sd-bus.h>

#include <sys/types.h>

#include <cstdint>
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
// Writes out what the shared connection still holds (signals sent without waiting), if it was
// ever opened: for a process about to end without running its destructors.
void flushShared();

// Whether the shared connection can pass file descriptors (a local socket whose bus agreed to
// it); false without a bus.
bool sharedCanPassDescriptors();

// The unique name ("":1.42") of the connection that owns the well-known name on the bus; nothing
// when no one owns it or the bus cannot answer. One round trip.
std::optional<std::string> ownerOfName(sd_bus* bus, const char* name);

}  // namespace CVSessionBus

// A method call sent at once and waited for later: calls sent together cost one round trip, and a
// call sent before other work is answered while that work runs. The connection is read only while
// someone waits, and what else arrives meanwhile goes to its own handlers; so the wait is for the
// run's own flow, not for a handler of the connection (which makes a plain sd_bus_call). The one
// exception is a connection still being set up: a call made then moves the set-up on as far as
// the bus's answers so far allow, so that it goes out once the bus has accepted the connection,
// not at the first wait.
class CVBusPendingCall {
public:
    // Sends `message` on its connection, with sd-bus's call time-out (`timeout` 0) or `timeout`
    // microseconds (UINT64_MAX: none).
    CVBusPendingCall(sd_bus_message* message, uint64_t timeout);
    CVBusPendingCall(const CVBusPendingCall&) = delete;
    CVBusPendingCall& operator=(const CVBusPendingCall&) = delete;

    // Waits for the reply, at most `timeout` microseconds from now (UINT64_MAX: as long as the
    // call's own time-out allows): 0 once it came, -ETIMEDOUT, or the negative errno with which the
    // call could not be sent or the connection failed.
    int wait(uint64_t timeout = UINT64_MAX);
    // 0, or the negative errno with which the call could not be sent.
    int sendError() const { return sendError_; }
    // The reply (which may be an error) once wait has answered 0; null before.
    sd_bus_message* reply() const { return reply_; }

private:
    static int replied(sd_bus_message* reply, void* userdata, sd_bus_error* error);

    sd_bus* bus_ = nullptr;
    int sendError_ = 0;
    CVBusObject<sd_bus_slot> slot_;
    CVBusObject<sd_bus_message> reply_;
};

// A question to the bus daemon about a well-known name, sent when made and answered when read
// (see CVBusPendingCall). Without a bus it answers as if no one owned the name.
class CVBusNameQuestion {
public:
    enum class Kind {
        hasOwner,                // NameHasOwner
        ownerProcessIdentifier,  // GetConnectionUnixProcessID
    };
    CVBusNameQuestion(sd_bus* bus, const char* name, Kind kind);

    // Whether someone owns the name (a hasOwner question); false when the bus could not answer.
    bool hasOwner();
    // The owner's process (an ownerProcessIdentifier question); nothing when no one owns the name
    // or the bus could not answer.
    std::optional<pid_t> ownerProcessIdentifier();

private:
    // The reply when it is a successful one.
    sd_bus_message* answer();

    std::optional<CVBusPendingCall> call_;
};

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
