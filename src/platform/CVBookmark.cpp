#include "platform/CVBookmark.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/CVPaths.h"

namespace CVBookmark {

namespace {

constexpr uint8_t kMagic[4] = {'C', 'V', 'B', 'K'};
constexpr uint8_t kVersion = 1;
constexpr uint8_t kSecurityScopedFlag = 1;
constexpr uint8_t kHandleFlag = 2;
constexpr uint32_t kMaximumPathLength = PATH_MAX;
constexpr uint32_t kMaximumHandleLength = MAX_HANDLE_SZ;

void appendInteger(std::vector<uint8_t>& out, uint64_t value, int bytes) {
    for (int index = 0; index < bytes; ++index) {
        out.push_back(static_cast<uint8_t>(value >> (8 * index)));
    }
}

// Magic, version, flags, the path with its length, the device and the inode.
void appendHead(std::vector<uint8_t>& out, uint8_t flags, std::string_view path, uint64_t device,
                uint64_t inode) {
    out.insert(out.end(), std::begin(kMagic), std::end(kMagic));
    out.push_back(kVersion);
    out.push_back(flags);
    appendInteger(out, path.size(), 4);
    out.insert(out.end(), path.begin(), path.end());
    appendInteger(out, device, 8);
    appendInteger(out, inode, 8);
}

// Bounds-checked little-endian reads over the data.
class Reader {
public:
    explicit Reader(std::span<const uint8_t> data) : data_(data) {}

    bool integer(uint64_t* value, size_t bytes) {
        if (data_.size() - offset_ < bytes) {
            return false;
        }
        *value = 0;
        for (size_t index = 0; index < bytes; ++index) {
            *value |= uint64_t(data_[offset_ + index]) << (8 * index);
        }
        offset_ += bytes;
        return true;
    }
    bool bytes(size_t count, const uint8_t** start) {
        if (data_.size() - offset_ < count) {
            return false;
        }
        *start = data_.data() + offset_;
        offset_ += count;
        return true;
    }
    bool atEnd() const { return offset_ == data_.size(); }

private:
    std::span<const uint8_t> data_;
    size_t offset_ = 0;
};

CVError bookmarkError(const std::string& text) {
    return CVError::withLocalizedDescription(text);
}

// The absolute form of the path: relative paths are taken from the current directory.
std::optional<std::string> absolutePath(const std::string& path) {
    if (!path.empty() && path.front() == '/') {
        return path;
    }
    std::string directory = CVPaths::currentDirectory();
    if (directory.empty()) {
        return std::nullopt;
    }
    return CVPaths::appendingPathComponent(directory, path);
}

struct FileDescriptor {
    int fd = -1;
    explicit FileDescriptor(int descriptor) : fd(descriptor) {}
    ~FileDescriptor() {
        if (fd >= 0) {
            close(fd);
        }
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
};

// The nearest existing ancestor folder of the path on the device: the mount reference that
// open_by_handle_at needs. Opened for reading, since an O_PATH descriptor is refused there.
int openFolderOnDevice(std::string path, uint64_t device) {
    while (!path.empty()) {
        size_t slash = path.rfind('/');
        path = slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
        int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd >= 0) {
            struct stat status {};
            if (fstat(fd, &status) == 0 && status.st_dev == device) {
                return fd;
            }
            close(fd);
        }
        if (path == "/") {
            break;
        }
    }
    return -1;
}

// Where the handle leads now; nothing when the kernel refuses (EPERM without
// CAP_DAC_READ_SEARCH) or the file is gone.
std::optional<std::string> pathOfHandle(const Contents& contents) {
    FileDescriptor mount{openFolderOnDevice(contents.path, contents.device)};
    if (mount.fd < 0) {
        return std::nullopt;
    }
    std::vector<uint8_t> storage(sizeof(file_handle) + contents.handle.size());
    auto* handle = reinterpret_cast<file_handle*>(storage.data());
    handle->handle_bytes = static_cast<unsigned>(contents.handle.size());
    handle->handle_type = *contents.handleType;
    memcpy(handle->f_handle, contents.handle.data(), contents.handle.size());
    FileDescriptor file{open_by_handle_at(mount.fd, handle, O_PATH | O_CLOEXEC)};
    if (file.fd < 0) {
        return std::nullopt;
    }
    struct stat status {};
    if (fstat(file.fd, &status) != 0 || status.st_nlink == 0 || status.st_ino != contents.inode ||
        status.st_dev != contents.device) {
        return std::nullopt;
    }
    char target[PATH_MAX + 1];
    std::string link = "/proc/self/fd/" + std::to_string(file.fd);
    ssize_t length = readlink(link.c_str(), target, PATH_MAX);
    if (length <= 0 || target[0] != '/') {
        return std::nullopt;
    }
    return std::string(target, length);
}

}  // namespace

std::vector<uint8_t> serialize(std::string_view path, uint64_t device, uint64_t inode) {
    std::vector<uint8_t> out;
    out.reserve(sizeof kMagic + 22 + path.size());
    appendHead(out, 0, path, device, inode);
    return out;
}

std::vector<uint8_t> serialize(const Contents& contents) {
    std::vector<uint8_t> out;
    out.reserve(sizeof kMagic + 30 + contents.path.size() + contents.handle.size());
    appendHead(out,
               (contents.securityScoped ? kSecurityScopedFlag : 0) |
                   (contents.handleType ? kHandleFlag : 0),
               contents.path, contents.device, contents.inode);
    if (contents.handleType) {
        appendInteger(out, static_cast<uint32_t>(*contents.handleType), 4);
        appendInteger(out, contents.handle.size(), 4);
        out.insert(out.end(), contents.handle.begin(), contents.handle.end());
    }
    return out;
}

std::optional<Contents> parse(std::span<const uint8_t> data) {
    Reader reader(data);
    const uint8_t* magic = nullptr;
    uint64_t version = 0;
    uint64_t flags = 0;
    uint64_t pathLength = 0;
    const uint8_t* path = nullptr;
    Contents contents;
    if (!reader.bytes(sizeof kMagic, &magic) || memcmp(magic, kMagic, sizeof kMagic) != 0 ||
        !reader.integer(&version, 1) || version != kVersion || !reader.integer(&flags, 1) ||
        (flags & ~uint64_t(kSecurityScopedFlag | kHandleFlag)) != 0 ||
        !reader.integer(&pathLength, 4) || pathLength == 0 || pathLength > kMaximumPathLength ||
        !reader.bytes(pathLength, &path) || path[0] != '/' ||
        memchr(path, '\0', pathLength) != nullptr || !reader.integer(&contents.device, 8) ||
        !reader.integer(&contents.inode, 8)) {
        return std::nullopt;
    }
    contents.securityScoped = (flags & kSecurityScopedFlag) != 0;
    contents.path.assign(reinterpret_cast<const char*>(path), pathLength);
    if ((flags & kHandleFlag) != 0) {
        uint64_t type = 0;
        uint64_t length = 0;
        const uint8_t* handle = nullptr;
        if (!reader.integer(&type, 4) || !reader.integer(&length, 4) ||
            length > kMaximumHandleLength || !reader.bytes(length, &handle)) {
            return std::nullopt;
        }
        contents.handleType = static_cast<int32_t>(static_cast<uint32_t>(type));
        contents.handle.assign(handle, handle + length);
    }
    if (!reader.atEnd()) {
        return std::nullopt;
    }
    return contents;
}

std::optional<std::vector<uint8_t>> create(const std::string& path, unsigned options,
                                           std::optional<CVError>* error) {
    std::optional<std::string> absolute = absolutePath(path);
    if (!absolute) {
        CVSetError(error, bookmarkError("Cannot make a bookmark of \"" + path +
                                        "\": " + strerror(ENOENT)));
        return std::nullopt;
    }
    Contents contents;
    contents.securityScoped = (options & withSecurityScope) != 0;
    // The bookmark is of the file itself, wherever links in its path lead: the same file named
    // through a linked folder resolves to the same path.
    std::unique_ptr<char, decltype(&free)> real(realpath(absolute->c_str(), nullptr), &free);
    struct stat status {};
    if (!real || stat(real.get(), &status) != 0) {
        CVSetError(error,
                   bookmarkError("Cannot make a bookmark of \"" + path + "\": " + strerror(errno)));
        return std::nullopt;
    }
    contents.path = real.get();
    contents.device = status.st_dev;
    contents.inode = status.st_ino;

    alignas(file_handle) uint8_t storage[sizeof(file_handle) + MAX_HANDLE_SZ];
    auto* handle = reinterpret_cast<file_handle*>(storage);
    handle->handle_bytes = MAX_HANDLE_SZ;
    int mountIdentifier = 0;
    if (name_to_handle_at(AT_FDCWD, contents.path.c_str(), handle, &mountIdentifier, 0) == 0) {
        contents.handleType = handle->handle_type;
        contents.handle.assign(handle->f_handle, handle->f_handle + handle->handle_bytes);
    }
    return serialize(contents);
}

std::optional<std::string> resolve(std::span<const uint8_t> data, bool* isStale,
                                   std::optional<CVError>* error) {
    bool stale = false;
    if (isStale == nullptr) {
        isStale = &stale;
    }
    *isStale = false;
    std::optional<Contents> contents = parse(data);
    if (!contents) {
        CVSetError(error, bookmarkError("The bookmark data is not valid."));
        return std::nullopt;
    }
    struct stat status {};
    bool exists = stat(contents->path.c_str(), &status) == 0;
    if (exists && status.st_dev == contents->device && status.st_ino == contents->inode) {
        return contents->path;
    }
    if (contents->handleType) {
        if (auto moved = pathOfHandle(*contents)) {
            *isStale = true;
            return moved;
        }
    }
    if (exists) {
        *isStale = true;
        return contents->path;
    }
    CVSetError(error, bookmarkError("The file \"" + contents->path + "\" no longer exists."));
    return std::nullopt;
}

}  // namespace CVBookmark
