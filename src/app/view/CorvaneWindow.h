#pragma once

#include <gtkmm.h>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "app/CorvaneApplication.h"

class CorvaneFileComparisonView;

// The application's one window: a tab per document, the window actions that act on the current
// tab (win.close-tab, win.close-window, win.next-change, win.previous-change, win.first-change,
// win.last-change, and the toggles win.ignore-whitespace, win.ignore-blank-lines, win.wrap-lines)
// and what the control interface asks of the window.
class CorvaneWindow : public Gtk::ApplicationWindow, public CorvaneDocumentPresenter {
public:
    CorvaneWindow(CorvaneApplication& application);
    ~CorvaneWindow() override;

    // The application-wide shortcut (Ctrl+W closes the tab); the keys that walk changes and items
    // are the window's own, caught before a pane can take them.
    static void setAccelerators(const Glib::RefPtr<Gtk::Application>& application);

    void documentDidChange(const CorvaneDocument& document) override;
    void documentDidClose(const std::string& GUID) override;
    std::optional<std::string> describeDocument(const std::string& GUID) override;
    bool activateAction(const std::string& GUID, const std::string& action,
                        std::string* whyNot) override;
    bool saveScreenshot(const std::string& path, std::string* whyNot) override;

    // Closes every tab, one notification each, then ends the application.
    void closeEverything();
    // Asks the person, in a dialog naming the path, whether a sandboxed cvdiff may reach it;
    // requests that come while one is asked wait their turn. The window's own actions
    // "allow-file-access" and "deny-file-access" (activated with the GUID "window") answer it.
    void askForFileAccess(const std::string& path, std::function<void(bool)> answer);
    // Refuses every request still waiting (the window goes away).
    void denyPendingFileAccess();

private:
    // The header bar's buttons and menu; the tab book with its placeholder; the window's actions.
    void buildHeaderBar();
    void buildContent();
    void addActions();
    void askNextForFileAccess();
    void answerFileAccess(bool allowed);
    struct FileAccessRequest {
        std::string path;
        std::function<void(bool)> answer;
    };
    std::deque<FileAccessRequest> fileAccessRequests_;
    std::unique_ptr<Gtk::MessageDialog> fileAccessDialog_;
    struct Tab;

    Tab* currentTab();
    // Closes the tab as a person would: a merge asks first and says it finished unresolved.
    void closeTab(Tab& tab);
    // A changeset's list of items beside the comparison of the selected one.
    std::unique_ptr<Gtk::Widget> makeChangesetPage(Tab& tab, const CorvaneDocument& document);
    // A merge: the sides, the base and the result being built.
    std::unique_ptr<Gtk::Widget> makeMergePage(Tab& tab, const CorvaneDocument& document);
    std::unique_ptr<Gtk::Widget> makeFolderComparisonPage(Tab& tab,
                                                          const CorvaneDocument& document);
    void currentTabDidChange();
    void updateToggles();
    void setOption(const char* name);

    CorvaneApplication& application_;
    Gtk::HeaderBar headerBar_;
    Gtk::Notebook notebook_;
    Gtk::Label placeholder_;
    Gtk::Stack stack_;
    std::map<std::string, std::unique_ptr<Tab>> tabs_;
    std::map<std::string, Glib::RefPtr<Gio::SimpleAction>> toggles_;
    bool closing_ = false;
};
