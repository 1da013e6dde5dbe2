#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/CVError.h"

// Files written whole or not at all, folders made with their parents, and locks held on files.

// Makes the folder and any missing parent (mode 0700 for each made). False when it is not a
// folder afterwards.
bool CVMakeFolders(const std::string& folder);
// CVMakeFolders for the folder that holds the path.
bool CVMakeParentFolders(const std::string& path);

// A file written under a side name in its folder and renamed over its path once complete, so that
// a reader sees the old content or the new, never a part. Abandoned (the side file removed) when
// it goes away without commit().
class CVAtomicFile {
public:
    // Opens the side file for the path. An existing file's mode is kept; a new file gets
    // `newFileMode`. Nothing, with the reason, when the side file cannot be made.
    static std::optional<CVAtomicFile> create(const std::string& path,
                                              std::optional<CVError>* error,
                                              unsigned newFileMode = 0600);
    ~CVAtomicFile();
    CVAtomicFile(CVAtomicFile&& other) noexcept;
    CVAtomicFile& operator=(CVAtomicFile&&) = delete;
    CVAtomicFile(const CVAtomicFile&) = delete;

    // Where to write the content.
    int descriptor() const { return descriptor_; }
    // Closes the side file and renames it over the path; with `flush`, the content reaches the
    // disk first (so that a crash too leaves the old content or the new). False with the reason.
    bool commit(bool flush, std::optional<CVError>* error);
    // The error "Could not write "path": <reason>" for an errno.
    CVError writeError(int code) const;

private:
    CVAtomicFile(std::string path, std::string sidePath, int descriptor)
        : path_(std::move(path)), sidePath_(std::move(sidePath)), descriptor_(descriptor) {}

    std::string path_;
    std::string sidePath_;
    int descriptor_ = -1;
};

// Writes the bytes through a CVAtomicFile flushed to disk. False with errno's text in the error,
// the path untouched.
bool CVWriteFileAtomically(const std::string& path, std::string_view bytes,
                           std::optional<CVError>* error = nullptr, unsigned newFileMode = 0600);

// An advisory lock (flock) on a lock file, made with its folders when missing, held for the
// object's life. A lock that cannot be had leaves the object unlocked: callers that coordinate on
// a best-effort basis go on without it.
class CVFileLock {
public:
    enum class Kind { shared, exclusive };
    CVFileLock(const std::string& path, Kind kind);
    ~CVFileLock();
    CVFileLock(const CVFileLock&) = delete;
    CVFileLock& operator=(const CVFileLock&) = delete;

    bool isLocked() const { return locked_; }

private:
    int descriptor_ = -1;
    bool locked_ = false;
};
