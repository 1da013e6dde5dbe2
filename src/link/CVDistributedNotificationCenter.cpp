#include "link/CVDistributedNotificationCenter.h"

#include <cstring>
#include <vector>

#include "model/CVWireCoding.h"
#include "platform/CVCorvaneContract.h"
#include "platform/CVRunLoop.h"
#include "platform/CVSessionBus.h"

namespace {

// Reads the a{sv} user info, keeping the string values. A body without user info gives none.
CVDistributedNotificationCenter::UserInfo readUserInfo(sd_bus_message* message) {
    CVDistributedNotificationCenter::UserInfo userInfo;
    if (sd_bus_message_enter_container(message, 'a', "{sv}") <= 0) {
        return userInfo;
    }
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        const char* key = nullptr;
        const char* contents = nullptr;
        if (sd_bus_message_read(message, "s", &key) < 0 ||
            sd_bus_message_peek_type(message, nullptr, &contents) < 0) {
            return userInfo;
        }
        if (contents != nullptr && strcmp(contents, "s") == 0) {
            const char* value = nullptr;
            if (sd_bus_message_read(message, "v", "s", &value) < 0) {
                return userInfo;
            }
            userInfo[key] = value;
        } else if (sd_bus_message_skip(message, "v") < 0) {
            return userInfo;
        }
        if (sd_bus_message_exit_container(message) < 0) {
            return userInfo;
        }
    }
    sd_bus_message_exit_container(message);
    return userInfo;
}

// Calls the handler of each entry that `matches` picks now, each only while it still stands:
// handlers may add or remove registrations, their own among them (hence the handler's copy).
template <typename Entry, typename Matches, typename Call>
void callThoseStanding(std::map<CVDistributedNotificationCenter::Token, Entry>& entries,
                       const Matches& matches, const Call& call) {
    std::vector<CVDistributedNotificationCenter::Token> tokens;
    for (const auto& [token, entry] : entries) {
        if (matches(entry)) {
            tokens.push_back(token);
        }
    }
    for (auto token : tokens) {
        if (auto found = entries.find(token); found != entries.end()) {
            auto handler = found->second.handler;
            call(handler);
        }
    }
}

}  // namespace

CVDistributedNotificationCenter& CVDistributedNotificationCenter::defaultCenter() {
    // Never destroyed: its matches end with the connection when the process does. Removing them
    // on the way out would cost an exiting tool two messages to the bus, and a waiting tool a
    // tenth of the time from its tab's closing to its exit.
    static auto* center = new CVDistributedNotificationCenter(CVSessionBus::shared());
    return *center;
}

CVDistributedNotificationCenter::CVDistributedNotificationCenter(sd_bus* bus)
    : bus_(bus != nullptr ? sd_bus_ref(bus) : nullptr) {}

CVDistributedNotificationCenter::~CVDistributedNotificationCenter() {
    sd_bus_slot_unref(match_);
    sd_bus_unref(bus_);
}

CVDistributedNotificationCenter::Token CVDistributedNotificationCenter::addObserver(
    const std::string& name, const std::optional<std::string>& object, Handler handler) {
    startListening();
    Token token = nextToken_++;
    registrations_.emplace(token, Registration{name, object, std::move(handler)});
    return token;
}

CVDistributedNotificationCenter::Token CVDistributedNotificationCenter::addApplicationQuitObserver(
    std::function<void()> handler) {
    startListening();
    // The copy it watches is the owner now. Since the center asked, changes may have been taken
    // from the connection while older ones still wait there (the loss of an earlier owner among
    // them): then the bus is asked again.
    std::optional<std::string> owner =
        ownerIsTheAnswer_
            ? applicationOwner_
            : CVSessionBus::ownerOfName(bus_, CVCorvaneContract::kApplicationBundleIdentifier);
    Token token = nextToken_++;
    quitObservers_.emplace(token, QuitObserver{std::move(owner), std::move(handler)});
    return token;
}

void CVDistributedNotificationCenter::removeObserver(Token token) {
    registrations_.erase(token);
    quitObservers_.erase(token);
}

void CVDistributedNotificationCenter::startListening() {
    // The signals are dispatched by the registering thread's run loop. A match per name would
    // drop a notification sent before its observer existed, such as a merge resolved at once.
    if (match_ != nullptr || bus_ == nullptr || CVRunLoop::current()->attachBus(bus_) < 0) {
        return;
    }
    // Watched first, then asked: a change of owner after the answer is still delivered.
    ownerWatch_ = std::make_unique<CVBusNameOwnerWatch>(
        bus_, CVCorvaneContract::kApplicationBundleIdentifier,
        [this](const std::string& oldOwner, const std::string& newOwner) {
            applicationOwnerChanged(oldOwner, newOwner);
        });
    applicationOwner_ =
        CVSessionBus::ownerOfName(bus_, CVCorvaneContract::kApplicationBundleIdentifier);
    ownerIsTheAnswer_ = true;
    sd_bus_match_signal(bus_, &match_, nullptr, nullptr, CVCorvaneContract::kNotificationInterface,
                        nullptr, signalReceived, this);
}

void CVDistributedNotificationCenter::applicationOwnerChanged(const std::string& oldOwner,
                                                              const std::string& newOwner) {
    ownerIsTheAnswer_ = false;
    applicationOwner_ = newOwner.empty() ? std::nullopt : std::optional(newOwner);
    if (!newOwner.empty() || oldOwner.empty()) {
        return;
    }
    callThoseStanding(
        quitObservers_, [&](const QuitObserver& observer) { return observer.owner == oldOwner; },
        [](const std::function<void()>& handler) { handler(); });
}

int CVDistributedNotificationCenter::signalReceived(sd_bus_message* message, void* userdata,
                                                    sd_bus_error*) {
    auto* center = static_cast<CVDistributedNotificationCenter*>(userdata);
    const char* sender = sd_bus_message_get_sender(message);
    if (sender == nullptr || center->applicationOwner_ != sender) {
        return 0;
    }
    const char* name = sd_bus_message_get_member(message);
    std::optional<std::string> object;
    if (name == nullptr || CVWireCoding::readStringOrNil(message, &object) < 0) {
        return 0;
    }
    UserInfo userInfo = readUserInfo(message);
    callThoseStanding(
        center->registrations_,
        [&](const Registration& registration) {
            return registration.name == name &&
                   (!registration.object || registration.object == object);
        },
        [&](const Handler& handler) { handler(object, userInfo); });
    return 0;
}

int CVDistributedNotificationCenter::postNotification(sd_bus* bus, const std::string& name,
                                                      const std::optional<std::string>& object,
                                                      const UserInfo& userInfo) {
    sd_bus_message* message = nullptr;
    int result =
        sd_bus_message_new_signal(bus, &message, CVCorvaneContract::kNotificationObjectPath,
                                  CVCorvaneContract::kNotificationInterface, name.c_str());
    if (result >= 0) {
        result = CVWireCoding::appendStringOrNil(message, object);
    }
    if (result >= 0) {
        result = sd_bus_message_open_container(message, 'a', "{sv}");
    }
    for (auto entry = userInfo.begin(); result >= 0 && entry != userInfo.end(); ++entry) {
        result = sd_bus_message_append(message, "{sv}", entry->first.c_str(), "s",
                                       entry->second.c_str());
    }
    if (result >= 0) {
        result = sd_bus_message_close_container(message);
    }
    if (result >= 0) {
        result = sd_bus_send(bus, message, nullptr);
    }
    sd_bus_message_unref(message);
    return result;
}
