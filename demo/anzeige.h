#pragma once

#include "speicher.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace quillmate::demo {

/// What a storage holds, as a German table for people: every client's receipts with their bookings, then
/// sums. Control characters in names are shown as "·", so that a file name cannot steer the terminal.
[[nodiscard]] std::string alsTabelle(Speicher& speicher);

/// One line without control characters, at most `breite` characters wide.
[[nodiscard]] std::string gebaendigt(std::string_view text, std::size_t breite);

} // namespace quillmate::demo
