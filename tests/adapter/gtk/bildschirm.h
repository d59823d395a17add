#pragma once

#include "werkzeug/anzeige.h"

#include <adwaita.h>

namespace quillmate::adapter::gtk {

/// One display for the process: GTK holds on to the first that it has seen.
inline void bildschirmBereiten() {
    static werkzeug::Anzeige const anzeige;
    adw_init();
}

} // namespace quillmate::adapter::gtk
