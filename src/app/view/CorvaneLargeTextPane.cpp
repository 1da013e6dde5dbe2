#include "app/view/CorvaneLargeTextPane.h"

#include <algorithm>
#include <string>

namespace {

// Lines longer than this are laid out only where they are in view.
constexpr size_t kLongLine = 4096;
// Rows and columns one wheel step scrolls.
constexpr double kRowsPerStep = 3;
constexpr double kColumnsPerStep = 6;
// Space between the line numbers and the text.
constexpr int kTextMargin = 6;

// The start of the UTF-8 sequence that holds byte `at`.
size_t sequenceStart(std::string_view text, size_t at) {
    while (at > 0 && at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) {
        --at;
    }
    return at;
}

graphene_rect_t rectangle(double x, double y, double width, double height) {
    return graphene_rect_t{{static_cast<float>(x), static_cast<float>(y)},
                           {static_cast<float>(width), static_cast<float>(height)}};
}

}  // namespace

CorvaneLargeTextPane::CorvaneLargeTextPane(Glib::RefPtr<Gtk::Adjustment> vertical,
                                           Glib::RefPtr<Gtk::Adjustment> horizontal)
    : vertical_(std::move(vertical)), horizontal_(std::move(horizontal)) {
    add_css_class("view");
    set_overflow(Gtk::Overflow::HIDDEN);
    set_hexpand(true);
    set_vexpand(true);
    measureFont();
    auto scroll = Gtk::EventControllerScroll::create();
    scroll->set_flags(Gtk::EventControllerScroll::Flags::BOTH_AXES);
    scroll->signal_scroll().connect(
        [this](double dx, double dy) {
            vertical_->set_value(vertical_->get_value() + dy * rowHeight_ * kRowsPerStep);
            horizontal_->set_value(horizontal_->get_value() + dx * charWidth_ * kColumnsPerStep);
            return true;
        },
        false);
    add_controller(scroll);
    vertical_->signal_value_changed().connect([this] { queue_draw(); });
    horizontal_->signal_value_changed().connect([this] { queue_draw(); });
}

void CorvaneLargeTextPane::measureFont() {
    font_ = get_pango_context()->get_font_description();
    font_.set_family("Monospace");
    auto layout = create_pango_layout("0123456789");
    layout->set_font_description(font_);
    int width = 0;
    int height = 0;
    layout->get_pixel_size(width, height);
    rowHeight_ = std::max(height, 1);
    charWidth_ = std::max(width / 10.0, 1.0);
}

void CorvaneLargeTextPane::setText(std::string_view text, const std::vector<size_t>* lineStarts) {
    text_ = text;
    lineStarts_ = lineStarts;
    longestLine_ = 0;
    for (int line = 0; line < lineCount(); ++line) {
        longestLine_ = std::max(longestLine_, lineText(line).size());
    }
    updateAdjustments();
    queue_draw();
}

void CorvaneLargeTextPane::setFiller(int above, const std::map<int, int>& below) {
    fillerAbove_ = above;
    fillerLines_.clear();
    fillerSums_.clear();
    long long sum = 0;
    for (const auto& [line, pixels] : below) {
        sum += pixels;
        fillerLines_.push_back(line);
        fillerSums_.push_back(sum);
    }
    updateAdjustments();
    queue_draw();
}

int CorvaneLargeTextPane::lineCount() const {
    return lineStarts_ == nullptr ? 0 : static_cast<int>(lineStarts_->size());
}

std::string_view CorvaneLargeTextPane::lineText(int line) const {
    size_t start = (*lineStarts_)[static_cast<size_t>(line)];
    size_t end = static_cast<size_t>(line) + 1 < lineStarts_->size()
                     ? (*lineStarts_)[static_cast<size_t>(line) + 1]
                     : text_.size();
    std::string_view text = text_.substr(start, end - start);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
        text.remove_suffix(1);
    }
    return text;
}

double CorvaneLargeTextPane::topOfLine(int line) const {
    // The filler of the lines before this one.
    auto before = std::lower_bound(fillerLines_.begin(), fillerLines_.end(), line);
    long long filler = before == fillerLines_.begin()
                           ? 0
                           : fillerSums_[static_cast<size_t>(before - fillerLines_.begin() - 1)];
    return static_cast<double>(fillerAbove_) + static_cast<double>(line) * rowHeight_ +
           static_cast<double>(filler);
}

double CorvaneLargeTextPane::bottomOfLine(int line) const {
    return topOfLine(line) + rowHeight_;
}

double CorvaneLargeTextPane::contentHeight() const {
    long long filler = fillerSums_.empty() ? 0 : fillerSums_.back();
    return static_cast<double>(fillerAbove_) + static_cast<double>(lineCount()) * rowHeight_ +
           static_cast<double>(filler);
}

int CorvaneLargeTextPane::lineAtY(double y) const {
    // The last line whose row starts at or above y (its filler below belongs to it).
    int low = 0;
    int high = std::max(lineCount() - 1, 0);
    while (low < high) {
        int middle = low + (high - low + 1) / 2;
        if (topOfLine(middle) <= y) {
            low = middle;
        } else {
            high = middle - 1;
        }
    }
    return low;
}

std::string_view CorvaneLargeTextPane::shownPart(int line, size_t* first) const {
    std::string_view text = lineText(line);
    *first = 0;
    if (text.size() <= kLongLine) {
        return text;
    }
    // Columns are taken as bytes here: exact for ASCII, near enough to find the stretch.
    auto column = static_cast<size_t>(std::max(horizontal_->get_value() / charWidth_, 0.0));
    size_t columns = static_cast<size_t>(get_width() / charWidth_) + 2;
    *first = sequenceStart(text, std::min(column, text.size()));
    size_t end = std::min(text.size(), *first + columns * 4);
    end = end < text.size() ? sequenceStart(text, end) : end;
    return text.substr(*first, end - *first);
}

std::pair<double, double> CorvaneLargeTextPane::spanX(int line, int start, int end) const {
    size_t first = 0;
    std::string_view part = shownPart(line, &first);
    auto clamp = [&](int at) {
        return static_cast<int>(
            std::clamp<size_t>(static_cast<size_t>(std::max(at, 0)), first, first + part.size()) -
            first);
    };
    // Measuring does not change the pane; gtkmm makes layouts only from a non-const widget.
    auto layout = const_cast<CorvaneLargeTextPane*>(this)->create_pango_layout(  // NOLINT
        "");
    layout->set_font_description(font_);
    layout->set_text(Glib::ustring(part.data(), part.size()));
    double offset = static_cast<double>(first) * charWidth_;
    auto from = layout->index_to_pos(clamp(start));
    auto to = layout->index_to_pos(clamp(end));
    return {offset + from.get_x() / static_cast<double>(PANGO_SCALE),
            offset + to.get_x() / static_cast<double>(PANGO_SCALE)};
}

int CorvaneLargeTextPane::gutterWidth() const {
    int digits = static_cast<int>(std::to_string(std::max(lineCount(), 1)).size());
    return static_cast<int>((digits + 2) * charWidth_);
}

Gdk::Rectangle CorvaneLargeTextPane::visibleRect() const {
    return {static_cast<int>(horizontal_->get_value()) - kTextMargin,
            static_cast<int>(vertical_->get_value()), get_width() - gutterWidth(), get_height()};
}

void CorvaneLargeTextPane::updateAdjustments() {
    int height = get_height();
    int textWidth = std::max(get_width() - gutterWidth() - kTextMargin, 1);
    vertical_->configure(vertical_->get_value(), 0, std::max(contentHeight(), 1.0), rowHeight_,
                         std::max(height - rowHeight_, rowHeight_), std::max(height, 1));
    horizontal_->configure(horizontal_->get_value(), 0,
                           std::max(static_cast<double>(longestLine_ + 2) * charWidth_,
                                    static_cast<double>(textWidth)),
                           charWidth_, textWidth * 0.9, textWidth);
}

void CorvaneLargeTextPane::measure_vfunc(Gtk::Orientation, int, int& minimum, int& natural,
                                         int& minimumBaseline, int& naturalBaseline) const {
    minimum = 50;
    natural = 400;
    minimumBaseline = -1;
    naturalBaseline = -1;
}

void CorvaneLargeTextPane::size_allocate_vfunc(int, int, int) {
    updateAdjustments();
}

void CorvaneLargeTextPane::snapshot_vfunc(const Glib::RefPtr<Gtk::Snapshot>& snapshotRef) {
    GtkSnapshot* snapshot = snapshotRef->gobj();
    int width = get_width();
    int height = get_height();
    int gutter = gutterWidth();
    double top = vertical_->get_value();
    double left = horizontal_->get_value();
    Gdk::RGBA ink = get_style_context()->get_color();
    GdkRGBA textColour = *ink.gobj();

    auto layout = create_pango_layout("");
    layout->set_font_description(font_);
    int first = lineAtY(top);
    int last = lineCount() == 0 ? -1 : lineAtY(top + height);

    // The text, scrolled, right of the gutter.
    graphene_rect_t textArea = rectangle(gutter, 0, width - gutter, height);
    gtk_snapshot_push_clip(snapshot, &textArea);
    gtk_snapshot_save(snapshot);
    graphene_point_t origin{static_cast<float>(gutter + kTextMargin - left),
                            static_cast<float>(-top)};
    gtk_snapshot_translate(snapshot, &origin);
    if (paintBelowText) {
        paintBelowText(snapshot, *visibleRect().gobj());
    }
    for (int line = first; line <= last; ++line) {
        size_t part = 0;
        std::string_view text = shownPart(line, &part);
        layout->set_text(Glib::ustring(text.data(), text.size()));
        gtk_snapshot_save(snapshot);
        graphene_point_t at{static_cast<float>(static_cast<double>(part) * charWidth_),
                            static_cast<float>(topOfLine(line))};
        gtk_snapshot_translate(snapshot, &at);
        gtk_snapshot_append_layout(snapshot, layout->gobj(), &textColour);
        gtk_snapshot_restore(snapshot);
    }
    gtk_snapshot_restore(snapshot);
    gtk_snapshot_pop(snapshot);

    // Line numbers, right-aligned, beside their first row.
    GdkRGBA numberColour = textColour;
    numberColour.alpha *= 0.45f;
    for (int line = first; line <= last; ++line) {
        std::string number = std::to_string(line + 1);
        layout->set_text(number);
        gtk_snapshot_save(snapshot);
        graphene_point_t at{
            static_cast<float>(gutter - charWidth_ * (static_cast<double>(number.size()) + 1)),
            static_cast<float>(topOfLine(line) - top)};
        gtk_snapshot_translate(snapshot, &at);
        gtk_snapshot_append_layout(snapshot, layout->gobj(), &numberColour);
        gtk_snapshot_restore(snapshot);
    }
}
