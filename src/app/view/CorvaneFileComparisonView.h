#pragma once

#include <gtkmm.h>
#include <gtksourceview/gtksource.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "app/CorvaneAlignment.h"
#include "app/CorvaneComparison.h"
#include "app/CorvaneDocument.h"
#include "app/CorvaneText.h"
#include "app/view/CorvaneNextPaint.h"
#include "platform/CVHeldFile.h"

// Two or three files side by side: read-only source panes with line numbers and highlighting,
// blocks aligned by filler space below the line before a gap (no text is inserted), changed
// blocks tinted, changed words highlighted, bands between the panes, one vertical scroll for
// all. Reading and comparing run on a worker thread; the panes fill once they are done.
class CorvaneFileComparisonView : public Gtk::Box {
public:
    struct Options {
        bool ignoreWhitespace = false;
        bool ignoreBlankLines = false;
        bool wrapLines = false;
    };

    explicit CorvaneFileComparisonView(const CorvaneFileList& files);
    ~CorvaneFileComparisonView() override;

    const Options& options() const { return options_; }
    // Changing the diff options compares again; wrapping only changes the panes.
    void setOptions(const Options& options);

    // Moves to a change and scrolls the panes to it; false when there is none that way.
    bool showNextChange();
    bool showPreviousChange();
    bool showFirstChange();
    bool showLastChange();

    // What the tab shows: state ("loading" or "shown"), message, change count, the current
    // change, the options, and per pane its header, notice, line count, first lines and tinted
    // and highlighted ranges, and once painted how many milliseconds after the view was made its
    // first frame showed the comparison ("firstPaintMilliseconds"). A JSON object.
    std::string describe() const;

private:
    struct Side;
    struct Job;
    struct Texts;
    struct Result;

    void startComparing();
    // From the worker: the texts (shown while they are compared), then the comparison.
    static void deliver(const std::shared_ptr<Job>& job, std::shared_ptr<const Texts> texts,
                        std::shared_ptr<Result> result);
    void takeTexts(std::shared_ptr<const Texts> texts);
    void showTexts(std::shared_ptr<const Texts> texts);
    // Puts a plain large-text pane in place of each source view.
    void useLargePanes();
    // Scrolling one pane sideways scrolls the others as far, so that columns stay side by side.
    // Plain pointers: a closure holding references to its own adjustment would keep it forever;
    // the adjustments belong to this view's panes and go with them.
    void scrollTogetherSideways(const std::vector<Gtk::Adjustment*>& all);
    void showShown();
    void show(std::shared_ptr<Result> result);
    bool insertNextSlice();
    void finishShowing();
    void applyComparison();
    void markBuffers();
    // The tints of changed lines and the changed words within them.
    void markChanges();
    // How far each line's top is from its text's top, in pixels (wrapped lines take more rows).
    std::function<long(size_t pane, int line)> pixelsBeforeLine() const;
    void applyFiller(const std::vector<CorvaneFiller>& filler);
    void clearMarks();
    void showMessage(const std::string& message);
    bool showChange(int index);
    void drawBands(const Cairo::RefPtr<Cairo::Context>& context, int width, int height,
                   size_t pair);
    int lineHeight(const Side& side) const;
    // The height of a row within a wrapped line (a fraction of a pixel is kept).
    double rowPitch(const Side& side) const;
    // How many columns a wrapped row of the pane holds; 0 when not known yet.
    int columnsPerRow(const Side& side) const;
    // Aligns the panes again once the loop is idle (wrapping or the width changed).
    void alignAgain();
    void updateStatus();
    // After the next frame the panes are part of: the first such frame's time is kept, and the
    // syntax is highlighted once the comparison has been shown.
    void afterNextPaint();
    void painted();
    void highlightSyntax();

    std::vector<std::unique_ptr<Side>> sides_;
    // The sides' files, held open by the document since the call.
    std::vector<std::shared_ptr<CVHeldFile>> heldFiles_;
    Options options_;

    Gtk::Box statusBar_{Gtk::Orientation::HORIZONTAL};
    Gtk::Spinner spinner_;
    Gtk::Label changeCount_;
    Gtk::Label message_;
    Gtk::Box panes_{Gtk::Orientation::HORIZONTAL};
    std::vector<std::unique_ptr<Gtk::DrawingArea>> bands_;
    // The scroll the large-text panes share, once they are used.
    Glib::RefPtr<Gtk::Adjustment> largeVertical_;
    bool scrollingSideways_ = false;  // one pane's sideways scroll is being passed on

    std::shared_ptr<Job> job_;
    std::thread worker_;
    std::shared_ptr<const Texts> texts_;
    bool textsInserted_ = false;
    std::shared_ptr<Result> result_;
    bool shown_ = false;
    std::string shownMessage_;
    int currentChange_ = -1;
    sigc::connection spinnerTimeout_;
    sigc::connection insertIdle_;
    sigc::connection themeChanged_;
    sigc::connection alignIdle_;
    // When the view was made (the tab opens right after the call is answered), and how long
    // after that the first frame showing the comparison was painted; -1 until then.
    gint64 createdAt_ = 0;
    double firstPaintMilliseconds_ = -1;
    CorvaneNextPaint nextPaint_;
    // Languages are set on the buffers after the first frame that shows them.
    bool highlightPending_ = false;
    sigc::connection highlightIdle_;
};
