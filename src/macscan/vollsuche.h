#pragma once

#include "suche.h"

namespace quillmate::MacScan {

/// One whole scan, from the preferences to the final report, on the calling thread and the readers it starts.
/// Returns when everything has been said to page and service.
void vollsuche(
    Umgebung const& umgebung, SuchStand& stand, StoppWaechter& stoppWaechter, Scanauftrag const& auftrag,
    Melder const& melden);

} // namespace quillmate::MacScan
