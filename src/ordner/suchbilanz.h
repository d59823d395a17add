#pragma once

#include "grundlage/ergebnis.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quillmate::Ordner {

/// What a search left out besides its finds, for log and caller. Plain data.
struct Suchbilanz {
    static constexpr std::size_t hoechstensNamen = 3;

    std::int64_t pakete{0}; ///< Folders that were not entered for being packages.
    std::vector<std::string>
        paketnamen;                  ///< Of the first of them, in enumeration order; at most hoechstensNamen.
    std::int64_t verweiseHinaus{0};  ///< Links to files that lie in no searched place, or lead nowhere.
    std::int64_t unlesbareOrdner{0}; ///< Folders that could not be read, or not to their end.
    std::optional<Fehler> ersterUnlesbarer; ///< Why the first of them could not.
    /// Why the search ended before its end or did not begin; nothing when it went through, was told to end, or reached
    /// its limit.
    std::optional<Fehler> abbruch;
};

} // namespace quillmate::Ordner
