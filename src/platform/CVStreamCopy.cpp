#include "platform/CVStreamCopy.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

namespace {

// The most one kernel copy moves, and the buffer of the other copies (as large as `cat`'s).
constexpr size_t kChunk = 1 << 20;
constexpr size_t kBufferSize = 128 << 10;

enum class Outcome { done, unsupported };

// A non-blocking input that has nothing yet: wait for it instead of spinning.
void waitUntilReadable(int input) {
    pollfd entry{.fd = input, .events = POLLIN, .revents = 0};
    while (poll(&entry, 1, -1) < 0 && errno == EINTR) {
    }
}

bool writeAll(int output, const char* bytes, size_t length, CVStreamCopyResult& result) {
    while (length > 0) {
        ssize_t count = write(output, bytes, length);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            result.writeError = errno;
            return false;
        }
        bytes += count;
        length -= static_cast<size_t>(count);
        result.bytesCopied += static_cast<uint64_t>(count);
    }
    return true;
}

// Moves everything from a regular file with copy_file_range, no user-space buffer involved. Errors
// that mean the call cannot serve this pair of descriptors, met before the first byte, are
// `unsupported`: the caller falls back to a buffer.
Outcome copyFileRange(int input, int output, CVStreamCopyResult& result) {
    for (;;) {
        ssize_t count = copy_file_range(input, nullptr, output, nullptr, kChunk, 0);
        if (count > 0) {
            result.bytesCopied += static_cast<uint64_t>(count);
            continue;
        }
        if (count == 0) {
            return Outcome::done;
        }
        if (errno == EINTR) {
            continue;
        }
        bool unsupported = errno == EXDEV || errno == EINVAL || errno == ENOSYS ||
                           errno == EOPNOTSUPP || errno == EBADF;
        if (unsupported && result.bytesCopied == 0) {
            return Outcome::unsupported;
        }
        // The call does not say which side failed; the output is the one that can.
        result.writeError = errno;
        return Outcome::done;
    }
}

void copyThroughBuffer(int input, int output, CVStreamCopyResult& result) {
    std::unique_ptr<char[]> buffer(new char[kBufferSize]);
    for (;;) {
        ssize_t count = read(input, buffer.get(), kBufferSize);
        if (count == 0) {
            return;
        }
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            if (errno == EAGAIN) {
                waitUntilReadable(input);
                continue;
            }
            result.readError = errno;
            return;
        }
        if (!writeAll(output, buffer.get(), static_cast<size_t>(count), result)) {
            return;
        }
    }
}

}  // namespace

CVStreamCopyResult CVCopyToEndOfInput(int input, int output) {
    CVStreamCopyResult result;
    struct stat status {};
    if (fstat(input, &status) == 0) {
        if (S_ISREG(status.st_mode) && copyFileRange(input, output, result) == Outcome::done) {
            return result;
        }
    }
    copyThroughBuffer(input, output, result);
    return result;
}
