#pragma once

#include "dateiquelle.h"
#include "graubild.h"
#include "rechenuhr.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

/// Decoding of photos and scans to grey, reduced to the size that recognition wants.
/// Every picture is judged by its header before memory is taken for it (for HEIC: by what the container says).
namespace quillmate::leser::motoren {

/// Larger files are not decoded. The largest camera pictures have some 100 MB.
inline constexpr std::int64_t hoechsteBilddatei = 256LL << 20U;
/// JPEG, PNG, GIF and TIFF are decoded row by row or strip by strip, so this bounds time, not memory: room for a camera of 200 megapixels
/// and a DIN A2 scan at 600 dpi, about two seconds of work.
inline constexpr std::int64_t hoechstePixel = 250'000'000;
/// Memory for pictures that a decoder has to hold whole: the coefficients of a progressive JPEG (64
/// megapixels at 4:2:0), interlaced PNGs and GIFs, lossless WebP, BMP, and strips of a TIFF.
inline constexpr std::int64_t hoechsterBildspeicher = 192LL << 20U;
/// HEIC pictures are always decoded whole, with 1.5 to 3 bytes per pixel and once more while being turned;
/// phones write at most 50 million, a few models 108. Judged by the size that the container states: the coded
/// picture may be larger, and the decoder finds that out only while it decodes, so a forged file can take
/// several times this. hoechsteBilddatei and the process's own limits are what holds then.
inline constexpr std::int64_t hoechstePixelHeif = 110'000'000;
/// A JPEG may consist of any number of passes over the picture; decoding ends after this much processor time.
inline constexpr std::chrono::seconds fristJeBild{20};

/// Longest side of the decoded picture for a stored size: max(round(lesefaktor * longer side), 2000), but
/// never more than the picture has.
[[nodiscard]] int zielLaenge(int breite, int hoehe);

/// Picture 0 of a JPEG, PNG, HEIC/HEIF/AVIF, WebP, GIF, TIFF or BMP file (the content decides which, whatever the file is
/// called), grey, over white, upright, its
/// long side at zielLaenge(). The part of a cut-off JPEG or PNG that is there counts as the picture. Nothing
/// for anything else, and for a picture beyond the limits above. Blocks, from milliseconds to seconds.
/// Errors: std::bad_alloc when the machine has no memory, which says nothing about the file.
/// Threads: any number at once. libheif's decoder starts one thread of its own.
[[nodiscard]] std::optional<Graubild> bildLaden(Dateiquelle const& quelle);

/// Bounds what libjpeg takes for a picture that it has to hold whole, also where another library calls it and gives it no
/// limit: hoechsterBildspeicher. By the environment, so call it before there are threads.
void jpegSpeicherBegrenzen();

/// One decoder each; `quelle` is known to begin like such a file. The results are not yet turned, but for HEIF.
struct RohesBild {
    Graubild bild;
    int exifAusrichtung{1};
};
[[nodiscard]] std::optional<RohesBild> jpegLaden(Dateiquelle const& quelle);

/// What another file says of a JPEG inside it, and what its decoding may cost.
struct Jpegvorgabe {
    int breite, hoehe;
    int kanaele;                ///< 1 for grey, 3 for colours.
    Rechenuhr::time_point ende; ///< Whatever fristJeBild says.
    std::size_t speicher;       ///< For coefficients, in bytes; never more than hoechsterBildspeicher.
};
/// As a PDF shows it. Nothing for a JPEG of another size or number of channels too, nor for one that is said to be of
/// other colours than a PDF would show.
[[nodiscard]] std::optional<Graubild> eingebettetesJpegLaden(
    Dateiquelle const& quelle, Jpegvorgabe const& vorgabe);
[[nodiscard]] std::optional<RohesBild> pngLaden(Dateiquelle const& quelle);
[[nodiscard]] std::optional<RohesBild> heifLaden(Dateiquelle const& quelle);
/// Of an animation the first picture.
[[nodiscard]] std::optional<RohesBild> gifLaden(Dateiquelle const& quelle);
[[nodiscard]] std::optional<RohesBild> webpLaden(Dateiquelle const& quelle);
/// The first page.
[[nodiscard]] std::optional<RohesBild> tiffLaden(Dateiquelle const& quelle);
[[nodiscard]] std::optional<RohesBild> bmpLaden(Dateiquelle const& quelle);

/// The size of a picture after reduction.
struct Bildmass {
    int breite, hoehe;
};
[[nodiscard]] Bildmass zielmass(int breite, int hoehe);

} // namespace quillmate::leser::motoren
