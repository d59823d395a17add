#pragma once

#include "dienst/uebertragung.h"

#include <array>
#include <string_view>

namespace quillmate::MacScan {

/// What became of sending a file, as the service's client tells it.
using dienst::alleUebertragungen;
using dienst::Uebertragung;

/// What is to happen with a file, judged by its content.
enum class Entscheidung {
    hochladen,     ///< Send it.
    keinBelegtext, ///< An image without text, or whose text does not look like a receipt.
    keinBeleg,     ///< Reliable text that does not look like a receipt.
    nichtZumThema, ///< Looks like a receipt but matches none of the topic keywords.
};

inline constexpr std::array alleEntscheidungen{
    Entscheidung::hochladen, Entscheidung::keinBelegtext, Entscheidung::keinBeleg,
    Entscheidung::nichtZumThema};

/// The text under which a value appears in reports and logs.
[[nodiscard]] std::string_view rohwert(Entscheidung entscheidung) noexcept;
using dienst::rohwert;

} // namespace quillmate::MacScan
