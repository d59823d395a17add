#pragma once

#include <gtk/gtk.h>

namespace quillmate::adapter::gtk {

/// Makes a web view one pixel lower for two frames. After its process has died, the engine shows the next document only
/// when the view's size changes; until then the window stays empty.
/// Threads: main thread.
void groesseAnstossen(GtkWidget* webansicht);

} // namespace quillmate::adapter::gtk
