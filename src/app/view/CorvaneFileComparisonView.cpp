#include "app/view/CorvaneFileComparisonView.h"

#include "app/view/CorvaneLargeTextPane.h"
#include "app/view/CorvaneSourceView.h"
#include "app/view/CorvaneWrapping.h"
#include "model/CVCLISerializedFileList.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>

namespace {

// Text goes into the panes in slices of about this many bytes, one per idle turn of the loop,
// so that a huge file never stalls the bus or the window.
constexpr size_t kSliceBytes = 1 << 20;
// Changed words are looked for in chunks up to this many lines a side.
constexpr int kInlineLineLimit = 200;
// Texts past any of these are shown in plain large-text panes: a source view would take seconds
// and several times the text's size in memory to hold them.
constexpr size_t kLargeTextBytes = 8 << 20;
constexpr size_t kLargeTextLines = 200000;
constexpr size_t kLargeTextLineBytes = 64 << 10;
// The spinner appears when the comparison takes longer than this.
constexpr unsigned kSpinnerDelayMilliseconds = 100;

// The tints: light and dark variants that keep the text readable.
struct Tints {
    const char* inserted;
    const char* deleted;
    const char* changed;
    const char* insertedWords;
    const char* deletedWords;
    const char* changedWords;
    const char* bandBorder;
};

const Tints& tints() {
    static const Tints light = {"#e2f4e2", "#fbe3e3", "#e3ebfa", "#a8e0a8",
                                "#f3b3b3", "#b3c9f2", "#9aa5b5"};
    static const Tints dark = {"#1e3b25", "#4a2528", "#1f2e4b", "#2f6b3d",
                               "#843a40", "#33528a", "#5b6575"};
    return CorvanePrefersDark() ? dark : light;
}

// What a pane shows of a change: lines only it has, lines only the other has, or changed lines.
enum class Mark { inserted, deleted, changed };

const char* nameOf(Mark kind) {
    return kind == Mark::inserted ? "inserted" : kind == Mark::deleted ? "deleted" : "changed";
}

const char* colourOf(Mark kind, bool words) {
    const Tints& colours = tints();
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

GdkRGBA rgba(const char* colour, float alpha = 1.0f) {
    GdkRGBA result{};
    gdk_rgba_parse(&result, colour);
    result.alpha = alpha;
    return result;
}

std::string_view lineOf(std::string_view text, const std::vector<size_t>& starts, int line) {
    size_t start = starts[static_cast<size_t>(line)];
    size_t end = static_cast<size_t>(line) + 1 < starts.size()
                     ? starts[static_cast<size_t>(line) + 1]
                     : text.size();
    return text.substr(start, end - start);
}

std::string sizeText(uint64_t size) {
    std::string digits = std::to_string(size);
    std::string grouped;
    for (size_t index = 0; index < digits.size(); ++index) {
        if (index > 0 && (digits.size() - index) % 3 == 0) {
            grouped += ',';
        }
        grouped += digits[index];
    }
    return grouped + (size == 1 ? " byte" : " bytes");
}

// Reads a side from the file the document holds open since the call, so that a side removed
// right after the call is still read; a file that could not be opened says why.
CorvaneText readSide(const std::shared_ptr<CVHeldFile>& held) {
    if (!held || held->descriptor() < 0) {
        CorvaneText text;
        text.kind = CorvaneText::Kind::unreadable;
        text.reason = held ? held->whyUnopened() : std::string("It was not opened.");
        return text;
    }
    return CorvaneReadText(held->descriptor());
}

}  // namespace

// One pane: its source view, its header and the marks the comparison left in its buffer.
struct CorvaneFileComparisonView::Side {
    std::string path;
    std::string caption;
    GtkSourceBuffer* buffer = nullptr;
    GtkWidget* view = nullptr;
    Gtk::Box box{Gtk::Orientation::VERTICAL};
    Gtk::Box headerBox{Gtk::Orientation::HORIZONTAL};
    Gtk::Label header;
    Gtk::Label notice;
    Gtk::ScrolledWindow scroller;
    size_t insertedBytes = 0;
    // Where each line of the side's text begins (the texts' own, not a copy).
    const std::vector<size_t>* lineStarts = nullptr;
    int lineCount() const {
        return lineStarts == nullptr ? 0 : static_cast<int>(lineStarts->size());
    }
    // Filler below a line (pixels), and above the first one.
    std::map<int, int> fillerBelow;
    int fillerAbove = 0;
    // What the comparison marks in this pane, painted below the text as it comes into view:
    // tinted line ranges (in order), changed words by line, and the gaps where the other pane
    // has lines this one has not (before the line given).
    struct Tint {
        Mark kind;
        int start = 0;
        int count = 0;
    };
    std::vector<Tint> tinted;
    std::map<int, std::vector<CorvaneSpan>> changedWords;
    int highlightedSpans = 0;
    std::vector<Tint> gaps;
    std::vector<GtkTextTag*> fillerTags;

    // For a text too large for the source view: the pane that shows it instead (owned by box).
    CorvaneLargeTextPane* large = nullptr;

    void paintBelowText(GtkSnapshot* snapshot, const GdkRectangle& visible) const;
    // Geometry, in content coordinates (before scrolling), for either kind of pane:
    // the pixels a line's own rows take, without the filler below it;
    void rowsOfLines(int first, int count, double* top, double* bottom) const;
    // the top of a line, or past the last one the bottom of everything;
    double topOfLine(int line) const;
    // the line at y, and the part of the content in view;
    int lineAtY(double y) const;
    GdkRectangle visible() const;
    // where the bytes [start, end) of a line are, one rectangle per row they take;
    std::vector<graphene_rect_t> areasOfBytes(int line, int start, int end,
                                              const GdkRectangle& visible) const;
    // the widget the content is drawn in, and a content y in its coordinates.
    GtkWidget* canvas() const { return large != nullptr ? GTK_WIDGET(large->gobj()) : view; }
    double canvasY(double y) const;

    ~Side() {
        if (buffer != nullptr) {
            g_object_unref(buffer);
        }
    }
};

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
    GtkTextIter from, to;
    gtk_text_buffer_get_iter_at_line_index(textBuffer, &from, line, start);
    gtk_text_buffer_get_iter_at_line_index(textBuffer, &to, line, end);
    GdkRectangle a, b;
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
        double top = 0, bottom = 0;
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
        double top = 0, bottom = 0;
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

struct CorvaneFileComparisonView::Job {
    std::atomic<bool> cancelled{false};
    CorvaneFileComparisonView* view = nullptr;
};

// The sides as read, shared by every comparison of them (the options may change).
struct CorvaneFileComparisonView::Texts {
    std::vector<CorvaneText> texts;
    std::vector<std::vector<size_t>> lineStarts;

    // Whether a text is too large, or has too long a line, for a source view.
    bool needLargePanes() const;
};

struct CorvaneFileComparisonView::Result {
    std::shared_ptr<const Texts> sides;
    // Pair i compares side i with side i + 1.
    std::vector<CorvaneComparison> comparisons;
    // For each pair, the changed words of its changed chunks, by chunk index.
    std::vector<std::map<size_t, CorvaneInlineDiff>> inlines;
    // For a pair of binary files: whether their bytes are the same.
    bool binaryIdentical = false;
};

CorvaneFileComparisonView::CorvaneFileComparisonView(const CorvaneFileList& files)
    : Gtk::Box(Gtk::Orientation::VERTICAL), heldFiles_(files.heldFiles) {
    createdAt_ = g_get_monotonic_time();
    statusBar_.set_spacing(8);
    statusBar_.set_margin(6);
    statusBar_.set_margin_start(12);
    changeCount_.set_xalign(0);
    changeCount_.add_css_class("heading");
    message_.set_wrap(true);
    message_.set_xalign(0);
    statusBar_.append(spinner_);
    statusBar_.append(changeCount_);
    statusBar_.append(message_);
    spinner_.set_visible(false);
    append(statusBar_);

    panes_.set_vexpand(true);
    panes_.set_hexpand(true);
    append(panes_);

    // A file that was added or deleted is compared with no file on the other side.
    std::vector<std::string> paths = files.files;
    heldFiles_.resize(paths.size());
    if (paths.size() == 1 && (files.status == CVCLISerializedFileList::added ||
                              files.status == CVCLISerializedFileList::deleted)) {
        auto at = files.status == CVCLISerializedFileList::added ? 0 : 1;
        paths.insert(paths.begin() + at, std::string());
        heldFiles_.insert(heldFiles_.begin() + at, nullptr);
    }
    // The items of a large changeset past those held since the call are opened now.
    for (size_t index = 0; index < paths.size(); ++index) {
        if (!heldFiles_[index] && !paths[index].empty()) {
            heldFiles_[index] = CVHeldFile::open(paths[index], false);
        }
    }
    for (size_t index = 0; index < paths.size(); ++index) {
        auto side = std::make_unique<Side>();
        side->path = paths[index];
        side->caption = side->path.empty() ? "No file" : side->path;
        side->buffer = gtk_source_buffer_new(nullptr);
        // The panes are read-only: an undo history would keep a second copy of every insertion.
        gtk_text_buffer_set_enable_undo(GTK_TEXT_BUFFER(side->buffer), FALSE);
        // Nor is a bracket matched to the cursor there, which would scan the text for its partner.
        gtk_source_buffer_set_highlight_matching_brackets(side->buffer, FALSE);
        Side* painted = side.get();
        side->view = CorvaneSourceViewNew(
            side->buffer, [painted](GtkSnapshot* snapshot, const GdkRectangle& visible) {
                painted->paintBelowText(snapshot, visible);
            });
        gtk_text_view_set_editable(GTK_TEXT_VIEW(side->view), FALSE);
        CorvaneStyleSourceView(side->view);
        // A line's number stays beside its first row, above the filler that may follow it.
        GtkSourceGutter* gutter =
            gtk_source_view_get_gutter(GTK_SOURCE_VIEW(side->view), GTK_TEXT_WINDOW_LEFT);
        for (GtkWidget* child = gtk_widget_get_first_child(GTK_WIDGET(gutter)); child != nullptr;
             child = gtk_widget_get_next_sibling(child)) {
            if (GTK_SOURCE_IS_GUTTER_RENDERER(child)) {
                g_object_set(child, "alignment-mode",
                             GTK_SOURCE_GUTTER_RENDERER_ALIGNMENT_MODE_FIRST, "yalign", 0.0f,
                             nullptr);
            }
        }

        side->header.set_text(side->caption);
        side->header.set_xalign(0);
        side->header.set_ellipsize(Pango::EllipsizeMode::START);
        side->header.set_hexpand(true);
        side->header.set_tooltip_text(side->path);
        side->header.add_css_class("heading");
        side->notice.add_css_class("dim-label");
        side->headerBox.set_spacing(8);
        side->headerBox.set_margin(6);
        side->headerBox.append(side->header);
        side->headerBox.append(side->notice);
        side->box.append(side->headerBox);
        gtk_scrolled_window_set_child(side->scroller.gobj(), side->view);
        side->scroller.set_vexpand(true);
        side->scroller.set_hexpand(true);
        side->box.append(side->scroller);
        side->box.set_hexpand(true);

        if (index > 0) {
            // One vertical scroll for every pane: the blocks are aligned, so the heights match.
            side->scroller.set_vadjustment(sides_.front()->scroller.get_vadjustment());
            auto band = std::make_unique<Gtk::DrawingArea>();
            band->set_content_width(40);
            band->set_vexpand(true);
            size_t pair = index - 1;
            band->set_draw_func(
                [this, pair](const Cairo::RefPtr<Cairo::Context>& context, int width, int height) {
                    drawBands(context, width, height, pair);
                });
            panes_.append(*band);
            bands_.push_back(std::move(band));
        }
        panes_.append(side->box);
        sides_.push_back(std::move(side));
    }
    for (auto& side : sides_) {
        if (side.get() != sides_.back().get()) {
            side->scroller.set_policy(Gtk::PolicyType::AUTOMATIC, Gtk::PolicyType::EXTERNAL);
        }
    }
    sides_.front()->scroller.get_vadjustment()->signal_value_changed().connect([this] {
        for (auto& band : bands_) {
            band->queue_draw();
        }
    });
    // Wrapped lines take rows according to the panes' width.
    for (auto& side : sides_) {
        side->scroller.get_hadjustment()->signal_changed().connect([this] {
            if (options_.wrapLines) {
                alignAgain();
            }
        });
    }
    // The tints are chosen as they are painted; the text's scheme follows the desktop too.
    if (auto settings = Gtk::Settings::get_default()) {
        themeChanged_ =
            settings->property_gtk_application_prefer_dark_theme().signal_changed().connect([this] {
                for (auto& side : sides_) {
                    gtk_source_buffer_set_style_scheme(side->buffer, CorvaneStyleScheme());
                    gtk_widget_queue_draw(side->view);
                }
                for (auto& band : bands_) {
                    band->queue_draw();
                }
            });
    }
    startComparing();
}

CorvaneFileComparisonView::~CorvaneFileComparisonView() {
    alignIdle_.disconnect();
    themeChanged_.disconnect();
    nextPaint_.cancel();
    highlightIdle_.disconnect();
    spinnerTimeout_.disconnect();
    insertIdle_.disconnect();
    if (job_) {
        job_->cancelled = true;
        job_->view = nullptr;
    }
    if (worker_.joinable()) {
        worker_.join();
    }
}

void CorvaneFileComparisonView::startComparing() {
    if (job_) {
        job_->cancelled = true;
        job_->view = nullptr;
    }
    if (worker_.joinable()) {
        worker_.join();
    }
    job_ = std::make_shared<Job>();
    job_->view = this;
    shown_ = false;
    changeCount_.set_text("");
    message_.set_text("Comparing\u2026");
    spinnerTimeout_.disconnect();
    spinnerTimeout_ = Glib::signal_timeout().connect(
        [this] {
            spinner_.set_visible(true);
            spinner_.start();
            return false;
        },
        kSpinnerDelayMilliseconds);

    std::vector<std::string> paths;
    for (auto& side : sides_) {
        paths.push_back(side->path);
    }
    std::vector<std::shared_ptr<CVHeldFile>> held = heldFiles_;
    // The texts read earlier are read again only when there are none yet.
    std::shared_ptr<const Texts> previous = texts_;
    CorvaneDiffOptions diffOptions{options_.ignoreWhitespace, options_.ignoreBlankLines};
    worker_ = std::thread([job = job_, paths, held, previous, diffOptions] {
        auto result = std::make_shared<Result>();
        result->sides = previous;
        if (!previous) {
            auto texts = std::make_shared<Texts>();
            for (size_t index = 0; index < paths.size(); ++index) {
                if (paths[index].empty()) {
                    CorvaneText absent;
                    absent.absent = true;
                    texts->texts.push_back(absent);
                } else {
                    texts->texts.push_back(readSide(held[index]));
                }
                texts->lineStarts.push_back(CorvaneLineStarts(texts->texts.back().utf8));
            }
            result->sides = texts;
        }
        const std::vector<CorvaneText>& texts = result->sides->texts;
        bool allText = std::all_of(texts.begin(), texts.end(),
                                   [](auto& text) { return text.kind == CorvaneText::Kind::text; });
        // New texts go into the panes while they are being compared.
        if (!previous && allText) {
            deliver(job, result->sides, nullptr);
        }
        if (allText) {
            for (size_t pair = 0; pair + 1 < texts.size() && !job->cancelled; ++pair) {
                const std::string& left = texts[pair].utf8;
                const std::string& right = texts[pair + 1].utf8;
                result->comparisons.push_back(
                    CorvaneCompare(left, right, diffOptions, &job->cancelled));
                auto& inlines = result->inlines.emplace_back();
                const auto& chunks = result->comparisons.back().chunks;
                for (size_t index = 0; index < chunks.size() && !job->cancelled; ++index) {
                    const CorvaneChunk& chunk = chunks[index];
                    if (chunk.kind != CorvaneChunk::Kind::changed ||
                        chunk.left.count > kInlineLineLimit ||
                        chunk.right.count > kInlineLineLimit) {
                        continue;
                    }
                    std::vector<std::string_view> leftLines, rightLines;
                    for (int line = chunk.left.start; line < chunk.left.end(); ++line) {
                        leftLines.push_back(lineOf(left, result->sides->lineStarts[pair], line));
                    }
                    for (int line = chunk.right.start; line < chunk.right.end(); ++line) {
                        rightLines.push_back(
                            lineOf(right, result->sides->lineStarts[pair + 1], line));
                    }
                    inlines[index] = CorvaneCompareInline(leftLines, rightLines);
                }
            }
        } else if (texts.size() == 2 && texts[0].kind == CorvaneText::Kind::binary &&
                   texts[1].kind == CorvaneText::Kind::binary && texts[0].size == texts[1].size) {
            result->binaryIdentical = CorvaneSameBytes(paths[0], paths[1]);
        }
        deliver(job, result->sides, result);
    });
}

void CorvaneFileComparisonView::deliver(const std::shared_ptr<Job>& job,
                                        std::shared_ptr<const Texts> texts,
                                        std::shared_ptr<Result> result) {
    if (job->cancelled) {
        return;
    }
    struct Delivery {
        std::shared_ptr<Job> job;
        std::shared_ptr<const Texts> texts;
        std::shared_ptr<Result> result;
    };
    // Back to the main thread; the view may be gone by then. At the bus's priority: a window
    // busy redrawing must not hold the result back.
    g_idle_add_full(
        G_PRIORITY_DEFAULT,
        [](gpointer data) -> gboolean {
            auto* delivery = static_cast<Delivery*>(data);
            CorvaneFileComparisonView* view = delivery->job->view;
            if (view != nullptr && !delivery->job->cancelled) {
                if (delivery->result) {
                    view->show(delivery->result);
                } else {
                    view->showTexts(delivery->texts);
                }
            }
            return G_SOURCE_REMOVE;
        },
        new Delivery{job, std::move(texts), std::move(result)},
        [](gpointer data) { delete static_cast<Delivery*>(data); });
}

void CorvaneFileComparisonView::takeTexts(std::shared_ptr<const Texts> texts) {
    texts_ = std::move(texts);
    for (size_t index = 0; index < sides_.size(); ++index) {
        Side& side = *sides_[index];
        const CorvaneText& text = texts_->texts[index];
        std::string notice;
        if (text.absent) {
            notice = "No file on this side";
        }
        if (text.decodedAsLatin1) {
            notice = "Not UTF-8: shown as Latin-1";
        }
        if (text.hasCRLF) {
            notice += std::string(notice.empty() ? "" : " \u00b7 ") + "CRLF line ends";
        }
        side.notice.set_text(notice);
        side.lineStarts = &texts_->lineStarts[index];
    }
}

bool CorvaneFileComparisonView::Texts::needLargePanes() const {
    for (size_t index = 0; index < texts.size(); ++index) {
        const std::vector<size_t>& starts = lineStarts[index];
        if (texts[index].utf8.size() > kLargeTextBytes || starts.size() > kLargeTextLines) {
            return true;
        }
        for (size_t line = 0; line < starts.size(); ++line) {
            size_t end = line + 1 < starts.size() ? starts[line + 1] : texts[index].utf8.size();
            if (end - starts[line] > kLargeTextLineBytes) {
                return true;
            }
        }
    }
    return false;
}

void CorvaneFileComparisonView::useLargePanes() {
    largeVertical_ = Gtk::Adjustment::create(0, 0, 1);
    std::vector<Gtk::Scrollbar*> bars;
    for (auto& side : sides_) {
        side->scroller.set_visible(false);
        auto horizontal = Gtk::Adjustment::create(0, 0, 1);
        auto* pane = Gtk::make_managed<CorvaneLargeTextPane>(largeVertical_, horizontal);
        Side* painted = side.get();
        pane->paintBelowText = [painted](GtkSnapshot* snapshot, const GdkRectangle& visible) {
            painted->paintBelowText(snapshot, visible);
        };
        side->large = pane;
        side->box.append(*pane);
        auto* bar = Gtk::make_managed<Gtk::Scrollbar>(horizontal, Gtk::Orientation::HORIZONTAL);
        side->box.append(*bar);
        bars.push_back(bar);
        std::string notice = side->notice.get_text();
        side->notice.set_text(notice + (notice.empty() ? "" : " \u00b7 ") +
                              "Large text: shown plain");
    }
    auto* vertical = Gtk::make_managed<Gtk::Scrollbar>(largeVertical_, Gtk::Orientation::VERTICAL);
    panes_.append(*vertical);
    // Scroll bars only where there is something to scroll.
    auto showWhenScrollable = [](Gtk::Scrollbar* bar) {
        auto adjustment = bar->get_adjustment();
        adjustment->signal_changed().connect([bar, adjustment] {
            bar->set_visible(adjustment->get_upper() - adjustment->get_lower() >
                             adjustment->get_page_size());
        });
    };
    showWhenScrollable(vertical);
    for (Gtk::Scrollbar* bar : bars) {
        showWhenScrollable(bar);
    }
    largeVertical_->signal_value_changed().connect([this] {
        for (auto& band : bands_) {
            band->queue_draw();
        }
    });
}

void CorvaneFileComparisonView::showTexts(std::shared_ptr<const Texts> texts) {
    takeTexts(std::move(texts));
    if (texts_->needLargePanes()) {
        useLargePanes();
        for (size_t index = 0; index < sides_.size(); ++index) {
            sides_[index]->large->setText(texts_->texts[index].utf8, &texts_->lineStarts[index]);
        }
        textsInserted_ = true;
        if (result_ && result_->sides == texts_) {
            finishShowing();
        }
        return;
    }
    // The text goes in slice by slice; the marks follow once every pane is full and the
    // comparison is there.
    // The text goes in while the panes show no buffer: a view lays out again on every
    // insertion, which makes filling a large buffer many times slower.
    for (auto& side : sides_) {
        GtkSourceBuffer* empty = gtk_source_buffer_new(nullptr);
        gtk_text_view_set_buffer(GTK_TEXT_VIEW(side->view), GTK_TEXT_BUFFER(empty));
        g_object_unref(empty);
    }
    // At the bus's priority, so both are served in turn while a large text goes in.
    insertIdle_ =
        Glib::signal_idle().connect([this] { return insertNextSlice(); }, Glib::PRIORITY_DEFAULT);
}

void CorvaneFileComparisonView::show(std::shared_ptr<Result> result) {
    result_ = std::move(result);
    if (texts_ != result_->sides) {
        takeTexts(result_->sides);
    }
    const std::vector<CorvaneText>& texts = texts_->texts;
    std::vector<std::string> problems;
    for (size_t index = 0; index < sides_.size(); ++index) {
        if (texts[index].kind == CorvaneText::Kind::unreadable) {
            problems.push_back(sides_[index]->path + ": " + texts[index].reason);
        }
    }
    if (!problems.empty()) {
        std::string text;
        for (const std::string& problem : problems) {
            text += (text.empty() ? "" : "\n") + problem;
        }
        showMessage(text);
        return;
    }
    bool anyBinary = std::any_of(texts.begin(), texts.end(),
                                 [](auto& text) { return text.kind == CorvaneText::Kind::binary; });
    if (anyBinary) {
        std::string text =
            result_->binaryIdentical ? "Binary files are identical" : "Binary files differ";
        for (size_t index = 0; index < sides_.size(); ++index) {
            text += "\n" + sides_[index]->path + ": " + sizeText(texts[index].size) +
                    (texts[index].kind == CorvaneText::Kind::binary ? "" : " of text");
        }
        showMessage(text);
        return;
    }
    if (textsInserted_) {
        finishShowing();
    }
}

bool CorvaneFileComparisonView::insertNextSlice() {
    for (size_t index = 0; index < sides_.size(); ++index) {
        Side& side = *sides_[index];
        const std::string& text = texts_->texts[index].utf8;
        if (side.insertedBytes >= text.size()) {
            continue;
        }
        size_t end = std::min(text.size(), side.insertedBytes + kSliceBytes);
        // Cut after a line feed, so that a CR LF and UTF-8 sequences stay whole.
        size_t lineEnd = end < text.size() ? text.rfind('\n', end - 1) : std::string::npos;
        if (lineEnd != std::string::npos && lineEnd >= side.insertedBytes) {
            end = lineEnd + 1;
        } else if (end < text.size()) {
            // One long line: cut on a character boundary.
            while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
                ++end;
            }
        }
        GtkTextIter iterator;
        gtk_text_buffer_get_end_iter(GTK_TEXT_BUFFER(side.buffer), &iterator);
        gtk_text_buffer_insert(GTK_TEXT_BUFFER(side.buffer), &iterator,
                               text.data() + side.insertedBytes,
                               static_cast<int>(end - side.insertedBytes));
        side.insertedBytes = end;
        return true;
    }
    textsInserted_ = true;
    for (auto& side : sides_) {
        gtk_text_view_set_buffer(GTK_TEXT_VIEW(side->view), GTK_TEXT_BUFFER(side->buffer));
    }
    if (result_ && result_->sides == texts_) {
        finishShowing();
    }
    return false;
}

void CorvaneFileComparisonView::finishShowing() {
    if (largeVertical_) {
        applyComparison();
        showShown();
        return;
    }
    bool lineEndsDiffer = false;
    for (size_t index = 0; index < sides_.size(); ++index) {
        Side& side = *sides_[index];
        const CorvaneText& text = texts_->texts[index];
        if (text.hasCRLF != texts_->texts.front().hasCRLF) {
            lineEndsDiffer = true;
        }
        highlightPending_ =
            highlightPending_ || gtk_source_buffer_get_language(side.buffer) == nullptr;
        GtkTextBuffer* buffer = GTK_TEXT_BUFFER(side.buffer);
        GtkTextIter start, end;
        gtk_text_buffer_get_bounds(buffer, &start, &end);
        // Wrapped rows break between characters, never with a hyphen that is not in the file.
        GtkTextTagTable* table = gtk_text_buffer_get_tag_table(buffer);
        GtkTextTag* noHyphens = gtk_text_tag_table_lookup(table, "cv-no-hyphens");
        if (noHyphens == nullptr) {
            noHyphens = gtk_text_buffer_create_tag(buffer, "cv-no-hyphens", "insert-hyphens", FALSE,
                                                   nullptr);
        }
        gtk_text_buffer_apply_tag(buffer, noHyphens, &start, &end);
        gtk_text_buffer_place_cursor(buffer, &start);
    }
    // Line ends are shown where the panes' line ends differ.
    for (auto& side : sides_) {
        GtkSourceSpaceDrawer* drawer =
            gtk_source_view_get_space_drawer(GTK_SOURCE_VIEW(side->view));
        gtk_source_space_drawer_set_types_for_locations(
            drawer, GTK_SOURCE_SPACE_LOCATION_ALL,
            lineEndsDiffer ? GTK_SOURCE_SPACE_TYPE_NEWLINE : GTK_SOURCE_SPACE_TYPE_NONE);
        gtk_source_space_drawer_set_enable_matrix(drawer, lineEndsDiffer);
    }
    applyComparison();
    showShown();
}

void CorvaneFileComparisonView::showShown() {
    spinnerTimeout_.disconnect();
    spinner_.stop();
    spinner_.set_visible(false);
    shown_ = true;
    afterNextPaint();
    updateStatus();
}

void CorvaneFileComparisonView::afterNextPaint() {
    if (nextPaint_.pending() || (firstPaintMilliseconds_ >= 0 && !highlightPending_)) {
        return;
    }
    // The next frame the panes are part of is the first that shows the comparison.
    nextPaint_.watch(*this, [this] { painted(); });
}

void CorvaneFileComparisonView::painted() {
    if (firstPaintMilliseconds_ < 0) {
        firstPaintMilliseconds_ = static_cast<double>(g_get_monotonic_time() - createdAt_) / 1000.0;
    }
    // Highlighting the first screen of a new text takes about as long as the rest of its first
    // frame: the comparison is shown first, and its syntax colours a frame later.
    if (highlightPending_ && !highlightIdle_.connected()) {
        highlightIdle_ = Glib::signal_idle().connect([this] {
            highlightSyntax();
            return false;
        });
    }
}

void CorvaneFileComparisonView::highlightSyntax() {
    highlightPending_ = false;
    for (size_t index = 0; index < sides_.size(); ++index) {
        Side& side = *sides_[index];
        if (side.large == nullptr && gtk_source_buffer_get_language(side.buffer) == nullptr) {
            gtk_source_buffer_set_language(
                side.buffer, CorvaneGuessLanguage(side.path, texts_->texts[index].utf8));
        }
    }
}

void CorvaneFileComparisonView::showMessage(const std::string& message) {
    spinnerTimeout_.disconnect();
    spinner_.stop();
    spinner_.set_visible(false);
    panes_.set_visible(false);
    shown_ = true;
    afterNextPaint();
    shownMessage_ = message;
    changeCount_.set_text("");
    message_.set_text(message);
    message_.remove_css_class("dim-label");
    message_.add_css_class("title-3");
    statusBar_.set_valign(Gtk::Align::CENTER);
    statusBar_.set_vexpand(true);
    statusBar_.set_halign(Gtk::Align::CENTER);
}

void CorvaneFileComparisonView::updateStatus() {
    int changes = 0;
    for (const auto& comparison : result_->comparisons) {
        changes += comparison.changeCount();
    }
    message_.set_text("");
    shownMessage_.clear();
    if (changes == 0) {
        shownMessage_ = "Files are identical";
        changeCount_.set_text(shownMessage_);
    } else {
        std::string text = std::to_string(changes) + (changes == 1 ? " change" : " changes");
        if (currentChange_ >= 0) {
            text =
                "Change " + std::to_string(currentChange_ + 1) + " of " + std::to_string(changes);
        }
        changeCount_.set_text(text);
    }
}

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
        GtkTextIter start, end;
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
            GtkTextIter start, end;
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
                GtkTextIter start, end;
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
    const Tints& colours = tints();
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
        context->rectangle(0, textTop.y, width, height - textTop.y);
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
        double leftTop = 0, leftBottom = 0, rightTop = 0, rightBottom = 0;
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
            GtkTextIter start, end;
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
