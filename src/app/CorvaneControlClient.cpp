#include "app/CorvaneControlClient.h"

#include <systemd/sd-bus.h>

#include <cstring>
#include <functional>
#include <optional>

#include "app/CorvaneNames.h"
#include "platform/CVBusObject.h"
#include "platform/CVCorvaneContract.h"
#include "platform/CVPrint.h"
#include "platform/CVSealedFile.h"
#include "platform/CVSessionBus.h"

namespace {

int fail(const std::string& message) {
    CVPrint(stderr, message + "\n");
    return 1;
}

// Calls a control method: appendArguments fills the call, readReply reads a successful reply
// and answers the command's status.
int call(const char* member, const std::function<int(sd_bus_message*)>& appendArguments,
         const std::function<int(sd_bus_message*)>& readReply) {
    sd_bus* bus = CVSessionBus::shared();
    if (bus == nullptr) {
        return fail("Could not connect to the session bus.");
    }
    CVBusObject<sd_bus_message> message;
    CVBusObject<sd_bus_message> reply;
    sd_bus_error error{};
    int result = sd_bus_message_new_method_call(
        bus, message.out(), CVCorvaneContract::kApplicationBundleIdentifier,
        CorvaneNames::kControlObjectPath, CorvaneNames::kControlInterface, member);
    if (result >= 0) {
        // Only a running application is asked; nothing is started on its behalf.
        result = sd_bus_message_set_auto_start(message, 0);
    }
    if (result >= 0 && appendArguments) {
        result = appendArguments(message);
    }
    if (result >= 0) {
        result = sd_bus_call(bus, message, 0, &error, reply.out());
    }
    int status = 0;
    if (result < 0) {
        if (sd_bus_error_has_names(&error, SD_BUS_ERROR_SERVICE_UNKNOWN,
                                   SD_BUS_ERROR_NAME_HAS_NO_OWNER)) {
            status = fail("Corvane is not running.");
        } else if (sd_bus_error_is_set(&error)) {
            status = fail(error.message != nullptr ? error.message : error.name);
        } else {
            status = fail(std::string("Could not call Corvane: ") + strerror(-result) + ".");
        }
    } else if (readReply) {
        status = readReply(reply);
    }
    sd_bus_error_free(&error);
    return status;
}

}  // namespace

namespace CorvaneControlClient {

int listDocuments() {
    return call("ListDocuments", nullptr, [](sd_bus_message* reply) {
        static constexpr size_t kLargestListing = size_t(1) << 30;
        int descriptor = -1;
        std::string whyNot = "no file came";
        std::optional<CVSealedFileMapping> listing =
            sd_bus_message_read(reply, "h", &descriptor) >= 0
                ? CVSealedFileMapping::map(descriptor, kLargestListing, &whyNot)
                : std::nullopt;
        if (!listing) {
            return fail("Corvane's list of documents could not be read: " + whyNot + ".");
        }
        CVPrint(stdout, std::string(listing->bytes()) + "\n");
        return 0;
    });
}

int closeTab(const std::string& GUID) {
    return call(
        "CloseTab",
        [&](sd_bus_message* message) { return sd_bus_message_append(message, "s", GUID.c_str()); },
        nullptr);
}

int finishMerge(const std::string& GUID, bool resolved, const std::string& resultSource) {
    return call(
        "FinishMerge",
        [&](sd_bus_message* message) {
            return sd_bus_message_append(message, "sbs", GUID.c_str(), resolved ? 1 : 0,
                                         resultSource.c_str());
        },
        nullptr);
}

int quit() {
    return call("Quit", nullptr, nullptr);
}

int describeDocument(const std::string& GUID) {
    return call(
        "DescribeDocument",
        [&](sd_bus_message* message) { return sd_bus_message_append(message, "s", GUID.c_str()); },
        [](sd_bus_message* reply) {
            const char* description = "";
            sd_bus_message_read(reply, "s", &description);
            CVPrint(stdout, std::string(description) + "\n");
            return 0;
        });
}

int activateAction(const std::string& GUID, const std::string& action) {
    return call(
        "ActivateAction",
        [&](sd_bus_message* message) {
            return sd_bus_message_append(message, "ss", GUID.c_str(), action.c_str());
        },
        nullptr);
}

int saveScreenshot(const std::string& path) {
    return call(
        "SaveScreenshot",
        [&](sd_bus_message* message) { return sd_bus_message_append(message, "s", path.c_str()); },
        nullptr);
}

}  // namespace CorvaneControlClient
