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
    std::string contents;
    char buffer[16384];
    for (;;) {
        ssize_t count = read(descriptor, buffer, sizeof buffer);
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
            return contents;
        }
        contents.append(buffer, static_cast<size_t>(count));
    }
}
