#pragma once

#include "speicher.h"

#include <string>

namespace quillmate::demo {

/// What a storage holds, as a German table for people: every client's receipts with their bookings, then
/// sums. Control characters in names are shown as "·", so that a file name cannot steer the terminal.
[[nodiscard]] std::string alsTabelle(Speicher& speicher);

} // namespace quillmate::demo
