#include "app/view/CorvaneEventSource.h"

struct CorvaneEventSource::Source {
    GSource base;
    sd_event* event;
    std::function<void(int)>* finished;
    bool reported;
};

namespace {

GSourceFuncs sourceFunctions = {};

}  // namespace

CorvaneEventSource::CorvaneEventSource(sd_event* event, std::function<void(int)> finished) {
    sourceFunctions.prepare = prepare;
    sourceFunctions.check = check;
    sourceFunctions.dispatch = dispatch;
    GSource* base = g_source_new(&sourceFunctions, sizeof(Source));
    source_ = reinterpret_cast<Source*>(base);
    source_->event = sd_event_ref(event);
    source_->finished = new std::function<void(int)>(std::move(finished));
    source_->reported = false;
    g_source_add_unix_fd(base, sd_event_get_fd(event), G_IO_IN);
    g_source_set_name(base, "sd-event");
    g_source_attach(base, nullptr);
}

CorvaneEventSource::~CorvaneEventSource() {
    GSource* base = &source_->base;
    g_source_destroy(base);
    sd_event_unref(source_->event);
    delete source_->finished;
    g_source_unref(base);
}

gboolean CorvaneEventSource::prepare(GSource* base, gint* timeout) {
    auto* source = reinterpret_cast<Source*>(base);
    *timeout = -1;
    switch (sd_event_get_state(source->event)) {
        case SD_EVENT_FINISHED:
            return static_cast<gboolean>(!source->reported);
        case SD_EVENT_PENDING:
            return TRUE;
        case SD_EVENT_ARMED:
            // Prepared in an earlier iteration that did not get to check it.
            return static_cast<gboolean>(sd_event_wait(source->event, 0) > 0);
        default:
            // Ready when sd-event has work without waiting (deferred sources, a requested exit).
            return static_cast<gboolean>(sd_event_prepare(source->event) > 0);
    }
}

gboolean CorvaneEventSource::check(GSource* base) {
    auto* source = reinterpret_cast<Source*>(base);
    int state = sd_event_get_state(source->event);
    if (state == SD_EVENT_FINISHED) {
        return static_cast<gboolean>(!source->reported);
    }
    if (state == SD_EVENT_PENDING) {
        return TRUE;
    }
    return static_cast<gboolean>(state == SD_EVENT_ARMED && sd_event_wait(source->event, 0) > 0);
}

gboolean CorvaneEventSource::dispatch(GSource* base, GSourceFunc, gpointer) {
    auto* source = reinterpret_cast<Source*>(base);
    if (sd_event_get_state(source->event) == SD_EVENT_PENDING) {
        sd_event_dispatch(source->event);
    }
    if (sd_event_get_state(source->event) == SD_EVENT_FINISHED && !source->reported) {
        source->reported = true;
        int exitCode = 0;
        sd_event_get_exit_code(source->event, &exitCode);
        (*source->finished)(exitCode);
    }
    return G_SOURCE_CONTINUE;
}

sigc::connection CorvaneConnectIdle(const sigc::slot<bool()>& slot, int priority) {
    Glib::RefPtr<Glib::IdleSource> source = Glib::IdleSource::create();
    source->set_priority(priority);
    sigc::connection connection = source->connect(slot);
    source->attach(Glib::MainContext::get_default());
    return connection;
}
