#include "platform/CVHeldFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <vector>

namespace {

std::mutex leftoverMutex;
std::vector<std::string>& leftoverFiles() {
    static std::vector<std::string> files;
    return files;
}

// True when the path is gone, whether removed now or already.
bool removeFile(const std::string& path) {
    return ::unlink(path.c_str()) == 0 || errno == ENOENT;
}

}  // namespace

std::shared_ptr<CVHeldFile> CVHeldFile::open(const std::string& path, bool removeWhenReleased) {
    std::shared_ptr<CVHeldFile> file(new CVHeldFile(path, removeWhenReleased));
    file->descriptor_ = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file->descriptor_ < 0) {
        file->whyUnopened_ = std::strerror(errno);
    }
    return file;
}

CVHeldFile::~CVHeldFile() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
    if (removeWhenReleased_ && !path_.empty() && !removeFile(path_)) {
        std::lock_guard lock(leftoverMutex);
        leftoverFiles().push_back(path_);
    }
}

std::size_t CVHeldFile::removeLeftoverFiles() {
    std::lock_guard lock(leftoverMutex);
    auto& files = leftoverFiles();
    std::vector<std::string> left;
    for (const std::string& path : files) {
        if (!removeFile(path)) {
            left.push_back(path);
        }
    }
    files = std::move(left);
    return files.size();
}
