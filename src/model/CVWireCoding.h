#pragma once

#include <cstddef>

#include <systemd/sd-bus.h>

#include <memory>
#include <optional>
#include <string>

#include "model/CVCLISerializedObject.h"

// Records on the D-Bus wire. Every value is a variant: nil is the signature "" ("g"), strings "s",
// booleans "b", 32-bit integers "i", 64-bit integers "x", data "ay", arrays "av", and a record
// "(sav)": its class name, then its values in the order of its key list.
namespace CVWireCoding {

// Deepest nesting of values (records and arrays) that `readRecord` accepts.
inline constexpr int kMaximumDepth = 32;

// Appends one variant holding the record and everything under it. 0, or sd-bus's negative errno
// (for example -EINVAL for a string that is not UTF-8).
int appendInvocation(sd_bus_message* message, const CVCLISerializedObject& root);

// The bytes appendInvocation adds to a message body for the record, alignment included.
size_t encodedSize(const CVCLISerializedObject& root);
// The most a message body may hold here: D-Bus ends arrays at 64 MiB, and the list of a large
// changeset is nearly the whole body.
inline constexpr size_t kLargestBody = 64u << 20;

// Reads one variant holding a record. Null, with the reason in `whyRefused` (may be null), for a
// malformed message, an unknown class name, a value count that differs from the class's key list,
// a value of the wrong type for its key, or nesting deeper than `kMaximumDepth`.
std::shared_ptr<CVCLISerializedObject> readRecord(sd_bus_message* message, std::string* whyRefused);

// Appends one variant holding the descriptor of a socket carrying the invocation as a packed
// stream (CVPackedCoding), the form of invocations too large for one message. 0 or a negative
// errno.
int appendPackedStream(sd_bus_message* message, int descriptor);
// Reads the descriptor of a packed stream when the message's next value is one (the descriptor
// stays the message's): 1; 0, reading nothing, when the next value is something else; or a
// negative errno.
int readPackedStream(sd_bus_message* message, int* descriptor);

// Appends one variant holding the string, or nil. 0 or sd-bus's negative errno.
int appendStringOrNil(sd_bus_message* message, const std::optional<std::string>& text);
// Reads one variant holding a string or nil. 0, or a negative errno (-EBADMSG for a variant of
// another type).
int readStringOrNil(sd_bus_message* message, std::optional<std::string>* out);

}  // namespace CVWireCoding
