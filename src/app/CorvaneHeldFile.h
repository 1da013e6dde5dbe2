#pragma once

#include <string>

// One file of a document, opened while the call that brought it was answered and held until the
// document closes: inputs that vanish right after the call (standard-input copies, a version
// control tool's temporary files) stay readable through the descriptor. A file the invocation
// marks deleted-on-exit is removed, with the private folder that held it, when its last holder
// goes (the document closed, or the application quit).
class CorvaneHeldFile {
public:
    // Opens without reading and without blocking (a pipe or device opens at once); a file that
    // cannot be opened is held as descriptor -1.
    CorvaneHeldFile(std::string path, bool deleteWhenReleased);
    ~CorvaneHeldFile();
    CorvaneHeldFile(const CorvaneHeldFile&) = delete;
    CorvaneHeldFile& operator=(const CorvaneHeldFile&) = delete;

    const std::string& path() const { return path_; }
    // Read-only, not blocking, close-on-exec; -1 when the file could not be opened.
    int descriptor() const { return descriptor_; }

private:
    std::string path_;
    int descriptor_ = -1;
    bool deleteWhenReleased_;
};
