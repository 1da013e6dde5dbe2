#include "app/view/CorvaneSourceView.h"

namespace {

struct CorvaneSourceView {
    GtkSourceView parent;
    CorvaneBelowTextPainter* painter;
};

struct CorvaneSourceViewClass {
    GtkSourceViewClass parent;
};

GType corvane_source_view_get_type();

#define CORVANE_SOURCE_VIEW(object) \
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
