#pragma once

// The parts of a comparison of files that its source files share: the tints, the panes and the
// results that travel from the worker thread. Included by the comparison view's sources only.

#include <gtk/gtk.h>

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "app/CorvaneComparison.h"
#include "app/CorvaneText.h"
#include "app/view/CorvaneFileComparisonView.h"
#include "app/view/CorvaneLargeTextPane.h"
#include "app/view/CorvaneSourceView.h"

namespace CorvaneFileComparisonParts {

// What a pane shows of a change: lines only it has, lines only the other has, or changed lines.
enum class Mark { inserted, deleted, changed };

// "inserted", "deleted", "changed".
const char* nameOf(Mark kind);
// The colour of a change's lines, or of its changed words.
const char* colourOf(Mark kind, bool words);
GdkRGBA rgba(const char* colour, float alpha = 1.0f);

// A line of a text, its line end included, given where its lines start.
inline std::string_view lineOf(std::string_view text, const std::vector<size_t>& starts, int line) {
    size_t start = starts[static_cast<size_t>(line)];
    size_t end = static_cast<size_t>(line) + 1 < starts.size()
                     ? starts[static_cast<size_t>(line) + 1]
                     : text.size();
    return text.substr(start, end - start);
}

}  // namespace CorvaneFileComparisonParts

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
        CorvaneFileComparisonParts::Mark kind;
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
