#pragma once

#include <gtk/gtk.h>

#include <string>

namespace quillmate::adapter::gtk {

/// Whether a text is too long for a dialog that grows with it: more than `hoechstensZeichen`, more lines than
/// `hoechstensZeilen`, or a word that would fill a line several times over.
[[nodiscard]] bool istLang(std::string const& text);

/// A box in which the text scrolls: as wide as a dialog, at most as high as half of the smallest screen, broken
/// anywhere where a word does not fit. The keyboard reaches it; screen readers read it as `name`.
[[nodiscard]] GtkWidget* langtextfeld(std::string const& text, std::string const& name);

} // namespace quillmate::adapter::gtk
