#include "app/view/CorvaneChangesetListView.h"

#include "app/CorvaneText.h"

#include <gtk/gtk.h>

#include <string>

// A GListModel over the changeset's rows: each item is made when the list asks for it, a
// GtkStringObject holding the row's line; the rows themselves stay in CorvaneChangesetItems.
G_BEGIN_DECLS
#define CORVANE_TYPE_ITEMS_MODEL (corvane_items_model_get_type())
G_DECLARE_FINAL_TYPE(CorvaneItemsModel, corvane_items_model, CORVANE, ITEMS_MODEL, GObject)
G_END_DECLS

struct _CorvaneItemsModel {
    GObject parent;
    CorvaneChangesetItems* items;
};

namespace {

GType itemType(GListModel*) {
    return GTK_TYPE_STRING_OBJECT;
}

guint itemCount(GListModel* model) {
    return static_cast<guint>(CORVANE_ITEMS_MODEL(model)->items->count());
}

gpointer item(GListModel* model, guint position) {
    CorvaneChangesetItems* items = CORVANE_ITEMS_MODEL(model)->items;
    if (position >= items->count()) {
        return nullptr;
    }
    return gtk_string_object_new(items->row(position).description().c_str());
}

void initializeListModel(GListModelInterface* interface) {
    interface->get_item_type = itemType;
    interface->get_n_items = itemCount;
    interface->get_item = item;
}

}  // namespace

G_DEFINE_TYPE_WITH_CODE(CorvaneItemsModel, corvane_items_model, G_TYPE_OBJECT,
                        G_IMPLEMENT_INTERFACE(G_TYPE_LIST_MODEL, initializeListModel))

static void corvane_items_model_class_init(CorvaneItemsModelClass*) {}
static void corvane_items_model_init(CorvaneItemsModel* model) {
    model->items = nullptr;
}

namespace {

// A row: the status letter as a coloured badge, the path (its folders dimmed by the ellipsis
// first), and the status word.
void setUpRow(GtkSignalListItemFactory*, GtkListItem* listItem, gpointer) {
    GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
    gtk_widget_set_margin_start(row, 6);
    gtk_widget_set_margin_end(row, 6);
    gtk_widget_set_margin_top(row, 3);
    gtk_widget_set_margin_bottom(row, 3);
    GtkWidget* letter = gtk_label_new(nullptr);
    gtk_label_set_width_chars(GTK_LABEL(letter), 2);
    gtk_widget_add_css_class(letter, "cv-status");
    GtkWidget* path = gtk_label_new(nullptr);
    gtk_label_set_xalign(GTK_LABEL(path), 0);
    gtk_label_set_ellipsize(GTK_LABEL(path), PANGO_ELLIPSIZE_START);
    gtk_widget_set_hexpand(path, TRUE);
    GtkWidget* word = gtk_label_new(nullptr);
    gtk_widget_add_css_class(word, "dim-label");
    gtk_widget_add_css_class(word, "caption");
    gtk_box_append(GTK_BOX(row), letter);
    gtk_box_append(GTK_BOX(row), path);
    gtk_box_append(GTK_BOX(row), word);
    gtk_list_item_set_child(listItem, row);
}

void bindRow(GtkSignalListItemFactory*, GtkListItem* listItem, gpointer items) {
    GtkWidget* box = gtk_list_item_get_child(listItem);
    GtkWidget* letter = gtk_widget_get_first_child(box);
    GtkWidget* path = gtk_widget_get_next_sibling(letter);
    GtkWidget* word = gtk_widget_get_next_sibling(path);
    guint position = gtk_list_item_get_position(listItem);
    auto* rows = static_cast<CorvaneChangesetItems*>(items);
    if (position >= rows->count()) {
        return;
    }
    CorvaneChangesetItems::Row row = rows->row(position);
    std::string shownPath = row.newPath ? row.path + " \u2192 " + *row.newPath : row.path;
    gtk_label_set_text(GTK_LABEL(letter), row.letter());
    gtk_label_set_text(GTK_LABEL(path), shownPath.c_str());
    gtk_widget_set_tooltip_text(path, shownPath.c_str());
    gtk_label_set_text(GTK_LABEL(word), row.pending ? "pending" : row.word());
    for (const char* kind : {"cv-added", "cv-deleted", "cv-modified", "cv-renamed", "cv-same"}) {
        gtk_widget_remove_css_class(letter, kind);
    }
    gtk_widget_add_css_class(letter, row.identical                             ? "cv-same"
                                     : row.kind == CorvaneChangeKind::added    ? "cv-added"
                                     : row.kind == CorvaneChangeKind::deleted  ? "cv-deleted"
                                     : row.kind == CorvaneChangeKind::modified ? "cv-modified"
                                                                               : "cv-renamed");
    // Pending rows and rows with nothing to see are shown dimmed.
    if (row.pending || row.identical) {
        gtk_widget_add_css_class(box, "dim-label");
    } else {
        gtk_widget_remove_css_class(box, "dim-label");
    }
}

// The badges' colours, readable on light and dark backgrounds.
void addStatusStyles() {
    static bool added = false;
    if (added || gdk_display_get_default() == nullptr) {
        return;
    }
    added = true;
    GtkCssProvider* provider = gtk_css_provider_new();
    gtk_css_provider_load_from_data(provider,
                                    ".cv-status { font-weight: bold; border-radius: 4px; "
                                    "color: white; font-size: smaller; }"
                                    ".cv-added { background-color: #2ec27e; }"
                                    ".cv-deleted { background-color: #e01b24; }"
                                    ".cv-modified { background-color: #3584e4; }"
                                    ".cv-renamed { background-color: #9141ac; }"
                                    ".cv-same { background-color: #77767b; }",
                                    -1);
    gtk_style_context_add_provider_for_display(gdk_display_get_default(),
                                               GTK_STYLE_PROVIDER(provider),
                                               GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    g_object_unref(provider);
}

}  // namespace

CorvaneChangesetListView::CorvaneChangesetListView(CorvaneChangesetItems& items)
    : Gtk::Box(Gtk::Orientation::VERTICAL), items_(items) {
    addStatusStyles();
    auto* model = CORVANE_ITEMS_MODEL(g_object_new(CORVANE_TYPE_ITEMS_MODEL, nullptr));
    model->items = &items_;
    model_ = G_LIST_MODEL(model);
    items_.onItemsChanged = [this](size_t position, size_t removed, size_t added) {
        // Rows that change in place are new objects to the selection model, which then drops
        // its selection: the person's selection is put back, without showing the item again.
        guint selected = selection_ != nullptr ? gtk_single_selection_get_selected(selection_)
                                               : GTK_INVALID_LIST_POSITION;
        g_list_model_items_changed(model_, static_cast<guint>(position),
                                   static_cast<guint>(removed), static_cast<guint>(added));
        if (selected != GTK_INVALID_LIST_POSITION && removed == added && selected >= position &&
            selected < position + removed &&
            gtk_single_selection_get_selected(selection_) != selected) {
            restoringSelection_ = true;
            gtk_single_selection_set_selected(selection_, selected);
            restoringSelection_ = false;
        }
        updateSummary();
        showFirstArrivedItem();
    };
    // Made from the model above. NOLINTNEXTLINE(cppcoreguidelines-prefer-member-initializer)
    selection_ = gtk_single_selection_new(G_LIST_MODEL(g_object_ref(model_)));
    gtk_single_selection_set_autoselect(selection_, FALSE);
    gtk_single_selection_set_can_unselect(selection_, TRUE);
    // No row is selected until showFirstArrivedItem() has an item to show.
    gtk_single_selection_set_selected(selection_, GTK_INVALID_LIST_POSITION);
    g_signal_connect_swapped(
        selection_, "selection-changed",
        G_CALLBACK(+[](CorvaneChangesetListView* view) { view->selectionChanged(); }), this);
    GtkListItemFactory* factory = gtk_signal_list_item_factory_new();
    g_signal_connect(factory, "setup", G_CALLBACK(setUpRow), nullptr);
    g_signal_connect(factory, "bind", G_CALLBACK(bindRow), &items_);
    GtkWidget* list = gtk_list_view_new(GTK_SELECTION_MODEL(selection_), factory);
    g_object_ref(selection_);  // gtk_list_view_new took the one it was given

    // gtkmm 4.8 sends SearchEntry's placeholder to GtkEntry, which a search entry is not.
    g_object_set(filter_.gobj(), "placeholder-text", "Filter", nullptr);
    filter_.signal_search_changed().connect([this] { items_.setFilter(filter_.get_text()); });
    scroller_.set_child(*Glib::wrap(list));
    scroller_.set_vexpand(true);
    summary_.set_xalign(0);
    summary_.set_margin(6);
    filter_.set_margin(6);
    summary_.add_css_class("dim-label");
    updateSummary();
    append(filter_);
    append(scroller_);
    append(summary_);
    firstPaint_.watch(*this, [this] {
        firstPaintMilliseconds_ = static_cast<double>(g_get_monotonic_time() - createdAt_) / 1000.0;
    });
}

void CorvaneChangesetListView::updateSummary() {
    std::string text = std::to_string(items_.totalCount()) + " items";
    if (size_t pending = items_.pendingCount(); pending > 0) {
        text += ", " + std::to_string(pending) + " pending";
    }
    if (size_t identical = items_.identicalCount(); identical > 0) {
        text += ", " + std::to_string(identical) + " identical";
    }
    summary_.set_text(text);
}

void CorvaneChangesetListView::findIdenticalItems(std::vector<SidesOfItem> items) {
    search_ = std::make_shared<Search>();
    search_->view = this;
    searcher_ = std::thread([search = search_, items = std::move(items)] {
        struct Found {
            std::shared_ptr<Search> search;
            std::vector<size_t> fileLists;
        };
        auto deliver = [&search](std::vector<size_t>* found) {
            if (found->empty()) {
                return;
            }
            g_idle_add_full(
                G_PRIORITY_DEFAULT_IDLE,
                [](gpointer data) -> gboolean {
                    auto* batch = static_cast<Found*>(data);
                    if (!batch->search->cancelled && batch->search->view != nullptr) {
                        batch->search->view->items_.markIdentical(batch->fileLists);
                        batch->search->view->updateSummary();
                    }
                    return G_SOURCE_REMOVE;
                },
                new Found{search, std::move(*found)},
                [](gpointer data) { delete static_cast<Found*>(data); });
            found->clear();
        };
        std::vector<size_t> found;
        for (const SidesOfItem& item : items) {
            if (search->cancelled) {
                return;
            }
            if (CorvaneSameBytes(item.left, item.right)) {
                found.push_back(item.fileList);
            }
            if (found.size() >= 1024) {
                deliver(&found);
            }
        }
        deliver(&found);
    });
}

CorvaneChangesetListView::~CorvaneChangesetListView() {
    if (search_) {
        search_->cancelled = true;
        search_->view = nullptr;
    }
    if (searcher_.joinable()) {
        searcher_.join();
    }
    items_.onItemsChanged = nullptr;
    g_signal_handlers_disconnect_by_data(selection_, this);
    g_object_unref(selection_);
    g_object_unref(model_);
}

void CorvaneChangesetListView::refresh() {
    // items-changed keeps GtkSingleSelection's selected item where it is.
    items_.refresh();
}

std::optional<size_t> CorvaneChangesetListView::selectedFileList() const {
    guint position = gtk_single_selection_get_selected(selection_);
    if (position == GTK_INVALID_LIST_POSITION || position >= items_.count()) {
        return std::nullopt;
    }
    return items_.row(position).fileListIndex;
}

bool CorvaneChangesetListView::selectArrived(int step) {
    guint selected = gtk_single_selection_get_selected(selection_);
    auto count = static_cast<long>(items_.count());
    long position = selected == GTK_INVALID_LIST_POSITION ? (step > 0 ? -1 : count)
                                                          : static_cast<long>(selected);
    for (position += step; position >= 0 && position < count; position += step) {
        auto row = items_.row(static_cast<size_t>(position));
        if (row.fileListIndex && !row.identical) {
            gtk_single_selection_set_selected(selection_, static_cast<guint>(position));
            return true;
        }
    }
    return false;
}

bool CorvaneChangesetListView::selectNext() {
    return selectArrived(1);
}

bool CorvaneChangesetListView::selectPrevious() {
    return selectArrived(-1);
}

void CorvaneChangesetListView::showFirstArrivedItem() {
    if (chosen_ || onItemSelected == nullptr ||
        gtk_single_selection_get_selected(selection_) != GTK_INVALID_LIST_POSITION) {
        return;
    }
    showingFirst_ = true;
    selectArrived(1);
    showingFirst_ = false;
}

void CorvaneChangesetListView::selectionChanged() {
    if (restoringSelection_) {
        return;
    }
    chosen_ = chosen_ || !showingFirst_;
    if (auto fileList = selectedFileList(); fileList && onItemSelected) {
        onItemSelected(*fileList);
    }
}
