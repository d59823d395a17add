#pragma once

#include "ports/portalleiste.h"

namespace quillmate::adapter::gtk {

/// Puts bars into GTK windows.
/// Threads: main thread.
class PortalleistenwerkGtk final : public ports::Portalleistenwerk {
public:
    [[nodiscard]] std::unique_ptr<ports::Portalleiste> leiste(
        ports::Programmfenster& fenster, ports::Portalleistenangaben angaben) override;
};

} // namespace quillmate::adapter::gtk
