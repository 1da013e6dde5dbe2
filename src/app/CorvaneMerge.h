#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/CVFileIdentity.h"

// A merge being built: the left and right texts, the base when there is one, and the result as a
// sequence of regions. Stable regions take their text automatically (unchanged, or changed on one
// side, or changed alike on both); a conflict takes the text of the choice made for it, or of a
// hand edit. Without a base every difference between left and right is a conflict.
class CorvaneMerge {
public:
    enum class Choice { unresolved, left, right, leftThenRight, rightThenLeft, base, edited };
    struct LineRange {
        int start = 0;  // 0-based line
        int count = 0;
    };
    struct Region {
        enum class Kind { unchanged, left, right, both, conflict };
        Kind kind = Kind::unchanged;  // which side's change the region takes, or a conflict
        LineRange base, left, right;
        Choice choice = Choice::unresolved;  // conflicts; any region a hand edit touched: edited
        std::string edited;                  // the region's text after a hand edit
    };

    // Merges the texts (line ends kept as they are); the output file's identity is taken now, so
    // that writing can tell when someone else changed it meanwhile.
    CorvaneMerge(std::string left, std::string right, std::optional<std::string> base,
                 std::string outputPath);

    const std::vector<Region>& regions() const { return regions_; }
    const std::string& left() const { return left_; }
    const std::string& right() const { return right_; }
    const std::optional<std::string>& base() const { return base_; }
    bool hasBase() const { return base_.has_value(); }
    const std::string& outputPath() const { return outputPath_; }

    // The result as it stands; an unresolved conflict shows git's markers around both sides and
    // the base between them ("<<<<<<< left", "||||||| base", "=======", ">>>>>>> right"), as
    // `git merge-file --diff3` writes it.
    std::string resultText() const;
    // The byte offset of each region's text in resultText(), one more than regions() (the end).
    std::vector<size_t> regionOffsets() const;
    size_t conflictsLeft() const;
    // The region index of the next (previous) conflict after (before) the region, unresolved or
    // not; nothing at the end (start).
    std::optional<size_t> nextConflict(std::optional<size_t> after) const;
    std::optional<size_t> previousConflict(std::optional<size_t> before) const;
    // The region holding the result's byte offset.
    size_t regionAtOffset(size_t offset) const;

    // Sets a conflict's choice; false for a region that is not a conflict, or base without one.
    bool choose(size_t region, Choice choice);
    // Replaces removedLength bytes of the result at offset with the text, as a person typing in
    // the result does: the regions the edit touches become one region holding their edited text,
    // and a conflict among them counts as resolved by that edit. False when the range is outside.
    bool edit(size_t offset, size_t removedLength, std::string_view inserted);
    // Whether a choice or an edit was made since the merge was opened.
    bool hasUserChanges() const { return userChanges_; }

    enum class WriteOutcome { written, conflictsLeft, outputChangedElsewhere, failed };
    // Writes the result over the output file atomically, keeping its mode. Refuses while a
    // conflict is left, and when the output file changed (or appeared, or vanished) since the
    // merge opened unless overwriteChanged; a failure leaves the file and the merge as they were.
    // whyNot gets a sentence for the person.
    WriteOutcome resolve(bool overwriteChanged, std::string* whyNot);

private:
    std::string_view textOf(const std::string& text, const std::vector<size_t>& starts,
                            LineRange range) const;
    std::string regionText(const Region& region) const;

    std::string left_, right_;
    std::optional<std::string> base_;
    std::vector<size_t> leftStarts_, rightStarts_, baseStarts_;  // line starts, plus the end
    std::vector<Region> regions_;
    std::string outputPath_;
    std::optional<CVFileIdentity> outputIdentity_;
    bool userChanges_ = false;
};

// Writes the bytes over the merge's output file atomically (a side file in the same folder,
// flushed, renamed over it), keeping the file's mode (0644 for a new file); false with a
// sentence in whyNot.
bool CorvaneWriteMergeOutput(const std::string& path, std::string_view bytes, std::string* whyNot);
