#include "app/view/CorvaneWindowApplication.h"

#include <gtkmm.h>
#include <gtksourceview/gtksource.h>

#include <memory>

#include "app/CorvaneAuthorization.h"
#include "app/view/CorvaneEventSource.h"
#include "app/view/CorvaneWindow.h"
#include "platform/CVCorvaneContract.h"

int CorvaneRunWithWindow(CorvaneApplication& application, const char* programName) {
    // Threads GTK starts inherit the mask, so termination keeps arriving through the loop.
    CorvaneApplication::blockTerminationSignals();
    // Names first: a second instance ends here, before any window appears. The tool's call may
    // arrive at once; it waits on the socket until the loop below runs.
    if (!application.start()) {
        return 1;
    }
    // Not unique: the application's name on the bus is owned by the sd-bus connection, after
    // the proxy's, as the tool expects; GTK must not take it first.
    auto gtkApplication = Gtk::Application::create(CVCorvaneContract::kApplicationBundleIdentifier,
                                                   Gio::Application::Flags::NON_UNIQUE);
    int status = 0;
    std::unique_ptr<CorvaneWindow> window;
    std::unique_ptr<CorvaneEventSource> source;
    gtkApplication->signal_startup().connect([&] {
        gtk_source_init();
        // GtkSourceView's languages and styles, also when the session's XDG_DATA_DIRS leaves
        // the system's folders out.
        gtk_source_language_manager_append_search_path(gtk_source_language_manager_get_default(),
                                                       CORVANE_GTKSOURCEVIEW_DATA
                                                       "/language-specs");
        gtk_source_style_scheme_manager_append_search_path(
            gtk_source_style_scheme_manager_get_default(), CORVANE_GTKSOURCEVIEW_DATA "/styles");
        // The first comparison should not pay for reading the language and style definitions
        // and the MIME database: they are read while nothing else is happening.
        Glib::signal_idle().connect_once(
            [] {
                gtk_source_language_manager_get_language_ids(
                    gtk_source_language_manager_get_default());
                GtkSourceStyleSchemeManager* schemes =
                    gtk_source_style_scheme_manager_get_default();
                gtk_source_style_scheme_manager_get_scheme(schemes, "Adwaita");
                gtk_source_style_scheme_manager_get_scheme(schemes, "Adwaita-dark");
                gboolean uncertain = FALSE;
                g_free(g_content_type_guess("warm-up.c", nullptr, 0, &uncertain));
            },
            Glib::PRIORITY_LOW);
        CorvaneWindow::setAccelerators(gtkApplication);
        window = std::make_unique<CorvaneWindow>(application);
        gtkApplication->add_window(*window);
        application.setPresenter(window.get());
        CorvaneAuthorization::setAskPerson(
            [&window](const std::string& path, CorvaneAuthorization::Answer answer) {
                window->askForFileAccess(path, std::move(answer));
            });
        source = std::make_unique<CorvaneEventSource>(application.event(), [&](int exitCode) {
            status = exitCode;
            application.setPresenter(nullptr);
            gtkApplication->quit();
        });
    });
    gtkApplication->signal_activate().connect([&] { window->present(); });
    // GTK takes argv as it comes to main: writable, though it only reads it.
    char* arguments[] = {const_cast<char*>(programName), nullptr};  // NOLINT
    gtkApplication->run(1, arguments);
    application.setPresenter(nullptr);
    CorvaneAuthorization::setAskPerson(nullptr);
    if (window) {
        window->denyPendingFileAccess();
    }
    source.reset();
    if (window) {
        gtkApplication->remove_window(*window);
        window.reset();
    }
    gtk_source_finalize();
    return status;
}
