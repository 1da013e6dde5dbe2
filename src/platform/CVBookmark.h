#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/CVError.h"

// Bookmark data: a small versioned record that finds a file again after it was renamed or moved
// within its file system. It holds the absolute path, the device and inode numbers and, where the
// kernel grants one, a file handle (name_to_handle_at). Minimal and security-scoped bookmarks share
// the format; the scope is a flag inside.
namespace CVBookmark {

// Creation options, with the values the application's platform gives them.
enum CreationOptions : unsigned {
    minimalBookmark = 1u << 9,
    withSecurityScope = 1u << 11,
};

// The decoded fields of bookmark data.
struct Contents {
    bool securityScoped = false;
    std::string path;
    uint64_t device = 0;
    uint64_t inode = 0;
    // Present when the kernel gave a handle for the file.
    std::optional<int32_t> handleType;
    std::vector<uint8_t> handle;
};

// Bookmark data of the file at the path (a relative path is taken from the current directory; a
// symbolic link in the last component is resolved). Nothing, with the error, when no file exists
// there. Costs the realpath of the path, one stat and one name_to_handle_at.
std::optional<std::vector<uint8_t>> create(const std::string& path, unsigned options,
                                           std::optional<CVError>* error = nullptr);

// The file's current absolute path: the recorded path while it still names the same file; else
// the path the file handle leads to (needs CAP_DAC_READ_SEARCH; without it this step is skipped);
// else the recorded path when something exists there, marked stale; else nothing, with the error.
// `isStale` may be null. Never reads outside the data, whatever it holds.
std::optional<std::string> resolve(std::span<const uint8_t> data, bool* isStale,
                                   std::optional<CVError>* error = nullptr);

// The fields of well-formed bookmark data; nothing for anything else.
std::optional<Contents> parse(std::span<const uint8_t> data);
// The data that `parse` reads back as the contents.
std::vector<uint8_t> serialize(const Contents& contents);
// The data of a minimal bookmark without a file handle.
std::vector<uint8_t> serialize(std::string_view path, uint64_t device, uint64_t inode);

}  // namespace CVBookmark
