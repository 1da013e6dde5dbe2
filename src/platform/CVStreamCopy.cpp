#include "platform/CVStreamCopy.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

namespace {

constexpr size_t kChunk = 1 << 20;

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

// Moves everything with a kernel call that copies without a user-space buffer (splice from a
// pipe, copy_file_range from a file). `unsupported` tells the errors that mean the call cannot
// serve this pair of descriptors; met before the first byte, the caller falls back to a buffer.
template <typename Move, typename Unsupported>
Outcome moveInKernel(int input, CVStreamCopyResult& result, Move move, Unsupported unsupported) {
    for (;;) {
        ssize_t count = move();
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
        if (errno == EAGAIN) {
            waitUntilReadable(input);
            continue;
        }
        if (unsupported(errno) && result.bytesCopied == 0) {
            return Outcome::unsupported;
        }
        // Neither call says which side failed; the output is the one that can.
        result.writeError = errno;
        return Outcome::done;
    }
}

Outcome spliceFromPipe(int input, int output, CVStreamCopyResult& result) {
    return moveInKernel(
        input, result,
        [&] {
            return splice(input, nullptr, output, nullptr, kChunk, SPLICE_F_MOVE | SPLICE_F_MORE);
        },
        [](int error) { return error == EINVAL || error == ENOSYS; });
}

Outcome copyFileRange(int input, int output, CVStreamCopyResult& result) {
    return moveInKernel(
        input, result, [&] { return copy_file_range(input, nullptr, output, nullptr, kChunk, 0); },
        [](int error) {
            return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP ||
                   error == EBADF;
        });
}

void copyThroughBuffer(int input, int output, CVStreamCopyResult& result) {
    std::unique_ptr<char[]> buffer(new char[kChunk]);
    for (;;) {
        ssize_t count = read(input, buffer.get(), kChunk);
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
        if (S_ISFIFO(status.st_mode) && spliceFromPipe(input, output, result) == Outcome::done) {
            return result;
        }
        if (S_ISREG(status.st_mode) && copyFileRange(input, output, result) == Outcome::done) {
            return result;
        }
    }
    copyThroughBuffer(input, output, result);
    return result;
}
