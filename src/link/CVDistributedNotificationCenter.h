#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/CVSessionBus.h"

// Distributed notifications over the session bus: broadcast signals of the interface
// com.corvane.Corvane.DistributedNotifications whose member is the notification name and whose
// body is the object (a coded string or nil) and the user info (a{sv}). Observers are called on
// the run loop of the thread that registered them (the main thread), while it runs.
class CVDistributedNotificationCenter {
public:
    // The user info as the tool uses it: string values only; values of other types are left out.
    using UserInfo = std::map<std::string, std::string>;
    using Handler =
        std::function<void(const std::optional<std::string>& object, const UserInfo& userInfo)>;
    using Token = uint64_t;

    // The center on this process's session bus. Without a bus, registrations are accepted and
    // never called.
    static CVDistributedNotificationCenter& defaultCenter();

    explicit CVDistributedNotificationCenter(sd_bus* bus);
    CVDistributedNotificationCenter(const CVDistributedNotificationCenter&) = delete;
    CVDistributedNotificationCenter& operator=(const CVDistributedNotificationCenter&) = delete;
    ~CVDistributedNotificationCenter();

    // Calls `handler` for every notification of that name sent by the application, that is by
    // the connection that owns com.corvane.Corvane when the notification arrives (anyone else's
    // is ignored: a client could otherwise end a wait or fake a resolved merge); when `object` is
    // given, only for notifications whose object equals it. The first registration blocks until
    // the bus routes every notification to this process; from then on, a notification that
    // arrives before its observer is registered waits in the connection and still reaches it when
    // the run loop next runs.
    Token addObserver(const std::string& name, const std::optional<std::string>& object,
                      Handler handler);
    // Calls `handler` when the application's name loses the owner it has now (that copy quit), in
    // the order the bus delivers messages: after every notification the application sent before.
    // Ended by removeObserver, like a notification's registration.
    Token addApplicationQuitObserver(std::function<void()> handler);
    // Ends a registration; an unknown or already removed token is ignored.
    void removeObserver(Token token);

    // Broadcasts a notification from `bus` (object path /com/corvane/Corvane). Returns 0 or a
    // negative errno.
    static int postNotification(sd_bus* bus, const std::string& name,
                                const std::optional<std::string>& object, const UserInfo& userInfo);

private:
    struct Registration {
        std::string name;
        std::optional<std::string> object;
        Handler handler;
    };
    static int signalReceived(sd_bus_message* message, void* userdata, sd_bus_error* error);
    struct QuitObserver {
        std::optional<std::string> owner;
        std::function<void()> handler;
    };
    // The match and the owner watch, made once, at the first registration of either kind.
    void startListening();
    void applicationOwnerChanged(const std::string& oldOwner, const std::string& newOwner);

    sd_bus* bus_;
    // One match for the whole notification interface, made at the first registration.
    sd_bus_slot* match_ = nullptr;
    // Who owns the application's name, followed in the order the bus delivers messages, so that a
    // notification the application sent just before it quit still counts.
    std::unique_ptr<CVBusNameOwnerWatch> ownerWatch_;
    std::optional<std::string> applicationOwner_;
    // Whether applicationOwner_ is still the bus's answer, no change having been taken since.
    bool ownerIsTheAnswer_ = false;
    Token nextToken_ = 1;
    std::map<Token, Registration> registrations_;
    std::map<Token, QuitObserver> quitObservers_;
};
