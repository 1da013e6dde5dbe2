#include "model/CVCLISerializedFileList.h"

#include <cstdlib>
#include <memory>

#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <unordered_set>

#include "model/CVCLISerializedFile.h"
#include "model/CVCodedMember.h"
#include "platform/CVFolderWalk.h"
#include "platform/CVPaths.h"
#include "platform/CVProcessName.h"
#include "platform/CVUTF8.h"
#include "process/ZPProcessInformation.h"

namespace {

// One side of a folder pairing: its walk, sorted by relative path.
struct PairingSide {
    std::string folder;
    std::optional<bool> temporary;
    std::optional<bool> deletedOnExit;
    CVFolderListing listing;
    // The absolute folder when files may be taken straight from the walk.
    std::optional<std::string> absoluteFolder;
    // The last folder above a name that `isProvablyAbsent` answered for, with a trailing slash,
    // and its answer.
    std::string answeredFolder;
    bool answeredFolderIsAbsent = false;

    // `folder`: the standardized path of the side's folder, which `listing` lists.
    PairingSide(std::string standardizedFolder, std::optional<CVFolderListing> walk,
                std::optional<bool> isTemporary, std::optional<bool> isDeletedOnExit)
        : folder(std::move(standardizedFolder)),
          temporary(isTemporary),
          deletedOnExit(isDeletedOnExit),
          listing(std::move(walk).value_or(CVFolderListing())) {
        // Files are named by the real path of their folder, as their bookmarks resolve them.
        std::unique_ptr<char, decltype(&free)> real(realpath(folder.c_str(), nullptr), &free);
        if (real) {
            absoluteFolder = real.get();
        }
    }

    // Whether nothing exists at the relative path, by the walk alone: the nearest ancestor folder
    // that was read did not list the next name on the way down as anything.
    bool isProvablyAbsent(const std::string& relativePath) {
        if (!answeredFolder.empty() && relativePath.starts_with(answeredFolder)) {
            return answeredFolderIsAbsent;
        }
        std::string path = relativePath;
        while (true) {
            size_t slash = path.rfind('/');
            std::string parent = slash == std::string::npos ? std::string() : path.substr(0, slash);
            if (listing.folders.contains(parent)) {
                bool absent = !isListedFile(path) && !listing.folders.contains(path) &&
                              !listing.unreadableFolders.contains(path);
                if (path.size() < relativePath.size()) {
                    // Nothing under a folder that was not read was read either: the answer holds
                    // for every name below it, and those are asked for one after another.
                    answeredFolder = path + '/';
                    answeredFolderIsAbsent = absent;
                }
                return absent;
            }
            if (slash == std::string::npos) {
                return false;
            }
            path = std::move(parent);
        }
    }

    bool isListedFile(const std::string& relativePath) const {
        auto found = std::lower_bound(listing.files.begin(), listing.files.end(), relativePath,
                                      [](const CVFolderEntry& entry, const std::string& path) {
                                          return entry.relativePath < path;
                                      });
        return found != listing.files.end() && found->relativePath == relativePath;
    }

    std::shared_ptr<CVCLISerializedFile> changesetFile(const std::string& relativePath) const {
        return CVCLISerializedFile::serializedChangesetFileWithPath(
            CVPaths::appendingPathComponent(folder, relativePath), temporary, deletedOnExit);
    }

    // The file as the factories and `uniqueFiles` would leave it, when the walk alone tells:
    // a regular file it listed, or null (which `addFile` takes as "/dev/null") for a name missing
    // from a folder it read.
    std::optional<std::shared_ptr<CVCLISerializedFile>> walkedFile(const std::string& relativePath,
                                                                   const CVFolderEntry* entry) {
        if (!absoluteFolder) {
            return std::nullopt;
        }
        if (entry != nullptr) {
            if (!entry->isRegularFile) {
                return std::nullopt;
            }
            return CVCLISerializedFile::serializedWalkedFileWithPath(
                CVPaths::appendingPathComponent(*absoluteFolder, relativePath), entry->device,
                entry->inode, temporary, deletedOnExit);
        }
        if (!isProvablyAbsent(relativePath)) {
            return std::nullopt;
        }
        return std::shared_ptr<CVCLISerializedFile>();
    }
};

}  // namespace

std::shared_ptr<CVCLISerializedFileList>
CVCLISerializedFileList::serializedFileListWithRelativePath(std::optional<std::string> relativePath,
                                                            const Files& serializedFiles,
                                                            std::optional<CVError>* error) {
    auto list = std::make_shared<CVCLISerializedFileList>();
    list->relativePath_ = std::move(relativePath);
    // Each stored file is resolved and standardized once, as it is added.
    std::unordered_set<std::string> seen;
    for (const auto& file : serializedFiles) {
        size_t countBefore = list->files_->size();
        list->addFile(file);
        if (list->files_->size() == countBefore) {
            continue;
        }
        file->resolveBookmarkData();
        if (!file->filePath() ||
            !seen.insert(CVPaths::standardizingPath(*file->filePath())).second) {
            CVSetError(error, CVError::withLocalizedDescription(
                                  CVProcessName() + ": " + CVDescribe(file->filePath()) +
                                  ": cannot use duplicate files within the same file list"));
            return nullptr;
        }
    }
    return list;
}

std::optional<CVCLISerializedFileList::FileLists>
CVCLISerializedFileList::serializedFileListsWithRecursiveContentsOfLeft(
    const std::string& left, std::optional<bool> leftTemporary,
    std::optional<bool> leftDeletedOnExit, const std::string& right,
    std::optional<bool> rightTemporary, std::optional<bool> rightDeletedOnExit,
    std::optional<CVError>* error) {
    FileLists lists;
    if (!enumerateFileListsWithRecursiveContentsOfLeft(
            left, leftTemporary, leftDeletedOnExit, right, rightTemporary, rightDeletedOnExit,
            [&lists](std::shared_ptr<CVCLISerializedFileList> list) {
                lists.push_back(std::move(list));
                return true;
            },
            error)) {
        return std::nullopt;
    }
    return lists;
}

bool CVCLISerializedFileList::enumerateFileListsWithRecursiveContentsOfLeft(
    const std::string& left, std::optional<bool> leftTemporary,
    std::optional<bool> leftDeletedOnExit, const std::string& right,
    std::optional<bool> rightTemporary, std::optional<bool> rightDeletedOnExit,
    const std::function<bool(std::shared_ptr<CVCLISerializedFileList>)>& block,
    std::optional<CVError>* error) {
    std::vector<std::string> folders = {CVPaths::standardizingPath(left),
                                        CVPaths::standardizingPath(right)};
    // Both trees are walked at once: on two cores, in the time of the larger.
    std::vector<std::optional<CVFolderListing>> walks = CVListFilesInFolders(folders);
    PairingSide leftSide(folders[0], std::move(walks[0]), leftTemporary, leftDeletedOnExit);
    PairingSide rightSide(folders[1], std::move(walks[1]), rightTemporary, rightDeletedOnExit);
    const auto& leftFiles = leftSide.listing.files;
    const auto& rightFiles = rightSide.listing.files;
    for (const PairingSide* side : {&leftSide, &rightSide}) {
        if (side->listing.tooDeep) {
            CVSetError(error, CVError::withLocalizedDescription(
                                  CVProcessName() + ": " + side->folder +
                                  ": the folder tree is deeper than the open-file limit allows"));
            return false;
        }
    }

    if (leftFiles.empty() || rightFiles.empty()) {
        std::optional<std::string> workingDirectory;
        if (auto parent = ZPProcessInformation::parentOfCurrentProcess()) {
            workingDirectory = parent->workingDirectory();
        }
        auto relativePath =
            relativePathForCurrentDirectory(workingDirectory, {leftSide.folder, rightSide.folder});
        Files files = {
            CVCLISerializedFile::serializedChangesetFileWithPath(leftSide.folder, leftTemporary,
                                                                 leftDeletedOnExit),
            CVCLISerializedFile::serializedChangesetFileWithPath(rightSide.folder, rightTemporary,
                                                                 rightDeletedOnExit),
        };
        auto list = serializedFileListWithRelativePath(relativePath, files, error);
        return list && block(std::move(list));
    }
    if (leftSide.absoluteFolder == rightSide.absoluteFolder) {
        // Every pair is then a duplicate: let the general path find and report it.
        leftSide.absoluteFolder.reset();
    }

    size_t leftIndex = 0;
    size_t rightIndex = 0;
    while (leftIndex < leftFiles.size() || rightIndex < rightFiles.size()) {
        const CVFolderEntry* leftEntry =
            leftIndex < leftFiles.size() ? &leftFiles[leftIndex] : nullptr;
        const CVFolderEntry* rightEntry =
            rightIndex < rightFiles.size() ? &rightFiles[rightIndex] : nullptr;
        if (leftEntry && rightEntry && leftEntry->relativePath != rightEntry->relativePath) {
            (leftEntry->relativePath < rightEntry->relativePath ? rightEntry : leftEntry) = nullptr;
        }
        const std::string& relativePath = (leftEntry ? leftEntry : rightEntry)->relativePath;
        leftIndex += leftEntry ? 1 : 0;
        rightIndex += rightEntry ? 1 : 0;
        // Names travel as D-Bus strings, which must be UTF-8; Linux allows any bytes.
        if (!CVIsValidUTF8(relativePath)) {
            const std::string& folder = (leftEntry ? leftSide : rightSide).folder;
            CVSetError(
                error,
                CVError::withLocalizedDescription(
                    CVProcessName() + ": " +
                    CVEscapingInvalidUTF8(CVPaths::appendingPathComponent(folder, relativePath)) +
                    ": file name is not valid UTF-8"));
            return false;
        }

        // The walk usually tells everything the factories would find out, without a system call
        // per file; where it cannot (links, other entries, names under a link) the factories run.
        auto leftFile = leftSide.walkedFile(relativePath, leftEntry);
        auto rightFile = leftFile ? rightSide.walkedFile(relativePath, rightEntry) : std::nullopt;
        std::shared_ptr<CVCLISerializedFileList> list;
        if (leftFile && rightFile) {
            list = std::make_shared<CVCLISerializedFileList>();
            list->files_->reserve(2);
            list->relativePath_ = relativePath;
            list->addFile(std::move(*leftFile));
            list->addFile(std::move(*rightFile));
        } else {
            list = serializedFileListWithRelativePath(
                relativePath,
                {leftSide.changesetFile(relativePath), rightSide.changesetFile(relativePath)},
                error);
            if (!list) {
                return false;
            }
        }
        if (!block(std::move(list))) {
            return false;
        }
    }
    return true;
}

std::optional<std::string> CVCLISerializedFileList::relativePathForCurrentDirectory(
    const std::optional<std::string>& directory, const std::vector<std::string>& paths) {
    if (!directory) {
        return std::nullopt;
    }
    for (const std::string& path : paths) {
        // Both conditions together never hold; kept as the callers expect.
        if (path.starts_with(*directory) && directory->size() > path.size()) {
            return path.substr(directory->size() + 1);
        }
    }
    return std::nullopt;
}

const std::vector<CVCodingField>& CVCLISerializedFileList::codingFields() const {
    static const std::vector<CVCodingField> fields = {
        CVCodedMember<&CVCLISerializedFileList::files_>("files"),
        CVCodedMember<&CVCLISerializedFileList::status_>("status"),
        CVCodedMember<&CVCLISerializedFileList::relativePath_>("relativePath"),
        CVCodedMember<&CVCLISerializedFileList::label_>("label"),
    };
    return fields;
}

void CVCLISerializedFileList::addFile(std::shared_ptr<CVCLISerializedFile> file) {
    if (file && file->filePath() != "/dev/null") {
        if (files_) {
            files_->push_back(std::move(file));
        }
        return;
    }
    status_ = !files_ || files_->empty() ? added : deleted;
}

CVCLISerializedFileList::Files CVCLISerializedFileList::uniqueFiles() const {
    Files unique;
    if (!files_) {
        return unique;
    }
    std::unordered_set<std::string> seen;
    for (const auto& file : *files_) {
        file->resolveBookmarkData();
        if (file->filePath() && seen.insert(CVPaths::standardizingPath(*file->filePath())).second) {
            unique.push_back(file);
        }
    }
    return unique;
}

std::string CVCLISerializedFileList::description() const {
    static const char* const symbols[] = {"?", "+", "-", "R"};
    if (status_ < 0 || status_ > 3) {
        throw std::out_of_range("status " + std::to_string(status_) + " has no symbol");
    }
    return descriptionStart(" ") + " status: " + symbols[status_] + " (\n" +
           CVJoinedDescriptions(files_, ",\n") + "\n)>";
}
