#pragma once

#include <gtkmm.h>

#include <functional>
#include <map>
#include <string_view>
#include <vector>

// A read-only pane for texts too large for a text view (a million lines, a line of megabytes):
// it keeps no copy and no layout of the text, and draws only the rows in view, straight from the
// text and its line starts. No highlighting and no selection; line numbers, filler below lines
// and whatever its owner paints below the text, as a diff pane needs.
//
// Content coordinates: x from the text's left edge, y from the top of the first row, before
// scrolling. The vertical adjustment (pixels) may be shared with other panes; the horizontal
// one is the pane's own.
class CorvaneLargeTextPane : public Gtk::Widget {
public:
    CorvaneLargeTextPane(Glib::RefPtr<Gtk::Adjustment> vertical,
                         Glib::RefPtr<Gtk::Adjustment> horizontal);

    // The text and the offset where each line begins; both must outlive the pane.
    void setText(std::string_view text, const std::vector<size_t>* lineStarts);
    // Filler in pixels above the first line and below lines.
    void setFiller(int above, const std::map<int, int>& below);

    int rowHeight() const { return rowHeight_; }
    int lineCount() const;
    // The top of a line's row and its bottom (without the filler below it).
    double topOfLine(int line) const;
    double bottomOfLine(int line) const;
    // Everything, with the filler below the last line.
    double contentHeight() const;
    // The line whose row or filler holds y; clamped to the lines there are.
    int lineAtY(double y) const;
    // The left and right x of bytes [start, end) of a line.
    std::pair<double, double> spanX(int line, int start, int end) const;
    // The part of the content in view.
    Gdk::Rectangle visibleRect() const;

    // Paints below the text, in content coordinates.
    std::function<void(GtkSnapshot* snapshot, const GdkRectangle& visible)> paintBelowText;

protected:
    void snapshot_vfunc(const Glib::RefPtr<Gtk::Snapshot>& snapshot) override;
    void measure_vfunc(Gtk::Orientation orientation, int forSize, int& minimum, int& natural,
                       int& minimumBaseline, int& naturalBaseline) const override;
    void size_allocate_vfunc(int width, int height, int baseline) override;

private:
    void measureFont();
    void updateAdjustments();
    int gutterWidth() const;
    std::string_view lineText(int line) const;
    // What of a line is laid out: all of it, or for a very long line the stretch in view
    // (from byte *first).
    std::string_view shownPart(int line, size_t* first) const;

    Glib::RefPtr<Gtk::Adjustment> vertical_, horizontal_;
    std::string_view text_;
    const std::vector<size_t>* lineStarts_ = nullptr;
    int fillerAbove_ = 0;
    // Lines with filler below them, in order, and the filler up to and including each.
    std::vector<int> fillerLines_;
    std::vector<long long> fillerSums_;
    Pango::FontDescription font_;
    int rowHeight_ = 16;
    double charWidth_ = 8;
    size_t longestLine_ = 0;
};
