#include "model/CVCLISerializedFile.h"

#include <sys/stat.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "model/CVCodedMember.h"
#include "platform/CVBookmark.h"
#include "platform/CVPaths.h"
#include "platform/CVPrint.h"
#include "platform/CVProcessName.h"
#include "process/ZPProcessInformation.h"

CVError CVCLISerializedFile::missingFileError(const std::string& path) {
    return CVError::withLocalizedDescription(CVProcessName() + ": \"" + path +
                                             "\": No such file or directory");
}

std::shared_ptr<CVCLISerializedFile> CVCLISerializedFile::serializedExpectedFileWithPath(
    const std::string& path, std::optional<bool> temporary, std::optional<bool> deletedOnExit,
    std::optional<CVError>* error) {
    auto file = std::make_shared<CVCLISerializedFile>();
    file->filePath_ = path;
    file->temporary_ = temporary;
    file->deletedOnExit_ = deletedOnExit;
    std::optional<CVError> bookmarkError;
    // An empty path names no file (not the working folder, which a bookmark would resolve it to).
    if (!path.empty()) {
        file->URLBookmarkData_ =
            CVBookmark::create(path, CVBookmark::minimalBookmark, &bookmarkError);
    }
    if (!file->URLBookmarkData_) {
        CVError missing = missingFileError(path);
        if (bookmarkError) {
            missing.underlyingError = std::make_shared<const CVError>(std::move(*bookmarkError));
        }
        CVSetError(error, std::move(missing));
        return nullptr;
    }
    return file;
}

std::shared_ptr<CVCLISerializedFile> CVCLISerializedFile::serializedChangesetFileWithPath(
    const std::string& path, std::optional<bool> temporary, std::optional<bool> deletedOnExit,
    std::optional<CVError>* error) {
    if (path.empty()) {
        CVSetError(error, missingFileError(path));
        return nullptr;
    }
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        auto file = std::make_shared<CVCLISerializedFile>();
        file->filePath_ = "/dev/null";
        return file;
    }
    return serializedExpectedFileWithPath(path, temporary, deletedOnExit, error);
}

std::shared_ptr<CVCLISerializedFile> CVCLISerializedFile::serializedSummaryFileWithPath(
    const std::string& path) {
    auto file = std::make_shared<CVCLISerializedFile>();
    file->filePath_ = path;
    file->temporary_ = false;
    file->deletedOnExit_ = false;
    return file;
}

std::shared_ptr<CVCLISerializedFile> CVCLISerializedFile::serializedWalkedFileWithPath(
    std::string absolutePath, uint64_t device, uint64_t inode, std::optional<bool> temporary,
    std::optional<bool> deletedOnExit) {
    auto file = std::make_shared<CVCLISerializedFile>();
    file->URLBookmarkData_ = CVBookmark::serialize(absolutePath, device, inode);
    file->temporary_ = temporary;
    file->deletedOnExit_ = deletedOnExit;
    file->bookmarkURL_ = absolutePath;
    file->filePath_ = std::move(absolutePath);
    return file;
}

namespace {

// The folder with every symbolic link resolved and a trailing slash; nothing when it does not
// exist. Paths in a payload are resolved, so a temporary folder named through a link must be too.
std::optional<std::string> realFolder(const std::string& folder) {
    std::unique_ptr<char, decltype(&free)> real(realpath(folder.c_str(), nullptr), &free);
    if (!real) {
        return std::nullopt;
    }
    std::string path = real.get();
    return path.back() == '/' ? path : path + "/";
}

bool startsWithRealFolder(const std::string& path, const std::string& folder) {
    std::optional<std::string> real = realFolder(folder);
    return real && path.starts_with(*real);
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

// Whether the file name is one of the sides git mergetool writes: "_BASE_", "_LOCAL_", "_REMOTE_"
// or "_BACKUP_", digits, then the end or an extension (a dot and anything but a slash). Written
// out rather than as a regular expression: the tool would otherwise carry the C++ library's
// locales, a third of its code, and build them on every run.
bool isMergetoolSide(std::string_view path) {
    static constexpr std::array<std::string_view, 4> kSides = {"_BASE_", "_LOCAL_", "_REMOTE_",
                                                               "_BACKUP_"};
    for (size_t start = path.find('_'); start != std::string_view::npos;
         start = path.find('_', start + 1)) {
        for (std::string_view side : kSides) {
            if (path.substr(start, side.size()) != side) {
                continue;
            }
            size_t end = start + side.size();
            while (end < path.size() && isDigit(path[end])) {
                ++end;
            }
            if (end > start + side.size() &&
                (end == path.size() ||
                 (path[end] == '.' && path.find('/', end) == std::string_view::npos))) {
                return true;
            }
        }
    }
    return false;
}

// Whether a dot with something before it (a line of text: no line break) is followed by exactly
// twelve lower-case hexadecimal digits that end the path or one of its folders, the way some
// callers name their temporary copies ("file.c.0123456789ab").
bool hasHexadecimalSuffix(std::string_view path) {
    static constexpr size_t kDigits = 12;
    auto isHexadecimal = [](char character) {
        return isDigit(character) || (character >= 'a' && character <= 'f');
    };
    size_t lineEnd = path.find_first_of("\n\r");
    for (size_t dot = path.find('.', 1); dot != std::string_view::npos && dot < lineEnd;
         dot = path.find('.', dot + 1)) {
        size_t end = dot + 1;
        while (end < path.size() && end - dot - 1 < kDigits && isHexadecimal(path[end])) {
            ++end;
        }
        if (end - dot - 1 == kDigits && (end == path.size() || path[end] == '/')) {
            return true;
        }
    }
    return false;
}

// The places Linux callers keep temporary files, beside the rules above: /tmp and /var/tmp
// whatever TMPDIR says (libpam-tmpdir points TMPDIR elsewhere, and Java ignores it), Subversion's
// pristine store (1.7 and later), and the sides git mergetool writes into the work tree
// (NAME_BASE_1234.c, NAME_LOCAL_1234.c, NAME_REMOTE_1234.c, NAME_BACKUP_1234.c).
bool isLinuxTemporaryPlace(const std::string& path) {
    return path.starts_with("/tmp/") || path.starts_with("/var/tmp/") ||
           path.find("/.svn/pristine/") != std::string::npos || isMergetoolSide(path);
}

}  // namespace

bool CVCLISerializedFile::absolutePathIsTemporary(const std::string& path) {
    return path.starts_with(CVPaths::temporaryDirectory()) ||
           startsWithRealFolder(path, CVPaths::temporaryDirectory()) ||
           isLinuxTemporaryPlace(path) || path.starts_with("/var/folders") ||
           path.starts_with("/private/var/folders") ||
           path.find("Data/tmp/") != std::string::npos ||
           ((path.starts_with("/var") || path.starts_with("/private/var")) &&
            path.find("-Tmp-") != std::string::npos) ||
           path.find(".svn/tmp/") != std::string::npos ||
           path.find(".svn/text-base/") != std::string::npos;
}

const std::vector<CVCodingField>& CVCLISerializedFile::codingFields() const {
    static const std::vector<CVCodingField> fields = {
        CVCodedMember<&CVCLISerializedFile::filePath_>("filePath"),
        CVCodedMember<&CVCLISerializedFile::temporary_>("temporary"),
        CVCodedMember<&CVCLISerializedFile::deletedOnExit_>("deletedOnExit"),
        CVCodedMember<&CVCLISerializedFile::URLBookmarkData_>("URLBookmarkData"),
    };
    return fields;
}

std::string CVCLISerializedFile::description() const {
    if (!URLBookmarkData_) {
        return CVDescribe(filePath_);
    }
    std::string flag = temporary_ ? (*temporary_ ? "1" : "0") : "(null)";
    return descriptionStart(" ") + " `" + CVDescribe(filePath_) + "` " + flag + ">";
}

void CVCLISerializedFile::resolveBookmarkData() {
    if (!URLBookmarkData_) {
        return;
    }
    std::optional<CVError> error;
    bookmarkURL_ = CVBookmark::resolve(*URLBookmarkData_, nullptr, &error);
    if (!bookmarkURL_ && error) {
        CVDebugLog([&] {
            return "Failed to create file url from bookmark with error : " + error->description();
        });
    }
    // Deliberately also when resolution failed: the path then becomes nothing.
    filePath_ =
        bookmarkURL_ ? std::optional(CVPaths::standardizingPath(*bookmarkURL_)) : std::nullopt;
}

bool CVCLISerializedFile::isTemporaryForCallingProcess(ZPProcessInformation& process) const {
    if (temporary_) {
        return *temporary_;
    }
    std::string path = filePath_.value_or("");
    if (!path.starts_with("/")) {
        path = CVPaths::appendingPathComponent(process.workingDirectory().value_or(""), path);
    }
    std::optional<std::string> temporaryDirectory = process.valueForEnvironmentKey("TMPDIR");
    if (temporaryDirectory) {
        temporaryDirectory = CVPaths::standardizingPath(*temporaryDirectory);
    }
    bool inTemporaryPlace = absolutePathIsTemporary(path);
    bool inProcessTemporaryDirectory =
        temporaryDirectory &&
        (path.starts_with(*temporaryDirectory) || startsWithRealFolder(path, *temporaryDirectory));
    return inTemporaryPlace || inProcessTemporaryDirectory || hasHexadecimalSuffix(path);
}
