#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/CVBusObject.h"
#include "platform/CVSessionBus.h"

class CVCLISerializedDiffInvocation;

// The application's proxy: method calls to the object it exports on the session bus under its
// registered name. Every call blocks until the reply arrives or sd-bus's default call time-out
// passes, except that a streamed invocation's call is sent at once and waited for, with that
// time-out, only once its stream has ended.
//
// A call that fails because the connection or the application went away (no reply, the name has
// no owner, the bus disconnected) throws a port exception (CVException
// kInvalidSendPortException). Any other error reply, such as the application refusing a payload,
// throws a CVException named after the D-Bus error with its message as the reason, the way a
// remote exception surfaces in the caller; an invocation that cannot be coded throws
// kInvalidArgumentException.
class CVCLIProxyProtocol {
public:
    // The proxy for the object of the bus name `name` on this process's session bus; null when
    // there is no bus or no process owns the name. A caller that has just seen the name owned
    // (`ownerSeen`) spares the bus the question; should the owner have gone since, the first call
    // finds out, as it would a moment after the question.
    static std::shared_ptr<CVCLIProxyProtocol> rootProxyForConnectionWithRegisteredName(
        const std::string& name, bool ownerSeen = false);

    CVCLIProxyProtocol(sd_bus* bus, std::string destination);
    CVCLIProxyProtocol(const CVCLIProxyProtocol&) = delete;
    CVCLIProxyProtocol& operator=(const CVCLIProxyProtocol&) = delete;
    ~CVCLIProxyProtocol();

    // The application's process identifier.
    int32_t processID();
    // Asks the application to obtain file access for the tool.
    void requestAuthorizationForPath(const std::string& path);
    // Delivers the invocation by copy; the identifier of the document it opened, or nothing.
    std::optional<std::string> GUIDForDocumentWithCVDiffInvocation(
        const CVCLISerializedDiffInvocation& invocation);

    // A GUIDForDocumentWithCVDiffInvocation call whose invocation is still being written: sent at
    // once, answered when the stream has ended.
    class PendingDocument {
    public:
        // No time-out: the application answers only once the whole stream is written, however
        // long making it takes.
        explicit PendingDocument(sd_bus_message* message) : call_(message, UINT64_MAX) {}

    private:
        friend class CVCLIProxyProtocol;
        CVBusPendingCall call_;
    };
    // Sends the call for an invocation streamed packed (CVPackedCoding) through the socket whose
    // reading end is `descriptor` (it stays the caller's: close it once this returns).
    std::unique_ptr<PendingDocument> beginGUIDForDocumentWithPackedStream(int descriptor);
    // Waits for the call's answer, at most sd-bus's default call time-out from now: the
    // identifier of the document it opened, or nothing.
    std::optional<std::string> GUIDForDocument(PendingDocument& call);
    // Tells the application that the changeset ("UUID:...") is closed.
    void markChangesetWithUUIDAsClosed(const std::string& identifier);

    // Whether a failed call means that the connection or the application went away: the D-Bus
    // error name when the reply carried one, else the negative errno of the call.
    static bool isConnectionFailure(const sd_bus_error& error, int result);

private:
    sd_bus_message* newCall(const char* member);
    // Sends the call and gives the reply (to be unreferenced by the caller); throws on failure.
    sd_bus_message* call(sd_bus_message* message);
    // Throws what a call that failed with the error or negative errno means.
    [[noreturn]] static void throwCallFailure(const sd_bus_error& error, int result);
    // Calls a method that takes one string and answers nothing; throws `codingFailure` when the
    // string cannot be coded.
    void callWithString(const char* member, const std::string& argument, const char* codingFailure);
    // Reads the identifier a GUIDForDocumentWithCVDiffInvocation call answered.
    static std::optional<std::string> documentIdentifierOfReply(sd_bus_message* reply);

    sd_bus* bus_;
    std::string destination_;
};
