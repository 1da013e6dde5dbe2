#pragma once

#include <functional>
#include <map>
#include <vector>

#include "app/CorvaneComparison.h"

// Aligning two or three panes side by side: lines equal in every pane are anchors, and between
// two anchors each pane is filled up to the height of the tallest, so that the anchors stand on
// the same row. Panes are compared in pairs (left with middle, middle with right); with three,
// the middle one is the reference.

// Anchors that follow one another a line further down in every pane, as one run: the line of
// every pane at its first anchor, and how many anchors it holds.
struct CorvaneAnchorRun {
    std::vector<int> lines;
    int count = 1;
    bool operator==(const CorvaneAnchorRun&) const = default;
};

// The anchors in order, in runs (a million equal lines are one run, not a million rows). A last
// anchor of the panes' line counts closes the stretch after the last equal line.
std::vector<CorvaneAnchorRun> CorvaneAnchors(const std::vector<CorvaneComparison>& pairs,
                                             const std::vector<int>& lineCounts);

// The filler of one pane, in pixels: above its first line, and below each line that has some.
struct CorvaneFiller {
    int above = 0;
    std::map<int, int> below;
    bool operator==(const CorvaneFiller&) const = default;
};

// The filler that aligns the anchors; `pixelsBefore(pane, line)` is how far the line's top is
// from the text's top (its line number times the line height, unless lines wrap).
std::vector<CorvaneFiller> CorvaneFillerForAnchors(
    const std::vector<CorvaneAnchorRun>& anchors,
    const std::function<long(size_t pane, int line)>& pixelsBefore);
