#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <string>
#include <vector>

namespace quillmate::adapter::gtk {

/// The keys of a menu item, which is named by its one character, as GTK writes them; the first one stands in the menu.
/// Those of browsers come along. Brackets lie behind AltGr on a German keyboard, so they do not come first.
[[nodiscard]] std::vector<std::string> tastenkuerzel(std::string const& taste);

/// Carries out what the keys of the menu item `taste` mean for the window with the keyboard: in the main window `haupt`,
/// which the item itself does, wherever it is chosen; in any other one the same for the page that it shows. A dialog has
/// no page, and nothing happens.
void tasteAusfuehren(GtkApplication* anwendung, std::string const& taste, std::function<void()> const& haupt);

/// The back and forward buttons of mice move in the view's history.
void maustastenAnschliessen(GtkWidget* webansicht);

} // namespace quillmate::adapter::gtk
