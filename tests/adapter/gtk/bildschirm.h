#pragma once

#include "werkzeug/anzeige.h"

#include <adwaita.h>

namespace quillmate::adapter::gtk {

/// One display for the process: GTK holds on to the first that it has seen.
inline void bildschirmBereiten() {
    static werkzeug::Anzeige const anzeige;
    adw_init();
}

/// An application for windows. One for the process: two without a name would be at the same place of the bus.
inline GtkApplication* testanwendung() {
    static auto* const eine = [] {
        auto* const neu = gtk_application_new(nullptr, G_APPLICATION_NON_UNIQUE);
        g_application_register(G_APPLICATION(neu), nullptr, nullptr);
        return neu;
    }();
    return eine;
}

} // namespace quillmate::adapter::gtk
