#include "platform/CVFiles.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

bool CVMakeFolders(const std::string& folder) {
    for (size_t slash = folder.find('/', 1); slash != std::string::npos;
         slash = folder.find('/', slash + 1)) {
        mkdir(folder.substr(0, slash).c_str(), 0700);
    }
    mkdir(folder.c_str(), 0700);
    struct stat status {};
    return stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool CVMakeParentFolders(const std::string& path) {
    size_t slash = path.rfind('/');
    return slash == std::string::npos || slash == 0 || CVMakeFolders(path.substr(0, slash));
}

std::optional<CVAtomicFile> CVAtomicFile::create(const std::string& path,
                                                 std::optional<CVError>* error,
                                                 unsigned newFileMode) {
    std::string sidePath = path + ".XXXXXX";
    int descriptor = mkostemp(sidePath.data(), O_CLOEXEC);
    CVAtomicFile file(path, sidePath, descriptor);
    if (descriptor < 0) {
        CVSetError(error, file.writeError(errno));
        return std::nullopt;
    }
    // The side file is made 0600; the file it replaces keeps its own mode.
    struct stat existing {};
    bool exists = stat(path.c_str(), &existing) == 0;
    if (exists || newFileMode != 0600) {
        fchmod(descriptor, exists ? existing.st_mode & 07777 : newFileMode);
    }
    return file;
}

CVAtomicFile::CVAtomicFile(CVAtomicFile&& other) noexcept
    : path_(std::move(other.path_)),
      sidePath_(std::move(other.sidePath_)),
      descriptor_(other.descriptor_) {
    other.descriptor_ = -1;
    other.sidePath_.clear();
}

CVAtomicFile::~CVAtomicFile() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
    if (!sidePath_.empty()) {
        unlink(sidePath_.c_str());
    }
}

CVError CVAtomicFile::writeError(int code) const {
    return CVError::withLocalizedDescription("Could not write \"" + path_ +
                                             "\": " + strerror(code));
}

bool CVAtomicFile::commit(bool flush, std::optional<CVError>* error) {
    int code = flush && fsync(descriptor_) != 0 ? errno : 0;
    if (close(descriptor_) != 0 && code == 0) {
        code = errno;
    }
    descriptor_ = -1;
    if (code == 0 && rename(sidePath_.c_str(), path_.c_str()) != 0) {
        code = errno;
    }
    if (code != 0) {
        CVSetError(error, writeError(code));
        return false;  // the side file goes with the object
    }
    sidePath_.clear();
    return true;
}

bool CVWriteFileAtomically(const std::string& path, std::string_view bytes,
                           std::optional<CVError>* error, unsigned newFileMode) {
    std::optional<CVAtomicFile> file = CVAtomicFile::create(path, error, newFileMode);
    if (!file) {
        return false;
    }
    size_t written = 0;
    while (written < bytes.size()) {
        ssize_t count = write(file->descriptor(), bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            CVSetError(error, file->writeError(errno));
            return false;
        }
        written += static_cast<size_t>(count);
    }
    return file->commit(true, error);
}

namespace {

// Opens the lock file, made with its folders when it is missing; -1 when it cannot be.
int openLockFile(const std::string& path) {
    CVMakeParentFolders(path);
    return open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
}

}  // namespace

CVFileLock::CVFileLock(const std::string& path, Kind kind) : descriptor_(openLockFile(path)) {
    if (descriptor_ < 0) {
        return;
    }
    int operation = kind == Kind::exclusive ? LOCK_EX : LOCK_SH;
    int result = 0;
    while ((result = flock(descriptor_, operation)) != 0 && errno == EINTR) {
    }
    locked_ = result == 0;
}

CVFileLock::~CVFileLock() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}
