#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/CVSealedFile.h"

class CVCLISerializedChangeset;
class CVCLISerializedFileList;
class CVCLISerializedObject;

// Writes a packed invocation (CVPackedCoding) into a sealed memory file while the file lists of
// its changeset are still being made: each list is coded as it comes and can be let go at once.
class CVPackedInvocationWriter {
public:
    // Codes everything of `root` but the file lists of `changeset` (a record under it whose list
    // is empty yet). False when it cannot be coded or no memory file can be made.
    bool begin(const CVCLISerializedObject& root, const CVCLISerializedChangeset& changeset);
    // Codes the next list. False when it cannot be coded or written; once the payload has grown
    // past CVPackedCoding::kLargestPayload the list is only counted.
    bool addFileList(const CVCLISerializedFileList& list);
    // Writes the rest and seals the file; false when that fails.
    bool finish();

    size_t fileListCount() const { return count_; }
    // Bytes of the payload so far (the lists only counted included).
    size_t size() const { return size_; }
    bool isTooLarge() const;
    // The sealed file, after `finish`; stays the writer's.
    int descriptor() const { return sealed_; }

    CVPackedInvocationWriter() = default;
    CVPackedInvocationWriter(const CVPackedInvocationWriter&) = delete;
    CVPackedInvocationWriter& operator=(const CVPackedInvocationWriter&) = delete;
    ~CVPackedInvocationWriter();

private:
    bool flush();

    CVSealedFileWriter file_;
    std::string pending_;
    std::string tail_;
    size_t countOffset_ = 0;
    size_t count_ = 0;
    size_t size_ = 0;
    int sealed_ = -1;
};
