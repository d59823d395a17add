#pragma once

#include "plattform/portalleiste.h"

namespace quillmate::plattform::gtk {

/// Puts bars into GTK windows.
/// Threads: main thread.
class PortalleistenwerkGtk final : public Portalleistenwerk {
public:
    [[nodiscard]] std::unique_ptr<Portalleiste> leiste(
        Programmfenster& fenster, Portalleistenangaben angaben) override;
};

} // namespace quillmate::plattform::gtk
