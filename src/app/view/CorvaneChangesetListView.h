#pragma once

#include <gtkmm.h>

#include <functional>
#include <optional>

#include "app/CorvaneChangesetItems.h"

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
    // Selects the next (previous) row that has arrived; false when there is none.
    bool selectNext();
    bool selectPrevious();
    // Called when the selection moves to a row whose item has arrived.
    std::function<void(size_t fileListIndex)> onItemSelected;

private:
    bool selectArrived(int step);
    void selectionChanged();

    CorvaneChangesetItems& items_;
    GListModel* model_ = nullptr;  // owned; GtkSingleSelection takes its own reference
    GtkSingleSelection* selection_ = nullptr;
    Gtk::SearchEntry filter_;
    Gtk::ScrolledWindow scroller_;
    Gtk::Label summary_;
};
