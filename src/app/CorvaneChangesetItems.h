#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "app/CorvaneDocument.h"

// git's C-quoted form of an unusual name ("sp\303\251 cial.txt", quotes included) turned back into
// its bytes: \a \b \t \n \v \f \r \" \\ and three-digit octal escapes. A text that is not
// enclosed in double quotes, or whose escapes are malformed, is answered as it is.
std::string CorvaneUnquoteGitPath(std::string_view text);

// Whether copy is git's temporary copy of a file named as original is: the same name in a folder
// "git-blob-XXXXXX" (difftool's old side), or the name after six characters and "_".
bool CorvaneIsGitCopyOf(std::string_view copy, std::string_view original);

// How an item changed, as its summary line or its sides tell.
enum class CorvaneChangeKind { modified, added, deleted, renamed, renamedOrCopied };
// "M", "A", "D", "R", "R" (git's letters; a rename with changes and a copy both travel as status
// 0 with two names, so they cannot be told apart).
const char* CorvaneChangeLetter(CorvaneChangeKind kind);
// "modified", "added", "deleted", "renamed", "renamed or copied".
const char* CorvaneChangeWord(CorvaneChangeKind kind);

// The list a changeset tab shows: one row per item of the document, in the order the rows became
// known. A changeset summary announces rows ahead of their items: they are pending until an item
// for the same path arrives and fills them; an item nobody announced gets a row of its own at the
// end. Rows refer to the document's file lists by index, so a list of 100,000 items costs a few
// bytes a row. The document must outlive the list; call refresh() after it gained file lists.
class CorvaneChangesetItems {
public:
    // One row as the view shows it.
    struct Row {
        std::string path;                    // the path, or the old path of a rename
        std::optional<std::string> newPath;  // the new path of a rename or copy
        CorvaneChangeKind kind = CorvaneChangeKind::modified;
        bool pending = false;                 // announced, its item has not arrived
        bool repeated = false;                // an item whose path an earlier item already named
        bool identical = false;               // both sides were found to hold the same bytes
        std::optional<size_t> fileListIndex;  // the document's item, when it has arrived

        // Its letter ("=" when identical), its word ("identical" when so).
        const char* letter() const;
        const char* word() const;
        // "M path (modified)", "R old -> new (renamed)", "= path (identical)", pending ones
        // followed by " pending".
        std::string description() const;
    };

    explicit CorvaneChangesetItems(const CorvaneDocument& document);

    // Takes in the file lists and announcements the document gained since the last call, and
    // reports the rows that changed through the items-changed hook.
    void refresh();

    // Rows that pass the filter; positions below are among them.
    size_t count() const { return visible_.size(); }
    Row row(size_t position) const;
    // The position of the row showing the document's file list; nothing when it is filtered out.
    std::optional<size_t> positionOfFileList(size_t fileListIndex) const;
    // Keeps the rows whose path (or new path) contains the text, ignoring ASCII case; "" keeps all.
    void setFilter(std::string filter);
    const std::string& filter() const { return filter_; }
    // Every row, filtered or not, and those still pending.
    size_t totalCount() const { return entries_.size(); }
    size_t pendingCount() const;
    // Marks the rows of these file lists as holding the same bytes on both sides (a comparison
    // of folders finds out in the background), and how many rows are so marked.
    void markIdentical(const std::vector<size_t>& fileListIndices);
    size_t identicalCount() const { return identicalCount_; }

    // Called after the visible rows changed: at position, removed rows gave way to added ones
    // (the shape of GListModel's items-changed).
    std::function<void(size_t position, size_t removed, size_t added)> onItemsChanged;

private:
    static constexpr uint32_t kNone = UINT32_MAX;
    struct Entry {
        uint32_t fileList = kNone;      // index into the document's fileLists
        uint32_t announcement = kNone;  // index into the document's announcedFileLists
        bool repeated = false;          // the announcement was filled by an earlier item
        bool identical = false;         // see markIdentical()
    };
    // An announced path, unquoted, to the announcements naming it (in order).
    using AnnouncementIndex = std::unordered_multimap<std::string, uint32_t>;

    void addAnnouncement(uint32_t announcement);
    void addFileList(uint32_t fileList);
    // The entry of the first still-pending announcement naming the file list's path; nothing, with
    // the announcement it repeats when its path was announced and every such entry is filled.
    std::optional<size_t> pendingEntryForFileList(const CorvaneFileList& fileList,
                                                  uint32_t* repeatedAnnouncement) const;
    bool passesFilter(const Entry& entry) const;
    Row rowOfEntry(const Entry& entry) const;
    // Makes entry's visibility agree with the filter and reports the change.
    void updateVisibility(size_t entry);

    const CorvaneDocument& document_;
    std::vector<Entry> entries_;
    std::vector<uint32_t> visible_;               // entry indices, ascending
    std::vector<std::string> announcedPaths_;     // unquoted, one per announcement (old path)
    std::vector<std::string> announcedNewPaths_;  // unquoted new path, "" when none
    AnnouncementIndex announcedByPath_;           // by whole path, old and new
    AnnouncementIndex announcedByName_;           // by last component, old and new
    // Announcement -> its entry (announcements always have one).
    std::vector<uint32_t> entryOfAnnouncement_;
    size_t fileListsSeen_ = 0;
    size_t announcementsSeen_ = 0;
    std::string filter_;
    size_t identicalCount_ = 0;
};
