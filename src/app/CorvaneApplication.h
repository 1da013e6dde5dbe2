#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <optional>
#include <string>
#include <string_view>

#include "app/CorvaneDocuments.h"
#include "app/CorvaneJournal.h"

// The reference application: one instance per session bus. It owns the application's names,
// serves the proxy protocol and the control interface, keeps the open documents and posts the
// distributed notifications. Everything runs on one thread, in the sd-event loop.
class CorvaneApplication {
public:
    explicit CorvaneApplication(std::optional<std::string> journalPath);
    ~CorvaneApplication();
    CorvaneApplication(const CorvaneApplication&) = delete;
    CorvaneApplication& operator=(const CorvaneApplication&) = delete;

    // Serves until SIGTERM, SIGINT or a quit request (status 0), or until the bus goes away
    // (status 1). Answers 1 at once when no bus can be reached or another instance owns the
    // names ("Corvane is already running." on standard error).
    int run();

    CorvaneDocuments& documents() { return documents_; }
    CorvaneJournal& journal() { return journal_; }

    // Journals the notification, then broadcasts it with the object (a coded string or nil) and
    // an empty user info.
    void postNotification(const char* name, const std::optional<std::string>& object);
    // Forgets the document and posts CVCloseTabNotification for it; false for an unknown GUID.
    bool closeTab(const std::string& GUID);
    // Releases the names at once and ends the loop with status 0.
    void quit();

    // Journals a received call: its interface, member and further JSON members (may be empty).
    void recordCall(std::string_view interface, std::string_view member, std::string_view fields);
    // recordCall with the call's arguments, JSON values separated by commas, as "arguments":[...].
    void recordCallWithArguments(std::string_view interface, std::string_view member,
                                 std::string_view arguments);
    // The application a bus callback was registered with.
    static CorvaneApplication& of(void* userdata) {
        return *static_cast<CorvaneApplication*>(userdata);
    }

private:
    int requestNames();
    static int handleTerminationSignal(sd_event_source* source, const signalfd_siginfo* info,
                                       void* userdata);

    CorvaneDocuments documents_;
    CorvaneJournal journal_;
    sd_event* event_ = nullptr;
    sd_bus* bus_ = nullptr;
    sd_bus_slot* proxySlot_ = nullptr;
    sd_bus_slot* controlSlot_ = nullptr;
    bool ownsNames_ = false;
};
