#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "model/CVCLISerializedObject.h"
#include "platform/CVError.h"

class CVCLISerializedFile;

// One comparison item: the present files in order, whether a side is absent or the item is a
// pure rename (`status`), its path relative to the compared folders, and a title.
class CVCLISerializedFileList : public CVCLISerializedObject {
public:
    using Files = std::vector<std::shared_ptr<CVCLISerializedFile>>;
    using FileLists = std::vector<std::shared_ptr<CVCLISerializedFileList>>;

    // 0 "?" both sides present, 1 "+" first side absent, 2 "-" a later side absent, 3 "R" a pure
    // rename of a git summary.
    enum Status : int64_t { changed = 0, added = 1, deleted = 2, renamed = 3 };

    // A list of the files in order. Null, with the error "<process>: <path>: cannot use duplicate
    // files within the same file list", when two of them resolve to the same path.
    static std::shared_ptr<CVCLISerializedFileList> serializedFileListWithRelativePath(
        std::optional<std::string> relativePath, const Files& serializedFiles,
        std::optional<CVError>* error = nullptr);
    // One list per file found under either folder, in case-sensitive order of the relative paths,
    // a missing side as "/dev/null"; when either side has no files, one list of the two paths
    // themselves. Nothing, with the error, when a list holds a duplicate or a name found is not
    // UTF-8 ("<process>: <path, bad bytes as \xNN>: file name is not valid UTF-8").
    static std::optional<FileLists> serializedFileListsWithRecursiveContentsOfLeft(
        const std::string& left, std::optional<bool> leftTemporary,
        std::optional<bool> leftDeletedOnExit, const std::string& right,
        std::optional<bool> rightTemporary, std::optional<bool> rightDeletedOnExit,
        std::optional<CVError>* error = nullptr);
    // The same lists, each handed to `block` as soon as it is made, so that a caller that codes
    // them as they come holds none for long. False, with the error, as above (lists handed over
    // before the failure stay handed over), or when `block` answers false to stop.
    static bool enumerateFileListsWithRecursiveContentsOfLeft(
        const std::string& left, std::optional<bool> leftTemporary,
        std::optional<bool> leftDeletedOnExit, const std::string& right,
        std::optional<bool> rightTemporary, std::optional<bool> rightDeletedOnExit,
        const std::function<bool(std::shared_ptr<CVCLISerializedFileList>)>& block,
        std::optional<CVError>* error = nullptr);
    // Always nothing: a path qualifies only when it begins with the directory and is shorter than
    // it, which cannot both hold. Callers rely on the nothing; it is kept deliberately.
    static std::optional<std::string> relativePathForCurrentDirectory(
        const std::optional<std::string>& directory, const std::vector<std::string>& paths);

    static constexpr const char* kClassName = "CVCLISerializedFileList";

    std::string className() const override { return kClassName; }
    const std::vector<CVCodingField>& codingFields() const override;
    // "<Class 0x... status: S (\n<files joined by \",\\n\">\n)>". Throws std::out_of_range for a
    // status outside 0 to 3.
    std::string description() const override;

    // Stores a present file; a null or "/dev/null" file instead sets the status to 1 while no file
    // is stored, else to 2.
    void addFile(std::shared_ptr<CVCLISerializedFile> file);
    // The files whose bookmarks resolve to distinct standardized paths, in order. Not free of
    // effects: every bookmarked file's `filePath` becomes its resolved path.
    Files uniqueFiles() const;

    // Empty after construction; nothing only when a decoded record carried nil.
    const std::optional<Files>& files() const { return files_; }
    void setFiles(std::optional<Files> files) { files_ = std::move(files); }
    int64_t status() const { return status_; }
    void setStatus(int64_t status) { status_ = status; }
    const std::optional<std::string>& relativePath() const { return relativePath_; }
    void setRelativePath(std::optional<std::string> path) { relativePath_ = std::move(path); }
    const std::optional<std::string>& label() const { return label_; }
    void setLabel(std::optional<std::string> label) { label_ = std::move(label); }

private:
    std::optional<Files> files_ = Files();
    int64_t status_ = 0;
    std::optional<std::string> relativePath_;
    std::optional<std::string> label_;
};
