#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// An anonymous file in memory (memfd) that one process writes and then seals against any change,
// so that the process it is handed to may map it and trust that its bytes and size stay as they
// were checked.
class CVSealedFileWriter {
public:
    // A new, empty file; check `isOpen` (memfd_create may be refused).
    CVSealedFileWriter();
    ~CVSealedFileWriter();
    CVSealedFileWriter(const CVSealedFileWriter&) = delete;
    CVSealedFileWriter& operator=(const CVSealedFileWriter&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }
    // Bytes appended so far.
    size_t size() const { return size_; }
    // Appends the bytes; false (with errno) when they could not all be written.
    bool append(std::string_view bytes);
    // Seals the file (no more writes, growth or shrinking) and gives up its descriptor to the
    // caller, who must close it; -1 when it cannot be sealed.
    int seal();

private:
    int descriptor_ = -1;
    size_t size_ = 0;
};

// A sealed file mapped for reading.
class CVSealedFileMapping {
public:
    // Maps the file of the descriptor (which stays the caller's) when it is a sealed memory file
    // of at most `largestSize` bytes; nothing, with the reason in `whyNot`, otherwise.
    static std::optional<CVSealedFileMapping> map(int descriptor, size_t largestSize,
                                                  std::string* whyNot);
    CVSealedFileMapping(CVSealedFileMapping&& other) noexcept;
    CVSealedFileMapping& operator=(CVSealedFileMapping&&) = delete;
    ~CVSealedFileMapping();

    std::string_view bytes() const { return {static_cast<const char*>(start_), size_}; }

private:
    CVSealedFileMapping(void* start, size_t size) : start_(start), size_(size) {}
    void* start_;
    size_t size_;
};
