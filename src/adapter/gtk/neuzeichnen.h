#pragma once

#include <webkit/webkit.h>

namespace quillmate::adapter::gtk {

/// After the death of a web process the engine shows the next document only once the view's size changes. Takes a pixel of
/// its height away for two frames.
void groesseAnstossen(GtkWidget* webansicht);

/// A view that has no document yet paints itself white, also in a dark desktop and for as long as a server thinks. While it
/// is veiled the window's own background is seen in its place.
/// Unveiled by enthuellen(), as soon as the document that is there has been painted.
void verhuellen(WebKitWebView* web);
void enthuellen(WebKitWebView* web);
/// For a view that may get no document by itself: scripts write into the empty one of a window that they opened.
void enthuellenOhneSeite(WebKitWebView* web);

} // namespace quillmate::adapter::gtk
