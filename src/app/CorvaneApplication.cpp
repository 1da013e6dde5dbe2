#include "app/CorvaneApplication.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "app/CorvaneControlService.h"
#include "app/CorvaneNames.h"
#include "app/CorvaneProxyService.h"
#include "link/CVDistributedNotificationCenter.h"
#include "platform/CVCorvaneContract.h"
#include "platform/CVHeldFile.h"
#include "platform/CVPrint.h"
#include "platform/CVSessionBus.h"
#include "platform/CVSystemLog.h"

namespace {

std::string errorText(int negativeErrno) {
    return strerror(-negativeErrno);
}

CVBusObject<sd_bus> openSessionBus() {
    auto address = CVSessionBus::address();
    if (!address) {
        CVSystemLog(
            "Could not connect to the session bus: no DBUS_SESSION_BUS_ADDRESS or "
            "XDG_RUNTIME_DIR.");
        return {};
    }
    int result = 0;
    CVBusObject<sd_bus> bus = CVSessionBus::connect(*address, &result);
    if (!bus) {
        CVSystemLog("Could not connect to the session bus " + *address + ": " + errorText(result) +
                    ".");
        return {};
    }
    return bus;
}

}  // namespace

CorvaneApplication::CorvaneApplication(std::optional<std::string> journalPath)
    : journal_(std::move(journalPath)) {}

CorvaneApplication::~CorvaneApplication() {
    // Documents still open let their files go; captures whose removal failed get a last try.
    documents_ = CorvaneDocuments();
    CVHeldFile::removeLeftoverFiles();
    proxySlot_.reset();
    controlSlot_.reset();
    sd_bus_flush_close_unref(bus_.release());
}

int CorvaneApplication::run() {
    if (!start()) {
        return 1;
    }
    int result = sd_event_loop(event_);
    if (result < 0) {
        CVSystemLog("The event loop failed: " + errorText(result) + ".");
        return 1;
    }
    return result;
}

void CorvaneApplication::blockTerminationSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

bool CorvaneApplication::start() {
    // Termination arrives through the loop, so the names are released before the process ends.
    blockTerminationSignals();

    int result = sd_event_default(event_.out());
    if (result < 0) {
        CVSystemLog("Could not create the event loop: " + errorText(result) + ".");
        return false;
    }
    sd_event_add_signal(event_, nullptr, SIGTERM, handleTerminationSignal, this);
    sd_event_add_signal(event_, nullptr, SIGINT, handleTerminationSignal, this);

    bus_ = openSessionBus();
    if (bus_ == nullptr) {
        return false;
    }
    sd_bus_attach_event(bus_, event_, SD_EVENT_PRIORITY_NORMAL);
    // Without its bus the application is unreachable: it ends with the bus.
    sd_bus_set_exit_on_disconnect(bus_, 1);

    result = CorvaneProxyService::add(bus_, *this, proxySlot_.out());
    if (result >= 0) {
        result = CorvaneControlService::add(bus_, *this, controlSlot_.out());
    }
    if (result < 0) {
        CVSystemLog("Could not export the application's objects: " + errorText(result) + ".");
        return false;
    }
    if (requestNames() < 0) {
        return false;
    }
    journal_.record("launch", {{"processID", getpid()}});
    postNotification(CVCorvaneContract::kDidFinishLaunchingNotification, std::nullopt);
    return true;
}

int CorvaneApplication::requestNames() {
    // The connection's name first: once the application's own name is owned, the tool takes it
    // as launched and calls the connection at once.
    for (const char* name : {CVCorvaneContract::kDistributedObjectsConnectionName,
                             CVCorvaneContract::kApplicationBundleIdentifier}) {
        int result = sd_bus_request_name(bus_, name, 0);
        if (result == -EEXIST) {
            CVPrint(stderr, "Corvane is already running.\n");
            return result;
        }
        if (result < 0) {
            CVSystemLog(std::string("Could not own the name ") + name + ": " + errorText(result) +
                        ".");
            return result;
        }
    }
    ownsNames_ = true;
    return 0;
}

void CorvaneApplication::postNotification(const char* name,
                                          const std::optional<std::string>& object) {
    journal_.record("notification", {{"name", name},
                                     {"object", CorvaneJSONStringOrNull(object)},
                                     {"userInfo", CorvaneJSON::object()}});
    int result = CVDistributedNotificationCenter::postNotification(bus_, name, object, {});
    if (result < 0) {
        CVSystemLog(std::string("Could not post ") + name + ": " + errorText(result) + ".");
    }
}

bool CorvaneApplication::closeTab(const std::string& GUID) {
    if (!documents_.removeDocument(GUID)) {
        return false;
    }
    postNotification(CVCorvaneContract::kCloseTabNotification, GUID);
    if (presenter_ != nullptr) {
        presenter_->documentDidClose(GUID);
    }
    return true;
}

void CorvaneApplication::quit() {
    if (ownsNames_) {
        ownsNames_ = false;
        sd_bus_release_name(bus_, CVCorvaneContract::kApplicationBundleIdentifier);
        sd_bus_release_name(bus_, CVCorvaneContract::kDistributedObjectsConnectionName);
        sd_bus_flush(bus_);
    }
    journal_.record("quit");
    sd_event_exit(event_, 0);
}

void CorvaneApplication::recordCallWithArguments(std::string_view interface,
                                                 std::string_view member,
                                                 const CorvaneJSON& arguments) {
    recordCall(interface, member, {{"arguments", arguments}});
}

void CorvaneApplication::recordCall(std::string_view interface, std::string_view member,
                                    const CorvaneJSON& fields) {
    CorvaneJSON call = {{"interface", interface}, {"member", member}};
    call.update(fields);
    journal_.record("call", call);
}

int CorvaneApplication::handleTerminationSignal(sd_event_source*, const signalfd_siginfo*,
                                                void* userdata) {
    static_cast<CorvaneApplication*>(userdata)->quit();
    return 0;
}
