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

namespace CorvaneInvocationReader {

namespace {

// Where the file is now: its bookmark resolved, as the tool's own paths may be relative to the
// tool's working directory (a merge's output travels as typed); else its path as given.
std::optional<std::string> pathOf(const std::shared_ptr<CVCLISerializedFile>& file) {
    if (!file) {
        return std::nullopt;
    }
    if (file->URLBookmarkData()) {
        if (auto resolved = CVBookmark::resolve(*file->URLBookmarkData(), nullptr)) {
            return resolved;
        }
    }
    return file->filePath();
}

CorvaneFileList fileListOf(const CVCLISerializedFileList& record) {
    CorvaneFileList fileList;
    if (record.files()) {
        for (const auto& file : *record.files()) {
            std::string path = pathOf(file).value_or("");
            bool deletedOnExit = file && file->deletedOnExit().value_or(false);
            fileList.heldFiles.push_back(path.empty() ? nullptr
                                                      : CVHeldFile::open(path, deletedOnExit));
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
    std::vector<CorvaneFileList>* destination) {
    if (!lists) {
        return;
    }
    for (const auto& list : *lists) {
        if (list) {
            destination->push_back(fileListOf(*list));
        }
    }
}

// Fills the request from the one request field the invocation sets; false with the reason when
// it sets none or the one it sets cannot be shown. Merges come first: a merge needs its output.
bool readRequest(const CVCLISerializedDiffInvocation& invocation, CorvaneRequest* request,
                 std::string* whyRefused) {
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
        request->fileLists.push_back(fileListOf(*merge->fileList()));
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
            request->fileLists.push_back(fileListOf(*partial->fileList()));
        }
        request->label = partial->label();
        return true;
    }
    if (const auto& summary = invocation.changesetSummary()) {
        request->kind = CorvaneDocumentKind::partialChangeset;
        request->isChangesetSummary = true;
        request->changesetIdentifier = summary->UUIDForProcess();
        appendFileLists(summary->fileLists(), &request->fileLists);
        return true;
    }
    if (const auto& changeset = invocation.changeset()) {
        request->kind = CorvaneDocumentKind::changeset;
        appendFileLists(changeset->fileLists(), &request->fileLists);
        request->label = changeset->label();
        return true;
    }
    if (const auto& fileList = invocation.fileList()) {
        request->kind = CorvaneDocumentKind::diff;
        request->fileLists.push_back(fileListOf(*fileList));
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
    if (!readRequest(*invocation, &result.request, whyRefused)) {
        return std::nullopt;
    }
    result.record = std::move(invocation);
    return result;
}

}  // namespace CorvaneInvocationReader
