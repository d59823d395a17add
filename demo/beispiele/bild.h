#pragma once

#include "demo/belegdaten.h"

#include <cairo.h>

#include <memory>
#include <string>

/// Pixel images and the files that cameras and scanners make of them.
/// Threads: one at a time.
/// Errors: a file that cannot be written makes the call return false.
namespace quillmate::demo {

struct CairoAufraeumer {
    void operator()(cairo_surface_t* flaeche) const noexcept { cairo_surface_destroy(flaeche); }
    void operator()(cairo_t* stift) const noexcept { cairo_destroy(stift); }
};
using Flaeche = std::unique_ptr<cairo_surface_t, CairoAufraeumer>;
using Stift = std::unique_ptr<cairo_t, CairoAufraeumer>;

/// Where the top of a stored picture is, in EXIF's numbers.
enum class Lage {
    aufrecht = 1,
    kopfueber = 3,
    rechtsGedreht = 6, ///< To be turned clockwise by 90 degrees for looking.
    linksGedreht = 8,  ///< To be turned counter-clockwise by 90 degrees for looking.
};

/// An opaque RGB picture of this size in pixels, all white.
[[nodiscard]] Flaeche leeresBild(int breite, int hoehe);

/// The picture as it must be stored so that a viewer that obeys `lage` shows it upright.
[[nodiscard]] Flaeche gedrehtGespeichert(cairo_surface_t* bild, Lage lage);

/// Brightness noise of up to `staerke` of 255, the same for red, green and blue.
void rausche(cairo_surface_t* bild, int staerke, Wuerfel& wuerfel);

enum class Farben { bunt, grau };

/// JPEG bytes; `lage` other than upright is told in an EXIF block.
[[nodiscard]] std::string alsJpeg(cairo_surface_t* bild, Farben farben, Lage lage = Lage::aufrecht);

[[nodiscard]] bool schreibePng(std::string const& pfad, cairo_surface_t* bild);

/// Whether this machine can make HEIC files.
[[nodiscard]] bool kannHeic();
/// `lage` other than upright becomes a rotation box, as telephones write it.
[[nodiscard]] bool schreibeHeic(std::string const& pfad, cairo_surface_t* bild, Lage lage = Lage::aufrecht);

[[nodiscard]] bool schreibeDatei(std::string const& pfad, std::string const& bytes);

} // namespace quillmate::demo
