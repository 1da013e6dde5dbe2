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

}  // namespace

// How the files of one invocation are looked up: how many more may be (see
// kFilesTakenWhileAnswering), and the process that called, whose temporary places count (null for
// none).
struct Lookup {
    size_t budget = kFilesTakenWhileAnswering;
    std::unique_ptr<ZPProcessInformation> caller;
};

namespace {

CorvaneFileList fileListOf(const CVCLISerializedFileList& record, Lookup* lookup) {
    CorvaneFileList fileList;
    if (record.files()) {
        for (const auto& file : *record.files()) {
            bool inBudget = lookup->budget > 0;
            lookup->budget -= inBudget ? 1 : 0;
            std::string path = pathOf(file, inBudget).value_or("");
            bool deletedOnExit = file && file->deletedOnExit().value_or(false);
            bool hold = !path.empty() && (inBudget || deletedOnExit);
            fileList.heldFiles.push_back(hold ? CVHeldFile::open(path, deletedOnExit) : nullptr);
            fileList.temporary.push_back(
                isTemporary(file, path, inBudget ? lookup->caller.get() : nullptr));
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
    std::vector<CorvaneFileList>* destination, Lookup* lookup) {
    if (!lists) {
        return;
    }
    destination->reserve(destination->size() + lists->size());
    for (const auto& list : *lists) {
        if (list) {
            destination->push_back(fileListOf(*list, lookup));
        }
    }
}

// Fills the request from the one request field the invocation sets; false with the reason when
// it sets none or the one it sets cannot be shown. Merges come first: a merge needs its output.
bool readRequest(const CVCLISerializedDiffInvocation& invocation, CorvaneRequest* request,
                 Lookup* lookup, std::string* whyRefused) {
    lookup->caller = std::make_unique<ZPProcessInformation>(invocation.parentPID());
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
        request->fileLists.push_back(fileListOf(*merge->fileList(), lookup));
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
            request->fileLists.push_back(fileListOf(*partial->fileList(), lookup));
        }
        request->label = partial->label();
        return true;
    }
    if (const auto& summary = invocation.changesetSummary()) {
        request->kind = CorvaneDocumentKind::partialChangeset;
        request->isChangesetSummary = true;
        request->changesetIdentifier = summary->UUIDForProcess();
        appendFileLists(summary->fileLists(), &request->fileLists, lookup);
        return true;
    }
    if (const auto& changeset = invocation.changeset()) {
        request->kind = CorvaneDocumentKind::changeset;
        appendFileLists(changeset->fileLists(), &request->fileLists, lookup);
        request->label = changeset->label();
        return true;
    }
    if (const auto& fileList = invocation.fileList()) {
        request->kind = CorvaneDocumentKind::diff;
        request->fileLists.push_back(fileListOf(*fileList, lookup));
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
    std::shared_ptr<CVCLISerializedObject> root = CVWireCoding::readRecord(message, &reason);
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
    Lookup lookup;
    if (!readRequest(*invocation, &result.request, &lookup, whyRefused)) {
        return std::nullopt;
    }
    result.record = std::move(invocation);
    return result;
}

StreamedInvocation::StreamedInvocation(bool keepsFileLists)
    : lookup_(std::make_unique<Lookup>()), keepsFileLists_(keepsFileLists) {}
StreamedInvocation::~StreamedInvocation() = default;

bool StreamedInvocation::append(std::string_view bytes, std::string* whyRefused) {
    bool hadInvocation = invocation_.record != nullptr;
    if (!reader_.append(bytes)) {
        *whyRefused = reader_.whyRefused();
        return false;
    }
    if (!hadInvocation && reader_.root() != nullptr) {
        // The reader has checked that it is an invocation with a changeset.
        invocation_.record =
            std::static_pointer_cast<CVCLISerializedDiffInvocation>(reader_.root());
        if (!readRequest(*invocation_.record, &invocation_.request, lookup_.get(), whyRefused)) {
            return false;
        }
        if (invocation_.request.kind != CorvaneDocumentKind::changeset) {
            *whyRefused = "Only the file lists of a changeset are streamed.";
            return false;
        }
    }
    std::vector<std::shared_ptr<CVCLISerializedFileList>> lists = reader_.takeFileLists();
    CVCLISerializedChangeset* changeset =
        lists.empty() || !keepsFileLists_ ? nullptr : invocation_.record->changeset().get();
    for (auto& list : lists) {
        invocation_.request.fileLists.push_back(fileListOf(*list, lookup_.get()));
        if (changeset != nullptr) {
            changeset->addFileList(std::move(list));
        }
    }
    return true;
}

std::optional<Invocation> StreamedInvocation::finish(std::string* whyRefused) {
    if (!reader_.isEnded()) {
        *whyRefused = "the stream ends before the frame that ends it";
        return std::nullopt;
    }
    return std::move(invocation_);
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
    Lookup lookup;
    for (const auto& list : *lists) {
        // A folder with no files is paired as the two folders themselves: nothing to list.
        if (list && list->relativePath()) {
            items.push_back(fileListOf(*list, &lookup));
        }
    }
    return items;
}

}  // namespace CorvaneInvocationReader
