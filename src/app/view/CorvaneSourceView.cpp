#include "app/view/CorvaneSourceView.h"

#include <gtk/gtk.h>

#include <algorithm>

namespace {

struct CorvaneSourceView {
    GtkSourceView parent;
    CorvaneBelowTextPainter* painter;
};

struct CorvaneSourceViewClass {
    GtkSourceViewClass parent;
};

GType corvane_source_view_get_type();

// GObject's checked cast, in the form every GObject type gives it.
#define CORVANE_SOURCE_VIEW(object) /* NOLINT(cppcoreguidelines-macro-usage) */ \
    G_TYPE_CHECK_INSTANCE_CAST(object, corvane_source_view_get_type(), CorvaneSourceView)

G_DEFINE_TYPE(CorvaneSourceView, corvane_source_view, GTK_SOURCE_TYPE_VIEW)

void corvane_source_view_snapshot_layer(GtkTextView* view, GtkTextViewLayer layer,
                                        GtkSnapshot* snapshot) {
    CorvaneSourceView* self = CORVANE_SOURCE_VIEW(view);
    GTK_TEXT_VIEW_CLASS(corvane_source_view_parent_class)->snapshot_layer(view, layer, snapshot);
    if (layer == GTK_TEXT_VIEW_LAYER_BELOW_TEXT && self->painter != nullptr && *self->painter) {
        GdkRectangle visible;
        gtk_text_view_get_visible_rect(view, &visible);
        (*self->painter)(snapshot, visible);
    }
}

void corvane_source_view_finalize(GObject* object) {
    delete CORVANE_SOURCE_VIEW(object)->painter;
    G_OBJECT_CLASS(corvane_source_view_parent_class)->finalize(object);
}

void corvane_source_view_class_init(CorvaneSourceViewClass* type) {
    G_OBJECT_CLASS(type)->finalize = corvane_source_view_finalize;
    GTK_TEXT_VIEW_CLASS(type)->snapshot_layer = corvane_source_view_snapshot_layer;
}

void corvane_source_view_init(CorvaneSourceView* self) {
    self->painter = nullptr;
}

}  // namespace

GtkWidget* CorvaneSourceViewNew(GtkSourceBuffer* buffer, CorvaneBelowTextPainter painter) {
    auto* view = static_cast<CorvaneSourceView*>(
        g_object_new(corvane_source_view_get_type(), "buffer", buffer, nullptr));
    view->painter = new CorvaneBelowTextPainter(std::move(painter));
    return GTK_WIDGET(view);
}

bool CorvanePrefersDark() {
    GtkSettings* settings = gtk_settings_get_default();
    gboolean dark = FALSE;
    if (settings != nullptr) {
        g_object_get(settings, "gtk-application-prefer-dark-theme", &dark, nullptr);
    }
    return dark != FALSE;
}

const CorvaneTints& CorvaneTintsOfStyle() {
    static const CorvaneTints light = {"#e2f4e2", "#fbe3e3", "#e3ebfa", "#a8e0a8",
                                       "#f3b3b3", "#b3c9f2", "#9aa5b5"};
    static const CorvaneTints dark = {"#1e3b25", "#4a2528", "#1f2e4b", "#2f6b3d",
                                      "#843a40", "#33528a", "#5b6575"};
    return CorvanePrefersDark() ? dark : light;
}

GtkSourceStyleScheme* CorvaneStyleScheme() {
    return gtk_source_style_scheme_manager_get_scheme(
        gtk_source_style_scheme_manager_get_default(),
        CorvanePrefersDark() ? "Adwaita-dark" : "Adwaita");
}

GtkSourceLanguage* CorvaneGuessLanguage(const std::string& path, std::string_view text) {
    gboolean uncertain = FALSE;
    gchar* contentType =
        g_content_type_guess(path.c_str(), reinterpret_cast<const guchar*>(text.data()),
                             std::min<size_t>(text.size(), 4096), &uncertain);
    GtkSourceLanguage* language = gtk_source_language_manager_guess_language(
        gtk_source_language_manager_get_default(), path.c_str(), uncertain ? nullptr : contentType);
    g_free(contentType);
    return language;
}

void CorvaneStyleSourceView(GtkWidget* view) {
    GtkTextView* text = GTK_TEXT_VIEW(view);
    gtk_text_view_set_monospace(text, TRUE);
    gtk_text_view_set_left_margin(text, 6);
    gtk_source_view_set_show_line_numbers(GTK_SOURCE_VIEW(view), TRUE);
    gtk_source_view_set_highlight_current_line(GTK_SOURCE_VIEW(view), FALSE);
    gtk_source_buffer_set_style_scheme(GTK_SOURCE_BUFFER(gtk_text_view_get_buffer(text)),
                                       CorvaneStyleScheme());
}
