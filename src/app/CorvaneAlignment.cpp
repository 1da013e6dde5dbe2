#include "app/CorvaneAlignment.h"

#include <algorithm>

std::vector<CorvaneAnchorRun> CorvaneAnchors(const std::vector<CorvaneComparison>& pairs,
                                             const std::vector<int>& lineCounts) {
    size_t panes = lineCounts.size();
    size_t reference = panes == 3 ? 1 : 0;
    int referenceLines = lineCounts[reference];
    // For every other pane, its line equal to each reference line; -1 where there is none.
    std::vector<std::vector<int>> partner(panes);
    for (size_t pane = 0; pane < panes; ++pane) {
        if (pane == reference) {
            continue;
        }
        auto& map = partner[pane];
        map.assign(static_cast<size_t>(referenceLines), -1);
        size_t pair = std::min(pane, reference);
        bool referenceIsLeft = pair == reference;
        for (const CorvaneChunk& chunk : pairs[pair].chunks) {
            if (chunk.kind != CorvaneChunk::Kind::equal || chunk.left.count != chunk.right.count) {
                continue;
            }
            const CorvaneLineRange& ours = referenceIsLeft ? chunk.left : chunk.right;
            const CorvaneLineRange& theirs = referenceIsLeft ? chunk.right : chunk.left;
            for (int line = 0; line < ours.count; ++line) {
                map[static_cast<size_t>(ours.start) + static_cast<size_t>(line)] =
                    theirs.start + line;
            }
        }
    }
    std::vector<CorvaneAnchorRun> anchors;
    auto add = [&](const std::vector<int>& lines) {
        if (!anchors.empty()) {
            CorvaneAnchorRun& run = anchors.back();
            bool follows = true;
            for (size_t pane = 0; pane < panes && follows; ++pane) {
                follows = lines[pane] == run.lines[pane] + run.count;
            }
            if (follows) {
                ++run.count;
                return;
            }
        }
        anchors.push_back({lines, 1});
    };
    std::vector<int> row(panes);
    for (int line = 0; line < referenceLines; ++line) {
        bool anchored = true;
        for (size_t pane = 0; pane < panes && anchored; ++pane) {
            row[pane] = pane == reference ? line : partner[pane][static_cast<size_t>(line)];
            anchored = row[pane] >= 0;
        }
        if (anchored) {
            add(row);
        }
    }
    add(lineCounts);
    return anchors;
}

std::vector<CorvaneFiller> CorvaneFillerForAnchors(
    const std::vector<CorvaneAnchorRun>& anchors,
    const std::function<long(size_t pane, int line)>& pixelsBefore) {
    size_t panes = anchors.empty() ? 0 : anchors.front().lines.size();
    std::vector<CorvaneFiller> filler(panes);
    std::vector<int> previous(panes, 0);
    std::vector<int> lines(panes);
    std::vector<long> heights(panes);
    for (const CorvaneAnchorRun& run : anchors) {
        for (int step = 0; step < run.count; ++step) {
            for (size_t pane = 0; pane < panes; ++pane) {
                lines[pane] = run.lines[pane] + step;
                // The height of each pane from the previous anchor down to this one.
                heights[pane] =
                    pixelsBefore(pane, lines[pane]) - pixelsBefore(pane, previous[pane]);
            }
            long tallest = *std::max_element(heights.begin(), heights.end());
            for (size_t pane = 0; pane < panes; ++pane) {
                auto missing = static_cast<int>(tallest - heights[pane]);
                if (missing > 0 && lines[pane] > 0) {
                    filler[pane].below[lines[pane] - 1] += missing;
                } else if (missing > 0) {
                    filler[pane].above += missing;
                }
            }
            previous.swap(lines);
        }
    }
    return filler;
}
