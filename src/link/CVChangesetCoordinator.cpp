#include "link/CVChangesetCoordinator.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "link/CVAdditions.h"
#include "link/CVApplicationLocator.h"
#include "platform/CVEnvironment.h"
#include "platform/CVFiles.h"
#include "platform/CVPaths.h"
#include "platform/CVPropertyList.h"
#include "platform/CVSystemLog.h"
#include "process/ZPProcessInformation.h"

namespace {

constexpr const char* kProcessPrefix = "PID:";
constexpr const char* kUUIDPrefix = "UUID:";
constexpr size_t kPruneThreshold = 201;
constexpr size_t kPruneCount = 100;
// 1 January 2001 00:00:00 UTC in seconds since 1970.
constexpr int64_t kReferenceDateOffset = 978307200;

// The lock beside the closed-changesets file, when there is one. The lock file is never deleted:
// removing it would let two runs lock different files. When the lock cannot be had the work goes
// on unlocked, as coordination errors are not reported.
void lockBeside(const std::optional<std::string>& filePath, CVFileLock::Kind kind,
                std::optional<CVFileLock>& lock) {
    if (filePath) {
        lock.emplace(*filePath + ".lock", kind);
    }
}

bool contains(const std::vector<std::string>& identifiers, const std::string& identifier) {
    return std::find(identifiers.begin(), identifiers.end(), identifier) != identifiers.end();
}

}  // namespace

const std::optional<std::string>& CVChangesetCoordinator::closedChangesetsFileURL() {
    if (!didComputeFileURL_) {
        didComputeFileURL_ = true;
        std::optional<std::string> dataHome = CVEnvironmentValue("XDG_DATA_HOME");
        if (!dataHome) {
            dataHome = homeURLWithPathComponents({".local", "share"});
        }
        closedChangesetsFileURL_ = CVPaths::pathByExtendingPathWithComponents(
            dataHome, {{"Corvane", "ClosedChangesets.plist"}});
    }
    return closedChangesetsFileURL_;
}

void CVChangesetCoordinator::coordinateSendingChangesetForIdentifier(
    const std::optional<std::string>& identifier, const Block& block) {
    if (!identifier) {
        return;
    }
    std::optional<CVFileLock> lock;
    lockBeside(closedChangesetsFileURL(), CVFileLock::Kind::shared, lock);
    std::optional<std::vector<std::string>> identifiers = readIdentifiersWithError(nullptr);
    if (!identifiers || !contains(*identifiers, *identifier)) {
        if (block) {
            block();
        }
    }
}

void CVChangesetCoordinator::coordinateSendingChangesetForProcess(
    const ZPProcessInformation* process, const Block& block) {
    coordinateSendingChangesetForIdentifier(identifierForProcess(process), block);
}

// Elsewhere the note is written on a worker thread while the calling thread serves its run loop
// until the worker stops it. Nothing on the calling thread needs serving meanwhile here, so the
// note is written right here under the exclusive lock: the call still returns only after the
// note and the block are done.
void CVChangesetCoordinator::coordinateRemovingChangesetForIdentifier(
    const std::optional<std::string>& identifier, const Block& block) {
    if (!identifier) {
        return;
    }
    std::optional<CVFileLock> lock;
    lockBeside(closedChangesetsFileURL(), CVFileLock::Kind::exclusive, lock);
    if (processExistsWithIdentifier(identifier)) {
        std::vector<std::string> identifiers =
            readIdentifiersWithError(nullptr).value_or(std::vector<std::string>{});
        removeObsoleteIdentifiers(identifiers);
        if (!contains(identifiers, *identifier)) {
            identifiers.push_back(*identifier);
        }
        std::optional<CVError> error;
        if (!writeIdentifiers(identifiers, &error)) {
            CVSystemLog("Could not note closure: " + (error ? error->description() : "(null)") +
                        ".");
        }
    }
    if (block) {
        block();
    }
}

void CVChangesetCoordinator::coordinateClosingChangesetForIdentifier(
    const std::optional<std::string>& identifier) {
    coordinateRemovingChangesetForIdentifier(identifier, nullptr);
}

void CVChangesetCoordinator::coordinateClosingChangesetForProcess(
    const ZPProcessInformation* process) {
    coordinateClosingChangesetForIdentifier(identifierForProcess(process));
}

std::optional<std::vector<std::string>> CVChangesetCoordinator::readIdentifiersWithError(
    std::optional<CVError>* error) {
    const std::optional<std::string>& path = closedChangesetsFileURL();
    if (!path) {
        CVSetError(error, CVError::withLocalizedDescription("There is no home folder."));
        return std::nullopt;
    }
    CVPlist root = CVPropertyList::readFile(*path, error);
    if (!root) {
        return std::nullopt;
    }
    if (plist_get_node_type(root.get()) != PLIST_ARRAY) {
        CVSetError(error, CVError::withLocalizedDescription("The file \"" + *path +
                                                            "\" does not hold a list."));
        return std::nullopt;
    }
    std::vector<std::string> identifiers;
    uint32_t count = plist_array_get_size(root.get());
    identifiers.reserve(count);
    for (uint32_t index = 0; index < count; ++index) {
        if (std::optional<std::string> identifier =
                CVPropertyList::stringValue(plist_array_get_item(root.get(), index))) {
            identifiers.push_back(std::move(*identifier));
        }
    }
    return identifiers;
}

bool CVChangesetCoordinator::writeIdentifiers(const std::vector<std::string>& identifiers,
                                              std::optional<CVError>* error) {
    const std::optional<std::string>& path = closedChangesetsFileURL();
    if (!path) {
        CVSetError(error, CVError::withLocalizedDescription("There is no home folder."));
        return false;
    }
    CVPlist root(plist_new_array());
    for (const std::string& identifier : identifiers) {
        plist_array_append_item(root.get(), plist_new_string(identifier.c_str()));
    }
    return CVPropertyList::writeFileAtomically(*path, root.get(), CVPropertyList::Format::binary,
                                               error);
}

std::optional<CVChangesetIdentifierComponents> CVChangesetCoordinator::componentsOfIdentifier(
    const std::optional<std::string>& identifier) {
    if (!identifierRepresentsProcess(identifier)) {
        return std::nullopt;
    }
    std::string rest = identifier->substr(4);
    size_t dash = rest.find('-');
    if (dash == std::string::npos || rest.find('-', dash + 1) != std::string::npos) {
        return std::nullopt;
    }
    return CVChangesetIdentifierComponents{
        CVApplicationLocator::integerValue(rest.substr(0, dash)),
        CVApplicationLocator::integerValue(rest.substr(dash + 1))};
}

std::shared_ptr<ZPProcessInformation>
CVChangesetCoordinator::processInformationForRunningProcessWithIdentifier(
    const std::optional<std::string>& identifier) {
    if (!identifier) {
        return nullptr;
    }
    std::optional<CVChangesetIdentifierComponents> components = componentsOfIdentifier(identifier);
    std::shared_ptr<ZPProcessInformation> process =
        ZPProcessInformation::processInformationWithProcessIdentifier(
            components ? static_cast<int32_t>(components->processIdentifier) : 0);
    // An identifier without components has no start time, which no process matches.
    if (process && components && process->isRunning() &&
        timestampForDate(process->startDate()) == components->startTime) {
        return process;
    }
    return nullptr;
}

bool CVChangesetCoordinator::processExistsWithIdentifier(
    const std::optional<std::string>& identifier) {
    if (!identifier) {
        return false;
    }
    if (identifierRepresentsUUID(identifier)) {
        return true;
    }
    return processInformationForRunningProcessWithIdentifier(identifier) != nullptr;
}

void CVChangesetCoordinator::removeObsoleteIdentifiers(std::vector<std::string>& identifiers) {
    std::erase_if(identifiers, [](const std::string& identifier) {
        return !processExistsWithIdentifier(identifier);
    });
    if (identifiers.size() >= kPruneThreshold) {
        identifiers.erase(identifiers.begin(), identifiers.begin() + kPruneCount);
    }
}

int32_t CVChangesetCoordinator::timestampForDate(const std::optional<int64_t>& unixSeconds) {
    if (!unixSeconds) {
        return 0;
    }
    return static_cast<int32_t>(*unixSeconds - kReferenceDateOffset);
}

std::optional<std::string> CVChangesetCoordinator::identifierForProcess(
    const ZPProcessInformation* process) {
    if (process == nullptr) {
        return std::nullopt;
    }
    return std::string(kProcessPrefix) + std::to_string(process->processIdentifier()) + "-" +
           std::to_string(timestampForDate(process->startDate()));
}

std::optional<std::string> CVChangesetCoordinator::identifierForUUID(
    const std::optional<std::string>& uuid) {
    if (!uuid) {
        return std::nullopt;
    }
    return kUUIDPrefix + *uuid;
}

bool CVChangesetCoordinator::identifierRepresentsProcess(
    const std::optional<std::string>& identifier) {
    return identifier && identifier->starts_with(kProcessPrefix);
}

bool CVChangesetCoordinator::identifierRepresentsUUID(
    const std::optional<std::string>& identifier) {
    return identifier && !identifierRepresentsProcess(identifier);
}
