#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "model/CVCLISerializedObject.h"
#include "platform/CVError.h"

class ZPProcessInformation;

// One file operand as the application receives it: its path, what the caller stated about it, and
// bookmark data that finds the file again where the path alone would not.
class CVCLISerializedFile : public CVCLISerializedObject {
public:
    using Data = std::vector<uint8_t>;

    // A file that must exist: the path is kept as given and a minimal bookmark is made of it. Null,
    // with the error "<process>: \"<path>\": No such file or directory", when it cannot be made.
    static std::shared_ptr<CVCLISerializedFile> serializedExpectedFileWithPath(
        const std::string& path, std::optional<bool> temporary, std::optional<bool> deletedOnExit,
        std::optional<CVError>* error = nullptr);
    // A file of a changeset: a missing path (symbolic links followed) gives a "/dev/null" file
    // without flags or bookmark; otherwise as `serializedExpectedFileWithPath`. An empty path
    // names no file: null with the error.
    static std::shared_ptr<CVCLISerializedFile> serializedChangesetFileWithPath(
        const std::string& path, std::optional<bool> temporary, std::optional<bool> deletedOnExit,
        std::optional<CVError>* error = nullptr);
    // "<process>: \"<path>\": No such file or directory".
    static CVError missingFileError(const std::string& path);
    // A file named by a git summary line: the path unchanged, both flags stated false, no bookmark.
    static std::shared_ptr<CVCLISerializedFile> serializedSummaryFileWithPath(
        const std::string& path);
    // A regular file that a folder walk just found, in the state that `resolveBookmarkData` would
    // leave it: `filePath` and `bookmarkURL` the path (which must be absolute and standardized),
    // bookmark data from the walk's device and inode (no file handle). Makes no system call.
    static std::shared_ptr<CVCLISerializedFile> serializedWalkedFileWithPath(
        std::string absolutePath, uint64_t device, uint64_t inode, std::optional<bool> temporary,
        std::optional<bool> deletedOnExit);
    // Whether an absolute path lies where temporary files are kept (the temporary directory,
    // /var/folders, container tmp folders, Subversion's tmp and text-base folders).
    static bool absolutePathIsTemporary(const std::string& path);

    static constexpr const char* kClassName = "CVCLISerializedFile";

    std::string className() const override { return kClassName; }
    // `bookmarkURL` is not coded.
    const std::vector<CVCodingField>& codingFields() const override;
    // With bookmark data "<Class 0x... `path` temporary>", without it the path alone.
    std::string description() const override;

    // Sets `bookmarkURL` and `filePath` to the standardized path the bookmark resolves to now;
    // both become nothing when it no longer resolves (logged in debug mode). Does nothing without
    // bookmark data.
    void resolveBookmarkData();
    // The stated `temporary` when there is one; else whether the path, made absolute from the
    // process's working directory, is temporary by `absolutePathIsTemporary`, lies in the
    // process's TMPDIR, or has a segment ending in a dot and twelve lower-case hex digits.
    bool isTemporaryForCallingProcess(ZPProcessInformation& process) const;

    const std::optional<bool>& temporary() const { return temporary_; }
    void setTemporary(std::optional<bool> temporary) { temporary_ = temporary; }
    const std::optional<bool>& deletedOnExit() const { return deletedOnExit_; }
    void setDeletedOnExit(std::optional<bool> deletedOnExit) { deletedOnExit_ = deletedOnExit; }
    const std::optional<std::string>& filePath() const { return filePath_; }
    void setFilePath(std::optional<std::string> path) { filePath_ = std::move(path); }
    // The path the bookmark last resolved to.
    const std::optional<std::string>& bookmarkURL() const { return bookmarkURL_; }
    void setBookmarkURL(std::optional<std::string> path) { bookmarkURL_ = std::move(path); }
    const std::optional<Data>& URLBookmarkData() const { return URLBookmarkData_; }
    void setURLBookmarkData(std::optional<Data> data) { URLBookmarkData_ = std::move(data); }

private:
    std::optional<bool> temporary_;
    std::optional<bool> deletedOnExit_;
    std::optional<std::string> filePath_;
    std::optional<std::string> bookmarkURL_;
    std::optional<Data> URLBookmarkData_;
};
