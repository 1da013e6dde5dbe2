#include "model/CVPackedInvocationWriter.h"

#include <unistd.h>

#include "model/CVCLISerializedFileList.h"
#include "model/CVPackedCoding.h"

namespace {

// Lists are gathered into writes of about this size.
constexpr size_t kWriteSize = 1 << 20;

}  // namespace

CVPackedInvocationWriter::~CVPackedInvocationWriter() {
    if (sealed_ >= 0) {
        close(sealed_);
    }
}

bool CVPackedInvocationWriter::begin(const CVCLISerializedObject& root,
                                     const CVCLISerializedChangeset& changeset) {
    auto split = CVPackedCoding::packAroundFileLists(root, changeset);
    if (!split || !file_.isOpen()) {
        return false;
    }
    pending_ = std::move(split->head);
    countOffset_ = pending_.size() - 4;
    tail_ = std::move(split->tail);
    size_ = pending_.size() + tail_.size();
    return true;
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
    size_ += pending_.size() - before;
    if (isTooLarge()) {
        pending_.clear();
        return true;
    }
    return pending_.size() < kWriteSize || flush();
}

bool CVPackedInvocationWriter::finish() {
    pending_ += tail_;
    std::string count(4, '\0');
    for (size_t index = 0; index < 4; ++index) {
        count[index] = char(uint8_t(uint32_t(count_) >> (8 * index)));
    }
    if (isTooLarge() || count_ > UINT32_MAX || !flush() || !file_.overwrite(countOffset_, count)) {
        return false;
    }
    sealed_ = file_.seal();
    return sealed_ >= 0;
}

bool CVPackedInvocationWriter::flush() {
    bool written = file_.append(pending_);
    pending_.clear();
    return written;
}
