#pragma once

#include <systemd/sd-bus.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

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

// Reads the coded invocation (one variant: the record, or a sealed memory file holding it packed)
// at the message's read position. Nothing, with the
// reason in whyRefused, when the payload is malformed, its root is not an invocation, or the
// invocation asks for nothing the application can show.
std::optional<Invocation> readInvocation(sd_bus_message* message, std::string* whyRefused);

// The files under two folders paired by relative path, as the items of a changeset comparing
// them (a file only one folder has stands against no file). Nothing, with the reason, when the
// folders cannot be read or hold names that cannot be shown.
std::optional<std::vector<CorvaneFileList>> pairFilesOfFolders(const std::string& left,
                                                               const std::string& right,
                                                               std::string* whyNot);

}  // namespace CorvaneInvocationReader
