#pragma once

#include <memory>
#include <string>

// A file opened for reading and kept open, so that what it held can still be read after its path
// is gone. Opening never blocks (a pipe or device opens without a writer) and reads nothing. A
// file held with removeWhenReleased is unlinked when its last holder lets it go; when that fails,
// removeLeftoverFiles() tries again (the application calls it as it quits).
class CVHeldFile {
public:
    // Opens the path O_RDONLY|O_NONBLOCK|O_CLOEXEC. The descriptor is -1, with the reason in
    // whyUnopened(), when it cannot be opened; the file is still removed on release if asked.
    static std::shared_ptr<CVHeldFile> open(const std::string& path, bool removeWhenReleased);
    ~CVHeldFile();
    CVHeldFile(const CVHeldFile&) = delete;
    CVHeldFile& operator=(const CVHeldFile&) = delete;

    const std::string& path() const { return path_; }
    int descriptor() const { return descriptor_; }
    const std::string& whyUnopened() const { return whyUnopened_; }
    bool removesWhenReleased() const { return removeWhenReleased_; }

    // Unlinks the files whose removal failed on release; answers how many are still left.
    static std::size_t removeLeftoverFiles();

private:
    CVHeldFile(std::string path, bool removeWhenReleased)
        : path_(std::move(path)), removeWhenReleased_(removeWhenReleased) {}

    std::string path_;
    int descriptor_ = -1;
    std::string whyUnopened_;
    bool removeWhenReleased_ = false;
};
