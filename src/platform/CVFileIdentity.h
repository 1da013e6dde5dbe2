#pragma once

#include <cstdint>
#include <optional>
#include <string>

// What tells one version of a file from another without reading it: device, inode, size and
// modification time. A writer that replaces the file (a rename over it) or edits it in place
// changes at least one of them.
struct CVFileIdentity {
    uint64_t device = 0;
    uint64_t inode = 0;
    uint64_t size = 0;
    int64_t modificationSeconds = 0;
    int64_t modificationNanoseconds = 0;

    bool operator==(const CVFileIdentity&) const = default;
};

// The identity of the file at the path (symbolic links followed); nothing when it does not exist
// or cannot be examined.
std::optional<CVFileIdentity> CVFileIdentityOfPath(const std::string& path);
