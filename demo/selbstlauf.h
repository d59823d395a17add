#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace quillmate::demo {

/// How the web page's run of its own went.
struct Selbstlauf {
    bool erfolg{false};
    std::string grund; ///< Why not; at most 500 characters of UTF-8.
    double sekunden{0};
    std::int64_t ordner{0};  ///< Remembered folders.
    std::int64_t dateien{0}; ///< Examined by the scan.
    std::int64_t hochgeladen{0};
    std::int64_t belege{0};     ///< With the service.
    std::int64_t zugeordnet{0}; ///< Of these, with a booking.
    std::int64_t ungelesen{0};  ///< Of these, not read yet.
};

/// Decodes the page's report. Only "erfolg" (Boolean) is required; other fields that are missing or of another
/// type count as empty or 0. Nothing without it.
[[nodiscard]] std::optional<Selbstlauf> alsSelbstlauf(nlohmann::json const& meldung);

/// The same as the page would report it.
[[nodiscard]] nlohmann::json alsJson(Selbstlauf const& selbstlauf);

/// One German line for the terminal, without a line feed; control characters become "·".
[[nodiscard]] std::string selbstlaufzeile(Selbstlauf const& selbstlauf);

} // namespace quillmate::demo
