#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <optional>
#include <string>
#include <string_view>

#include "app/CorvaneDocuments.h"
#include "app/CorvaneJournal.h"
#include "platform/CVBusObject.h"

// What shows the documents: the window, when there is one. The application tells it about
// documents after the call that opened them has been answered, and asks it what the control
// interface wants to know of the window. Every member runs on the application's thread.
class CorvaneDocumentPresenter {
public:
    virtual ~CorvaneDocumentPresenter() = default;
    // A document was opened, or gained items (a partial changeset).
    virtual void documentDidChange(const CorvaneDocument& document) = 0;
    // The document was closed and forgotten.
    virtual void documentDidClose(const std::string& GUID) = 0;
    // What the document's tab shows, as a JSON object; nothing for an unknown GUID.
    virtual std::optional<std::string> describeDocument(const std::string& GUID) = 0;
    // Activates the window action (e.g. "next-change") on the document's tab; false with the
    // reason when it cannot.
    virtual bool activateAction(const std::string& GUID, const std::string& action,
                                std::string* whyNot) = 0;
    // Renders the window into a PNG file; false with the reason when it cannot.
    virtual bool saveScreenshot(const std::string& path, std::string* whyNot) = 0;
};

// The reference application: one instance per session bus. It owns the application's names,
// serves the proxy protocol and the control interface, keeps the open documents and posts the
// distributed notifications. Everything runs on one thread: in the sd-event loop without a
// window, in GLib's loop (which drives the sd-event loop) with one.
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

    // run() in two halves, for a loop that drives the sd-event loop itself: start() connects,
    // exports the objects and owns the names (false when it could not: the process should end
    // with status 1); then the caller dispatches event() until it is finished, and the exit code
    // of event() is the process's status.
    bool start();
    // Blocks SIGTERM and SIGINT in the calling thread and the threads it starts later, so that
    // they arrive through the loop; start() does it too, a caller that starts threads first
    // calls it before.
    static void blockTerminationSignals();
    sd_event* event() const { return event_; }

    // The window; null without one. Not owned.
    void setPresenter(CorvaneDocumentPresenter* presenter) { presenter_ = presenter; }
    CorvaneDocumentPresenter* presenter() const { return presenter_; }

    CorvaneDocuments& documents() { return documents_; }
    CorvaneJournal& journal() { return journal_; }

    // Journals the notification, then broadcasts it with the object (a coded string or nil) and
    // an empty user info.
    void postNotification(const char* name, const std::optional<std::string>& object);
    // Forgets the document and posts CVCloseTabNotification for it; false for an unknown GUID.
    bool closeTab(const std::string& GUID);
    // Releases the names at once and ends the loop with status 0.
    void quit();

    // Journals a received call: its interface, member and the fields' members.
    void recordCall(std::string_view interface, std::string_view member,
                    const CorvaneJSON& fields = CorvaneJSON::object());
    // recordCall with the call's arguments as "arguments":[...].
    void recordCallWithArguments(std::string_view interface, std::string_view member,
                                 const CorvaneJSON& arguments);
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
    CVBusObject<sd_event> event_;
    CVBusObject<sd_bus> bus_;
    CVBusObject<sd_bus_slot> proxySlot_;
    CVBusObject<sd_bus_slot> controlSlot_;
    bool ownsNames_ = false;
    CorvaneDocumentPresenter* presenter_ = nullptr;
};
