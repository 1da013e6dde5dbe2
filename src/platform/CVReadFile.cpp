#include "platform/CVReadFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

std::optional<std::string> CVReadWholeFile(const std::string& path, int* errorCode) {
    return CVReadWholeFileAt(AT_FDCWD, path, errorCode);
}

std::optional<std::string> CVReadWholeFileAt(int folder, const std::string& path, int* errorCode) {
    int descriptor = openat(folder, path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        if (errorCode != nullptr) {
            *errorCode = errno;
        }
        return std::nullopt;
    }
    std::optional<std::string> contents = CVReadToEnd(descriptor, errorCode);
    close(descriptor);
    return contents;
}

std::optional<std::string> CVReadToEnd(int descriptor, int* errorCode) {
    // Read straight into the string, whose room doubles when it is full: no buffer on the stack,
    // whose fresh pages would each cost a short run a page fault.
    std::string contents(4096, '\0');
    size_t length = 0;
    for (;;) {
        if (length == contents.size()) {
            contents.resize(2 * contents.size());
        }
        ssize_t count = read(descriptor, contents.data() + length, contents.size() - length);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            if (errorCode != nullptr) {
                *errorCode = errno;
            }
            return std::nullopt;
        }
        if (count == 0) {
            contents.resize(length);
            return contents;
        }
        length += static_cast<size_t>(count);
    }
}
