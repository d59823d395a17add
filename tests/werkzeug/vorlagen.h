#pragma once

#include "grundlage/datei.h"
#include "leser/motoren/graubild.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Documents made for the tests of the readers: PDFs written by hand, pictures through the usual encoders.
namespace quillmate::vorlagen {

using Bytes = std::string;

/// A file in memory, open for reading.
[[nodiscard]] Deskriptor alsDatei(Bytes const& bytes);

/// One page; the content is PDF operators. Fonts: /F1 Helvetica, /F2 a font that maps every code to U+0001,
/// /F3 a font whose codes have no Unicode value. A picture is drawn by "/B Do" over a unit square.
struct Seite {
    std::string inhalt;
    std::string zusatz{};                ///< Further entries of the page, such as "/Rotate 90".
    std::string kasten{"[0 0 400 300]"}; ///< Media box.
    std::optional<leser::motoren::Graubild> bild{};
    /// The picture's bytes instead of its points, as a JPEG; `bild` gives the size. With further entries of the picture.
    Bytes jpeg{};
    std::string bildzusatz{};
};
[[nodiscard]] Bytes pdf(std::vector<Seite> const& seiten);
/// The first page as the PDF library draws it when nothing stands between, as large as the reader does. Nothing when it
/// gives up on the page.
[[nodiscard]] std::optional<leser::motoren::Graubild> gezeichnet(Bytes const& pdf);
/// The same document, encrypted.
[[nodiscard]] Bytes verschluesselt(Bytes const& pdf, std::string const& kennwort);

/// Operators that write lines of ASCII text with a font of the page.
[[nodiscard]] std::string zeilen(
    std::vector<std::string> const& texte, std::string_view schrift = "F1", int grad = 18, int oben = 260);
/// A receipt of five lines; contains "Rechnung" and "12,50".
[[nodiscard]] std::vector<std::string> beleg();
/// The picture of a page with these lines, 2000 x 1500.
[[nodiscard]] leser::motoren::Graubild schriftbild(std::vector<std::string> const& texte);
/// Dark rectangle in the left upper part of white, 80 x 60: shows how a picture is turned.
[[nodiscard]] leser::motoren::Graubild eckbild();

enum class Jpegart {
    einfach,
    fortschreitend,
    grau,
    rgb,          ///< Three channels as they are, with Adobe's mark of it.
    rgbOhneMarke, ///< The same, told by nothing but the channels' names.
    vierfarben,   ///< Inverted, with Adobe's mark.
};
/// `exif`: orientation that is stored in the file; nothing for a file without EXIF data. `guete`: 0 to 100.
[[nodiscard]] Bytes jpeg(
    leser::motoren::Graubild const& bild, std::optional<int> exif = std::nullopt,
    Jpegart art = Jpegart::einfach, int guete = 90);
/// A progressive JPEG of 2000 x 1500 that goes over the whole picture again and again, so many times more.
[[nodiscard]] Bytes vieleDurchgaenge(int anzahl);
/// Raw TIFF header and directory with one orientation entry.
[[nodiscard]] Bytes exifDaten(int ausrichtung, bool niedrigesZuerst);

enum class Pngart { grau, grau16, rgb, rgba, palette, verschraenkt };
/// Grey values as the colours of the picture; `rgba` has full cover only where the picture is not white.
[[nodiscard]] Bytes png(
    leser::motoren::Graubild const& bild, Pngart art = Pngart::grau, std::optional<int> exif = std::nullopt);
/// The first two chunks of a PNG that claims this size.
[[nodiscard]] Bytes pngKopf(std::uint32_t breite, std::uint32_t hoehe);

/// `ausrichtung`: EXIF code that is stored as turn and mirror boxes.
[[nodiscard]] Bytes heic(leser::motoren::Graubild const& bild, int ausrichtung = 1);
/// The same container with the other codec.
[[nodiscard]] Bytes avif(leser::motoren::Graubild const& bild);

/// Mean difference of two pictures of the same size, 0 to 255; 255 for different sizes.
[[nodiscard]] double abstand(leser::motoren::Graubild const& a, leser::motoren::Graubild const& b);

} // namespace quillmate::vorlagen
