#include "platform/CVFileIdentity.h"

#include <sys/stat.h>

std::optional<CVFileIdentity> CVFileIdentityOfPath(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    CVFileIdentity identity;
    identity.device = static_cast<uint64_t>(status.st_dev);
    identity.inode = static_cast<uint64_t>(status.st_ino);
    identity.size = static_cast<uint64_t>(status.st_size);
    identity.modificationSeconds = status.st_mtim.tv_sec;
    identity.modificationNanoseconds = status.st_mtim.tv_nsec;
    return identity;
}
