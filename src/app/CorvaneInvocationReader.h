#pragma once

#include <systemd/sd-bus.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/CorvaneDocument.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVPackedCoding.h"

// The one place where the application reads the tool's records: the coded invocation of a call,
// decoded strictly and turned into what it asks the application to show.
namespace CorvaneInvocationReader {

struct Invocation {
    CorvaneRequest request;
    // The decoded record tree, for the journal.
    std::shared_ptr<CVCLISerializedDiffInvocation> record;
};

// Reads the coded invocation (one variant holding the record) at the message's read position.
// Nothing, with the reason in whyRefused, when the payload is malformed, its root is not an
// invocation, or the invocation asks for nothing the application can show.
std::optional<Invocation> readInvocation(sd_bus_message* message, std::string* whyRefused);

struct Lookup;

// An invocation arriving as a packed stream (CVPackedCoding), fed its bytes as they come: the
// invocation and every frame of file lists are decoded, and the lists made the request's items,
// as soon as they are whole, so that a large changeset is read while the tool still pairs it.
class StreamedInvocation {
public:
    // `keepsFileLists`: whether the record keeps the lists once they are items (for a journal);
    // else each is let go at once.
    explicit StreamedInvocation(bool keepsFileLists = true);
    ~StreamedInvocation();
    StreamedInvocation(const StreamedInvocation&) = delete;
    StreamedInvocation& operator=(const StreamedInvocation&) = delete;

    // Takes the next bytes; false, with the reason, at the first refusal, as readInvocation's.
    bool append(std::string_view bytes, std::string* whyRefused);
    // After the last bytes: the invocation, or nothing, with the reason, when the stream did not
    // end as a stream must.
    std::optional<Invocation> finish(std::string* whyRefused);

private:
    CVPackedCoding::StreamReader reader_;
    Invocation invocation_;
    std::unique_ptr<Lookup> lookup_;
    bool keepsFileLists_;
};

// The files under two folders paired by relative path, as the items of a changeset comparing
// them (a file only one folder has stands against no file). Nothing, with the reason, when the
// folders cannot be read or hold names that cannot be shown.
std::optional<std::vector<CorvaneFileList>> pairFilesOfFolders(const std::string& left,
                                                               const std::string& right,
                                                               std::string* whyNot);

}  // namespace CorvaneInvocationReader
