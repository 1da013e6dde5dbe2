// Panes aligned by their equal lines: anchors from the comparisons, filler from the anchors.
#include "app/CorvaneAlignment.h"

#include <gtest/gtest.h>

#include <string>

namespace {

CorvaneComparison compared(std::string_view left, std::string_view right) {
    return CorvaneCompare(left, right, {});
}

// Every line one row of 10 pixels.
long rows(size_t, int line) {
    return line * 10L;
}

TEST(TheAlignment, FillsEachPaneUpToTheTallestBetweenTwoAnchorsAndAboveTheFirst) {
    // left: a x y b     right: a b z
    auto anchors = CorvaneAnchors({compared("a\nx\ny\nb\n", "a\nb\nz\n")}, {4, 3});
    EXPECT_EQ(anchors, (std::vector<CorvaneAnchorRun>{{{0, 0}, 1}, {{3, 1}, 1}, {{4, 3}, 1}}));
    auto filler = CorvaneFillerForAnchors(anchors, rows);
    // x y against nothing: 20 pixels below a on the right; z against nothing: 10 below b on the
    // left.
    EXPECT_EQ(filler, (std::vector<CorvaneFiller>{{0, {{3, 10}}}, {0, {{0, 20}}}}));

    // Panes that differ from the start: filler above the first line.
    filler =
        CorvaneFillerForAnchors(CorvaneAnchors({compared("new\nsame\n", "same\n")}, {2, 1}), rows);
    EXPECT_EQ(filler, (std::vector<CorvaneFiller>{{}, {10, {}}}));
}

TEST(TheAlignment, AnchorsThreePanesOnlyWhereAllThreeAgree) {
    // The middle pane is the reference; "b" differs on the right, "c" is new on the left.
    auto anchors =
        CorvaneAnchors({compared("a\nc\nb\n", "a\nb\n"), compared("a\nb\n", "a\nB\n")}, {3, 2, 2});
    EXPECT_EQ(anchors, (std::vector<CorvaneAnchorRun>{{{0, 0, 0}, 1}, {{3, 2, 2}, 1}}));
    EXPECT_EQ(CorvaneFillerForAnchors(anchors, rows),
              (std::vector<CorvaneFiller>{{}, {0, {{1, 10}}}, {0, {{1, 10}}}}));
}

TEST(TheAlignment, MeasuresWrappedLinesByThePixelsTheyTake) {
    // The same two lines, the first wrapped into three rows on the left only.
    auto anchors = CorvaneAnchors({compared("long\nend\n", "long\nend\n")}, {2, 2});
    // Equal lines and the end after them are one run.
    EXPECT_EQ(anchors, (std::vector<CorvaneAnchorRun>{{{0, 0}, 3}}));
    auto wrapped = [](size_t pane, int line) {
        return pane == 0 && line > 0 ? 30L + (line - 1) * 10L : line * 10L;
    };
    EXPECT_EQ(CorvaneFillerForAnchors(anchors, wrapped),
              (std::vector<CorvaneFiller>{{}, {0, {{0, 20}}}}));
}

}  // namespace
