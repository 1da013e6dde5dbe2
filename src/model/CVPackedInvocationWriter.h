#pragma once

#include <cstddef>
#include <string>
#include <string_view>

class CVCLISerializedFileList;
class CVCLISerializedObject;

// Writes an invocation as a packed stream (CVPackedCoding) into a socket while the file lists of
// its changeset are still being made: each list is coded as it comes and can be let go at once,
// and the application reads the lists while later ones are made.
class CVPackedInvocationWriter {
public:
    // Makes the socket and codes `root`, whose changeset's lists are left out (they follow with
    // `addFileList`). False when it cannot be coded or no socket can be made.
    bool begin(const CVCLISerializedObject& root);
    // The end of the socket the application reads, to be handed over before the first list is
    // added; it stays the writer's until `closeReadingEnd`.
    int readingEnd() const { return readingEnd_; }
    void closeReadingEnd();
    // Codes the next list and writes the lists gathered so far when they are many. False when it
    // cannot be coded or written (the reader went away); once the stream has grown past
    // CVPackedCoding::kLargestPayload the list is only counted.
    bool addFileList(const CVCLISerializedFileList& list);
    // Writes the rest and the end of the stream; false when that fails or the stream is too large.
    bool finish();
    // Closes the stream without its end, which the reader refuses; lists added later are only
    // counted. Also done at once when a write fails or the stream grows too large.
    void abandon();

    size_t fileListCount() const { return count_; }
    // Bytes of the stream so far (the lists only counted included).
    size_t size() const { return size_; }
    bool isTooLarge() const;
    // Whether a write failed (the reader went away, most likely).
    bool isBroken() const { return broken_; }

    CVPackedInvocationWriter() = default;
    CVPackedInvocationWriter(const CVPackedInvocationWriter&) = delete;
    CVPackedInvocationWriter& operator=(const CVPackedInvocationWriter&) = delete;
    // Closes the socket: a stream not finished ends without its end, and the reader refuses it.
    ~CVPackedInvocationWriter();

private:
    // Writes the pending lists as one frame.
    bool flush();
    bool write(std::string_view bytes);
    void closeWritingEnd();

    int writingEnd_ = -1;
    int readingEnd_ = -1;
    std::string unwritten_;
    std::string pending_;
    size_t count_ = 0;
    size_t size_ = 0;
    bool broken_ = false;
};
