#pragma once

#include "fenster/portal_uebergabe.h"
#include "plattform/adressdialog.h"
#include "plattform/voreinstellungen.h"
#include "portal/portaladresse.h"
#include "portal/portalfenster.h"

namespace quillmate {

/// Makes the main window and the portals meet, who do not know each other.
/// Threads: main thread.
/// Ownership: borrows everything, also for the windows that come of it.
[[nodiscard]] Portalanschluss portalanschluss(PortalAdresse& adresse, PortalFenster::Umgebung umgebung);

} // namespace quillmate
