#pragma once

#include <gtksourceview/gtksource.h>

#include <functional>

// Paints below a source view's text, in buffer coordinates, given the part of the buffer that is
// visible. Called on every frame: it should paint only what is visible.
using CorvaneBelowTextPainter =
    std::function<void(GtkSnapshot* snapshot, const GdkRectangle& visible)>;

// A GtkSourceView whose owner paints below its text: tints that cost nothing until they are
// seen, where text tags would be applied to the whole buffer before the first frame.
GtkWidget* CorvaneSourceViewNew(GtkSourceBuffer* buffer, CorvaneBelowTextPainter painter);
