#pragma once

#include "graubild.h"
#include "textzeile.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <vector>

/// A second look at the figures that the engine was not sure of. A line is read as a whole, in one height; where a
/// receipt has its amount far to the right, lower, or twice as large as the words before it, that height fits only one
/// of them. Cut out by itself, the piece is read anew, and the better reading stays.
/// Pure functions over readings and pictures; the engine comes as a function. Threads: any.
namespace quillmate::leser::motoren {

/// Neighbouring words of a line, by index; `ende` is the first that no longer belongs to it.
struct Stueck {
    std::size_t erstes{}, ende{};
    bool operator==(Stueck const&) const = default;
};

/// The line in pieces, parted where a gap is wider than the line is high.
[[nodiscard]] std::vector<Stueck> stuecke(Textzeile const& zeile);

/// Whether a figure stands in these words that the engine was not sure of, or that it is sure of but that is no amount
/// of money where one must be: euros without cents, or cents without euros. A comma is the smallest sign on a receipt,
/// easily overlooked, and what stands before it easily taken for letters.
[[nodiscard]] bool zweifelhaft(std::span<Wort const> woerter);

/// Where in this part of the picture small print turns into large or the other way round: the first column of the
/// second. Nothing where all is of one size, apart from capitals and small letters.
[[nodiscard]] std::optional<int> groessenwechsel(Graubild const& bild, Kasten kasten);

/// Reads one part of the picture as a single line.
using Stueckleser = std::function<std::vector<Wort>(Kasten)>;

/// Most pieces of a page that are read again. Ordinary receipts have about five doubtful ones; a page with many more
/// is none that a second look mends, and would take twice its time.
inline constexpr std::size_t hoechstensStuecke = 24;

/// Reads doubtful pieces again and puts the better reading in place. Of two readings the more certain one is better, by the
/// width that it covers: one that leaves words out is not. One with an amount of money has a fifth of certainty in
/// advance.
/// Returns how many pieces were read again.
std::size_t zweiterBlick(std::vector<Textzeile>& zeilen, Graubild const& bild, Stueckleser const& lesen);

} // namespace quillmate::leser::motoren
