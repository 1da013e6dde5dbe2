#pragma once

#include <plist/plist.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/CVError.h"

// Owns one libplist node tree.
struct CVPlistDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using CVPlist = std::unique_ptr<void, CVPlistDeleter>;

namespace CVPropertyList {

enum class Format { xml, binary };

CVPlist fromData(std::string_view bytes);
// Parses XML or binary property-list bytes; nothing when they are not a property list or nest
// deeper than any list of ours (a planted file must not exhaust the parser's stack).
// Reads and parses a property-list file; nothing (and the error) when it is missing, corrupt,
// not a regular file (it never blocks on a pipe) or larger than any file of ours (8 MiB).
CVPlist readFile(const std::string& path, std::optional<CVError>* error = nullptr);
// Keeps an unreadable file at the path as "<path>.corrupt", unless one was kept before.
void setAsideIfUnreadable(const std::string& path);
// Serialises the tree.
std::string toData(plist_t root, Format format);
// Writes the tree atomically: a side file in the same folder, then a rename over the path. Makes
// the missing parent folders (mode 0700). A file in the way that cannot be read as a property
// list is first kept as "<path>.corrupt" (once) and the system log says so, so that the keys it
// held are not lost without a trace. Returns false with the error when any step fails.
bool writeFileAtomically(const std::string& path, plist_t root, Format format,
                         std::optional<CVError>* error = nullptr);

// Typed reads of one node; nothing for a null node or another type.
std::optional<std::string> stringValue(plist_t node);
std::optional<bool> boolValue(plist_t node);
std::optional<int64_t> integerValue(plist_t node);
std::optional<std::vector<uint8_t>> dataValue(plist_t node);

}  // namespace CVPropertyList
