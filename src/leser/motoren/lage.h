#pragma once

#include "graubild.h"
#include "textfelder.h"
#include "textzeile.h"

#include <functional>
#include <vector>

/// Whether what looks like print is print, and which way up it is: shapes alone do not tell leaves from letters with
/// certainty, nor letters from letters on their heads. A few words of the likeliest lines, read every way, do, for a small
/// part of what reading the page would cost.
/// The engine comes as a function. Threads: any.
namespace quillmate::leser::motoren {

/// How a picture has to be turned, by EXIF's codes.
struct Lage {
    bool druck{false};   ///< Whether words were found at all.
    int drehung{1};      ///< 1, 3, 6 or 8: what ausgerichtet() makes an upright picture of.
    double neigung{0.0}; ///< Of the lines once it is turned: pixels down for each to the right.
};

/// Reads a picture of one line.
using Probenleser = std::function<std::vector<Wort>(Graubild)>;

/// Reads pieces of `bild` in the order of their promise until it is clear; at most some fifteen, of ten letters each, and
/// where there are many lines, eight whole ones.
/// Pages that lie the right way, as most do, mostly cost one.
[[nodiscard]] Lage lage(Graubild const& bild, Textblick const& blick, Probenleser const& lesen);

/// How much print there is in a reading: letters and digits of words that the engine is sure of. Noise has hardly any.
[[nodiscard]] double gehalt(std::vector<Wort> const& woerter);

/// Turned so that lines of this slope run level; what was not in the picture is as its edge. |neigung| below 1.
[[nodiscard]] Graubild begradigt(Graubild const& bild, double neigung);

/// Slopes below this are left to the engine, which follows them.
inline constexpr double geringeNeigung = 0.03;

} // namespace quillmate::leser::motoren
