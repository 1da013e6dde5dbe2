#pragma once

#include <glib.h>
#include <glibmm/main.h>
#include <systemd/sd-event.h>

#include <functional>

// The sd-event loop as a source of GLib's main loop, so that one thread serves the bus and the
// widgets: the source polls the loop's descriptor, prepares and dispatches it. finished runs
// once the sd-event loop has exited, with its exit code.
class CorvaneEventSource {
public:
    CorvaneEventSource(sd_event* event, std::function<void(int exitCode)> finished);
    ~CorvaneEventSource();
    CorvaneEventSource(const CorvaneEventSource&) = delete;
    CorvaneEventSource& operator=(const CorvaneEventSource&) = delete;

private:
    struct Source;
    static gboolean prepare(GSource* source, gint* timeout);
    static gboolean check(GSource* source);
    static gboolean dispatch(GSource* source, GSourceFunc, gpointer);

    Source* source_ = nullptr;
};

// Connects an idle handler at the priority given. Glib::signal_idle().connect leaves an idle at
// the idle priority when asked for G_PRIORITY_DEFAULT, where a window redrawing every frame (a
// spinner under a slow renderer) starves it for good.
sigc::connection CorvaneConnectIdle(const sigc::slot<bool()>& slot, int priority);
