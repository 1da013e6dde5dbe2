// How a comparison of files lays out what it shows: the filler that aligns the panes, the marks
// and tints of its changes, the bands between the panes, moving between changes, and its
// description for tests.
#include "app/view/CorvaneFileComparisonParts.h"

#include "app/view/CorvaneWrapping.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

using namespace CorvaneFileComparisonParts;

double CorvaneFileComparisonView::rowPitch(const Side& side) const {
    auto* layout = gtk_widget_create_pango_layout(side.view, "Xy");
    int width = 0;
    int height = 0;
    pango_layout_get_size(layout, &width, &height);
    g_object_unref(layout);
    return std::max(static_cast<double>(height) / PANGO_SCALE, 1.0);
}

int CorvaneFileComparisonView::columnsPerRow(const Side& side) const {
    if (side.large != nullptr) {
        return 0;
    }
    GtkTextView* text = GTK_TEXT_VIEW(side.view);
    GdkRectangle visible;
    gtk_text_view_get_visible_rect(text, &visible);
    int usable =
        visible.width - gtk_text_view_get_left_margin(text) - gtk_text_view_get_right_margin(text);
    auto* layout = gtk_widget_create_pango_layout(side.view, "0000000000");
    int width = 0;
    int height = 0;
    pango_layout_get_pixel_size(layout, &width, &height);
    g_object_unref(layout);
    return width > 0 ? usable * 10 / width : 0;
}

void CorvaneFileComparisonView::alignAgain() {
    if (!alignIdle_.connected()) {
        alignIdle_ = Glib::signal_idle().connect([this] {
            if (shown_ && result_ && !result_->comparisons.empty()) {
                applyComparison();
            }
            return false;
        });
    }
}

int CorvaneFileComparisonView::lineHeight(const Side& side) const {
    if (side.large != nullptr) {
        return side.large->rowHeight();
    }
    auto* layout = gtk_widget_create_pango_layout(side.view, "Xy");
    int width = 0;
    int height = 0;
    pango_layout_get_pixel_size(layout, &width, &height);
    g_object_unref(layout);
    return std::max(height, 1);
}

void CorvaneFileComparisonView::clearMarks() {
    for (auto& side : sides_) {
        GtkTextBuffer* buffer = GTK_TEXT_BUFFER(side->buffer);
        GtkTextIter start;
        GtkTextIter end;
        gtk_text_buffer_get_bounds(buffer, &start, &end);
        for (GtkTextTag* tag : side->fillerTags) {
            gtk_text_buffer_remove_tag(buffer, tag, &start, &end);
        }
        side->fillerBelow.clear();
        side->fillerAbove = 0;
        side->tinted.clear();
        side->changedWords.clear();
        side->gaps.clear();
        side->highlightedSpans = 0;
        gtk_text_view_set_bottom_margin(GTK_TEXT_VIEW(side->view), 0);
    }
}

void CorvaneFileComparisonView::applyComparison() {
    markBuffers();
    for (auto& side : sides_) {
        gtk_widget_queue_draw(side->canvas());
    }
    for (auto& band : bands_) {
        band->queue_draw();
    }
}

void CorvaneFileComparisonView::markBuffers() {
    clearMarks();
    markChanges();
    std::vector<int> lineCounts;
    for (const auto& side : sides_) {
        lineCounts.push_back(side->lineCount());
    }
    applyFiller(CorvaneFillerForAnchors(CorvaneAnchors(result_->comparisons, lineCounts),
                                        pixelsBeforeLine()));
    for (auto& band : bands_) {
        band->queue_draw();
    }
}

void CorvaneFileComparisonView::markChanges() {
    // Tints and changed words, painted as the panes draw.
    for (size_t pair = 0; pair < result_->comparisons.size(); ++pair) {
        const auto& chunks = result_->comparisons[pair].chunks;
        Side* both[2] = {sides_[pair].get(), sides_[pair + 1].get()};
        for (size_t index = 0; index < chunks.size(); ++index) {
            const CorvaneChunk& chunk = chunks[index];
            if (chunk.kind == CorvaneChunk::Kind::equal) {
                continue;
            }
            for (int which = 0; which < 2; ++which) {
                const CorvaneLineRange& range = which == 0 ? chunk.left : chunk.right;
                Mark kind = chunk.kind == CorvaneChunk::Kind::changed ? Mark::changed
                            : which == 0                              ? Mark::deleted
                                                                      : Mark::inserted;
                if (range.count == 0) {
                    // The other pane's lines go here.
                    both[which]->gaps.push_back(
                        {which == 0 ? Mark::inserted : Mark::deleted, range.start, 0});
                    continue;
                }
                both[which]->tinted.push_back({kind, range.start, range.count});
            }
            auto found = result_->inlines[pair].find(index);
            if (found == result_->inlines[pair].end()) {
                continue;
            }
            for (int which = 0; which < 2; ++which) {
                const auto& lines = which == 0 ? found->second.left : found->second.right;
                const CorvaneLineRange& range = which == 0 ? chunk.left : chunk.right;
                for (size_t line = 0; line < lines.size() && line < size_t(range.count); ++line) {
                    if (lines[line].empty()) {
                        continue;
                    }
                    auto& words = both[which]->changedWords[range.start + static_cast<int>(line)];
                    words.insert(words.end(), lines[line].begin(), lines[line].end());
                    both[which]->highlightedSpans += static_cast<int>(lines[line].size());
                }
            }
        }
    }
    // The middle pane of three is marked by both of its pairs.
    for (auto& side : sides_) {
        auto byStart = [](const Side::Tint& a, const Side::Tint& b) { return a.start < b.start; };
        std::stable_sort(side->tinted.begin(), side->tinted.end(), byStart);
        std::stable_sort(side->gaps.begin(), side->gaps.end(), byStart);
    }
}

std::function<long(size_t, int)> CorvaneFileComparisonView::pixelsBeforeLine() const {
    // The pixels lines take: a row each, or the rows each wraps into (rows within a wrapped
    // line are set closer than lines, at the font's own spacing).
    std::vector<std::vector<long>> pixelStarts(sides_.size());
    std::vector<int> heights(sides_.size());
    for (size_t index = 0; index < sides_.size(); ++index) {
        const Side& side = *sides_[index];
        heights[index] = lineHeight(side);
        int columns = options_.wrapLines ? columnsPerRow(side) : 0;
        if (columns <= 0) {
            continue;
        }
        std::vector<int> rows =
            CorvaneWrappedRowStarts(texts_->texts[index].utf8, *side.lineStarts, columns);
        double pitch = rowPitch(side);
        auto& starts = pixelStarts[index];
        starts.assign(rows.size(), 0);
        for (size_t line = 0; line + 1 < rows.size(); ++line) {
            starts[line + 1] =
                starts[line] + static_cast<long>(std::ceil((rows[line + 1] - rows[line]) * pitch));
        }
    }
    return [pixelStarts = std::move(pixelStarts), heights = std::move(heights)](size_t pane,
                                                                                int line) {
        return pixelStarts[pane].empty() ? static_cast<long>(line) * heights[pane]
                                         : pixelStarts[pane][static_cast<size_t>(line)];
    };
}

void CorvaneFileComparisonView::applyFiller(const std::vector<CorvaneFiller>& filler) {
    auto lineIterators = [](GtkTextBuffer* buffer, int first, int count, GtkTextIter* start,
                            GtkTextIter* end) {
        gtk_text_buffer_get_iter_at_line(buffer, start, first);
        gtk_text_buffer_get_iter_at_line(buffer, end, first + count);
        if (gtk_text_iter_get_line(end) < first + count) {
            gtk_text_buffer_get_end_iter(buffer, end);
        }
    };

    for (size_t index = 0; index < sides_.size(); ++index) {
        Side& side = *sides_[index];
        GtkTextBuffer* buffer = GTK_TEXT_BUFFER(side.buffer);
        std::map<int, GtkTextTag*> tagsByPixels;
        auto fillerTag = [&](const char* property, int pixels) {
            std::string name = std::string("cv-") + property + "-" + std::to_string(pixels);
            GtkTextTagTable* table = gtk_text_buffer_get_tag_table(buffer);
            GtkTextTag* tag = gtk_text_tag_table_lookup(table, name.c_str());
            if (tag == nullptr) {
                tag = gtk_text_buffer_create_tag(buffer, name.c_str(), property, pixels, nullptr);
                side.fillerTags.push_back(tag);
            }
            return tag;
        };
        int lineCount = side.lineCount();
        if (side.large != nullptr) {
            side.fillerBelow = filler[index].below;
            side.fillerAbove = filler[index].above;
            side.large->setFiller(side.fillerAbove, side.fillerBelow);
            continue;
        }
        for (const auto& [line, pixels] : filler[index].below) {
            side.fillerBelow[line] = pixels;
            GtkTextIter start;
            GtkTextIter end;
            lineIterators(buffer, line, 1, &start, &end);
            gtk_text_buffer_apply_tag(buffer, fillerTag("pixels-below-lines", pixels), &start,
                                      &end);
        }
        if (filler[index].above > 0) {
            side.fillerAbove = filler[index].above;
            if (lineCount == 0) {
                // An empty text has no line to carry it.
                gtk_text_view_set_bottom_margin(GTK_TEXT_VIEW(side.view), side.fillerAbove);
            } else {
                GtkTextIter start;
                GtkTextIter end;
                lineIterators(buffer, 0, 1, &start, &end);
                gtk_text_buffer_apply_tag(buffer, fillerTag("pixels-above-lines", side.fillerAbove),
                                          &start, &end);
            }
        }
    }
}

void CorvaneFileComparisonView::setOptions(const Options& options) {
    bool compareAgain = options.ignoreWhitespace != options_.ignoreWhitespace ||
                        options.ignoreBlankLines != options_.ignoreBlankLines;
    options_ = options;
    for (auto& side : sides_) {
        // Wrapped at any character, so that the rows a line takes follow from its columns.
        gtk_text_view_set_wrap_mode(GTK_TEXT_VIEW(side->view),
                                    options_.wrapLines ? GTK_WRAP_CHAR : GTK_WRAP_NONE);
    }
    if (!compareAgain && shown_ && result_ && !result_->comparisons.empty()) {
        alignAgain();
    }
    if (compareAgain && result_ && !result_->comparisons.empty()) {
        currentChange_ = -1;
        startComparing();
    }
}

namespace {

// The changes in the order a person walks them: by the line where they start in the first
// pane of their pair, the first pair first.
struct Change {
    size_t pair;
    const CorvaneChunk* chunk;
};

std::vector<Change> changesOf(const std::vector<CorvaneComparison>& comparisons) {
    std::vector<Change> changes;
    for (size_t pair = 0; pair < comparisons.size(); ++pair) {
        for (const CorvaneChunk& chunk : comparisons[pair].chunks) {
            if (chunk.kind != CorvaneChunk::Kind::equal) {
                changes.push_back({pair, &chunk});
            }
        }
    }
    // Three panes: both pairs meet in the middle pane, so order by its lines.
    if (comparisons.size() == 2) {
        auto middleLine = [](const Change& change) {
            return change.pair == 0 ? change.chunk->right.start : change.chunk->left.start;
        };
        std::stable_sort(changes.begin(), changes.end(), [&](const Change& a, const Change& b) {
            return middleLine(a) < middleLine(b);
        });
    }
    return changes;
}

}  // namespace

bool CorvaneFileComparisonView::showChange(int index) {
    if (!shown_ || !result_) {
        return false;
    }
    std::vector<Change> changes = changesOf(result_->comparisons);
    if (index < 0 || index >= static_cast<int>(changes.size())) {
        return false;
    }
    currentChange_ = index;
    const Change& change = changes[static_cast<size_t>(index)];
    // Scroll the pane that has lines in the change; the others follow the shared scroll.
    bool leftHasLines = change.chunk->left.count > 0;
    Side& side = *sides_[change.pair + (leftHasLines ? 0 : 1)];
    int line = leftHasLines ? change.chunk->left.start : change.chunk->right.start;
    if (side.large != nullptr) {
        largeVertical_->set_value(side.large->topOfLine(line) -
                                  0.3 * largeVertical_->get_page_size());
        updateStatus();
        return true;
    }
    GtkTextIter iterator;
    gtk_text_buffer_get_iter_at_line(GTK_TEXT_BUFFER(side.buffer), &iterator, line);
    gtk_text_buffer_place_cursor(GTK_TEXT_BUFFER(side.buffer), &iterator);
    gtk_text_view_scroll_to_iter(GTK_TEXT_VIEW(side.view), &iterator, 0.0, TRUE, 0.0, 0.3);
    updateStatus();
    return true;
}

bool CorvaneFileComparisonView::showNextChange() {
    return showChange(currentChange_ + 1);
}

bool CorvaneFileComparisonView::showPreviousChange() {
    return showChange(currentChange_ < 0 ? -1 : currentChange_ - 1);
}

bool CorvaneFileComparisonView::showFirstChange() {
    return showChange(0);
}

bool CorvaneFileComparisonView::showLastChange() {
    if (!result_) {
        return false;
    }
    return showChange(static_cast<int>(changesOf(result_->comparisons).size()) - 1);
}

void CorvaneFileComparisonView::drawBands(const Cairo::RefPtr<Cairo::Context>& context, int width,
                                          int height, size_t pair) {
    if (!shown_ || !result_ || pair >= result_->comparisons.size()) {
        return;
    }
    const CorvaneTints& colours = CorvaneTintsOfStyle();
    Side* both[2] = {sides_[pair].get(), sides_[pair + 1].get()};
    // The top of a line in the band's coordinates; past the last line, the bottom of the text.
    auto topOf = [&](Side& side, int line) {
        double y = side.canvasY(side.topOfLine(line));
        graphene_point_t from{0.0f, static_cast<float>(y)};
        graphene_point_t to;
        if (!gtk_widget_compute_point(side.canvas(), GTK_WIDGET(bands_[pair]->gobj()), &from,
                                      &to)) {
            return y;
        }
        return static_cast<double>(to.y);
    };
    // A side's range of a chunk: its lines without the filler below them, or for no lines the
    // filler that stands in for them.
    auto rangeOf = [&](Side& side, const CorvaneLineRange& range, double* top, double* bottom) {
        if (range.count > 0) {
            *top = topOf(side, range.start);
            auto filler = side.fillerBelow.find(range.end() - 1);
            *bottom =
                topOf(side, range.end()) - (filler == side.fillerBelow.end() ? 0 : filler->second);
        } else if (range.start == 0) {
            *top = topOf(side, 0);
            *bottom = *top + side.fillerAbove;
        } else {
            *bottom = topOf(side, range.start);
            auto filler = side.fillerBelow.find(range.start - 1);
            *top = *bottom - (filler == side.fillerBelow.end() ? 0 : filler->second);
        }
    };
    // Only the chunks in view: those whose left lines meet the visible lines.
    GdkRectangle visible = both[0]->visible();
    int firstLine = both[0]->lineAtY(visible.y) - 1;
    int lastLine = both[0]->lineAtY(visible.y + visible.height) + 1;
    // Bands stay beside the text, clear of the headers.
    graphene_point_t origin{0.0f, 0.0f};
    graphene_point_t textTop;
    if (gtk_widget_compute_point(both[0]->canvas(), GTK_WIDGET(bands_[pair]->gobj()), &origin,
                                 &textTop)) {
        context->rectangle(0, textTop.y, width, static_cast<double>(height) - textTop.y);
        context->clip();
    }
    const auto& chunks = result_->comparisons[pair].chunks;
    auto chunk = std::lower_bound(
        chunks.begin(), chunks.end(), firstLine,
        [](const CorvaneChunk& candidate, int line) { return candidate.left.end() < line; });
    for (; chunk != chunks.end() && chunk->left.start <= lastLine; ++chunk) {
        if (chunk->kind == CorvaneChunk::Kind::equal) {
            continue;
        }
        double leftTop = 0;
        double leftBottom = 0;
        double rightTop = 0;
        double rightBottom = 0;
        rangeOf(*both[0], chunk->left, &leftTop, &leftBottom);
        rangeOf(*both[1], chunk->right, &rightTop, &rightBottom);
        if (std::max(leftBottom, rightBottom) < 0 || std::min(leftTop, rightTop) > height) {
            continue;
        }
        const char* colour = chunk->kind == CorvaneChunk::Kind::changed   ? colours.changed
                             : chunk->kind == CorvaneChunk::Kind::deleted ? colours.deleted
                                                                          : colours.inserted;
        Gdk::RGBA fill(colour);
        Gdk::RGBA border(colours.bandBorder);
        double middle = width / 2.0;
        // Curved edges from the left range to the right one.
        context->begin_new_path();
        context->move_to(0, leftTop);
        context->curve_to(middle, leftTop, middle, rightTop, width, rightTop);
        context->line_to(width, rightBottom);
        context->curve_to(middle, rightBottom, middle, leftBottom, 0, leftBottom);
        context->close_path();
        context->set_source_rgba(fill.get_red(), fill.get_green(), fill.get_blue(), 1.0);
        context->fill_preserve();
        context->set_source_rgba(border.get_red(), border.get_green(), border.get_blue(), 0.6);
        context->set_line_width(1.0);
        context->stroke();
    }
}

std::string CorvaneFileComparisonView::describe() const {
    nlohmann::json description;
    // A comparison waiting to be aligned again (after its options or width changed) is not yet
    // what the person sees.
    description["state"] = !shown_                  ? "loading"
                           : alignIdle_.connected() ? "aligning"
                           : highlightPending_      ? "highlighting"
                                                    : "shown";
    description["message"] = shownMessage_;
    int changes = 0;
    if (result_) {
        for (const auto& comparison : result_->comparisons) {
            changes += comparison.changeCount();
        }
    }
    description["changeCount"] = changes;
    if (firstPaintMilliseconds_ >= 0) {
        description["firstPaintMilliseconds"] = firstPaintMilliseconds_;
    }
    description["currentChange"] = currentChange_;
    description["options"] = {{"ignoreWhitespace", options_.ignoreWhitespace},
                              {"ignoreBlankLines", options_.ignoreBlankLines},
                              {"wrapLines", options_.wrapLines}};
    description["status"] = std::string(changeCount_.get_text());
    nlohmann::json panes = nlohmann::json::array();
    for (const auto& side : sides_) {
        nlohmann::json pane;
        pane["header"] = std::string(side->header.get_text());
        pane["notice"] = std::string(side->notice.get_text());
        pane["visible"] = panes_.get_visible();
        pane["large"] = side->large != nullptr;
        GtkTextBuffer* buffer = GTK_TEXT_BUFFER(side->buffer);
        pane["lineCount"] = side->lineCount();
        // The numbered lines the pane shows (a source view's buffer may hold fewer while it fills).
        pane["shownLines"] =
            side->large != nullptr ? side->lineCount() : gtk_text_buffer_get_line_count(buffer);
        nlohmann::json firstLines = nlohmann::json::array();
        for (int line = 0; side->large != nullptr && line < 3 && line < side->lineCount(); ++line) {
            std::string_view text =
                lineOf(texts_->texts[&side - &sides_.front()].utf8, *side->lineStarts, line);
            while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
                text.remove_suffix(1);
            }
            firstLines.push_back(std::string(text.substr(0, 200)));
        }
        for (int line = 0;
             side->large == nullptr && line < 3 && line < gtk_text_buffer_get_line_count(buffer);
             ++line) {
            GtkTextIter start;
            GtkTextIter end;
            gtk_text_buffer_get_iter_at_line(buffer, &start, line);
            end = start;
            if (!gtk_text_iter_ends_line(&end)) {
                gtk_text_iter_forward_to_line_end(&end);
            }
            gchar* text = gtk_text_buffer_get_text(buffer, &start, &end, FALSE);
            firstLines.push_back(text);
            g_free(text);
        }
        pane["firstLines"] = firstLines;
        nlohmann::json tinted = nlohmann::json::array();
        for (const auto& tint : side->tinted) {
            tinted.push_back(
                {{"kind", nameOf(tint.kind)}, {"start", tint.start}, {"count", tint.count}});
        }
        pane["tinted"] = tinted;
        pane["highlightedSpans"] = side->highlightedSpans;
        int filler = side->fillerAbove;
        for (const auto& [line, pixels] : side->fillerBelow) {
            filler += pixels;
        }
        pane["fillerPixels"] = filler;
        GtkSourceLanguage* language = gtk_source_buffer_get_language(side->buffer);
        pane["language"] = language != nullptr ? gtk_source_language_get_id(language) : "";
        panes.push_back(pane);
    }
    description["panes"] = panes;
    return description.dump();
}
