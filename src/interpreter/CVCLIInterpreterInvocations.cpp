// Document commands: the parsed files become records, wrapped in one invocation and sent.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "interpreter/CVCLIInterpreter.h"
#include "link/CVCLIProxyProtocol.h"
#include "link/CVChangesetCoordinator.h"
#include "model/CVCLISerializedChangeset.h"
#include "model/CVCLISerializedChangesetSummary.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVCLISerializedMerge.h"
#include "model/CVCLISerializedPartialChangeset.h"
#include "model/CVPackedCoding.h"
#include "model/CVPackedInvocationWriter.h"
#include "model/CVWireCoding.h"
#include "platform/CVPaths.h"
#include "platform/CVPrint.h"
#include "platform/CVProcessName.h"
#include "platform/CVSessionBus.h"
#include "process/ZPProcessInformation.h"

std::set<std::string> CVCLIInterpreter::supportedCapabilities() {
    return {"partial-changesets-v1", "changesets-v1", "merges-v1", "diffs-v1"};
}

std::shared_ptr<CVCLISerializedDiffInvocation>
CVCLIInterpreter::createInvocationWithParentProcess() {
    auto invocation = std::make_shared<CVCLISerializedDiffInvocation>();
    if (std::shared_ptr<ZPProcessInformation> parent = significantParentProcess()) {
        invocation->setParentProcessName(parent->processName());
        invocation->setParentPID(parent->processIdentifier());
    }
    return invocation;
}

std::shared_ptr<CVCLISerializedFile> CVCLIInterpreter::serializedFileWithFile(
    const CVFileDictionary& file) {
    if (interpretError_) {
        // A capture that failed keeps its own error (a full disk, say): it is what went wrong.
        return nullptr;
    }
    std::optional<CVError> error;
    // A "-" left over means standard input that could not be captured; it never names a file
    // that happens to be called "-" in the working folder.
    std::shared_ptr<CVCLISerializedFile> serialized =
        file.path == "-" ? nullptr
                         : CVCLISerializedFile::serializedExpectedFileWithPath(
                               file.path, file.isTemporary, file.deleteOnExit, &error);
    if (!serialized) {
        interpretError_ = error.value_or(CVCLISerializedFile::missingFileError(file.path));
    }
    return serialized;
}

std::shared_ptr<CVCLISerializedFileList> CVCLIInterpreter::fileListWithFiles(
    const std::vector<CVFileDictionary>& files, const std::optional<std::string>& label,
    const std::optional<std::string>& relativePath) {
    std::vector<std::shared_ptr<CVCLISerializedFile>> serializedFiles;
    serializedFiles.reserve(files.size());
    for (const CVFileDictionary& file : files) {
        std::shared_ptr<CVCLISerializedFile> serialized = serializedFileWithFile(file);
        if (!serialized) {
            return nullptr;
        }
        serializedFiles.push_back(std::move(serialized));
    }
    std::optional<CVError> error;
    std::shared_ptr<CVCLISerializedFileList> list =
        CVCLISerializedFileList::serializedFileListWithRelativePath(relativePath, serializedFiles,
                                                                    &error);
    if (!list) {
        interpretError_ = error;
        return nullptr;
    }
    list->setLabel(label);
    return list;
}

void CVCLIInterpreter::parserDidParseDiffCommand(CVCLIArgumentParser*, bool shouldWait,
                                                 const std::optional<std::string>& label,
                                                 const std::vector<CVFileDictionary>& files) {
    std::vector<CVFileDictionary> captured = readFileDescriptorPathsIntoTempFiles(files);
    if (captured.empty()) {
        return;
    }
    files_ = captured;
    auto invocation = createInvocationWithParentProcess();
    invocation->setWaitForTabClose(shouldWait);
    invocation->setFileList(fileListWithFiles(files_, label, std::nullopt));
    sendUncoordinatedDocumentInvocation(invocation);
}

void CVCLIInterpreter::parserDidParseMergeCommand(CVCLIArgumentParser*,
                                                  const std::string& outputPath,
                                                  const std::optional<std::string>& commonBaseFile,
                                                  bool shouldWait,
                                                  const std::vector<CVFileDictionary>& files) {
    auto invocation = createInvocationWithParentProcess();
    invocation->setWaitForTabClose(shouldWait);

    // The application writes the result into the output file: it must exist. A failure to
    // create it shows later, when the file is described.
    if (access(outputPath.c_str(), F_OK) != 0) {
        int descriptor = open(outputPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0) {
            close(descriptor);
        }
    }

    CVFileDictionary outputFile{.path = outputPath};
    std::vector<CVFileDictionary> sides = files;
    sides.push_back(outputFile);
    std::optional<CVFileDictionary> baseFile;
    if (commonBaseFile) {
        baseFile = CVFileDictionary{.path = *commonBaseFile};
        sides.push_back(*baseFile);
    }

    auto merge = std::make_shared<CVCLISerializedMerge>();
    merge->setFileList(fileListWithFiles(sides, std::nullopt, std::nullopt));
    merge->setOutputFile(serializedFileWithFile(outputFile));
    if (baseFile) {
        merge->setBaseFile(serializedFileWithFile(*baseFile));
    }
    invocation->setMerge(merge);
    sendUncoordinatedDocumentInvocation(invocation);
}

void CVCLIInterpreter::parserDidParseChangesetCommand(
    CVCLIArgumentParser*, const std::optional<std::string>& label, bool shouldWait,
    const std::vector<CVFileListDictionary>& fileLists) {
    auto invocation = createInvocationWithParentProcess();
    invocation->setWaitForTabClose(shouldWait);
    auto changeset = std::make_shared<CVCLISerializedChangeset>();
    changeset->setLabel(label);
    invocation->setChangeset(changeset);
    addItemsToChangeset(fileLists, *invocation);
    sendUncoordinatedDocumentInvocation(invocation);
}

bool CVCLIInterpreter::addItemsToChangeset(const std::vector<CVFileListDictionary>& fileLists,
                                           CVCLISerializedDiffInvocation& invocation) {
    CVCLISerializedChangeset& changeset = *invocation.changeset();
    // Up to this size the invocation travels as an ordinary message; past it, where the bus
    // passes descriptors, the call is made at once and the lists follow it, packed, through a
    // socket as they are made.
    static constexpr size_t kLargestInlineSize = 1 << 20;
    bool mayPack = CVSessionBus::sharedCanPassDescriptors();
    size_t inlineSize = CVWireCoding::encodedSize(invocation);
    auto addList = [&](std::shared_ptr<CVCLISerializedFileList> list) {
        if (packedInvocation_) {
            return packedInvocation_->addFileList(*list);
        }
        inlineSize += CVWireCoding::encodedSize(*list);
        changeset.addFileList(std::move(list));
        if (!mayPack || inlineSize <= kLargestInlineSize) {
            return true;
        }
        auto lists = *changeset.fileLists();
        changeset.setFileLists(CVCLISerializedChangeset::FileLists());
        if (!beginStreamingInvocation(invocation)) {
            return false;
        }
        return std::ranges::all_of(lists, [this](const auto& earlier) {
            return packedInvocation_->addFileList(*earlier);
        });
    };

    for (const CVFileListDictionary& item : fileLists) {
        const CVFileDictionary& left = item.files.at(0);
        const CVFileDictionary& right = item.files.at(1);
        if (left.path.empty() || right.path.empty()) {
            interpretError_ = CVCLISerializedFile::missingFileError("");
            break;
        }
        std::optional<CVError> error;
        if (!CVCLISerializedFileList::enumerateFileListsWithRecursiveContentsOfLeft(
                left.path, left.isTemporary, left.deleteOnExit, right.path, right.isTemporary,
                right.deleteOnExit, addList, &error)) {
            if (!interpretError_) {
                interpretError_ = error.value_or(CVError::withLocalizedDescription(
                    CVProcessName() + ": could not code the changeset"));
            }
            break;
        }
    }
    if (packedInvocation_) {
        bool finished = !interpretError_ && packedInvocation_->finish();
        if (!finished) {
            // Ended unfinished, the stream is refused by the application at once.
            packedInvocation_->abandon();
        }
        if (packedInvocation_->isBroken() && streamedDelivery_) {
            // The application stopped reading: its answer to the call says why.
            streamedDelivery_->proxy->GUIDForDocument(*streamedDelivery_->streamedCall);
        }
        if (!finished && !interpretError_ && !packedInvocation_->isTooLarge()) {
            interpretError_ = CVError::withLocalizedDescription(CVProcessName() +
                                                                ": could not code the changeset");
        }
    }
    // Refused here rather than by the bus, which would end the connection without a reason.
    size_t size =
        packedInvocation_ ? packedInvocation_->size() : CVWireCoding::encodedSize(invocation);
    size_t largest =
        packedInvocation_ ? CVPackedCoding::kLargestPayload : CVWireCoding::kLargestBody;
    if (!interpretError_ && size > largest) {
        size_t count =
            packedInvocation_
                ? packedInvocation_->fileListCount()
                : changeset.fileLists().value_or(CVCLISerializedChangeset::FileLists()).size();
        interpretError_ = CVError::withLocalizedDescription(
            CVProcessName() + ": the changeset has " + std::to_string(count) +
            " items, more than one message to Corvane can carry (" + std::to_string(size >> 20) +
            " MiB, at most " + std::to_string(largest >> 20) + " MiB)");
    }
    return !interpretError_;
}

void CVCLIInterpreter::parserDidParsePartialChangesetCommand(
    CVCLIArgumentParser*, const std::optional<std::string>& UUID,
    const std::optional<std::string>& label, const std::optional<std::string>& relativePath,
    bool shouldWait, const std::vector<CVFileDictionary>& files) {
    auto invocation = createInvocationWithParentProcess();
    invocation->setWaitForTabClose(shouldWait);
    auto partialChangeset = std::make_shared<CVCLISerializedPartialChangeset>();
    partialChangeset->setUUID(CVChangesetCoordinator::identifierForUUID(UUID));
    if (std::shared_ptr<ZPProcessInformation> parent = significantParentProcess()) {
        partialChangeset->setUUIDForProcess(
            CVChangesetCoordinator::identifierForProcess(parent.get()));
    }
    partialChangeset->setLabel(label);

    // The Subversion client names the item's folder only; the file's own name completes it.
    std::optional<std::string> itemPath = relativePath;
    if (relativePath && parentIsQuorvel() && !files.empty()) {
        itemPath = CVPaths::appendingPathComponent(relativePath.value_or(""),
                                                   CVPaths::lastPathComponent(files.back().path));
    }
    partialChangeset->setFileList(fileListWithFiles(files, std::nullopt, itemPath));
    invocation->setPartialChangeset(partialChangeset);
    sendCoordinatedDocumentInvocation(invocation);
}

void CVCLIInterpreter::parserDidParseMarkChangesetAsClosedCommand(CVCLIArgumentParser*,
                                                                  const std::string& UUID) {
    CVChangesetCoordinator coordinator;
    std::optional<std::string> identifier = CVChangesetCoordinator::identifierForUUID(UUID);
    coordinator.coordinateRemovingChangesetForIdentifier(identifier, [&] {
        if (std::shared_ptr<CVCLIProxyProtocol> proxy = createProxyForCorvane()) {
            proxy->markChangesetWithUUIDAsClosed(*identifier);
        }
    });
}

void CVCLIInterpreter::sendPartialChangesetInvocationWithSummary(const std::string& summary) {
    if (summary.empty()) {
        return;
    }
    auto invocation = createInvocationWithParentProcess();
    invocation->setWaitForTabClose(false);
    std::shared_ptr<CVCLISerializedChangesetSummary> changesetSummary =
        CVCLISerializedChangesetSummary::serializedChangesetSummaryWithGitSummaryLines(summary);
    if (changesetSummary && changesetSummary->fileLists() &&
        !changesetSummary->fileLists()->empty()) {
        changesetSummary->setUUIDForProcess(
            CVChangesetCoordinator::identifierForProcess(significantParentProcess().get()));
        invocation->setChangesetSummary(changesetSummary);
        sendCoordinatedDocumentInvocation(invocation);
    }
    CVDebugLog(
        [&] { return changesetSummary ? changesetSummary->description() : std::string("(null)"); });
}
