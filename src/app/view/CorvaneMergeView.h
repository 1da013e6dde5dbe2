#pragma once

#include <gtkmm.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/CorvaneJSON.h"
#include "app/CorvaneMerge.h"

// How a region is tinted (defined where the merge view paints).
enum class CorvaneMergeTint;

// A merge tab: the left side, the base (when there is one) and the right side above, the result
// being built below, editable. Actions on the current conflict take left, right, both in either
// order, or base; next/previous conflict move through them; the count of conflicts left is shown
// and Resolve is possible only when it is zero. The host posts the notifications: onResolved
// after the output was written, onClosedWithoutResolving when the person closes it unresolved.
class CorvaneMergeView : public Gtk::Box {
public:
    // headers: the captions of left, right and base (the base's is unused without a base).
    CorvaneMergeView(std::unique_ptr<CorvaneMerge> merge, std::vector<std::string> headers);

    const CorvaneMerge& merge() const { return *merge_; }
    // The panes as they are shown: each pane's role ("Left", "Base", "Right", "Result"), its
    // tinted line ranges, [{"kind","start","count"}], and the lines it shows on screen,
    // "visibleLines": [first, last].
    CorvaneJSON panes() const;
    // The actions, also bound to the buttons: "merge.next-conflict", "merge.previous-conflict",
    // "merge.take-left", "merge.take-right", "merge.take-left-then-right",
    // "merge.take-right-then-left", "merge.take-base", "merge.resolve".
    bool showNextConflict();
    bool showPreviousConflict();
    bool take(CorvaneMerge::Choice choice);
    // Writes the output; on success calls onResolved. An output changed by someone else is asked
    // about first; a failure is shown in the tab and the merge stays open.
    void resolve();
    // Closing: asks first when choices or edits would be lost, then calls onClosedWithoutResolving.
    void requestClose();

    std::function<void()> onResolved;
    std::function<void()> onClosedWithoutResolving;

private:
    void showResult();
    void updateStatus();
    // Notes the result's line at each region's start (and its end), for scrolling the panes
    // together without counting on every scroll.
    void countResultLines();
    // Tints every region that is not the same on all sides, in the result and the side panes.
    void showTints();
    // Paints a pane's tints that are in view, below its text (text tags' paragraph backgrounds
    // are not redrawn on every line they are applied to).
    void paintTints(size_t pane, GtkSnapshot* snapshot, const GdkRectangle& visible) const;
    // The panes, the side panes first, the result last.
    std::vector<Gtk::TextView*> views() const;
    // The lines a region takes in a pane.
    CorvaneMerge::LineRange linesOf(const Gtk::TextView& view, size_t region) const;
    // Brings the current conflict into view in every pane.
    void scrollToCurrent();
    // Scrolls the other panes to where the moved one shows: the same line of the same region.
    void followScroll(Gtk::TextView& moved);
    void resultInserted(const Gtk::TextBuffer::iterator& at, const Glib::ustring& text);
    void resultErased(const Gtk::TextBuffer::iterator& start, const Gtk::TextBuffer::iterator& end);
    size_t byteOffset(const Gtk::TextBuffer::iterator& at) const;
    Gtk::TextBuffer::iterator iteratorAt(size_t byteOffset);
    // Asks in a dialog; the answer runs from the main loop, once the dialog is gone.
    void ask(const std::string& question, const std::string& yes, std::function<void()> then);
    void runAnswer();

    std::unique_ptr<CorvaneMerge> merge_;
    size_t current_ = 0;  // the region of the current conflict
    bool hasCurrent_ = false;
    // The result as its pane holds it: without the final line end, which closes the last line
    // and is not shown as one more, empty line. That line end, kept for a result emptied and
    // typed into again.
    std::string shownResult_;
    std::string resultLineEnd_;
    std::vector<int> resultLines_;  // see countResultLines()
    bool updatingResult_ = false;
    bool followingScroll_ = false;  // also set while the panes scroll to the current conflict
    int framesToSettle_ = 0;        // frames left for the scroll to the current conflict to settle
    int framesShown_ = 0;           // frames running in which every pane has shown it

    Glib::RefPtr<Gio::SimpleActionGroup> actions_;
    Gtk::Box toolbar_{Gtk::Orientation::HORIZONTAL};
    Gtk::Label conflictsLeft_;
    Gtk::Button resolve_{"Resolve"};
    Gtk::Label message_;
    Gtk::Paned vertical_{Gtk::Orientation::VERTICAL};
    Gtk::Box sides_{Gtk::Orientation::HORIZONTAL};
    // The panes, owned by their containers; each side pane shows one side's lines of a region.
    Gtk::TextView* result_ = nullptr;
    struct SidePane {
        const char* role;
        Gtk::TextView* view;
        CorvaneMerge::LineRange CorvaneMerge::Region::*lines;
    };
    std::vector<SidePane> sidePanes_;
    // The lines each pane tints, in the order of views(), first lines ascending.
    struct LineTint {
        CorvaneMergeTint tint;
        int start;
        int count;
    };
    std::vector<std::vector<LineTint>> tints_;
    std::unique_ptr<Gtk::MessageDialog> dialog_;
    std::function<void()> answer_;
};
