// One pane of a comparison of files: where its lines and bytes are, and the tints, gaps and
// changed words it paints below its text as they come into view.
#include "app/view/CorvaneFileComparisonParts.h"

#include <algorithm>

#include "app/view/CorvaneSourceView.h"

namespace CorvaneFileComparisonParts {

const char* nameOf(Mark kind) {
    return kind == Mark::inserted ? "inserted" : kind == Mark::deleted ? "deleted" : "changed";
}

const char* colourOf(Mark kind, bool words) {
    const CorvaneTints& colours = CorvaneTintsOfStyle();
    switch (kind) {
        case Mark::inserted:
            return words ? colours.insertedWords : colours.inserted;
        case Mark::deleted:
            return words ? colours.deletedWords : colours.deleted;
        case Mark::changed:
            break;
    }
    return words ? colours.changedWords : colours.changed;
}

GdkRGBA rgba(const char* colour, float alpha) {
    GdkRGBA result{};
    gdk_rgba_parse(&result, colour);
    result.alpha = alpha;
    return result;
}

}  // namespace CorvaneFileComparisonParts

using namespace CorvaneFileComparisonParts;

void CorvaneFileComparisonView::Side::rowsOfLines(int first, int count, double* top,
                                                  double* bottom) const {
    int last = first + count - 1;
    if (large != nullptr) {
        *top = large->topOfLine(first);
        *bottom = large->bottomOfLine(last);
        return;
    }
    GtkTextView* text = GTK_TEXT_VIEW(view);
    GtkTextBuffer* textBuffer = GTK_TEXT_BUFFER(buffer);
    GtkTextIter iterator;
    int y = 0;
    int height = 0;
    gtk_text_buffer_get_iter_at_line(textBuffer, &iterator, first);
    gtk_text_view_get_line_yrange(text, &iterator, &y, &height);
    *top = y + (first == 0 ? fillerAbove : 0);
    if (last != first) {
        gtk_text_buffer_get_iter_at_line(textBuffer, &iterator, last);
        gtk_text_view_get_line_yrange(text, &iterator, &y, &height);
    }
    auto filler = fillerBelow.find(last);
    *bottom = y + height - (filler == fillerBelow.end() ? 0 : filler->second);
}

double CorvaneFileComparisonView::Side::topOfLine(int line) const {
    if (large != nullptr) {
        return line < large->lineCount() ? large->topOfLine(line) : large->contentHeight();
    }
    GtkTextView* text = GTK_TEXT_VIEW(view);
    GtkTextBuffer* textBuffer = GTK_TEXT_BUFFER(buffer);
    GtkTextIter iterator;
    int y = 0;
    int height = 0;
    if (line < gtk_text_buffer_get_line_count(textBuffer)) {
        gtk_text_buffer_get_iter_at_line(textBuffer, &iterator, line);
        gtk_text_view_get_line_yrange(text, &iterator, &y, &height);
        return y;
    }
    gtk_text_buffer_get_end_iter(textBuffer, &iterator);
    gtk_text_view_get_line_yrange(text, &iterator, &y, &height);
    return y + height;
}

int CorvaneFileComparisonView::Side::lineAtY(double y) const {
    if (large != nullptr) {
        return large->lineAtY(y);
    }
    GtkTextIter iterator;
    int unused = 0;
    gtk_text_view_get_line_at_y(GTK_TEXT_VIEW(view), &iterator, static_cast<int>(y), &unused);
    return gtk_text_iter_get_line(&iterator);
}

GdkRectangle CorvaneFileComparisonView::Side::visible() const {
    if (large != nullptr) {
        return *large->visibleRect().gobj();
    }
    GdkRectangle rectangle;
    gtk_text_view_get_visible_rect(GTK_TEXT_VIEW(view), &rectangle);
    return rectangle;
}

double CorvaneFileComparisonView::Side::canvasY(double y) const {
    if (large != nullptr) {
        return y - large->visibleRect().get_y();
    }
    int windowX = 0;
    int windowY = 0;
    gtk_text_view_buffer_to_window_coords(GTK_TEXT_VIEW(view), GTK_TEXT_WINDOW_WIDGET, 0,
                                          static_cast<int>(y), &windowX, &windowY);
    return windowY;
}

std::vector<graphene_rect_t> CorvaneFileComparisonView::Side::areasOfBytes(
    int line, int start, int end, const GdkRectangle& visible) const {
    if (large != nullptr) {
        auto [left, right] = large->spanX(line, start, end);
        return {graphene_rect_t{
            {static_cast<float>(left), static_cast<float>(large->topOfLine(line))},
            {static_cast<float>(right - left), static_cast<float>(large->rowHeight())}}};
    }
    GtkTextView* text = GTK_TEXT_VIEW(view);
    GtkTextBuffer* textBuffer = GTK_TEXT_BUFFER(buffer);
    GtkTextIter lineStart;
    gtk_text_buffer_get_iter_at_line(textBuffer, &lineStart, line);
    if (end > gtk_text_iter_get_bytes_in_line(&lineStart)) {
        return {};
    }
    GtkTextIter from;
    GtkTextIter to;
    gtk_text_buffer_get_iter_at_line_index(textBuffer, &from, line, start);
    gtk_text_buffer_get_iter_at_line_index(textBuffer, &to, line, end);
    GdkRectangle a;
    GdkRectangle b;
    gtk_text_view_get_iter_location(text, &from, &a);
    gtk_text_view_get_iter_location(text, &to, &b);
    auto area = [](double x, double y, double width, double height) {
        return graphene_rect_t{{static_cast<float>(x), static_cast<float>(y)},
                               {static_cast<float>(width), static_cast<float>(height)}};
    };
    if (a.y == b.y) {
        return {area(a.x, a.y, b.x - a.x, a.height)};
    }
    // A wrapped span: to the end of its first row, whole rows, then its last row's start.
    double right = visible.x + visible.width;
    std::vector<graphene_rect_t> areas = {area(a.x, a.y, right - a.x, a.height)};
    if (b.y > a.y + a.height) {
        areas.push_back(area(0, a.y + a.height, right, b.y - a.y - a.height));
    }
    if (b.x > 0) {
        areas.push_back(area(0, b.y, b.x, b.height));
    }
    return areas;
}

void CorvaneFileComparisonView::Side::paintBelowText(GtkSnapshot* snapshot,
                                                     const GdkRectangle& visible) const {
    if (tinted.empty() && gaps.empty()) {
        return;
    }
    int firstLine = lineAtY(visible.y);
    int lastLine = lineAtY(visible.y + visible.height);
    auto across = [&](double top, double bottom) {
        return graphene_rect_t{
            {static_cast<float>(visible.x), static_cast<float>(top)},
            {static_cast<float>(visible.width), static_cast<float>(bottom - top)}};
    };

    auto tint = std::lower_bound(
        tinted.begin(), tinted.end(), firstLine,
        [](const Tint& candidate, int line) { return candidate.start + candidate.count <= line; });
    for (; tint != tinted.end() && tint->start <= lastLine; ++tint) {
        double top = 0;
        double bottom = 0;
        rowsOfLines(tint->start, tint->count, &top, &bottom);
        GdkRGBA colour = rgba(colourOf(tint->kind, false));
        graphene_rect_t area = across(top, bottom);
        gtk_snapshot_append_color(snapshot, &colour, &area);
    }

    // A gap stands where the other pane's lines are: the filler there, faintly tinted and edged.
    auto gap =
        std::lower_bound(gaps.begin(), gaps.end(), firstLine,
                         [](const Tint& candidate, int line) { return candidate.start < line; });
    for (; gap != gaps.end() && gap->start <= lastLine + 1; ++gap) {
        double top = 0;
        double bottom = 0;
        if (gap->start == 0) {
            bottom = fillerAbove;
        } else {
            double unused = 0;
            rowsOfLines(gap->start - 1, 1, &unused, &top);
            auto filler = fillerBelow.find(gap->start - 1);
            bottom = top + (filler == fillerBelow.end() ? 0 : filler->second);
        }
        GdkRGBA faint = rgba(colourOf(gap->kind, false), 0.45f);
        GdkRGBA edge = rgba(colourOf(gap->kind, true));
        graphene_rect_t area = across(top, bottom);
        gtk_snapshot_append_color(snapshot, &faint, &area);
        graphene_rect_t topEdge = across(top, top + 1);
        gtk_snapshot_append_color(snapshot, &edge, &topEdge);
        if (bottom - top > 1) {
            graphene_rect_t bottomEdge = across(bottom - 1, bottom);
            gtk_snapshot_append_color(snapshot, &edge, &bottomEdge);
        }
    }

    // Changed words, on the rows where their characters are.
    for (auto line = changedWords.lower_bound(firstLine);
         line != changedWords.end() && line->first <= lastLine; ++line) {
        auto kind = std::upper_bound(
            tinted.begin(), tinted.end(), line->first,
            [](int number, const Tint& candidate) { return number < candidate.start; });
        Mark mark = kind != tinted.begin() ? std::prev(kind)->kind : Mark::changed;
        GdkRGBA colour = rgba(colourOf(mark, true));
        for (const CorvaneSpan& span : line->second) {
            if (span.start >= span.end) {
                continue;
            }
            for (const graphene_rect_t& area :
                 areasOfBytes(line->first, span.start, span.end, visible)) {
                if (area.size.width > 0 && area.size.height > 0) {
                    gtk_snapshot_append_color(snapshot, &colour, &area);
                }
            }
        }
    }
}
