#pragma once

#include "bild.h"
#include "demo/belegdaten.h"

#include <string>
#include <vector>

/// What stands on the sample documents. All drawing gives the same result for the same input.
/// Threads: one at a time.
namespace quillmate::demo {

/// A letter or a leaflet: no receipt. One page per entry of `seiten`.
struct Schriftstueck {
    std::string absender;
    std::string ueberschrift;
    std::vector<std::string> seiten;
};

/// Invoice as PDF with a text layer. False when the file cannot be written.
[[nodiscard]] bool schreibeRechnung(std::string const& pfad, Beispielbeleg const& beleg);
/// The same sheet as a scanner gives it: one picture, no text layer.
[[nodiscard]] bool schreibeScan(std::string const& pfad, Beispielbeleg const& beleg, Wuerfel& wuerfel);
[[nodiscard]] bool schreibeSchriftstueck(std::string const& pfad, Schriftstueck const& stueck);

enum class Bonschrift {
    druck,
    schreibmaschine, ///< All characters of one width, as older tills print.
};

/// A till receipt on a table, a little askew, as a telephone sees it.
[[nodiscard]] Flaeche kassenbonFoto(Beispielbeleg const& beleg, Bonschrift bonschrift, Wuerfel& wuerfel);
/// Sky, hills and water, no text.
[[nodiscard]] Flaeche urlaubsfoto(Wuerfel& wuerfel);
/// A note on a screen: text, but no receipt.
[[nodiscard]] Flaeche bildschirmfoto(std::string const& text);

} // namespace quillmate::demo
