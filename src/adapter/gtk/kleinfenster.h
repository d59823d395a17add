#pragma once

#include "glib_halter.h"

#include <gtk/gtk.h>

#include <functional>
#include <string>

namespace quillmate::adapter::gtk {

/// The frame that the program's small windows share: a header bar, Escape closes, contents above a row of buttons.
struct Kleinfenster {
    Objekt<GtkWindow> fenster;
    GtkBox* inhalt{nullptr};
    GtkBox* knoepfe{nullptr}; ///< At the bottom, towards the end of the line.

    /// Over `ueber` (null for none), not shown yet. `breite`: of the contents at least, in pixels; 0 for their own.
    [[nodiscard]] static Kleinfenster bauen(GtkWindow* ueber, char const* titel, int breite);
};

/// A text that wraps; `klasse` is a style class of the theme, or null.
[[nodiscard]] GtkWidget* textzeile(
    std::string const& text, char const* klasse, GtkJustification ausrichtung = GTK_JUSTIFY_LEFT);

/// A button that calls `tun`, which may take the button away.
[[nodiscard]] GtkWidget* knopf(std::string const& titel, std::function<void()> tun);

} // namespace quillmate::adapter::gtk
