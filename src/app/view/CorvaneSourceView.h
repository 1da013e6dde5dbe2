#pragma once

#include <gtksourceview/gtksource.h>

#include <functional>
#include <string>
#include <string_view>

// Paints below a source view's text, in buffer coordinates, given the part of the buffer that is
// visible. Called on every frame: it should paint only what is visible.
using CorvaneBelowTextPainter =
    std::function<void(GtkSnapshot* snapshot, const GdkRectangle& visible)>;

// A GtkSourceView whose owner paints below its text: tints that cost nothing until they are
// seen, where text tags would be applied to the whole buffer before the first frame.
GtkWidget* CorvaneSourceViewNew(GtkSourceBuffer* buffer, CorvaneBelowTextPainter painter);

// Whether the desktop prefers a dark style: the panes' tints follow it.
bool CorvanePrefersDark();

// The tints of changes in every pane, light or dark as the desktop prefers: lines inserted,
// deleted or changed, the stronger shades of their changed words, and the bands' border.
struct CorvaneTints {
    const char* inserted;
    const char* deleted;
    const char* changed;
    const char* insertedWords;
    const char* deletedWords;
    const char* changedWords;
    const char* bandBorder;
};
const CorvaneTints& CorvaneTintsOfStyle();

// The style scheme the panes use: GtkSourceView's Adwaita, dark when the desktop prefers dark.
GtkSourceStyleScheme* CorvaneStyleScheme();

// The language of a file for highlighting, from its name and the start of its text; null for
// plain text.
GtkSourceLanguage* CorvaneGuessLanguage(const std::string& path, std::string_view text);

// Makes a source view read as a diff pane: monospace, line numbers, a small margin, the scheme.
void CorvaneStyleSourceView(GtkWidget* view);
