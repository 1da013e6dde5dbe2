#include "app/view/CorvaneFileComparisonView.h"

#include "app/view/CorvaneEventSource.h"
#include "app/view/CorvaneFileComparisonParts.h"
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

// A pane's notice with one more part, the parts set apart by a middle dot.
std::string withNoticePart(const std::string& notice, std::string_view part) {
    return notice.empty() ? std::string(part) : notice + " \u00b7 " + std::string(part);
}

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

using namespace CorvaneFileComparisonParts;

CorvaneFileComparisonView::CorvaneFileComparisonView(const CorvaneFileList& files)
    : Gtk::Box(Gtk::Orientation::VERTICAL),
      heldFiles_(files.heldFiles),
      createdAt_(g_get_monotonic_time()) {
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
        // A path asks for no width of its own: the sides share the width evenly, however long
        // their captions.
        side->header.set_max_width_chars(1);
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
    std::vector<Gtk::Adjustment*> sideways;
    for (auto& side : sides_) {
        sideways.push_back(side->scroller.get_hadjustment().get());
    }
    scrollTogetherSideways(sideways);
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
                    std::vector<std::string_view> leftLines;
                    std::vector<std::string_view> rightLines;
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
    std::vector<bool> lackFinalLineEnd;
    for (const CorvaneText& text : texts_->texts) {
        lackFinalLineEnd.push_back(!text.absent && CorvaneLacksFinalLineEnd(text.utf8));
    }
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
            notice = withNoticePart(notice, "CRLF line ends");
        }
        // Told only where the sides differ in it: a missing final line end is otherwise
        // invisible, yet it makes the last lines differ.
        if (lackFinalLineEnd[index] && !std::ranges::all_of(lackFinalLineEnd, std::identity())) {
            notice = withNoticePart(notice, "No newline at end of file");
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

void CorvaneFileComparisonView::scrollTogetherSideways(const std::vector<Gtk::Adjustment*>& all) {
    for (Gtk::Adjustment* moved : all) {
        moved->signal_value_changed().connect([this, moved, all] {
            if (scrollingSideways_) {
                return;
            }
            scrollingSideways_ = true;
            for (Gtk::Adjustment* other : all) {
                if (other != moved) {
                    other->set_value(moved->get_value());  // clamped to what it can show
                }
            }
            scrollingSideways_ = false;
        });
    }
}

void CorvaneFileComparisonView::useLargePanes() {
    largeVertical_ = Gtk::Adjustment::create(0, 0, 1);
    std::vector<Gtk::Scrollbar*> bars;
    std::vector<Gtk::Adjustment*> sideways;
    for (auto& side : sides_) {
        side->scroller.set_visible(false);
        auto horizontal = Gtk::Adjustment::create(0, 0, 1);
        sideways.push_back(horizontal.get());
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
        side->notice.set_text(withNoticePart(side->notice.get_text(), "Large text: shown plain"));
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
    scrollTogetherSideways(sideways);
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
    insertIdle_ = CorvaneConnectIdle([this] { return insertNextSlice(); }, Glib::PRIORITY_DEFAULT);
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
        std::string_view text = CorvaneShownText(texts_->texts[index].utf8);
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
        GtkTextIter start;
        GtkTextIter end;
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
        gtk_source_space_drawer_set_enable_matrix(drawer, static_cast<gboolean>(lineEndsDiffer));
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
