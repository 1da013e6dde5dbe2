#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/CVError.h"

class ZPProcessInformation;

// The two numbers of a process-form changeset identifier ("PID:%i-%i").
struct CVChangesetIdentifierComponents {
    int64_t processIdentifier = 0;  // "CVChangesetIdentifierPIDKey"
    int64_t startTime = 0;          // "CVChangesetIdentifierStartTimeKey"

    bool operator==(const CVChangesetIdentifierComponents&) const = default;
};

// Keeps the list of closed partial changesets in $XDG_DATA_HOME/Corvane/ClosedChangesets.plist
// (a binary property list: an array of identifiers, oldest first) and refuses sends to a closed
// changeset. Every read holds a shared lock, every read-modify-write an exclusive lock, on
// ClosedChangesets.plist.lock beside the file, so concurrent runs of the tool see a consistent
// list. One coordinator serves one operation.
//
// Identifiers are "PID:<process identifier>-<start time>" for a process (the start time in whole
// seconds since 1 January 2001 UTC, so that a reused process identifier does not match) or
// "UUID:" followed by the user's text; anything not beginning with "PID:" counts as the UUID form.
class CVChangesetCoordinator {
public:
    using Block = std::function<void()>;

    // The closed-changesets file; computed on first use and kept. Nothing when neither
    // $XDG_DATA_HOME nor a home folder is known.
    const std::optional<std::string>& closedChangesetsFileURL();

    // Runs the block, on the calling thread and under the shared lock, if and only if the
    // identifier is not listed as closed. A missing or corrupt file lists nothing. Does nothing
    // for an absent identifier.
    void coordinateSendingChangesetForIdentifier(const std::optional<std::string>& identifier,
                                                 const Block& block);
    void coordinateSendingChangesetForProcess(const ZPProcessInformation* process,
                                              const Block& block);

    // Notes the identifier as closed (unless it names a process that is no longer running), then
    // runs the block if one is given, whether or not the note could be written. Blocks until
    // both are done. Does nothing for an absent identifier.
    void coordinateRemovingChangesetForIdentifier(const std::optional<std::string>& identifier,
                                                  const Block& block);
    void coordinateClosingChangesetForIdentifier(const std::optional<std::string>& identifier);
    void coordinateClosingChangesetForProcess(const ZPProcessInformation* process);

    // The listed identifiers, or nothing (and the error) when the file is missing, unreadable or
    // not an array. Not coordinated: callers hold the lock.
    std::optional<std::vector<std::string>> readIdentifiersWithError(std::optional<CVError>* error);
    // Writes the list as a binary property list, atomically. Not coordinated: callers hold the
    // lock.
    bool writeIdentifiers(const std::vector<std::string>& identifiers,
                          std::optional<CVError>* error);

    // The numbers of a "PID:a-b" identifier; nothing for the UUID form or another count of parts.
    // Each part converts leniently: its leading digits, 0 when there are none.
    static std::optional<CVChangesetIdentifierComponents> componentsOfIdentifier(
        const std::optional<std::string>& identifier);
    // The process the identifier names, when it is running and started at the recorded time.
    static std::shared_ptr<ZPProcessInformation> processInformationForRunningProcessWithIdentifier(
        const std::optional<std::string>& identifier);
    // True for every UUID-form identifier; for the process form, whether its process still runs.
    static bool processExistsWithIdentifier(const std::optional<std::string>& identifier);
    // Drops process-form identifiers whose process is gone; then, when 201 or more remain, the
    // oldest 100. Keeps the order.
    static void removeObsoleteIdentifiers(std::vector<std::string>& identifiers);

    // Whole seconds since 1 January 2001 UTC of a time given in seconds since 1970, rounded down;
    // 0 for an absent time.
    static int32_t timestampForDate(const std::optional<int64_t>& unixSeconds);
    static std::optional<std::string> identifierForProcess(const ZPProcessInformation* process);
    static std::optional<std::string> identifierForUUID(const std::optional<std::string>& uuid);
    static bool identifierRepresentsProcess(const std::optional<std::string>& identifier);
    static bool identifierRepresentsUUID(const std::optional<std::string>& identifier);

private:
    bool didComputeFileURL_ = false;
    std::optional<std::string> closedChangesetsFileURL_;
};
