#include "app/view/CorvaneWindow.h"

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "app/CorvaneChangesetItems.h"
#include "app/CorvaneDocumentTitle.h"
#include "app/CorvaneInvocationReader.h"
#include "app/CorvaneMerge.h"
#include "app/CorvaneText.h"
#include "app/view/CorvaneChangesetListView.h"
#include "app/view/CorvaneFileComparisonView.h"
#include "app/view/CorvaneMergeView.h"
#include "model/CVCLISerializedFileList.h"
#include "platform/CVCorvaneContract.h"

// One tab: its page, its title and, for a comparison of files, the comparison view.
struct CorvaneWindow::Tab {
    std::string GUID;
    std::string title;
    Gtk::Box label{Gtk::Orientation::HORIZONTAL};
    Gtk::Label titleLabel;
    Gtk::Button closeButton;
    std::unique_ptr<Gtk::Widget> page;
    CorvaneFileComparisonView* comparison = nullptr;
    Gtk::Label* summary = nullptr;
    // A comparison of two folders: the changeset of their files, paired here.
    std::unique_ptr<CorvaneDocument> folders;
    // A changeset: its rows, the list, and the pane that shows the selected item.
    std::unique_ptr<CorvaneChangesetItems> items;
    CorvaneChangesetListView* list = nullptr;
    Gtk::Box* itemPane = nullptr;
    // A merge.
    CorvaneMergeView* merge = nullptr;
};

namespace {

constexpr const char* kToggles[] = {"ignore-whitespace", "ignore-blank-lines", "wrap-lines"};

// What a document that is not a comparison of files shows for now: its items, one a line.
std::string summaryOfDocument(const CorvaneDocument& document) {
    std::string text = std::string("This ") + CorvaneDocument::nameOfKind(document.kind) + " has " +
                       std::to_string(document.fileLists.size()) +
                       (document.fileLists.size() == 1 ? " item" : " items") + ":\n";
    for (const CorvaneFileList& list : document.fileLists) {
        text += "\n";
        if (list.relativePath) {
            text += *list.relativePath + "   ";
        }
        for (size_t index = 0; index < list.files.size(); ++index) {
            text += (index > 0 ? "  \u2194  " : "") + list.files[index];
        }
    }
    for (const CorvaneFileList& list : document.announcedFileLists) {
        text += "\nannounced: " + (list.relativePath ? *list.relativePath : std::string());
    }
    if (document.outputFile) {
        text += "\n\nResult: " + *document.outputFile;
    }
    return text;
}

bool isChangeset(const CorvaneDocument& document) {
    return document.kind == CorvaneDocumentKind::changeset ||
           document.kind == CorvaneDocumentKind::partialChangeset;
}

// One side of a merge, read now (merges are read whole to be merged); empty when unreadable.
std::string mergeSide(const std::shared_ptr<CVHeldFile>& held) {
    CorvaneText text = CorvaneReadText(held ? held->descriptor() : -1);
    return text.kind == CorvaneText::Kind::text ? text.utf8 : std::string();
}

// Two or three files, or one that was added or deleted (the other side was /dev/null).
bool isComparisonOfFiles(const CorvaneFileList& files) {
    return files.files.size() == 2 || files.files.size() == 3 ||
           (files.files.size() == 1 && (files.status == CVCLISerializedFileList::added ||
                                        files.status == CVCLISerializedFileList::deleted));
}

// A diff of two folders (`cvdiff before after`, git difftool --dir-diff).
bool comparesFolders(const CorvaneDocument& document) {
    if (document.kind != CorvaneDocumentKind::diff || document.fileLists.size() != 1 ||
        document.fileLists.front().files.size() != 2) {
        return false;
    }
    std::error_code error;
    for (const std::string& path : document.fileLists.front().files) {
        if (!std::filesystem::is_directory(path, error)) {
            return false;
        }
    }
    return true;
}

bool isComparisonOfFiles(const CorvaneDocument& document) {
    return document.kind == CorvaneDocumentKind::diff && document.fileLists.size() == 1 &&
           isComparisonOfFiles(document.fileLists.front());
}

}  // namespace

CorvaneWindow::CorvaneWindow(CorvaneApplication& application) : application_(application) {
    set_title("Corvane");
    set_default_size(1280, 800);
    set_titlebar(headerBar_);
    buildHeaderBar();
    buildContent();
    addActions();
    signal_close_request().connect(
        [this] {
            closeEverything();
            return true;
        },
        false);
}

void CorvaneWindow::buildHeaderBar() {
    auto* previous = Gtk::make_managed<Gtk::Button>();
    previous->set_icon_name("go-up-symbolic");
    previous->set_tooltip_text("Previous change (Alt+Up)");
    previous->set_action_name("win.previous-change");
    auto* next = Gtk::make_managed<Gtk::Button>();
    next->set_icon_name("go-down-symbolic");
    next->set_tooltip_text("Next change (Alt+Down)");
    next->set_action_name("win.next-change");
    headerBar_.pack_start(*previous);
    headerBar_.pack_start(*next);

    auto menu = Gio::Menu::create();
    menu->append("Ignore Whitespace", "win.ignore-whitespace");
    menu->append("Ignore Blank Lines", "win.ignore-blank-lines");
    menu->append("Wrap Lines", "win.wrap-lines");
    auto closeSection = Gio::Menu::create();
    closeSection->append("Close Tab", "win.close-tab");
    menu->append_section(closeSection);
    auto* menuButton = Gtk::make_managed<Gtk::MenuButton>();
    menuButton->set_icon_name("open-menu-symbolic");
    menuButton->set_menu_model(menu);
    headerBar_.pack_end(*menuButton);
}

void CorvaneWindow::buildContent() {
    notebook_.set_scrollable(true);
    notebook_.signal_switch_page().connect([this](Gtk::Widget*, guint) {
        Glib::signal_idle().connect_once([this] { currentTabDidChange(); });
    });
    placeholder_.set_text("No documents are open.\nRun cvdiff to compare files.");
    placeholder_.set_justify(Gtk::Justification::CENTER);
    placeholder_.add_css_class("dim-label");
    stack_.add(placeholder_, "empty");
    stack_.add(notebook_, "tabs");
    stack_.set_visible_child("empty");
    set_child(stack_);
}

void CorvaneWindow::addActions() {
    add_action("close-tab", [this] {
        if (Tab* tab = currentTab()) {
            closeTab(*tab);
        }
    });
    // A merge's choices, also as window actions so that keys, menus and scripts reach them.
    const std::pair<const char*, CorvaneMerge::Choice> choices[] = {
        {"take-left", CorvaneMerge::Choice::left},
        {"take-right", CorvaneMerge::Choice::right},
        {"take-left-then-right", CorvaneMerge::Choice::leftThenRight},
        {"take-right-then-left", CorvaneMerge::Choice::rightThenLeft},
        {"take-base", CorvaneMerge::Choice::base}};
    // An action on the current tab's view of one kind; it does nothing on other tabs.
    auto addTabAction = [this](const char* name, auto view, auto act) {
        add_action(name, [this, view, act] {
            if (Tab* tab = currentTab(); tab && tab->*view) {
                act(*(tab->*view));
            }
        });
    };
    for (const auto& [name, choice] : choices) {
        addTabAction(name, &Tab::merge,
                     [choice = choice](CorvaneMergeView& merge) { merge.take(choice); });
    }
    addTabAction("next-conflict", &Tab::merge,
                 [](CorvaneMergeView& merge) { merge.showNextConflict(); });
    addTabAction("resolve", &Tab::merge, [](CorvaneMergeView& merge) { merge.resolve(); });
    addTabAction("next-item", &Tab::list,
                 [](CorvaneChangesetListView& list) { list.selectNext(); });
    addTabAction("previous-item", &Tab::list,
                 [](CorvaneChangesetListView& list) { list.selectPrevious(); });
    // Closing the window closes every tab; also an action, for tests and scripts.
    add_action("close-window", [this] { close(); });
    addTabAction("next-change", &Tab::comparison,
                 [](CorvaneFileComparisonView& comparison) { comparison.showNextChange(); });
    addTabAction("previous-change", &Tab::comparison,
                 [](CorvaneFileComparisonView& comparison) { comparison.showPreviousChange(); });
    addTabAction("first-change", &Tab::comparison,
                 [](CorvaneFileComparisonView& comparison) { comparison.showFirstChange(); });
    addTabAction("last-change", &Tab::comparison,
                 [](CorvaneFileComparisonView& comparison) { comparison.showLastChange(); });
    // Ctrl+PgDn/PgUp: in a changeset the next/previous item, elsewhere the next/previous tab;
    // Ctrl+Alt+PgDn/PgUp always switch tabs. Caught before a pane or the tab strip takes them.
    auto keys = Gtk::ShortcutController::create();
    keys->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
    // A key handled when `act` says so; otherwise it goes on to the focused widget.
    auto addKey = [&keys](const char* trigger, std::function<bool()> act) {
        keys->add_shortcut(Gtk::Shortcut::create(
            Gtk::ShortcutTrigger::parse_string(trigger),
            Gtk::CallbackAction::create(
                [act = std::move(act)](Gtk::Widget&, const Glib::VariantBase&) { return act(); })));
    };
    auto move = [this](int step, bool items) {
        return [this, step, items] {
            Tab* tab = currentTab();
            if (items && tab != nullptr && tab->list != nullptr) {
                step > 0 ? tab->list->selectNext() : tab->list->selectPrevious();
            } else {
                step > 0 ? notebook_.next_page() : notebook_.prev_page();
            }
            return true;
        };
    };
    addKey("<Control>Page_Down", move(1, true));
    addKey("<Control>Page_Up", move(-1, true));
    addKey("<Control><Alt>Page_Down", move(1, false));
    addKey("<Control><Alt>Page_Up", move(-1, false));
    // The keys that walk changes and items, caught before a pane takes them as its own (a text
    // view moves lines with Alt+Up/Down and toggles its cursor with F7). Each acts only where its
    // action can; elsewhere the key goes on, so that a merge tab gets Alt+Up/Down for its
    // conflicts. Alt+Shift+Up/Down always stop here: no pane may move lines with them.
    const std::pair<const char*, const char*> actionKeys[] = {
        {"<Alt>Down", "next-change"},      {"F7", "next-change"},
        {"<Alt>Up", "previous-change"},    {"<Shift>F7", "previous-change"},
        {"<Alt>Home", "first-change"},     {"<Alt>End", "last-change"},
        {"<Alt><Shift>Down", "next-item"}, {"<Alt><Shift>Up", "previous-item"}};
    for (const auto& [trigger, name] : actionKeys) {
        addKey(trigger, [this, name = name] {
            auto action = lookup_action(name);
            if (!action || !action->get_enabled()) {
                return false;
            }
            action->activate();
            return true;
        });
    }
    add_controller(keys);
    for (const char* name : kToggles) {
        toggles_[name] = add_action_bool(
            name, [this, name] { setOption(name); }, false);
    }
}

CorvaneWindow::~CorvaneWindow() {
    closing_ = true;
    while (notebook_.get_n_pages() > 0) {
        notebook_.remove_page(0);
    }
    tabs_.clear();
}

void CorvaneWindow::setAccelerators(const Glib::RefPtr<Gtk::Application>& application) {
    application->set_accels_for_action("win.close-tab", {"<Control>w"});
}

void CorvaneWindow::documentDidChange(const CorvaneDocument& document) {
    auto found = tabs_.find(document.GUID);
    Tab* tab = found == tabs_.end() ? nullptr : found->second.get();
    if (tab == nullptr) {
        auto created = std::make_unique<Tab>();
        tab = created.get();
        tab->GUID = document.GUID;
        tab->titleLabel.set_ellipsize(Pango::EllipsizeMode::MIDDLE);
        tab->titleLabel.set_max_width_chars(40);
        tab->closeButton.set_icon_name("window-close-symbolic");
        tab->closeButton.add_css_class("flat");
        tab->closeButton.set_tooltip_text("Close Tab (Ctrl+W)");
        tab->closeButton.signal_clicked().connect([this, tab] { closeTab(*tab); });
        tab->label.set_spacing(4);
        tab->label.append(tab->titleLabel);
        tab->label.append(tab->closeButton);
        if (isChangeset(document)) {
            tab->page = makeChangesetPage(*tab, document);
        } else if (document.kind == CorvaneDocumentKind::merge && document.outputFile &&
                   !document.fileLists.empty() &&
                   document.fileLists.front().heldFiles.size() >= 2) {
            tab->page = makeMergePage(*tab, document);
        } else if (comparesFolders(document)) {
            tab->page = makeFolderComparisonPage(*tab, document);
        } else if (isComparisonOfFiles(document)) {
            auto comparison =
                std::make_unique<CorvaneFileComparisonView>(document.fileLists.front());
            tab->comparison = comparison.get();
            tab->page = std::move(comparison);
        } else {
            auto scroller = std::make_unique<Gtk::ScrolledWindow>();
            auto* summary = Gtk::make_managed<Gtk::Label>();
            summary->set_xalign(0);
            summary->set_yalign(0);
            summary->set_margin(18);
            summary->set_selectable(true);
            scroller->set_child(*summary);
            tab->summary = summary;
            tab->page = std::move(scroller);
        }
        tabs_[document.GUID] = std::move(created);
        int page = notebook_.append_page(*tab->page, tab->label);
        notebook_.set_tab_reorderable(*tab->page, true);
        stack_.set_visible_child("tabs");
        notebook_.set_current_page(page);
    }
    tab->title = CorvaneDocumentTitle::titleOfDocument(document);
    tab->titleLabel.set_text(tab->title);
    tab->titleLabel.set_width_chars(std::min<int>(static_cast<int>(tab->title.size()), 40));
    tab->label.set_tooltip_text(tab->title);
    if (tab->summary != nullptr) {
        tab->summary->set_text(summaryOfDocument(document));
    }
    if (tab->list != nullptr) {
        tab->list->refresh();  // new items appear without moving the selection
    }
    currentTabDidChange();
    present();
}

void CorvaneWindow::closeTab(Tab& tab) {
    if (tab.merge != nullptr) {
        tab.merge->requestClose();  // asks first when choices would be lost
    } else {
        application_.closeTab(tab.GUID);
    }
}

std::unique_ptr<Gtk::Widget> CorvaneWindow::makeChangesetPage(Tab& tab,
                                                              const CorvaneDocument& document) {
    auto paned = std::make_unique<Gtk::Paned>(Gtk::Orientation::HORIZONTAL);
    tab.items = std::make_unique<CorvaneChangesetItems>(document);
    auto* list = Gtk::make_managed<CorvaneChangesetListView>(*tab.items);
    // A comparison of two folders lists every pair of files, changed or not: which pairs are
    // the same is found out while the person looks at the list.
    if (document.kind == CorvaneDocumentKind::changeset) {
        std::vector<CorvaneChangesetListView::SidesOfItem> pairs;
        for (size_t index = 0; index < document.fileLists.size(); ++index) {
            const CorvaneFileList& item = document.fileLists[index];
            if (item.files.size() == 2 && item.status == CVCLISerializedFileList::changed) {
                pairs.push_back({index, item.files[0], item.files[1]});
            }
        }
        list->findIdenticalItems(std::move(pairs));
    }
    auto* itemPane = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::VERTICAL);
    auto* hint = Gtk::make_managed<Gtk::Label>("Select an item to compare it.");
    hint->add_css_class("dim-label");
    hint->set_expand(true);
    itemPane->append(*hint);
    paned->set_start_child(*list);
    paned->set_end_child(*itemPane);
    paned->set_resize_start_child(false);
    paned->set_position(340);
    tab.list = list;
    tab.itemPane = itemPane;
    list->onItemSelected = [this, &tab](size_t fileListIndex) {
        const CorvaneDocument* current =
            tab.folders ? tab.folders.get() : application_.documents().documentWithGUID(tab.GUID);
        if (current == nullptr || fileListIndex >= current->fileLists.size()) {
            return;
        }
        while (Gtk::Widget* child = tab.itemPane->get_first_child()) {
            tab.itemPane->remove(*child);
        }
        tab.comparison = nullptr;
        const CorvaneFileList& item = current->fileLists[fileListIndex];
        if (isComparisonOfFiles(item)) {
            auto* view = Gtk::make_managed<CorvaneFileComparisonView>(item);
            view->set_expand(true);
            tab.itemPane->append(*view);
            tab.comparison = view;
        } else {
            auto* only = Gtk::make_managed<Gtk::Label>(
                item.files.empty() ? std::string("This item names no file.") : item.files.front());
            only->set_expand(true);
            only->set_selectable(true);
            tab.itemPane->append(*only);
        }
        if (currentTab() == &tab) {
            updateToggles();  // the change keys now reach the item's comparison
        }
    };
    list->showFirstArrivedItem();
    return paned;
}

std::unique_ptr<Gtk::Widget> CorvaneWindow::makeFolderComparisonPage(
    Tab& tab, const CorvaneDocument& document) {
    const CorvaneFileList& sides = document.fileLists.front();
    std::string whyNot;
    auto items =
        CorvaneInvocationReader::pairFilesOfFolders(sides.files[0], sides.files[1], &whyNot);
    if (!items) {
        auto message = std::make_unique<Gtk::Label>(whyNot);
        message->set_wrap(true);
        message->set_selectable(true);
        message->add_css_class("title-3");
        tab.summary = message.get();
        return message;
    }
    tab.folders = std::make_unique<CorvaneDocument>();
    tab.folders->GUID = document.GUID;
    tab.folders->kind = CorvaneDocumentKind::changeset;
    tab.folders->fileLists = std::move(*items);
    return makeChangesetPage(tab, *tab.folders);
}

std::unique_ptr<Gtk::Widget> CorvaneWindow::makeMergePage(Tab& tab,
                                                          const CorvaneDocument& document) {
    const CorvaneFileList& sides = document.fileLists.front();
    std::optional<std::string> base;
    std::vector<std::string> headers = {sides.files[0], sides.files[1]};
    if (document.baseFile) {
        auto held = CVHeldFile::open(*document.baseFile, false);
        base = mergeSide(held);
        headers.push_back(*document.baseFile);
    }
    auto merge =
        std::make_unique<CorvaneMerge>(mergeSide(sides.heldFiles[0]), mergeSide(sides.heldFiles[1]),
                                       std::move(base), *document.outputFile);
    auto view = std::make_unique<CorvaneMergeView>(std::move(merge), std::move(headers));
    // Resolved: the output is written; then the two notifications, as a waiting tool expects.
    view->onResolved = [this, GUID = tab.GUID] {
        application_.postNotification(CVCorvaneContract::kMergeFinishedByResolvingNotification,
                                      GUID);
        application_.closeTab(GUID);
    };
    view->onClosedWithoutResolving = [this, GUID = tab.GUID] {
        application_.postNotification(CVCorvaneContract::kMergeFinishedWithoutResolvingNotification,
                                      GUID);
        application_.closeTab(GUID);
    };
    tab.merge = view.get();
    return view;
}

void CorvaneWindow::documentDidClose(const std::string& GUID) {
    auto found = tabs_.find(GUID);
    if (found == tabs_.end()) {
        return;
    }
    int page = notebook_.page_num(*found->second->page);
    if (page >= 0) {
        notebook_.remove_page(page);
    }
    tabs_.erase(found);
    if (tabs_.empty()) {
        stack_.set_visible_child("empty");
    }
    currentTabDidChange();
}

CorvaneWindow::Tab* CorvaneWindow::currentTab() {
    Gtk::Widget* page = notebook_.get_nth_page(notebook_.get_current_page());
    for (auto& [GUID, tab] : tabs_) {
        if (tab->page.get() == page) {
            return tab.get();
        }
    }
    return nullptr;
}

void CorvaneWindow::currentTabDidChange() {
    if (closing_) {
        return;
    }
    Tab* tab = currentTab();
    set_title(tab != nullptr ? tab->title + " \u2014 Corvane" : "Corvane");
    updateToggles();
}

void CorvaneWindow::updateToggles() {
    Tab* tab = currentTab();
    bool comparison = tab != nullptr && tab->comparison != nullptr;
    CorvaneFileComparisonView::Options options;
    if (comparison) {
        options = tab->comparison->options();
    }
    toggles_["ignore-whitespace"]->change_state(options.ignoreWhitespace);
    toggles_["ignore-blank-lines"]->change_state(options.ignoreBlankLines);
    toggles_["wrap-lines"]->change_state(options.wrapLines);
    for (const char* name : {"next-change", "previous-change", "first-change", "last-change"}) {
        std::dynamic_pointer_cast<Gio::SimpleAction>(lookup_action(name))->set_enabled(comparison);
    }
    for (const char* name : kToggles) {
        toggles_[name]->set_enabled(comparison);
    }
}

void CorvaneWindow::setOption(const char* name) {
    Tab* tab = currentTab();
    if (tab == nullptr || tab->comparison == nullptr) {
        return;
    }
    CorvaneFileComparisonView::Options options = tab->comparison->options();
    std::string option = name;
    bool* value = option == "ignore-whitespace"    ? &options.ignoreWhitespace
                  : option == "ignore-blank-lines" ? &options.ignoreBlankLines
                                                   : &options.wrapLines;
    *value = !*value;
    tab->comparison->setOptions(options);
    toggles_[name]->change_state(*value);
}

std::optional<std::string> CorvaneWindow::describeDocument(const std::string& GUID) {
    auto found = tabs_.find(GUID);
    Tab* described = GUID == "current"      ? currentTab()
                     : found != tabs_.end() ? found->second.get()
                                            : nullptr;
    if (described == nullptr) {
        return std::nullopt;
    }
    Tab& tab = *described;
    nlohmann::json description = nlohmann::json::object();
    if (tab.comparison != nullptr) {
        description = nlohmann::json::parse(tab.comparison->describe());
    } else {
        description["state"] = "shown";
    }
    if (tab.summary != nullptr) {
        description["message"] = std::string(tab.summary->get_text());
    }
    if (tab.items != nullptr) {
        // The rows as the list shows them, the first thousand of them.
        nlohmann::json rows = nlohmann::json::array();
        description["itemCount"] = tab.items->count();
        for (size_t position = 0; position < std::min<size_t>(tab.items->count(), 1000);
             ++position) {
            rows.push_back(tab.items->row(position).description());
        }
        description["items"] = rows;
        if (auto painted = tab.list->firstPaintMilliseconds()) {
            description["firstPaintMilliseconds"] = *painted;
        }
        if (auto selected = tab.list->selectedFileList()) {
            description["selectedItem"] = *selected;
        }
    }
    if (tab.merge != nullptr) {
        description["conflictsLeft"] = tab.merge->merge().conflictsLeft();
        description["mergePanes"] = tab.merge->panes();
    }
    description["GUID"] = tab.GUID;
    description["title"] = std::string(tab.titleLabel.get_text());
    description["current"] = currentTab() == &tab;
    description["windowTitle"] = std::string(get_title());
    description["tabCount"] = notebook_.get_n_pages();
    return description.dump();
}

void CorvaneWindow::askForFileAccess(const std::string& path, std::function<void(bool)> answer) {
    fileAccessRequests_.push_back({path, std::move(answer)});
    if (fileAccessRequests_.size() == 1) {
        askNextForFileAccess();
    }
}

void CorvaneWindow::askNextForFileAccess() {
    if (fileAccessRequests_.empty()) {
        return;
    }
    fileAccessDialog_ = std::make_unique<Gtk::MessageDialog>(
        *this, "Allow cvdiff to read your files?", false, Gtk::MessageType::QUESTION,
        Gtk::ButtonsType::NONE, true);
    fileAccessDialog_->set_secondary_text(
        "cvdiff runs inside an app sandbox and asks to reach \u201c" +
        fileAccessRequests_.front().path +
        "\u201d, so that it can hand you the files it compares. You can take the permission "
        "back with \u201ccvdiff --reset-file-access\u201d.");
    fileAccessDialog_->add_button("Don\u2019t Allow", Gtk::ResponseType::REJECT);
    fileAccessDialog_->add_button("Allow", Gtk::ResponseType::ACCEPT)
        ->add_css_class("suggested-action");
    fileAccessDialog_->signal_response().connect(
        [this](int response) { answerFileAccess(response == Gtk::ResponseType::ACCEPT); });
    present();
    fileAccessDialog_->present();
}

void CorvaneWindow::answerFileAccess(bool allowed) {
    if (fileAccessRequests_.empty()) {
        return;
    }
    FileAccessRequest request = std::move(fileAccessRequests_.front());
    fileAccessRequests_.pop_front();
    // The dialog goes once the loop is back: this may run in its own response handler.
    if (fileAccessDialog_) {
        fileAccessDialog_->hide();
        Glib::signal_idle().connect_once(
            [dialog = std::shared_ptr<Gtk::MessageDialog>(std::move(fileAccessDialog_))] {});
    }
    request.answer(allowed);
    askNextForFileAccess();
}

void CorvaneWindow::denyPendingFileAccess() {
    std::deque<FileAccessRequest> waiting = std::move(fileAccessRequests_);
    fileAccessRequests_.clear();
    fileAccessDialog_.reset();
    for (FileAccessRequest& request : waiting) {
        request.answer(false);
    }
}

bool CorvaneWindow::activateAction(const std::string& GUID, const std::string& action,
                                   std::string* whyNot) {
    if (GUID == "window" && (action == "allow-file-access" || action == "deny-file-access")) {
        if (fileAccessRequests_.empty()) {
            *whyNot = "Nobody asks for file access.";
            return false;
        }
        answerFileAccess(action == "allow-file-access");
        return true;
    }
    auto found = tabs_.find(GUID);
    if (found == tabs_.end()) {
        *whyNot = "No open document has the GUID " + GUID + ".";
        return false;
    }
    auto windowAction = lookup_action(action);
    if (!windowAction) {
        *whyNot = "The window has no action " + action + ".";
        return false;
    }
    notebook_.set_current_page(notebook_.page_num(*found->second->page));
    currentTabDidChange();
    if (!windowAction->get_enabled()) {
        *whyNot = "The action " + action + " does not apply to this tab.";
        return false;
    }
    windowAction->activate();
    return true;
}

bool CorvaneWindow::saveScreenshot(const std::string& path, std::string* whyNot) {
    int width = get_width();
    int height = get_height();
    auto paintable = Gtk::WidgetPaintable::create(*this);
    GtkSnapshot* snapshot = gtk_snapshot_new();
    gdk_paintable_snapshot(GDK_PAINTABLE(paintable->gobj()), snapshot, width, height);
    GskRenderNode* node = gtk_snapshot_free_to_node(snapshot);
    if (node == nullptr || width <= 0 || height <= 0) {
        *whyNot = "The window has not been drawn yet.";
        if (node != nullptr) {
            gsk_render_node_unref(node);
        }
        return false;
    }
    GskRenderer* renderer = gtk_native_get_renderer(GTK_NATIVE(gobj()));
    graphene_rect_t bounds{{0.0f, 0.0f}, {static_cast<float>(width), static_cast<float>(height)}};
    GdkTexture* texture = gsk_renderer_render_texture(renderer, node, &bounds);
    gsk_render_node_unref(node);
    bool saved = texture != nullptr && (gdk_texture_save_to_png(texture, path.c_str()) != 0);
    if (texture != nullptr) {
        g_object_unref(texture);
    }
    if (!saved) {
        *whyNot = "Could not save the screenshot to " + path + ".";
    }
    return saved;
}

void CorvaneWindow::closeEverything() {
    denyPendingFileAccess();
    std::vector<std::string> GUIDs;
    for (const CorvaneDocument* document : application_.documents().documentsInOpeningOrder()) {
        GUIDs.push_back(document->GUID);
    }
    for (const std::string& GUID : GUIDs) {
        application_.closeTab(GUID);
    }
    application_.quit();
}
