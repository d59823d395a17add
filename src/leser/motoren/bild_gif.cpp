#include "bild.h"
#include "rechenuhr.h"

#include <gif_lib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace quillmate::leser::motoren {

namespace {

struct Zustand {
    Dateiquelle const* quelle;
    std::int64_t stelle{0};
};

int nachlesen(GifFileType* gif, GifByteType* ziel, int anzahl) {
    auto& z = *static_cast<Zustand*>(gif->UserData);
    auto const n = z.quelle->lesen(z.stelle, {ziel, static_cast<std::size_t>(anzahl)});
    z.stelle += static_cast<std::int64_t>(n);
    return static_cast<int>(n);
}

struct Schluss {
    void operator()(GifFileType* gif) const {
        int fehler = 0;
        DGifCloseFile(gif, &fehler);
    }
};

/// Reads an extension to its end; what the next picture's transparent colour is, if it says so.
bool erweiterung(GifFileType* gif, int& durchsichtig) {
    int art = 0;
    GifByteType* block = nullptr;
    if (DGifGetExtension(gif, &art, &block) == GIF_ERROR)
        return false;
    while (block != nullptr) {
        GraphicsControlBlock angabe{};
        if (art == GRAPHICS_EXT_FUNC_CODE &&
            DGifExtensionToGCB(block[0], block + 1, &angabe) == GIF_OK) // The first byte is the length.
            durchsichtig = angabe.TransparentColor;
        if (DGifGetExtensionNext(gif, &block) == GIF_ERROR)
            return false;
    }
    return true;
}

/// The grey of each index, white for the transparent one and for those that are no colours.
std::array<std::uint8_t, 256> grautafel(ColorMapObject const* farben, int durchsichtig) {
    std::array<std::uint8_t, 256> tafel{};
    tafel.fill(255);
    for (std::size_t i = 0;
         farben != nullptr &&
         i < std::min<std::size_t>(static_cast<std::size_t>(std::max(farben->ColorCount, 0)), 256);
         ++i) {
        auto const& f = farben->Colors[i];
        if (static_cast<int>(i) != durchsichtig)
            tafel[i] = static_cast<std::uint8_t>((77U * f.Red + 150U * f.Green + 29U * f.Blue + 128U) >> 8U);
    }
    return tafel;
}

/// The rows of the picture that the library stands before. What arrived before an error or the deadline counts.
std::optional<Graubild> ersteAufnahme(GifFileType* gif, int durchsichtig) {
    int const breite = gif->Image.Width;
    int const hoehe = gif->Image.Height;
    bool const verschraenkt = gif->Image.Interlace;
    if (breite <= 0 || hoehe <= 0 || static_cast<std::int64_t>(breite) * hoehe > hoechstePixel)
        return std::nullopt;
    auto const b = static_cast<std::size_t>(breite);
    auto const bytes = b * (verschraenkt ? static_cast<std::size_t>(hoehe) : 1);
    if (bytes > static_cast<std::size_t>(hoechsterBildspeicher))
        return std::nullopt;
    auto const tafel =
        grautafel(gif->Image.ColorMap != nullptr ? gif->Image.ColorMap : gif->SColorMap, durchsichtig);
    auto const ende = Rechenuhr::now() + fristJeBild;
    auto const ziel = zielmass(breite, hoehe);
    Verkleinerer verkleinerer{breite, hoehe, ziel.breite, ziel.hoehe};
    std::vector<std::uint8_t> punkte(bytes, 255);
    bool etwas = false;
    auto lies = [&](std::uint8_t* zeile) {
        if (Rechenuhr::now() >= ende || DGifGetLine(gif, zeile, breite) == GIF_ERROR)
            return false;
        std::ranges::transform(std::span{zeile, b}, zeile, [&](std::uint8_t i) { return tafel[i]; });
        etwas = true;
        return true;
    };
    if (!verschraenkt) {
        for (int y = 0; y < hoehe && lies(punkte.data()); ++y)
            verkleinerer.zeile(punkte);
    } else {
        struct Durchgang {
            int erste, schritt;
        };
        bool weiter = true;
        for (auto const& d : std::array<Durchgang, 4>{{{0, 8}, {4, 8}, {2, 4}, {1, 2}}})
            for (int y = d.erste; y < hoehe && weiter; y += d.schritt)
                weiter = lies(punkte.data() + static_cast<std::size_t>(y) * b);
        for (int y = 0; y < hoehe; ++y)
            verkleinerer.zeile(std::span{punkte}.subspan(static_cast<std::size_t>(y) * b, b));
    }
    if (!etwas)
        return std::nullopt;
    return std::move(verkleinerer).fertig();
}

} // namespace

std::optional<RohesBild> gifLaden(Dateiquelle const& quelle) {
    Zustand zustand{&quelle};
    int fehler = 0;
    std::unique_ptr<GifFileType, Schluss> const gif{DGifOpen(&zustand, nachlesen, &fehler)};
    if (!gif)
        return std::nullopt;
    int durchsichtig = NO_TRANSPARENT_COLOR;
    // A file may consist of nothing but extensions: as many as one reads in no time.
    constexpr int hoechstensErweiterungen = 10'000;
    for (int i = 0; i < hoechstensErweiterungen; ++i) {
        GifRecordType art{};
        if (DGifGetRecordType(gif.get(), &art) == GIF_ERROR)
            return std::nullopt;
        if (art == IMAGE_DESC_RECORD_TYPE) {
            if (DGifGetImageDesc(gif.get()) == GIF_ERROR)
                return std::nullopt;
            auto bild = ersteAufnahme(gif.get(), durchsichtig);
            if (!bild)
                return std::nullopt;
            return RohesBild{std::move(*bild), 1};
        }
        if (art != EXTENSION_RECORD_TYPE || !erweiterung(gif.get(), durchsichtig))
            return std::nullopt;
    }
    return std::nullopt;
}

} // namespace quillmate::leser::motoren
