#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/CorvaneJSON.h"
#include "platform/CVHeldFile.h"

// One file list as the application shows it: the paths of its sides and its captions.
struct CorvaneFileList {
    std::vector<std::string> files;
    // The files as opened while the call was answered, one per path (in order), kept open until
    // the document closes so that a side that vanishes right after the call can still be read;
    // the tool's deleted-on-exit captures are removed when the last holder lets them go. Null
    // for a path that could not be named, and past the first thousand files of a large changeset
    // (those are opened when shown).
    // Listings and the journal name the paths only.
    std::vector<std::shared_ptr<CVHeldFile>> heldFiles;
    // Whether each file is a temporary one (a snapshot of the calling tool's): its stated flag,
    // else the rules for temporary places applied to where the file is now, for the process that
    // called. Past the first thousand files of a large changeset only a stated flag counts.
    std::vector<bool> temporary;
    std::optional<std::string> label;
    std::optional<std::string> relativePath;
    int64_t status = 0;
};

enum class CorvaneDocumentKind { diff, merge, changeset, partialChangeset };

// What one invocation asks for, read from its records.
struct CorvaneRequest {
    CorvaneDocumentKind kind = CorvaneDocumentKind::diff;
    // Partial changesets and summaries: the changeset they belong to (its UUID, else the one of
    // the calling process); nothing when the invocation names neither.
    std::optional<std::string> changesetIdentifier;
    bool isChangesetSummary = false;
    std::optional<std::string> label;
    std::vector<CorvaneFileList> fileLists;
    std::optional<std::string> outputFile;
    std::optional<std::string> baseFile;
    bool waitForTabClose = false;
    int32_t parentPID = 0;
    std::optional<std::string> parentProcessName;
};

// An open document (a tab): what it shows and who asked for it.
struct CorvaneDocument {
    std::string GUID;
    uint64_t openingOrder = 0;
    CorvaneDocumentKind kind = CorvaneDocumentKind::diff;
    std::optional<std::string> changesetIdentifier;
    std::optional<std::string> label;
    // The items shown; a partial changeset gains one per invocation.
    std::vector<CorvaneFileList> fileLists;
    // The items a changeset summary announced.
    std::vector<CorvaneFileList> announcedFileLists;
    std::optional<std::string> outputFile;
    std::optional<std::string> baseFile;
    int32_t parentPID = 0;
    std::optional<std::string> parentProcessName;

    // "diff", "merge", "changeset" or "partialChangeset".
    static const char* nameOfKind(CorvaneDocumentKind kind);
    // One JSON object: GUID, kind, changeset, label, fileLists, announcedFileLists, outputFile,
    // baseFile, parentPID, parentProcessName.
    CorvaneJSON json() const;
};
