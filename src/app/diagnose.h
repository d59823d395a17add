#pragma once

#include "grundlage/ergebnis.h"
#include "texterkennung/texterkennung.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

/// The diagnostic modes: what search and judgement make of a folder or a file, as one line of JSON. They need
/// no window, no lock and no session.
namespace quillmate::app::diagnose {

/// Finds after which the folder search stops.
inline constexpr std::size_t hoechstens = 5000;

/// The argument that follows the first `schalter`; nothing when there is none or it is the last argument.
[[nodiscard]] std::optional<std::string> wertNach(
    std::span<char const* const> argumente, std::string_view schalter);

/// {"wurzel","anzahl","grenze_erreicht","funde":[{"pfad","groesse"}]} without blanks, without line feed.
[[nodiscard]] std::string scanZeile(std::string const& wurzel);

struct Textbericht {
    std::string zeile;            ///< As laid down, also without a text.
    std::optional<Fehler> fehler; ///< The file could not be read now: the line is no judgement on it.
};

/// {"datei","zeichen","beleg","verlaesslich","entscheidung","text"} without blanks, without line feed.
[[nodiscard]] Textbericht textbericht(std::string const& datei, Texterkennung::Erkenner& erkenner);

} // namespace quillmate::app::diagnose
