#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "model/CVCLISerializedObject.h"

class CVCLISerializedChangeset;

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
// The most a packed invocation may hold: the application maps it whole.
inline constexpr size_t kLargestPayload = size_t(1) << 30;

// Appends the coded record (no magic); false when a string is not UTF-8 or holds a NUL.
bool appendRecord(std::string* bytes, const CVCLISerializedObject& record);

// The packed root record, magic included; nothing when it cannot be coded.
std::optional<std::string> pack(const CVCLISerializedObject& root);

// The packed root record split where the file lists of `changeset` (a record under the root,
// whose list must be empty) go: the coded lists are placed between `head` and `tail`, and their
// count is stored little-endian in the last 4 bytes of `head`.
struct Split {
    std::string head;
    std::string tail;
};
std::optional<Split> packAroundFileLists(const CVCLISerializedObject& root,
                                         const CVCLISerializedChangeset& changeset);

// The record of packed bytes; null, with the reason in `whyRefused` (may be null), for anything
// `CVWireCoding::readRecord` would refuse, a missing magic, or bytes left after the record.
std::shared_ptr<CVCLISerializedObject> unpack(std::string_view bytes, std::string* whyRefused);

}  // namespace CVPackedCoding
