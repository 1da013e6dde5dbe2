#include "app/CorvaneText.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include "platform/CVUTF8.h"

namespace {

constexpr std::size_t kBinaryProbeSize = 8000;

std::string kindOfSpecialFile(mode_t mode) {
    if (S_ISFIFO(mode)) {
        return "a pipe";
    }
    if (S_ISSOCK(mode)) {
        return "a socket";
    }
    if (S_ISCHR(mode) || S_ISBLK(mode)) {
        return "a device";
    }
    if (S_ISDIR(mode)) {
        return "a folder";
    }
    return "not a plain file";
}

CorvaneText unreadable(std::string reason, std::uint64_t size = 0) {
    CorvaneText text;
    text.kind = CorvaneText::Kind::unreadable;
    text.reason = std::move(reason);
    text.size = size;
    return text;
}

std::string sizeInWords(std::uint64_t size) {
    char text[64];
    if (size >= (1ull << 30)) {
        snprintf(text, sizeof text, "%.1f GB", static_cast<double>(size) / (1ull << 30));
    } else {
        snprintf(text, sizeof text, "%.1f MB", static_cast<double>(size) / (1ull << 20));
    }
    return text;
}

}  // namespace

CorvaneText CorvaneReadText(int descriptor) {
    struct stat status {};
    if (descriptor < 0) {
        return unreadable("The file could not be opened.");
    }
    if (fstat(descriptor, &status) != 0) {
        return unreadable(std::string("The file could not be read: ") + strerror(errno) + ".");
    }
    if (S_ISCHR(status.st_mode) && status.st_rdev == makedev(1, 3)) {
        // /dev/null: the side of a file that was added or deleted. Nothing, shown as empty.
        CorvaneText text;
        text.absent = true;
        return text;
    }
    if (!S_ISREG(status.st_mode)) {
        return unreadable("This is not a regular file (" + kindOfSpecialFile(status.st_mode) +
                          "), so it is not read.");
    }
    auto size = static_cast<std::uint64_t>(status.st_size);
    if (size > kCorvaneLargestText) {
        return unreadable("The file is too large to show as text (" + sizeInWords(size) + ").",
                          size);
    }

    std::string bytes(size, '\0');
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        ssize_t count = pread(descriptor, bytes.data() + filled, bytes.size() - filled,
                              static_cast<off_t>(filled));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return unreadable(std::string("The file could not be read: ") + strerror(errno) + ".",
                              size);
        }
        if (count == 0) {
            break;  // The file shrank while it was read: show what is there.
        }
        filled += static_cast<std::size_t>(count);
    }
    bytes.resize(filled);

    CorvaneText text;
    text.size = filled;
    std::string_view probe(bytes.data(), std::min(bytes.size(), kBinaryProbeSize));
    if (probe.find('\0') != std::string_view::npos) {
        text.kind = CorvaneText::Kind::binary;
        return text;
    }
    text.hasCRLF = bytes.find("\r\n") != std::string::npos;
    if (CVIsValidUTF8(bytes)) {
        text.utf8 = std::move(bytes);
    } else {
        text.utf8 = CVUTF8FromLatin1(bytes);
        text.decodedAsLatin1 = true;
    }
    return text;
}

std::string_view CorvaneShownText(std::string_view utf8) {
    if (utf8.ends_with("\r\n")) {
        utf8.remove_suffix(2);
    } else if (utf8.ends_with('\n')) {
        utf8.remove_suffix(1);
    }
    return utf8;
}

bool CorvaneLacksFinalLineEnd(std::string_view utf8) {
    return !utf8.empty() && utf8.back() != '\n';
}

bool CorvaneSameBytes(const std::string& left, const std::string& right) {
    int a = open(left.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    int b = open(right.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    bool same = false;
    struct stat statusA {};
    struct stat statusB {};
    if (a >= 0 && b >= 0 && fstat(a, &statusA) == 0 && fstat(b, &statusB) == 0 &&
        S_ISREG(statusA.st_mode) && S_ISREG(statusB.st_mode) &&
        statusA.st_size == statusB.st_size) {
        std::vector<char> bufferA(1 << 16);
        std::vector<char> bufferB(1 << 16);
        same = true;
        while (same) {
            ssize_t countA = read(a, bufferA.data(), bufferA.size());
            ssize_t countB = countA > 0 ? read(b, bufferB.data(), static_cast<size_t>(countA)) : 0;
            if (countA <= 0) {
                same = countA == 0 && read(b, bufferB.data(), 1) == 0;
                break;
            }
            same = countB == countA &&
                   memcmp(bufferA.data(), bufferB.data(), static_cast<size_t>(countA)) == 0;
        }
    }
    if (a >= 0) {
        close(a);
    }
    if (b >= 0) {
        close(b);
    }
    return same;
}
