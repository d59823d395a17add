#pragma once

#include "graubild.h"
#include "textzeile.h"

#include <vector>

/// A glance at a picture: where lines of print could be, and which way they run, told from shapes alone. It costs about a
/// fiftieth of a reading, and as much for a picture of leaves as for a receipt.
///
/// Print is dark on light, its letters stand apart, are of about the same height and of about the same stroke, and
/// stand on one straight line. Leaves, fur and gravel have each of that here and there, but seldom together.
/// Pure functions. Threads: any.
namespace quillmate::leser::motoren {

/// One line that could be print.
struct Textfeld {
    Kasten kasten;       ///< Pixels of the picture, as it lies.
    int zeichen{};       ///< Shapes that could be letters; those that touch count once.
    double neigung{0.0}; ///< Of the baseline: pixels down (for a line that runs down: left) for each along.
    double guete{0.0};   ///< 0 to 1: how much the shapes are alike and how straight they stand.
    double hoehe{0.0};   ///< Of the letters, in pixels.
    Kasten probe;        ///< A part of the line, some ten letters long.
    int probezeichen{};  ///< Shapes in it, as in `zeichen`.
};

/// Lines with less are none: of the lines of print four in five have more, of other things one in five.
inline constexpr double brauchbareGuete = 0.5;
/// How many of these could be lines of print.
[[nodiscard]] int brauchbare(std::vector<Textfeld> const& felder);

/// Whether so many of them are of one slope and of one height of letters that they can hardly be anything but a page of
/// print: of 334 photographs two more are read for it and none is judged a receipt; of receipts too blurred or too slanting
/// to be read in pieces, most have such lines.
[[nodiscard]] bool sindEinig(std::vector<Textfeld> const& felder);

struct Textblick {
    std::vector<Textfeld> quer; ///< Lines that run from left to right or back, the best first.
    std::vector<Textfeld> hoch; ///< Lines that run up or down, the best first.

    /// Whether most of the print runs up or down.
    [[nodiscard]] bool liegtQuer() const;
    /// Those of the way that most of the print runs.
    [[nodiscard]] std::vector<Textfeld> const& felder() const { return liegtQuer() ? hoch : quer; }
};

/// `bild` should be as large as recognition wants it; smaller pictures show letters too small to be told apart.
[[nodiscard]] Textblick textblick(Graubild const& bild);

} // namespace quillmate::leser::motoren
