#include "platform/CVSealedFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr int kSeals = F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        bytes.remove_prefix(size_t(written));
    }
    return true;
}

}  // namespace

CVSealedFileWriter::CVSealedFileWriter()
    : descriptor_(memfd_create("sealed", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {}

CVSealedFileWriter::~CVSealedFileWriter() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

bool CVSealedFileWriter::append(std::string_view bytes) {
    if (descriptor_ < 0 || !writeAll(descriptor_, bytes)) {
        return false;
    }
    size_ += bytes.size();
    return true;
}

int CVSealedFileWriter::seal() {
    if (descriptor_ < 0 || fcntl(descriptor_, F_ADD_SEALS, kSeals) != 0) {
        return -1;
    }
    int descriptor = descriptor_;
    descriptor_ = -1;
    return descriptor;
}

std::optional<CVSealedFileMapping> CVSealedFileMapping::map(int descriptor, size_t largestSize,
                                                            std::string* whyNot) {
    int seals = fcntl(descriptor, F_GET_SEALS);
    if (seals < 0 || (seals & kSeals) != kSeals) {
        *whyNot = "the payload's file is not sealed against changes";
        return std::nullopt;
    }
    struct stat status {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        *whyNot = "the payload's file cannot be read";
        return std::nullopt;
    }
    auto size = static_cast<size_t>(status.st_size);
    if (size > largestSize) {
        *whyNot = "the payload holds " + std::to_string(size) + " bytes, more than " +
                  std::to_string(largestSize);
        return std::nullopt;
    }
    if (size == 0) {
        return CVSealedFileMapping(nullptr, 0);
    }
    void* start = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (start == MAP_FAILED) {
        *whyNot = std::string("the payload's file cannot be mapped: ") + strerror(errno);
        return std::nullopt;
    }
    return CVSealedFileMapping(start, size);
}

CVSealedFileMapping::CVSealedFileMapping(CVSealedFileMapping&& other) noexcept
    : start_(other.start_), size_(other.size_) {
    other.start_ = nullptr;
    other.size_ = 0;
}

CVSealedFileMapping::~CVSealedFileMapping() {
    if (start_ != nullptr) {
        munmap(start_, size_);
    }
}
