#include "link/CVCLIProxyProtocol.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVWireCoding.h"
#include "platform/CVBusObject.h"
#include "platform/CVCorvaneContract.h"
#include "platform/CVException.h"
#include "platform/CVSessionBus.h"

namespace {

using Message = CVBusObject<sd_bus_message>;

// Frees the error when the call is over, also when it throws.
struct CallError {
    sd_bus_error error{};
    CallError() = default;
    ~CallError() { sd_bus_error_free(&error); }
    CallError(const CallError&) = delete;
    CallError& operator=(const CallError&) = delete;
};

bool isOneOf(const char* name, std::initializer_list<const char*> names) {
    return std::ranges::any_of(
        names, [name](const char* candidate) { return strcmp(name, candidate) == 0; });
}

[[noreturn]] void throwCodingFailure(const std::string& what, int result) {
    throw CVException(CVException::kInvalidArgumentException,
                      what + ": " + std::string(strerror(-result)));
}

}  // namespace

std::shared_ptr<CVCLIProxyProtocol> CVCLIProxyProtocol::rootProxyForConnectionWithRegisteredName(
    const std::string& name, bool ownerSeen) {
    sd_bus* bus = CVSessionBus::shared();
    if (bus == nullptr) {
        return nullptr;
    }
    if (ownerSeen ||
        CVBusNameQuestion(bus, name.c_str(), CVBusNameQuestion::Kind::hasOwner).hasOwner()) {
        return std::make_shared<CVCLIProxyProtocol>(bus, name);
    }
    return nullptr;
}

CVCLIProxyProtocol::CVCLIProxyProtocol(sd_bus* bus, std::string destination)
    : bus_(sd_bus_ref(bus)), destination_(std::move(destination)) {}

CVCLIProxyProtocol::~CVCLIProxyProtocol() {
    sd_bus_unref(bus_);
}

bool CVCLIProxyProtocol::isConnectionFailure(const sd_bus_error& error, int result) {
    if (sd_bus_error_is_set(&error) != 0 && strncmp(error.name, "System.Error.", 13) != 0) {
        return isOneOf(error.name,
                       {SD_BUS_ERROR_NO_REPLY, SD_BUS_ERROR_TIMEOUT, SD_BUS_ERROR_SERVICE_UNKNOWN,
                        SD_BUS_ERROR_NAME_HAS_NO_OWNER, SD_BUS_ERROR_DISCONNECTED});
    }
    switch (-result) {
        case ECONNRESET:
        case ENOTCONN:
        case EPIPE:
        case ESHUTDOWN:
        case ETIMEDOUT:
        case ECONNREFUSED:
            return true;
        default:
            return false;
    }
}

sd_bus_message* CVCLIProxyProtocol::newCall(const char* member) {
    sd_bus_message* message = nullptr;
    int result = sd_bus_message_new_method_call(bus_, &message, destination_.c_str(),
                                                CVCorvaneContract::kProxyObjectPath,
                                                CVCorvaneContract::kProxyInterface, member);
    if (result < 0) {
        if (isConnectionFailure(sd_bus_error{}, result)) {
            throw CVException(
                CVException::kInvalidSendPortException,
                std::string("The connection to Corvane is gone: ") + strerror(-result));
        }
        throwCodingFailure(std::string("Could not make the call ") + member, result);
    }
    return message;
}

sd_bus_message* CVCLIProxyProtocol::call(sd_bus_message* message) {
    CallError error;
    sd_bus_message* reply = nullptr;
    // A time-out of 0 is sd-bus's default.
    int result = sd_bus_call(bus_, message, 0, &error.error, &reply);
    if (result < 0) {
        throwCallFailure(error.error, result);
    }
    return reply;
}

void CVCLIProxyProtocol::throwCallFailure(const sd_bus_error& error, int result) {
    if (isConnectionFailure(error, result)) {
        throw CVException(CVException::kInvalidSendPortException,
                          sd_bus_error_is_set(&error) != 0 && error.message != nullptr
                              ? error.message
                              : strerror(-result));
    }
    // The application answered with an error: it surfaces here as that error.
    std::string name = sd_bus_error_is_set(&error) != 0 ? error.name : "System.Error";
    std::string reason = error.message != nullptr ? error.message : strerror(-result);
    throw CVException(name, reason);
}

int32_t CVCLIProxyProtocol::processID() {
    Message message(newCall("processID"));
    Message reply(call(message));
    int32_t processIdentifier = 0;
    int result = sd_bus_message_read(reply, "i", &processIdentifier);
    if (result < 0) {
        throwCodingFailure("Corvane answered processID with an unexpected value", result);
    }
    return processIdentifier;
}

void CVCLIProxyProtocol::requestAuthorizationForPath(const std::string& path) {
    callWithString("requestAuthorizationForPath", path, "Could not code the path");
}

std::optional<std::string> CVCLIProxyProtocol::GUIDForDocumentWithCVDiffInvocation(
    const CVCLISerializedDiffInvocation& invocation) {
    Message message(newCall("GUIDForDocumentWithCVDiffInvocation"));
    int result = CVWireCoding::appendInvocation(message, invocation);
    if (result < 0) {
        throwCodingFailure("Could not code the invocation", result);
    }
    return documentIdentifierOfReply(Message(call(message)));
}

std::unique_ptr<CVCLIProxyProtocol::PendingDocument>
CVCLIProxyProtocol::beginGUIDForDocumentWithPackedStream(int descriptor) {
    Message message(newCall("GUIDForDocumentWithCVDiffInvocation"));
    int result = CVWireCoding::appendPackedStream(message, descriptor);
    if (result < 0) {
        throwCodingFailure("Could not code the invocation", result);
    }
    auto pending = std::make_unique<PendingDocument>(message);
    // The message must be out before the stream fills the socket.
    result = pending->call_.sendError();
    if (result >= 0) {
        result = sd_bus_flush(bus_);
    }
    if (result < 0) {
        throwCallFailure(sd_bus_error{}, result);
    }
    return pending;
}

std::optional<std::string> CVCLIProxyProtocol::GUIDForDocument(PendingDocument& call) {
    // sd-bus's time-out for calls (SYSTEMD_BUS_TIMEOUT may make it infinite), from now on.
    uint64_t timeout = 0;
    if (sd_bus_get_method_call_timeout(bus_, &timeout) < 0 || timeout == 0) {
        timeout = 25'000'000;
    }
    int result = call.call_.wait(timeout);
    if (result == -ETIMEDOUT) {
        CallError error;
        sd_bus_error_set(&error.error, SD_BUS_ERROR_NO_REPLY, "Corvane did not answer in time");
        throwCallFailure(error.error, result);
    }
    if (result < 0) {
        throwCallFailure(sd_bus_error{}, result);
    }
    sd_bus_message* reply = call.call_.reply();
    const sd_bus_error* error = sd_bus_message_get_error(reply);
    if (error != nullptr) {
        throwCallFailure(*error, -sd_bus_message_get_errno(reply));
    }
    return documentIdentifierOfReply(reply);
}

std::optional<std::string> CVCLIProxyProtocol::documentIdentifierOfReply(sd_bus_message* reply) {
    std::optional<std::string> identifier;
    int result = CVWireCoding::readStringOrNil(reply, &identifier);
    if (result < 0) {
        throwCodingFailure(
            "Corvane answered GUIDForDocumentWithCVDiffInvocation with an unexpected value",
            result);
    }
    return identifier;
}

void CVCLIProxyProtocol::markChangesetWithUUIDAsClosed(const std::string& identifier) {
    callWithString("markChangesetWithUUIDAsClosed", identifier,
                   "Could not code the changeset identifier");
}

void CVCLIProxyProtocol::callWithString(const char* member, const std::string& argument,
                                        const char* codingFailure) {
    Message message(newCall(member));
    int result = sd_bus_message_append(message, "s", argument.c_str());
    if (result < 0) {
        throwCodingFailure(codingFailure, result);
    }
    Message reply(call(message));
}
