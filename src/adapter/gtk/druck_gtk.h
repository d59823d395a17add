#pragma once

#include <webkit/webkit.h>

#include <functional>
#include <string>

namespace quillmate::adapter::gtk {

/// `beschreibung` is for people, in German.
using Druckfehler = std::function<void(std::string const& beschreibung)>;

/// The desktop's print dialog for the page, as a sheet of `fenster` (may be null). Blocks until it is answered or the
/// program ends, with the main loop turning; the printing itself goes on after that.
/// What a person chose stands there the next time.
/// Threads: main thread. `gescheitert` is called at most once, there, at any time until the printing is over.
void druckenMitDialog(WebKitWebView* web, GtkWindow* fenster, Druckfehler gescheitert);

/// Prints without a dialog.
void druckenOhneDialog(
    WebKitWebView* web, GtkPrintSettings* einstellungen, std::function<void()> beendet,
    Druckfehler gescheitert);

/// For the end of the program: the dialog's own main loop would keep the outer one from ending.
void druckdialogeSchliessen();

} // namespace quillmate::adapter::gtk
