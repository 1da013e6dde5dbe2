#pragma once

#include <gtkmm.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "app/CorvaneChangesetItems.h"
#include "app/view/CorvaneNextPaint.h"

// The list beside a changeset's comparison: a filter entry over a virtualised list of the
// changeset's rows (status letter, path, "pending" for rows whose item has not arrived). Rows are
// made only for what is on screen, so a list of 100,000 items opens at once. New items appear
// without moving the selection.
class CorvaneChangesetListView : public Gtk::Box {
public:
    // The items must outlive the view.
    explicit CorvaneChangesetListView(CorvaneChangesetItems& items);
    ~CorvaneChangesetListView() override;

    // Takes in what the document gained (calls the items' refresh).
    void refresh();
    // The selected row's file list; nothing while none, or a pending row, is selected.
    std::optional<size_t> selectedFileList() const;
    // Selects the next (previous) row that has arrived and is not known to be identical; false
    // when there is none.
    bool selectNext();
    bool selectPrevious();
    // Selects the first row that has arrived and is not known to be identical, unless the person
    // has chosen a row (or none) already: a changeset opens on its first comparison, a partial
    // one as soon as its first item arrives. Needs onItemSelected; called again as items arrive.
    void showFirstArrivedItem();
    // From the list's making to the first frame that showed it; nothing before that frame.
    std::optional<double> firstPaintMilliseconds() const { return firstPaintMilliseconds_; }
    // Called when the selection moves to a row whose item has arrived.
    std::function<void(size_t fileListIndex)> onItemSelected;

    // A pair of files to look at: the document's file list and its two sides.
    struct SidesOfItem {
        size_t fileList;
        std::string left, right;
    };
    // Looks, in the background, for items whose sides hold the same bytes, and marks their rows
    // as they are found (a comparison of folders lists every pair, changed or not).
    void findIdenticalItems(std::vector<SidesOfItem> items);

private:
    bool selectArrived(int step);
    void selectionChanged();
    void updateSummary();

    struct Search {
        std::atomic<bool> cancelled{false};
        CorvaneChangesetListView* view = nullptr;
    };
    std::shared_ptr<Search> search_;
    bool restoringSelection_ = false;
    bool showingFirst_ = false;
    bool chosen_ = false;  // the person moved the selection
    gint64 createdAt_ = g_get_monotonic_time();
    std::optional<double> firstPaintMilliseconds_;
    CorvaneNextPaint firstPaint_;
    std::thread searcher_;

    CorvaneChangesetItems& items_;
    GListModel* model_ = nullptr;  // owned; GtkSingleSelection takes its own reference
    GtkSingleSelection* selection_ = nullptr;
    Gtk::SearchEntry filter_;
    Gtk::ScrolledWindow scroller_;
    Gtk::Label summary_;
};
