#pragma once

#include "graubild.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// A second look at the figures that the engine was not sure of. A line is read as a whole, in one height; where a
/// receipt has its amount far to the right, lower, or twice as large as the words before it, that height fits only one
/// of them. Cut out by itself, the piece is read anew, and the better reading stays.
/// Pure functions over readings and pictures; the engine comes as a function. Threads: any.
namespace quillmate::Texterkennung {

/// Pixels; `rechts` and `unten` are the first that no longer belong to it.
struct Kasten {
    int links{}, oben{}, rechts{}, unten{};
    bool operator==(Kasten const&) const = default;
};

struct Wort {
    std::string text; ///< UTF-8.
    Kasten kasten;
    float zuversicht{0.0F}; ///< 0 to 1.
};

/// One line, its words from left to right.
struct Textzeile {
    std::vector<Wort> woerter;
    float zuversicht{0.0F}; ///< 0 to 1.
};

/// Neighbouring words of a line, by index; `ende` is the first that no longer belongs to it.
struct Stueck {
    std::size_t erstes{}, ende{};
    bool operator==(Stueck const&) const = default;
};

/// The line in pieces, parted where a gap is wider than the line is high.
[[nodiscard]] std::vector<Stueck> stuecke(Textzeile const& zeile);

/// Whether a figure stands in these words, and one of them is doubtful or it is in euros and no amount: a comma is the
/// smallest sign on a receipt, and the engine is sure of a number without it.
[[nodiscard]] bool zweifelhaft(std::span<Wort const> woerter);

/// Where in this part of the picture small print turns into large or the other way round: the first column of the
/// second. Nothing where all is of one size, apart from capitals and small letters.
[[nodiscard]] std::optional<int> groessenwechsel(Graubild const& bild, Kasten kasten);

/// Reads one part of the picture as a single line.
using Stueckleser = std::function<std::vector<Wort>(Kasten)>;

/// Most pieces of a page that are read again. Ordinary receipts have about five doubtful ones; a page with many more
/// is none that a second look mends, and would take twice its time.
inline constexpr std::size_t hoechstensStuecke = 24;

/// Reads doubtful pieces again and puts the better reading in place. Of two readings the more certain one is better;
/// one with an amount of money has a fifth of certainty in advance.
/// Returns how many pieces were read again.
std::size_t zweiterBlick(std::vector<Textzeile>& zeilen, Graubild const& bild, Stueckleser const& lesen);

} // namespace quillmate::Texterkennung
