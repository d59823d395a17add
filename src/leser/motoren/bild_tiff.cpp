#include "bild.h"
#include "rechenuhr.h"

#include <tiffio.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <vector>

namespace quillmate::leser::motoren {

namespace {

struct Zustand {
    Dateiquelle const* quelle;
    std::int64_t stelle{0};
};

Zustand& zustand(thandle_t griff) {
    return *static_cast<Zustand*>(griff);
}

tmsize_t lies(thandle_t griff, void* ziel, tmsize_t anzahl) {
    auto& z = zustand(griff);
    if (anzahl <= 0)
        return 0;
    auto const n =
        z.quelle->lesen(z.stelle, {static_cast<std::uint8_t*>(ziel), static_cast<std::size_t>(anzahl)});
    z.stelle += static_cast<std::int64_t>(n);
    return static_cast<tmsize_t>(n);
}

tmsize_t schreibt(thandle_t /*griff*/, void* /*von*/, tmsize_t /*anzahl*/) {
    return 0;
}

toff_t springe(thandle_t griff, toff_t weit, int woher) {
    auto& z = zustand(griff);
    auto const versatz = static_cast<std::int64_t>(weit);
    std::int64_t const anfang = woher == SEEK_SET ? 0 : woher == SEEK_CUR ? z.stelle : z.quelle->groesse();
    // Beyond what any file here has: the sum below then cannot overflow.
    if (versatz > hoechsteBilddatei || versatz < -hoechsteBilddatei || anfang + versatz < 0)
        return static_cast<toff_t>(-1);
    z.stelle = anfang + versatz;
    return static_cast<toff_t>(z.stelle);
}

int schliesst(thandle_t /*griff*/) {
    return 0;
}

toff_t groesse(thandle_t griff) {
    return static_cast<toff_t>(zustand(griff).quelle->groesse());
}

int schweigt(TIFF* /*tiff*/, void* /*daten*/, char const* /*wo*/, char const* /*form*/, va_list /*werte*/) {
    return 1; // Said; the library need not say it again.
}

struct Freigabe {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
    void operator()(TIFFOpenOptions* vorgaben) const { TIFFOpenOptionsFree(vorgaben); }
    void operator()(TIFFRGBAImage* bild) const { TIFFRGBAImageEnd(bild); }
};

/// Rows that the library decodes at a time: a strip's or a tile's.
std::uint32_t zeilenJeTeil(TIFF* tiff, std::uint32_t hoehe) {
    std::uint32_t zeilen = hoehe;
    if (TIFFIsTiled(tiff) != 0)
        TIFFGetField(tiff, TIFFTAG_TILELENGTH, &zeilen);
    else
        TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &zeilen);
    return std::clamp<std::uint32_t>(zeilen, 1, hoehe);
}

/// One row of the library's points, whose colours are already multiplied with their cover, to grey over white.
void zuGrau(std::span<std::uint32_t const> quelle, std::span<std::uint8_t> ziel) {
    std::ranges::transform(quelle, ziel.begin(), [](std::uint32_t p) {
        unsigned const grau = (77U * TIFFGetR(p) + 150U * TIFFGetG(p) + 29U * TIFFGetB(p) + 128U) >> 8U;
        return static_cast<std::uint8_t>(std::min(grau + 255U - TIFFGetA(p), 255U));
    });
}

} // namespace

std::optional<RohesBild> tiffLaden(Dateiquelle const& quelle) {
    std::unique_ptr<TIFFOpenOptions, Freigabe> const vorgaben{TIFFOpenOptionsAlloc()};
    if (!vorgaben)
        return std::nullopt;
    TIFFOpenOptionsSetMaxSingleMemAlloc(vorgaben.get(), hoechsterBildspeicher);
    TIFFOpenOptionsSetErrorHandlerExtR(vorgaben.get(), schweigt, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(vorgaben.get(), schweigt, nullptr);
    Zustand zustand{&quelle};
    // "m": the file is read, not mapped.
    std::unique_ptr<TIFF, Freigabe> const tiff{TIFFClientOpenExt(
        "", "rm", &zustand, lies, schreibt, springe, schliesst, groesse, nullptr, nullptr, vorgaben.get())};
    if (!tiff)
        return std::nullopt;
    std::uint32_t breite = 0;
    std::uint32_t hoehe = 0;
    TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &breite);
    TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &hoehe);
    auto const pixel = static_cast<std::uint64_t>(breite) * hoehe;
    if (pixel == 0 || pixel > static_cast<std::uint64_t>(hoechstePixel) ||
        std::max(breite, hoehe) > 1'000'000)
        return std::nullopt;
    auto const zeilen = zeilenJeTeil(tiff.get(), hoehe);
    // Our points of one part, and what the library holds of it while it decodes.
    auto const teil = TIFFIsTiled(tiff.get()) != 0 ? TIFFTileSize64(tiff.get()) : TIFFStripSize64(tiff.get());
    auto const punkte = static_cast<std::uint64_t>(breite) * zeilen;
    if (teil > static_cast<std::uint64_t>(hoechsterBildspeicher) ||
        4 * punkte + teil > static_cast<std::uint64_t>(hoechsterBildspeicher))
        return std::nullopt;
    TIFFRGBAImage rgba{};
    char fehler[1024];
    if (TIFFRGBAImageOK(tiff.get(), fehler) == 0 || TIFFRGBAImageBegin(&rgba, tiff.get(), 0, fehler) == 0)
        return std::nullopt;
    std::unique_ptr<TIFFRGBAImage, Freigabe> const besitz{&rgba};
    rgba.req_orientation = rgba.orientation; // As stored; turned afterwards, like every other picture.
    auto const ende = Rechenuhr::now() + fristJeBild;
    std::vector<std::uint32_t> raster(static_cast<std::size_t>(punkte));
    std::vector<std::uint8_t> grau(breite);
    auto const ziel = zielmass(static_cast<int>(breite), static_cast<int>(hoehe));
    Verkleinerer verkleinerer{static_cast<int>(breite), static_cast<int>(hoehe), ziel.breite, ziel.hoehe};
    bool etwas = false;
    for (std::uint32_t y = 0; y < hoehe && Rechenuhr::now() < ende; y += zeilen) {
        auto const anzahl = std::min(zeilen, hoehe - y);
        std::ranges::fill(raster, 0U);
        rgba.row_offset = static_cast<int>(y);
        rgba.col_offset = 0;
        if (TIFFRGBAImageGet(&rgba, raster.data(), breite, anzahl) == 0)
            break;
        etwas = true;
        for (std::uint32_t i = 0; i < anzahl; ++i) {
            zuGrau(std::span{raster}.subspan(static_cast<std::size_t>(i) * breite, breite), grau);
            verkleinerer.zeile(grau);
        }
    }
    if (!etwas)
        return std::nullopt;
    return RohesBild{std::move(verkleinerer).fertig(), rgba.orientation};
}

} // namespace quillmate::leser::motoren
