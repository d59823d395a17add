#pragma once

#include "ports/menueeintrag.h"

namespace quillmate::adapter::linux {

/// The user's own desktop entry and icon, and the handler of the scheme "quillmate:". Named after the bundle's
/// identifier, so the entry for a new place takes the old one's.
/// Threads: any, one at a time.
class MenueeintragLinux final : public ports::Menueeintrag {
public:
    void eintragen(ports::Buendel const& buendel) override;
};

} // namespace quillmate::adapter::linux
