#pragma once

#include "attrappen/anzeige.h"

#include <adwaita.h>

namespace quillmate::plattform::gtk {

/// One display for the process: GTK holds on to the first that it has seen.
inline void bildschirmBereiten() {
    static attrappen::Anzeige const anzeige;
    adw_init();
}

} // namespace quillmate::plattform::gtk
