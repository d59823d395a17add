#pragma once

#include "suche.h"

#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::MacScan {

/// At most this many files are attached to a booking.
inline constexpr std::size_t hoechstensTreffer = 5;
/// Reading of texts ends after this many seconds; asked between files.
inline constexpr double lesezeitSekunden = 90.0;

/// What a file's name or text is searched for.
struct Suchbegriffe {
    std::vector<std::string> worte;    ///< Lower case, more than 3 characters each.
    std::vector<std::string> betraege; ///< Without separators of thousands.

    [[nodiscard]] bool leer() const noexcept { return worte.empty() && betraege.empty(); }
    /// Whether the text has a hit for each kind of term that there is.
    [[nodiscard]] bool passt(std::string_view text) const;
};

[[nodiscard]] Suchbegriffe suchbegriffe(Suchanfrage const& anfrage);

/// The whole search, on the calling thread. `melden` hears its end. `ende`, raised when the process ends, is
/// looked at between folders and files; what was found until then is still attached as far as calls go
/// through.
void gezielteSuche(
    Umgebung const& umgebung, Suchanfrage const& anfrage, Suchbegriffe const& begriffe, Melder const& melden,
    std::stop_token const& ende);

} // namespace quillmate::MacScan
