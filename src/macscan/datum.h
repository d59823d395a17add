#pragma once

#include "ordner/fund.h"

#include <optional>
#include <string>

namespace quillmate::MacScan {

/// Beginning, in the user's time zone, of the day that the first 10 characters name as "yyyy-MM-dd" or
/// "dd.MM.yyyy". Nothing for a missing, empty or other text, and for a day that no calendar has.
/// A day before 1677 or after 2262 gives the earliest or latest time there is.
[[nodiscard]] std::optional<Ordner::Zeit> datumAus(std::optional<std::string> const& text);

} // namespace quillmate::MacScan
