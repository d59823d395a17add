#pragma once

#include "plattform/menueeintrag.h"

namespace quillmate::plattform {

/// The user's own desktop entry and icon, and the handler of the scheme "quillmate:". Named after the bundle's
/// identifier, so the entry for a new place takes the old one's.
/// Threads: any, one at a time.
class MenueeintragLinux final : public Menueeintrag {
public:
    void eintragen(Buendel const& buendel) override;
};

} // namespace quillmate::plattform
