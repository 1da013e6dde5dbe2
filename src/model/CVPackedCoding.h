#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/CVCLISerializedObject.h"

class CVCLISerializedFileList;

// The compact coding of a record, for invocations too large for one bus message: the same values
// as on the wire, as tagged bytes instead of D-Bus variants. After the magic "CVP1", one value:
//
//   'n' nil                  't' / 'f' a boolean        'i' int32, 4 bytes little-endian
//   'x' int64, 8 bytes       's' string: u32 length, bytes (UTF-8, no NUL)
//   'd' data: u32 length, bytes                         'a' array: u32 count, values
//   'r' record: u32 length and the class name, u32 count, the values in key-list order
//
// The reader is as strict as the wire reader (class names, value counts, types, depth) and
// refuses anything after the value.
namespace CVPackedCoding {

inline constexpr std::string_view kMagic = "CVP1";
// The most a packed invocation may hold, its stream's framing included.
inline constexpr size_t kLargestPayload = size_t(1) << 30;

// The packed stream: how an invocation too large for one bus message travels, through a socket,
// while the file lists of its changeset are still being made. After the magic "CVS1", frames,
// each a u32 length and that many bytes: first the packed invocation (`pack`, magic included)
// with its changeset's file lists left out, then frames of whole packed file lists
// (`appendRecord`), then a frame of length 0, which ends the stream. Nothing may follow it.
inline constexpr std::string_view kStreamMagic = "CVS1";

// Appends the coded record (no magic); false when a string is not UTF-8 or holds a NUL.
bool appendRecord(std::string* bytes, const CVCLISerializedObject& record);

// The 4 bytes that begin a stream's frame of `length` bytes.
std::string frameLength(size_t length);

// The packed root record, magic included; nothing when it cannot be coded.
std::optional<std::string> pack(const CVCLISerializedObject& root);

// The record of packed bytes; null, with the reason in `whyRefused` (may be null), for anything
// `CVWireCoding::readRecord` would refuse, a missing magic, or bytes left after the record.
std::shared_ptr<CVCLISerializedObject> unpack(std::string_view bytes, std::string* whyRefused);

// Reads a packed stream as its bytes arrive, decoding each frame as soon as it is whole, as
// strictly as `unpack`.
class StreamReader {
public:
    // Takes the next bytes of the stream; false at the first refusal (`whyRefused` says why) and
    // for anything given after it.
    bool append(std::string_view bytes);
    // The invocation once its frame is read (its changeset without file lists); null before.
    const std::shared_ptr<CVCLISerializedObject>& root() const { return root_; }
    // The file lists read since they were last taken, in the order they came.
    std::vector<std::shared_ptr<CVCLISerializedFileList>> takeFileLists();
    // Whether the frame that ends the stream was read.
    bool isEnded() const { return ended_; }
    const std::string& whyRefused() const { return whyRefused_; }

private:
    bool readFrame(std::string_view frame);
    bool refuse(std::string reason);

    std::string pending_;
    size_t received_ = 0;
    bool magicRead_ = false;
    bool ended_ = false;
    std::shared_ptr<CVCLISerializedObject> root_;
    std::vector<std::shared_ptr<CVCLISerializedFileList>> fileLists_;
    std::string whyRefused_;
};

}  // namespace CVPackedCoding
