#include "app/CorvaneChangesetItems.h"

#include <algorithm>

#include "model/CVCLISerializedFileList.h"

std::string CorvaneUnquoteGitPath(std::string_view text) {
    if (text.size() < 2 || text.front() != '"' || text.back() != '"') {
        return std::string(text);
    }
    std::string_view inner = text.substr(1, text.size() - 2);
    std::string bytes;
    bytes.reserve(inner.size());
    for (size_t index = 0; index < inner.size(); ++index) {
        char character = inner[index];
        if (character == '"') {
            return std::string(text);  // an unescaped quote inside: not git's quoting
        }
        if (character != '\\') {
            bytes += character;
            continue;
        }
        if (++index == inner.size()) {
            return std::string(text);
        }
        char escape = inner[index];
        // Each escape letter followed by the byte it stands for.
        constexpr std::string_view kEscapes = "a\ab\bt\tn\nv\vf\fr\r\"\"\\\\";
        if (size_t found = kEscapes.find(escape);
            found != std::string_view::npos && found % 2 == 0) {
            bytes += kEscapes[found + 1];
            continue;
        }
        // git writes every other byte it quotes as exactly three octal digits.
        auto isOctal = [](char digit) { return digit >= '0' && digit <= '7'; };
        if (index + 2 >= inner.size() || !isOctal(escape) || escape > '3' ||
            !isOctal(inner[index + 1]) || !isOctal(inner[index + 2])) {
            return std::string(text);
        }
        bytes += static_cast<char>((escape - '0') * 64 + (inner[index + 1] - '0') * 8 +
                                   (inner[index + 2] - '0'));
        index += 2;
    }
    return bytes;
}

const char* CorvaneChangeLetter(CorvaneChangeKind kind) {
    switch (kind) {
        case CorvaneChangeKind::modified:
            return "M";
        case CorvaneChangeKind::added:
            return "A";
        case CorvaneChangeKind::deleted:
            return "D";
        case CorvaneChangeKind::renamed:
        case CorvaneChangeKind::renamedOrCopied:
            return "R";
    }
    return "M";
}

const char* CorvaneChangeWord(CorvaneChangeKind kind) {
    switch (kind) {
        case CorvaneChangeKind::modified:
            return "modified";
        case CorvaneChangeKind::added:
            return "added";
        case CorvaneChangeKind::deleted:
            return "deleted";
        case CorvaneChangeKind::renamed:
            return "renamed";
        case CorvaneChangeKind::renamedOrCopied:
            return "renamed or copied";
    }
    return "modified";
}

namespace {

CorvaneChangeKind kindOfStatus(int64_t status) {
    switch (status) {
        case CVCLISerializedFileList::added:
            return CorvaneChangeKind::added;
        case CVCLISerializedFileList::deleted:
            return CorvaneChangeKind::deleted;
        case CVCLISerializedFileList::renamed:
            return CorvaneChangeKind::renamed;
        default:
            return CorvaneChangeKind::modified;
    }
}

std::string_view lastComponent(std::string_view path) {
    size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

// git names the old side's temporary copy "XXXXXX_name" (six random characters).
std::string_view withoutTemporaryPrefix(std::string_view name) {
    return name.size() > 7 && name[6] == '_' ? name.substr(7) : name;
}

bool containsIgnoringASCIICase(std::string_view text, std::string_view part) {
    auto folded = [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character + 32) : character;
    };
    const auto* found =
        std::search(text.begin(), text.end(), part.begin(), part.end(),
                    [&](char left, char right) { return folded(left) == folded(right); });
    return found != text.end();
}

}  // namespace

bool CorvaneIsGitCopyOf(std::string_view copy, std::string_view original) {
    std::string_view name = lastComponent(original);
    std::string_view copyName = lastComponent(copy);
    if (copyName != name) {
        return withoutTemporaryPrefix(copyName) == name;
    }
    std::string_view folder = copy.substr(0, copy.size() - copyName.size());
    if (folder.ends_with('/')) {
        folder.remove_suffix(1);
    }
    return !name.empty() && lastComponent(folder).starts_with("git-blob-");
}

CorvaneChangesetItems::CorvaneChangesetItems(const CorvaneDocument& document)
    : document_(document) {
    refresh();
}

void CorvaneChangesetItems::refresh() {
    // Announcements first: a summary travels ahead of the items it announces.
    while (announcementsSeen_ < document_.announcedFileLists.size()) {
        addAnnouncement(static_cast<uint32_t>(announcementsSeen_++));
    }
    while (fileListsSeen_ < document_.fileLists.size()) {
        addFileList(static_cast<uint32_t>(fileListsSeen_++));
    }
}

void CorvaneChangesetItems::addAnnouncement(uint32_t announcement) {
    const CorvaneFileList& announced = document_.announcedFileLists[announcement];
    std::string path = announced.files.empty() ? "" : CorvaneUnquoteGitPath(announced.files[0]);
    std::string newPath =
        announced.files.size() > 1 ? CorvaneUnquoteGitPath(announced.files[1]) : "";
    announcedByPath_.emplace(path, announcement);
    announcedByName_.emplace(std::string(lastComponent(path)), announcement);
    if (!newPath.empty()) {
        announcedByPath_.emplace(newPath, announcement);
        announcedByName_.emplace(std::string(lastComponent(newPath)), announcement);
    }
    announcedPaths_.push_back(std::move(path));
    announcedNewPaths_.push_back(std::move(newPath));
    entryOfAnnouncement_.push_back(static_cast<uint32_t>(entries_.size()));
    entries_.push_back(Entry{kNone, announcement, false});
    updateVisibility(entries_.size() - 1);
}

std::optional<size_t> CorvaneChangesetItems::pendingEntryForFileList(
    const CorvaneFileList& fileList, uint32_t* repeatedAnnouncement) const {
    // The item's names, most specific first: its relative path, then every tail of each side's
    // path, longest first (a working-tree side ends in the repository path). The most specific
    // name that was announced decides: its first pending announcement, or none (a repeat).
    std::vector<std::string_view> tails;
    if (fileList.relativePath) {
        tails.push_back(*fileList.relativePath);
    }
    for (const std::string& file : fileList.files) {
        std::string_view path = file;
        if (!path.empty() && path.front() != '/') {
            tails.push_back(path);
        }
        for (size_t slash = path.find('/'); slash != std::string_view::npos;
             slash = path.find('/', slash + 1)) {
            if (slash + 1 < path.size()) {
                tails.push_back(path.substr(slash + 1));
            }
        }
    }
    auto components = [](std::string_view path) {
        return std::count(path.begin(), path.end(), '/');
    };
    std::stable_sort(tails.begin() + (fileList.relativePath ? 1 : 0), tails.end(),
                     [&](std::string_view left, std::string_view right) {
                         return components(left) > components(right);
                     });
    auto firstPending = [&](const AnnouncementIndex& index,
                            std::string_view name) -> std::optional<std::optional<size_t>> {
        auto [first, last] = index.equal_range(std::string(name));
        if (first == last) {
            return std::nullopt;
        }
        std::optional<size_t> earliest;
        for (auto found = first; found != last; ++found) {
            uint32_t entry = entryOfAnnouncement_[found->second];
            if (entries_[entry].fileList == kNone && (!earliest || entry < *earliest)) {
                earliest = entry;
            }
        }
        return earliest;
    };
    for (std::string_view tail : tails) {
        if (auto match = firstPending(announcedByPath_, tail)) {
            if (!*match) {
                *repeatedAnnouncement = announcedByPath_.find(std::string(tail))->second;
            }
            return *match;
        }
    }
    // Temporary copies keep only the file's name, git's old side as "XXXXXX_name".
    for (const std::string& file : fileList.files) {
        std::string_view name = lastComponent(file);
        for (std::string_view candidate : {name, withoutTemporaryPrefix(name)}) {
            if (auto match = firstPending(announcedByName_, candidate); match && *match) {
                return *match;
            }
        }
    }
    return std::nullopt;
}

void CorvaneChangesetItems::addFileList(uint32_t fileList) {
    uint32_t repeatedAnnouncement = kNone;
    std::optional<size_t> pending;
    if (!announcedByPath_.empty()) {
        pending = pendingEntryForFileList(document_.fileLists[fileList], &repeatedAnnouncement);
    }
    if (pending) {
        entries_[*pending].fileList = fileList;
        updateVisibility(*pending);
        return;
    }
    // A repeat shows the path it repeats, not its temporary copies.
    entries_.push_back(Entry{fileList, repeatedAnnouncement, repeatedAnnouncement != kNone});
    updateVisibility(entries_.size() - 1);
}

const char* CorvaneChangesetItems::Row::letter() const {
    return identical ? "=" : CorvaneChangeLetter(kind);
}

const char* CorvaneChangesetItems::Row::word() const {
    return identical ? "identical" : CorvaneChangeWord(kind);
}

std::string CorvaneChangesetItems::Row::description() const {
    return std::string(letter()) + " " + path + (newPath ? " -> " + *newPath : std::string()) +
           " (" + word() + ")" + (pending ? " pending" : "");
}

CorvaneChangesetItems::Row CorvaneChangesetItems::rowOfEntry(const Entry& entry) const {
    Row row;
    row.pending = entry.fileList == kNone;
    row.repeated = entry.repeated;
    row.identical = entry.identical;
    if (entry.fileList != kNone) {
        row.fileListIndex = entry.fileList;
    }
    if (entry.announcement != kNone) {
        const CorvaneFileList& announced = document_.announcedFileLists[entry.announcement];
        row.path = announcedPaths_[entry.announcement];
        if (!announcedNewPaths_[entry.announcement].empty()) {
            row.newPath = announcedNewPaths_[entry.announcement];
        }
        row.kind = kindOfStatus(announced.status);
        if (row.newPath && row.kind == CorvaneChangeKind::modified) {
            row.kind = CorvaneChangeKind::renamedOrCopied;
        }
        return row;
    }
    const CorvaneFileList& item = document_.fileLists[entry.fileList];
    row.kind = kindOfStatus(item.status);
    if (item.relativePath) {
        row.path = *item.relativePath;
    } else if (!item.files.empty()) {
        row.path = item.files.front();
        if (item.files.size() > 1 && item.files.back() != item.files.front()) {
            row.newPath = item.files.back();
        }
    }
    return row;
}

CorvaneChangesetItems::Row CorvaneChangesetItems::row(size_t position) const {
    return rowOfEntry(entries_[visible_.at(position)]);
}

std::optional<size_t> CorvaneChangesetItems::positionOfFileList(size_t fileListIndex) const {
    for (size_t position = 0; position < visible_.size(); ++position) {
        if (entries_[visible_[position]].fileList == fileListIndex) {
            return position;
        }
    }
    return std::nullopt;
}

void CorvaneChangesetItems::markIdentical(const std::vector<size_t>& fileListIndices) {
    std::vector<bool> marked(document_.fileLists.size());
    for (size_t index : fileListIndices) {
        if (index < marked.size()) {
            marked[index] = true;
        }
    }
    // The rows change in place: one report covers the first to the last that changed.
    std::optional<size_t> first;
    size_t last = 0;
    for (size_t position = 0, entry = 0; entry < entries_.size(); ++entry) {
        Entry& candidate = entries_[entry];
        bool shown = position < visible_.size() && visible_[position] == entry;
        if (candidate.fileList != kNone && candidate.fileList < marked.size() &&
            marked[candidate.fileList] && !candidate.identical) {
            candidate.identical = true;
            ++identicalCount_;
            if (shown) {
                first = first ? first : position;
                last = position;
            }
        }
        position += shown ? 1 : 0;
    }
    if (first && onItemsChanged) {
        onItemsChanged(*first, last - *first + 1, last - *first + 1);
    }
}

size_t CorvaneChangesetItems::pendingCount() const {
    return static_cast<size_t>(std::count_if(entries_.begin(), entries_.end(),
                                             [](const Entry& e) { return e.fileList == kNone; }));
}

bool CorvaneChangesetItems::passesFilter(const Entry& entry) const {
    if (filter_.empty()) {
        return true;
    }
    Row shown = rowOfEntry(entry);
    return containsIgnoringASCIICase(shown.path, filter_) ||
           (shown.newPath && containsIgnoringASCIICase(*shown.newPath, filter_));
}

void CorvaneChangesetItems::updateVisibility(size_t entry) {
    bool passes = passesFilter(entries_[entry]);
    auto place = std::lower_bound(visible_.begin(), visible_.end(), static_cast<uint32_t>(entry));
    size_t position = static_cast<size_t>(place - visible_.begin());
    bool shown = place != visible_.end() && *place == entry;
    if (passes && !shown) {
        visible_.insert(place, static_cast<uint32_t>(entry));
    } else if (!passes && shown) {
        visible_.erase(place);
    }
    if (!onItemsChanged || (!passes && !shown)) {
        return;
    }
    if (passes && shown) {
        onItemsChanged(position, 1, 1);  // filled in place
    } else {
        onItemsChanged(position, passes ? 0 : 1, passes ? 1 : 0);
    }
}

void CorvaneChangesetItems::setFilter(std::string filter) {
    if (filter == filter_) {
        return;
    }
    filter_ = std::move(filter);
    size_t removed = visible_.size();
    std::vector<uint32_t> visible;
    for (size_t entry = 0; entry < entries_.size(); ++entry) {
        if (passesFilter(entries_[entry])) {
            visible.push_back(static_cast<uint32_t>(entry));
        }
    }
    visible_ = std::move(visible);
    if (onItemsChanged) {
        onItemsChanged(0, removed, visible_.size());
    }
}
