#include "app/CorvaneMerge.h"

#include <git2.h>

#include <algorithm>

#include "platform/CVFiles.h"

namespace {

// libgit2 keeps global state between its init and shutdown calls, counted.
struct Libgit2 {
    Libgit2() { git_libgit2_init(); }
    ~Libgit2() { git_libgit2_shutdown(); }
    Libgit2(const Libgit2&) = delete;
    Libgit2& operator=(const Libgit2&) = delete;
};

// One changed stretch between an older and a newer text, in 0-based lines.
struct Hunk {
    int oldStart = 0;
    int oldCount = 0;
    int newStart = 0;
    int newCount = 0;
};

int collectHunk(const git_diff_delta*, const git_diff_hunk* hunk, void* payload) {
    // Without context lines an empty side's start names the line before the change.
    Hunk collected;
    collected.oldCount = hunk->old_lines;
    collected.newCount = hunk->new_lines;
    collected.oldStart = hunk->old_lines == 0 ? hunk->old_start : hunk->old_start - 1;
    collected.newStart = hunk->new_lines == 0 ? hunk->new_start : hunk->new_start - 1;
    static_cast<std::vector<Hunk>*>(payload)->push_back(collected);
    return 0;
}

// The changes that turn the older text into the newer one, in order.
std::vector<Hunk> hunksBetween(std::string_view older, std::string_view newer) {
    static Libgit2 library;
    git_diff_options options = GIT_DIFF_OPTIONS_INIT;
    options.context_lines = 0;
    options.interhunk_lines = 0;
    options.flags = GIT_DIFF_FORCE_TEXT;
    std::vector<Hunk> hunks;
    if (git_diff_buffers(older.data(), older.size(), nullptr, newer.data(), newer.size(), nullptr,
                         &options, nullptr, nullptr, collectHunk, nullptr, &hunks) < 0 &&
        older != newer) {
        // Out of memory: one change over everything, so that nothing is merged silently away.
        auto lines = [](std::string_view text) {
            return static_cast<int>(std::count(text.begin(), text.end(), '\n') +
                                    (!text.empty() && text.back() != '\n' ? 1 : 0));
        };
        hunks = {Hunk{0, lines(older), 0, lines(newer)}};
    }
    return hunks;
}

std::vector<size_t> lineStarts(std::string_view text) {
    std::vector<size_t> starts{0};
    for (size_t index = 0; index < text.size(); ++index) {
        if (text[index] == '\n' && index + 1 < text.size()) {
            starts.push_back(index + 1);
        }
    }
    if (text.empty()) {
        starts.clear();
    }
    starts.push_back(text.size());
    return starts;
}

// Appends the part so that it begins on a line of its own.
void appendOnNewLine(std::string& text, std::string_view part) {
    if (!text.empty() && text.back() != '\n' && !part.empty()) {
        text += '\n';
    }
    text += part;
}

}  // namespace

CorvaneMerge::CorvaneMerge(std::string left, std::string right, std::optional<std::string> base,
                           std::string outputPath)
    : left_(std::move(left)),
      right_(std::move(right)),
      base_(std::move(base)),
      outputPath_(std::move(outputPath)) {
    outputIdentity_ = CVFileIdentityOfPath(outputPath_);
    leftStarts_ = lineStarts(left_);
    rightStarts_ = lineStarts(right_);
    using Kind = Region::Kind;
    if (!base_) {
        int position = 0;  // in the left text
        int delta = 0;     // right line = left line + delta outside the changes
        for (const Hunk& hunk : hunksBetween(left_, right_)) {
            if (hunk.oldStart > position) {
                Region same;
                same.left = {position, hunk.oldStart - position};
                same.right = {position + delta, hunk.oldStart - position};
                regions_.push_back(same);
            }
            Region conflict;
            conflict.kind = Kind::conflict;
            conflict.left = {hunk.oldStart, hunk.oldCount};
            conflict.right = {hunk.newStart, hunk.newCount};
            regions_.push_back(conflict);
            position = hunk.oldStart + hunk.oldCount;
            delta += hunk.newCount - hunk.oldCount;
        }
        int leftLines = static_cast<int>(leftStarts_.size()) - 1;
        if (position < leftLines || regions_.empty()) {
            Region same;
            same.left = {position, leftLines - position};
            same.right = {position + delta, leftLines - position};
            regions_.push_back(same);
        }
        return;
    }
    baseStarts_ = lineStarts(*base_);
    std::vector<Hunk> leftHunks = hunksBetween(*base_, left_);
    std::vector<Hunk> rightHunks = hunksBetween(*base_, right_);
    size_t nextLeft = 0;
    size_t nextRight = 0;
    int position = 0;  // in the base
    int leftDelta = 0;
    int rightDelta = 0;
    auto addUnchanged = [&](int end) {
        if (end > position) {
            Region same;
            same.base = {position, end - position};
            same.left = {position + leftDelta, end - position};
            same.right = {position + rightDelta, end - position};
            regions_.push_back(same);
        }
    };
    while (nextLeft < leftHunks.size() || nextRight < rightHunks.size()) {
        // A group starts at the earlier change and takes in every change of either side that
        // overlaps or touches it: changes on adjacent lines conflict, as in git.
        bool leftFirst = nextRight == rightHunks.size() ||
                         (nextLeft < leftHunks.size() &&
                          leftHunks[nextLeft].oldStart <= rightHunks[nextRight].oldStart);
        const Hunk& first = leftFirst ? leftHunks[nextLeft] : rightHunks[nextRight];
        int start = first.oldStart;
        int end = first.oldStart + first.oldCount;
        int leftChange = 0;
        int rightChange = 0;
        bool leftChanged = false;
        bool rightChanged = false;
        for (bool grew = true; grew;) {
            grew = false;
            if (nextLeft < leftHunks.size() && leftHunks[nextLeft].oldStart <= end) {
                const Hunk& hunk = leftHunks[nextLeft++];
                end = std::max(end, hunk.oldStart + hunk.oldCount);
                leftChange += hunk.newCount - hunk.oldCount;
                leftChanged = grew = true;
            }
            if (nextRight < rightHunks.size() && rightHunks[nextRight].oldStart <= end) {
                const Hunk& hunk = rightHunks[nextRight++];
                end = std::max(end, hunk.oldStart + hunk.oldCount);
                rightChange += hunk.newCount - hunk.oldCount;
                rightChanged = grew = true;
            }
        }
        addUnchanged(start);
        Region changed;
        changed.base = {start, end - start};
        changed.left = {start + leftDelta, end - start + leftChange};
        changed.right = {start + rightDelta, end - start + rightChange};
        if (!rightChanged) {
            changed.kind = Kind::left;
        } else if (!leftChanged) {
            changed.kind = Kind::right;
        } else if (textOf(left_, leftStarts_, changed.left) ==
                   textOf(right_, rightStarts_, changed.right)) {
            changed.kind = Kind::both;
        } else {
            changed.kind = Kind::conflict;
        }
        regions_.push_back(changed);
        leftDelta += leftChange;
        rightDelta += rightChange;
        position = end;
    }
    int baseLines = static_cast<int>(baseStarts_.size()) - 1;
    addUnchanged(baseLines);
    if (regions_.empty()) {
        regions_.push_back(Region{});
    }
}

std::string_view CorvaneMerge::textOf(const std::string& text, const std::vector<size_t>& starts,
                                      LineRange range) const {
    size_t begin = starts[static_cast<size_t>(range.start)];
    size_t end = starts[static_cast<size_t>(range.start) + static_cast<size_t>(range.count)];
    return std::string_view(text).substr(begin, end - begin);
}

std::string CorvaneMerge::regionText(const Region& region) const {
    std::string_view left = textOf(left_, leftStarts_, region.left);
    std::string_view right = textOf(right_, rightStarts_, region.right);
    std::string text;
    if (region.choice == Choice::edited) {
        return region.edited;
    }
    switch (region.kind) {
        case Region::Kind::unchanged:
        case Region::Kind::left:
        case Region::Kind::both:
            return std::string(left);
        case Region::Kind::right:
            return std::string(right);
        case Region::Kind::conflict:
            break;
    }
    switch (region.choice) {
        case Choice::left:
            return std::string(left);
        case Choice::right:
            return std::string(right);
        case Choice::leftThenRight:
            text = left;
            appendOnNewLine(text, right);
            return text;
        case Choice::rightThenLeft:
            text = right;
            appendOnNewLine(text, left);
            return text;
        case Choice::base:
            return base_ ? std::string(textOf(*base_, baseStarts_, region.base)) : text;
        case Choice::edited:
        case Choice::unresolved:
            break;
    }
    text = "<<<<<<< left\n";
    appendOnNewLine(text, left);
    if (base_) {
        appendOnNewLine(text, "||||||| base\n");
        appendOnNewLine(text, textOf(*base_, baseStarts_, region.base));
    }
    appendOnNewLine(text, "=======\n");
    appendOnNewLine(text, right);
    appendOnNewLine(text, ">>>>>>> right\n");
    return text;
}

std::string CorvaneMerge::resultText() const {
    std::string text;
    for (const Region& region : regions_) {
        text += regionText(region);
    }
    return text;
}

std::vector<size_t> CorvaneMerge::regionOffsets() const {
    std::vector<size_t> offsets{0};
    for (const Region& region : regions_) {
        offsets.push_back(offsets.back() + regionText(region).size());
    }
    return offsets;
}

size_t CorvaneMerge::conflictsLeft() const {
    return static_cast<size_t>(std::count_if(regions_.begin(), regions_.end(), [](const Region& r) {
        return r.kind == Region::Kind::conflict && r.choice == Choice::unresolved;
    }));
}

std::optional<size_t> CorvaneMerge::nextConflict(std::optional<size_t> after) const {
    for (size_t index = after ? *after + 1 : 0; index < regions_.size(); ++index) {
        if (regions_[index].kind == Region::Kind::conflict) {
            return index;
        }
    }
    return std::nullopt;
}

std::optional<size_t> CorvaneMerge::previousConflict(std::optional<size_t> before) const {
    for (size_t index = before ? std::min(*before, regions_.size()) : regions_.size(); index > 0;
         --index) {
        if (regions_[index - 1].kind == Region::Kind::conflict) {
            return index - 1;
        }
    }
    return std::nullopt;
}

size_t CorvaneMerge::regionAtOffset(size_t offset) const {
    std::vector<size_t> offsets = regionOffsets();
    auto after = std::upper_bound(offsets.begin(), offsets.end() - 1, offset);
    return static_cast<size_t>(after - offsets.begin()) - 1;
}

bool CorvaneMerge::choose(size_t region, Choice choice) {
    if (region >= regions_.size() || regions_[region].kind != Region::Kind::conflict ||
        choice == Choice::edited || (choice == Choice::base && !base_)) {
        return false;
    }
    regions_[region].choice = choice;
    regions_[region].edited.clear();
    userChanges_ = true;
    return true;
}

bool CorvaneMerge::edit(size_t offset, size_t removedLength, std::string_view inserted) {
    std::vector<size_t> offsets = regionOffsets();
    if (offset > offsets.back() || removedLength > offsets.back() - offset) {
        return false;
    }
    size_t first = regionAtOffset(offset);
    if (removedLength == 0) {
        // Typing into an empty conflict (say, one resolved as a deletion) edits that conflict.
        for (size_t index = first; index > 0 && offsets[index] == offset; --index) {
            if (offsets[index - 1] == offset &&
                regions_[index - 1].kind == Region::Kind::conflict) {
                first = index - 1;
            }
        }
    }
    size_t last = removedLength == 0 ? first : regionAtOffset(offset + removedLength - 1);
    Region merged = regions_[first];
    std::string text;
    for (size_t index = first; index <= last; ++index) {
        text += regionText(regions_[index]);
        if (regions_[index].kind == Region::Kind::conflict) {
            merged.kind = Region::Kind::conflict;
        }
    }
    const Region& end = regions_[last];
    merged.base.count = end.base.start + end.base.count - merged.base.start;
    merged.left.count = end.left.start + end.left.count - merged.left.start;
    merged.right.count = end.right.start + end.right.count - merged.right.start;
    text.replace(offset - offsets[first], removedLength, inserted);
    merged.edited = std::move(text);
    merged.choice = Choice::edited;
    regions_.erase(regions_.begin() + static_cast<std::ptrdiff_t>(first) + 1,
                   regions_.begin() + static_cast<std::ptrdiff_t>(last) + 1);
    regions_[first] = std::move(merged);
    userChanges_ = true;
    return true;
}

CorvaneMerge::WriteOutcome CorvaneMerge::resolve(bool overwriteChanged, std::string* whyNot) {
    if (size_t left = conflictsLeft(); left > 0) {
        *whyNot = left == 1 ? "1 conflict is left." : std::to_string(left) + " conflicts are left.";
        return WriteOutcome::conflictsLeft;
    }
    if (!overwriteChanged && CVFileIdentityOfPath(outputPath_) != outputIdentity_) {
        *whyNot = "\"" + outputPath_ + "\" was changed by another program since the merge opened.";
        return WriteOutcome::outputChangedElsewhere;
    }
    if (!CorvaneWriteMergeOutput(outputPath_, resultText(), whyNot)) {
        return WriteOutcome::failed;
    }
    outputIdentity_ = CVFileIdentityOfPath(outputPath_);
    return WriteOutcome::written;
}

bool CorvaneWriteMergeOutput(const std::string& path, std::string_view bytes, std::string* whyNot) {
    std::optional<CVError> error;
    if (!CVWriteFileAtomically(path, bytes, &error, 0644)) {
        *whyNot = error ? error->localizedDescription() + "." : "Could not write \"" + path + "\".";
        return false;
    }
    return true;
}
