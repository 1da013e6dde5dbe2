#include "app/CorvaneProxyService.h"

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <memory>

#include "app/CorvaneApplication.h"
#include "app/CorvaneAuthorization.h"
#include "app/CorvaneInvocationReader.h"
#include "app/CorvaneNames.h"
#include "model/CVWireCoding.h"
#include "platform/CVBusObject.h"
#include "platform/CVCorvaneContract.h"
#include "platform/CVSystemLog.h"

namespace {

void recordCall(CorvaneApplication& application, const char* member,
                const CorvaneJSON& fields = CorvaneJSON::object()) {
    application.recordCall(CVCorvaneContract::kProxyInterface, member, fields);
}

// Reads the one string argument of a call; a negative errno when there is none.
int readStringArgument(sd_bus_message* message, std::string* argument) {
    const char* text = nullptr;
    int result = sd_bus_message_read(message, "s", &text);
    if (result >= 0) {
        *argument = text;
    }
    return result;
}

int processID(sd_bus_message* message, void* userdata, sd_bus_error*) {
    recordCall(CorvaneApplication::of(userdata), "processID");
    return sd_bus_reply_method_return(message, "i", static_cast<int32_t>(getpid()));
}

int requestAuthorizationForPath(sd_bus_message* message, void* userdata, sd_bus_error*) {
    std::string path;
    int result = readStringArgument(message, &path);
    if (result < 0) {
        return result;
    }
    CorvaneApplication::of(userdata).recordCallWithArguments(CVCorvaneContract::kProxyInterface,
                                                             "requestAuthorizationForPath",
                                                             CorvaneJSON::array({path}));
    // The reply waits for the answer, which may take a person's while: the loop goes on.
    std::shared_ptr<sd_bus_message> call(sd_bus_message_ref(message), sd_bus_message_unref);
    CorvaneAuthorization::answerRequestForPath(
        path, [call](bool) { sd_bus_reply_method_return(call.get(), ""); });
    return 1;
}

int markChangesetWithUUIDAsClosed(sd_bus_message* message, void* userdata, sd_bus_error*) {
    std::string identifier;
    int result = readStringArgument(message, &identifier);
    if (result < 0) {
        return result;
    }
    CorvaneApplication& application = CorvaneApplication::of(userdata);
    application.recordCallWithArguments(CVCorvaneContract::kProxyInterface,
                                        "markChangesetWithUUIDAsClosed",
                                        CorvaneJSON::array({identifier}));
    application.documents().closeChangeset(identifier);
    return sd_bus_reply_method_return(message, "");
}

int GUIDForDocumentWithCVDiffInvocation(sd_bus_message* message, void* userdata,
                                        sd_bus_error* error) {
    auto start = std::chrono::steady_clock::now();
    CorvaneApplication& application = CorvaneApplication::of(userdata);
    static constexpr const char* kMember = "GUIDForDocumentWithCVDiffInvocation";

    std::string whyRefused;
    auto invocation = CorvaneInvocationReader::readInvocation(message, &whyRefused);
    if (!invocation) {
        recordCall(application, kMember, {{"error", whyRefused}});
        CVSystemLog("Refused an invocation: " + whyRefused);
        return sd_bus_error_set(error, CorvaneNames::kInvalidInvocationError, whyRefused.c_str());
    }
    const CorvaneDocument& document =
        application.documents().openDocumentForRequest(std::move(invocation->request));

    CVBusObject<sd_bus_message> reply;
    int result = sd_bus_message_new_method_return(message, reply.out());
    if (result >= 0) {
        result = CVWireCoding::appendStringOrNil(reply, document.GUID);
    }
    std::chrono::duration<double, std::micro> elapsed = std::chrono::steady_clock::now() - start;
    // Journaled before the reply goes out, so that a caller that has its answer finds the line.
    // Rendering a large changeset as JSON is not free: only for a journal that is written.
    if (application.journal().isOpen()) {
        recordCall(application, kMember,
                   {{"invocation", CorvaneJSONForRecord(*invocation->record)},
                    {"reply", document.GUID},
                    {"document", document.json()},
                    {"microseconds", std::round(elapsed.count() * 10) / 10}});
    }
    if (result >= 0) {
        result = sd_bus_send(nullptr, reply, nullptr);
    }
    // The window learns of the document only once the caller has its answer: opening a tab,
    // reading and comparing never delay the reply.
    if (result >= 0 && application.presenter() != nullptr) {
        application.presenter()->documentDidChange(document);
    }
    return result < 0 ? result : 1;
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("processID", "", "i", processID, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("requestAuthorizationForPath", "s", "", requestAuthorizationForPath,
                  SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("GUIDForDocumentWithCVDiffInvocation", "v", "v",
                  GUIDForDocumentWithCVDiffInvocation, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("markChangesetWithUUIDAsClosed", "s", "", markChangesetWithUUIDAsClosed,
                  SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

}  // namespace

namespace CorvaneProxyService {

int add(sd_bus* bus, CorvaneApplication& application, sd_bus_slot** slot) {
    return sd_bus_add_object_vtable(bus, slot, CVCorvaneContract::kProxyObjectPath,
                                    CVCorvaneContract::kProxyInterface, kVtable, &application);
}

}  // namespace CorvaneProxyService
