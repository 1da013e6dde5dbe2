#include "model/CVPackedInvocationWriter.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "model/CVCLISerializedFileList.h"
#include "model/CVPackedCoding.h"

namespace {

// Lists are gathered into frames of about this size.
constexpr size_t kFrameSize = 1 << 20;

}  // namespace

CVPackedInvocationWriter::~CVPackedInvocationWriter() {
    closeReadingEnd();
    abandon();
}

void CVPackedInvocationWriter::abandon() {
    closeWritingEnd();
    unwritten_.clear();
    pending_.clear();
}

bool CVPackedInvocationWriter::begin(const CVCLISerializedObject& root) {
    std::optional<std::string> packed = CVPackedCoding::pack(root);
    int ends[2] = {-1, -1};
    if (!packed || socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        return false;
    }
    writingEnd_ = ends[0];
    readingEnd_ = ends[1];
    // Only this side writes, only the other reads.
    shutdown(writingEnd_, SHUT_RD);
    shutdown(readingEnd_, SHUT_WR);
    // Held until the first frame of lists: the application is handed the socket in between.
    unwritten_ = std::string(CVPackedCoding::kStreamMagic) +
                 CVPackedCoding::frameLength(packed->size()) + *packed;
    size_ = unwritten_.size() + 4;
    return true;
}

void CVPackedInvocationWriter::closeWritingEnd() {
    if (writingEnd_ >= 0) {
        close(writingEnd_);
        writingEnd_ = -1;
    }
}

void CVPackedInvocationWriter::closeReadingEnd() {
    if (readingEnd_ >= 0) {
        close(readingEnd_);
        readingEnd_ = -1;
    }
}

bool CVPackedInvocationWriter::isTooLarge() const {
    return size_ > CVPackedCoding::kLargestPayload;
}

bool CVPackedInvocationWriter::addFileList(const CVCLISerializedFileList& list) {
    ++count_;
    size_t before = pending_.size();
    if (!CVPackedCoding::appendRecord(&pending_, list)) {
        return false;
    }
    size_ += pending_.size() - before + (before == 0 ? 4 : 0);
    if (isTooLarge() || writingEnd_ < 0) {
        abandon();
        return !broken_;
    }
    return pending_.size() < kFrameSize || flush();
}

bool CVPackedInvocationWriter::finish() {
    if (isTooLarge() || !flush()) {
        return false;
    }
    bool ended = write(CVPackedCoding::frameLength(0));
    closeWritingEnd();
    return ended;
}

bool CVPackedInvocationWriter::flush() {
    if (!unwritten_.empty() && !write(std::exchange(unwritten_, {}))) {
        return false;
    }
    if (pending_.empty()) {
        return true;
    }
    bool written = write(CVPackedCoding::frameLength(pending_.size())) && write(pending_);
    pending_.clear();
    return written;
}

bool CVPackedInvocationWriter::write(std::string_view bytes) {
    if (writingEnd_ < 0) {
        return false;
    }
    while (!bytes.empty()) {
        // A reader that went away is an error here, not a SIGPIPE.
        ssize_t written = send(writingEnd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            broken_ = true;
            abandon();
            return false;
        }
        bytes.remove_prefix(size_t(written));
    }
    return true;
}
