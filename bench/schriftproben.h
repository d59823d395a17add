#pragma once

#include "leser/motoren/graubild.h"

#include <string>

/// Documents with a known text, drawn from fixed seeds: the same everywhere where the same fonts are installed.
/// Threads: one at a time.
namespace quillmate::bench {

struct Schriftprobe {
    leser::motoren::Graubild bild;
    std::string text; ///< UTF-8, one line per line of the document.
};

/// A German invoice of DIN A4 as a desk scanner gives it: 300 dpi, up to a degree askew either way, blurred.
[[nodiscard]] Schriftprobe gescannteRechnung(int nummer);

/// A German till receipt on a dark table as a telephone sees it: 3000 x 4000, a little askew and from the side, lit
/// from one corner, blurred, with noise.
[[nodiscard]] Schriftprobe fotografierterBon(int nummer);

/// The paper of a till receipt as it comes out of the printer, 1300 wide, with the items of so many purchases.
[[nodiscard]] Schriftprobe bonpapier(int nummer, int belege = 1);

} // namespace quillmate::bench
