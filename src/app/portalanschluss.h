#pragma once

#include "fenster/portal_uebergabe.h"
#include "portal/portaladresse.h"
#include "portal/portalfenster.h"
#include "ports/adressdialog.h"
#include "ports/voreinstellungen.h"

namespace quillmate::app {

/// Makes the main window and the portals meet, who do not know each other.
/// Threads: main thread.
/// Ownership: borrows everything, also for the windows that come of it.
[[nodiscard]] fenster::Portalanschluss portalanschluss(
    portal::PortalAdresse& adresse, portal::PortalFenster::Umgebung umgebung);

} // namespace quillmate::app
