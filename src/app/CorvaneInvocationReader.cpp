#include "app/CorvaneInvocationReader.h"

#include "model/CVCLISerializedChangeset.h"
#include "model/CVCLISerializedChangesetSummary.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVCLISerializedMerge.h"
#include "model/CVCLISerializedPartialChangeset.h"
#include "model/CVWireCoding.h"
#include "platform/CVBookmark.h"
#include "platform/CVHeldFile.h"
#include "process/ZPProcessInformation.h"

namespace CorvaneInvocationReader {

namespace {

// The files of one invocation that are looked up (their bookmarks resolved) and held open while
// the call is answered. Past these, a large changeset's files are taken at their paths and opened
// when a person selects them: answering must not wait for 200,000 opens. The tool's own captures
// are always held, so that they are removed when their document closes.
constexpr size_t kFilesTakenWhileAnswering = 1024;

// Where the file is now: its bookmark resolved, as the tool's own paths may be relative to the
// tool's working directory (a merge's output travels as typed); else its path as given.
std::optional<std::string> pathOf(const std::shared_ptr<CVCLISerializedFile>& file,
                                  bool resolve = true) {
    if (!file) {
        return std::nullopt;
    }
    if (resolve && file->URLBookmarkData()) {
        if (auto resolved = CVBookmark::resolve(*file->URLBookmarkData(), nullptr)) {
            return resolved;
        }
    }
    return file->filePath();
}

// Whether the file is temporary: its stated flag, else, when the calling process is known and
// the file was looked up, the rules for temporary places applied to where it is now (so that a
// temporary folder named through a link is recognised) or to its path as given.
bool isTemporary(const std::shared_ptr<CVCLISerializedFile>& file, const std::string& path,
                 ZPProcessInformation* caller) {
    if (!file) {
        return false;
    }
    if (file->temporary()) {
        return *file->temporary();
    }
    if (caller == nullptr) {
        return false;
    }
    auto located = CVCLISerializedFile::serializedSummaryFileWithPath(
        path.empty() ? file->filePath().value_or("") : path);
    located->setTemporary(std::nullopt);
    return located->isTemporaryForCallingProcess(*caller);
}

// `budget`: how many more files may be looked up and held (see kFilesTakenWhileAnswering).
// `caller`: the process that called, whose temporary places count; null for none.
CorvaneFileList fileListOf(const CVCLISerializedFileList& record, size_t* budget,
                           ZPProcessInformation* caller = nullptr) {
    CorvaneFileList fileList;
    if (record.files()) {
        for (const auto& file : *record.files()) {
            bool inBudget = *budget > 0;
            *budget -= inBudget ? 1 : 0;
            std::string path = pathOf(file, inBudget).value_or("");
            bool deletedOnExit = file && file->deletedOnExit().value_or(false);
            bool hold = !path.empty() && (inBudget || deletedOnExit);
            fileList.heldFiles.push_back(hold ? CVHeldFile::open(path, deletedOnExit) : nullptr);
            fileList.temporary.push_back(isTemporary(file, path, inBudget ? caller : nullptr));
            fileList.files.push_back(std::move(path));
        }
    }
    fileList.label = record.label();
    fileList.relativePath = record.relativePath();
    fileList.status = record.status();
    return fileList;
}

void appendFileLists(
    const std::optional<std::vector<std::shared_ptr<CVCLISerializedFileList>>>& lists,
    std::vector<CorvaneFileList>* destination, size_t* budget, ZPProcessInformation* caller) {
    if (!lists) {
        return;
    }
    destination->reserve(destination->size() + lists->size());
    for (const auto& list : *lists) {
        if (list) {
            destination->push_back(fileListOf(*list, budget, caller));
        }
    }
}

// Fills the request from the one request field the invocation sets; false with the reason when
// it sets none or the one it sets cannot be shown. Merges come first: a merge needs its output.
bool readRequest(const CVCLISerializedDiffInvocation& invocation, CorvaneRequest* request,
                 std::string* whyRefused) {
    size_t budget = kFilesTakenWhileAnswering;
    ZPProcessInformation caller(invocation.parentPID());
    request->waitForTabClose = invocation.waitForTabClose();
    request->parentPID = invocation.parentPID();
    request->parentProcessName = invocation.parentProcessName();
    if (const auto& merge = invocation.merge()) {
        request->kind = CorvaneDocumentKind::merge;
        if (!merge->fileList()) {
            *whyRefused = "The merge has no file list.";
            return false;
        }
        if (!pathOf(merge->outputFile())) {
            *whyRefused = "The merge has no output file.";
            return false;
        }
        request->fileLists.push_back(fileListOf(*merge->fileList(), &budget, &caller));
        request->outputFile = pathOf(merge->outputFile());
        request->baseFile = pathOf(merge->baseFile());
        request->label = merge->label();
        return true;
    }
    if (const auto& partial = invocation.partialChangeset()) {
        request->kind = CorvaneDocumentKind::partialChangeset;
        request->changesetIdentifier =
            partial->UUID() ? partial->UUID() : partial->UUIDForProcess();
        if (partial->fileList()) {
            request->fileLists.push_back(fileListOf(*partial->fileList(), &budget, &caller));
        }
        request->label = partial->label();
        return true;
    }
    if (const auto& summary = invocation.changesetSummary()) {
        request->kind = CorvaneDocumentKind::partialChangeset;
        request->isChangesetSummary = true;
        request->changesetIdentifier = summary->UUIDForProcess();
        appendFileLists(summary->fileLists(), &request->fileLists, &budget, &caller);
        return true;
    }
    if (const auto& changeset = invocation.changeset()) {
        request->kind = CorvaneDocumentKind::changeset;
        appendFileLists(changeset->fileLists(), &request->fileLists, &budget, &caller);
        request->label = changeset->label();
        return true;
    }
    if (const auto& fileList = invocation.fileList()) {
        request->kind = CorvaneDocumentKind::diff;
        request->fileLists.push_back(fileListOf(*fileList, &budget, &caller));
        request->label = fileList->label();
        return true;
    }
    *whyRefused =
        "The invocation asks for nothing: it has no file list, changeset, partial changeset, "
        "changeset summary or merge.";
    return false;
}

}  // namespace

std::optional<Invocation> readInvocation(sd_bus_message* message, std::string* whyRefused) {
    std::string reason;
    std::shared_ptr<CVCLISerializedObject> root =
        CVWireCoding::readInvocationRecord(message, &reason);
    if (!root) {
        *whyRefused = reason;
        return std::nullopt;
    }
    auto invocation = std::dynamic_pointer_cast<CVCLISerializedDiffInvocation>(root);
    if (!invocation) {
        *whyRefused =
            "The invocation is a " + root->className() + ", not a CVCLISerializedDiffInvocation.";
        return std::nullopt;
    }
    Invocation result;
    if (!readRequest(*invocation, &result.request, whyRefused)) {
        return std::nullopt;
    }
    result.record = std::move(invocation);
    return result;
}

std::optional<std::vector<CorvaneFileList>> pairFilesOfFolders(const std::string& left,
                                                               const std::string& right,
                                                               std::string* whyNot) {
    std::optional<CVError> error;
    auto lists = CVCLISerializedFileList::serializedFileListsWithRecursiveContentsOfLeft(
        left, std::nullopt, std::nullopt, right, std::nullopt, std::nullopt, &error);
    if (!lists) {
        *whyNot = error ? error->description() : std::string("The folders could not be read.");
        return std::nullopt;
    }
    std::vector<CorvaneFileList> items;
    size_t budget = kFilesTakenWhileAnswering;
    for (const auto& list : *lists) {
        // A folder with no files is paired as the two folders themselves: nothing to list.
        if (list && list->relativePath()) {
            items.push_back(fileListOf(*list, &budget));
        }
    }
    return items;
}

}  // namespace CorvaneInvocationReader
