#pragma once

#include <systemd/sd-bus.h>

#include <memory>
#include <optional>
#include <string>

#include "app/CorvaneDocument.h"
#include "model/CVCLISerializedDiffInvocation.h"

// The one place where the application reads the tool's records: the coded invocation of a call,
// decoded strictly and turned into what it asks the application to show.
namespace CorvaneInvocationReader {

struct Invocation {
    CorvaneRequest request;
    // The decoded record tree, for the journal.
    std::shared_ptr<CVCLISerializedDiffInvocation> record;
};

// Reads the coded invocation (one variant) at the message's read position. Nothing, with the
// reason in whyRefused, when the payload is malformed, its root is not an invocation, or the
// invocation asks for nothing the application can show.
std::optional<Invocation> readInvocation(sd_bus_message* message, std::string* whyRefused);

}  // namespace CorvaneInvocationReader
