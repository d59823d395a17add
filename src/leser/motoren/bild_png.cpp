#include "bild.h"
#include "exif.h"
#include "rechenuhr.h"

#include <png.h>

#include <csetjmp>
#include <memory>
#include <vector>

// As with JPEG, errors jump back into durchlauf(); everything with a destructor lives in Zustand.

namespace quillmate::leser::motoren {

namespace {

struct Zustand {
    png_structp png{};
    png_infop info{};
    Dateiquelle const* quelle{};
    std::int64_t stelle{0};
    Rechenuhr::time_point ende;
    std::vector<std::uint8_t> punkte; ///< One row, or all of an interlaced picture.
    std::vector<std::uint8_t> grau;
    std::unique_ptr<Verkleinerer> verkleinerer;
    std::size_t zeilenBytes{0};
    int breite{0};
    int hoehe{0};
    int kanaele{0};
    int durchgaenge{1};
    bool etwasGelesen{false};
};

[[noreturn]] void abbrechen(png_structp png, png_const_charp /*text*/) {
    png_longjmp(png, 1);
}

void schweigen(png_structp /*png*/, png_const_charp /*text*/) {}

void nachlesen(png_structp png, png_bytep ziel, std::size_t anzahl) {
    auto& z = *static_cast<Zustand*>(png_get_io_ptr(png));
    auto const n = z.quelle->lesen(z.stelle, {ziel, anzahl});
    z.stelle += static_cast<std::int64_t>(n);
    if (n < anzahl)
        png_error(png, "");
}

/// One row with 1 to 4 channels (grey, grey and alpha, RGB, RGBA) to grey over white.
void zuGrau(std::uint8_t const* quelle, std::span<std::uint8_t> ziel, int kanaele) {
    auto ueberWeiss = [](unsigned grau, unsigned deckung) {
        return static_cast<std::uint8_t>((grau * deckung + 255U * (255U - deckung) + 127U) / 255U);
    };
    auto helligkeit = [](std::uint8_t const* p) {
        return (77U * p[0] + 150U * p[1] + 29U * p[2] + 128U) >> 8U;
    };
    for (auto& punkt : ziel) {
        switch (kanaele) {
        case 1:
            punkt = quelle[0];
            break;
        case 2:
            punkt = ueberWeiss(quelle[0], quelle[1]);
            break;
        case 3:
            punkt = static_cast<std::uint8_t>(helligkeit(quelle));
            break;
        default:
            punkt = ueberWeiss(helligkeit(quelle), quelle[3]);
            break;
        }
        quelle += kanaele;
    }
}

/// Allocates, which may throw; no jump passes over it. False: beyond the limits.
bool vorbereiten(Zustand& z) {
    z.zeilenBytes = png_get_rowbytes(z.png, z.info);
    z.kanaele = png_get_channels(z.png, z.info);
    auto const bytes = static_cast<std::int64_t>(z.zeilenBytes) * (z.durchgaenge > 1 ? z.hoehe : 1);
    if (bytes > hoechsterBildspeicher)
        return false;
    z.punkte.assign(static_cast<std::size_t>(bytes), 0);
    z.grau.resize(static_cast<std::size_t>(z.breite));
    auto const ziel = zielmass(z.breite, z.hoehe);
    z.verkleinerer = std::make_unique<Verkleinerer>(z.breite, z.hoehe, ziel.breite, ziel.hoehe);
    return true;
}

bool pixelErlaubt(Zustand& z) {
    z.breite = static_cast<int>(png_get_image_width(z.png, z.info));
    z.hoehe = static_cast<int>(png_get_image_height(z.png, z.info));
    return static_cast<std::int64_t>(z.breite) * z.hoehe <= hoechstePixel;
}

void zeileWeitergeben(Zustand& z, std::uint8_t const* zeile) {
    zuGrau(zeile, z.grau, z.kanaele);
    z.verkleinerer->zeile(z.grau);
}

/// False when no picture came out. Rows that arrived before an error count.
bool durchlauf(Zustand& z) {
    if (setjmp(png_jmpbuf(z.png)) != 0)
        return z.etwasGelesen;
    png_set_read_fn(z.png, &z, nachlesen);
    png_set_crc_action(z.png, PNG_CRC_QUIET_USE, PNG_CRC_QUIET_USE);
    png_read_info(z.png, z.info);
    if (!pixelErlaubt(z))
        return false;
    png_set_expand(z.png);
    png_set_strip_16(z.png);
    z.durchgaenge = png_set_interlace_handling(z.png);
    png_read_update_info(z.png, z.info);
    if (!vorbereiten(z))
        return false;
    for (int durchgang = 0; durchgang < z.durchgaenge; ++durchgang) {
        for (int y = 0; y < z.hoehe; ++y) {
            if ((y & 0xFF) == 0 && Rechenuhr::now() >= z.ende)
                return z.etwasGelesen;
            if (z.durchgaenge > 1) {
                png_read_row(z.png, z.punkte.data() + static_cast<std::size_t>(y) * z.zeilenBytes, nullptr);
            } else {
                png_read_row(z.png, z.punkte.data(), nullptr);
                zeileWeitergeben(z, z.punkte.data());
            }
            z.etwasGelesen = true;
        }
    }
    png_read_end(z.png, z.info); // The orientation may stand behind the picture.
    return true;
}

int ausrichtung(Zustand& z) {
#ifdef PNG_eXIf_SUPPORTED
    png_uint_32 anzahl = 0;
    png_bytep daten = nullptr;
    if (png_get_eXIf_1(z.png, z.info, &anzahl, &daten) != 0 && daten != nullptr)
        return exifAusrichtung({daten, anzahl});
#endif
    return 1;
}

} // namespace

std::optional<RohesBild> pngLaden(Dateiquelle const& quelle) {
    Zustand z;
    z.quelle = &quelle;
    z.ende = Rechenuhr::now() + fristJeBild;
    z.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, abbrechen, schweigen);
    if (z.png == nullptr)
        return std::nullopt;
    z.info = png_create_info_struct(z.png);
    std::optional<RohesBild> bild;
    try {
        if (z.info != nullptr && durchlauf(z)) {
            if (z.durchgaenge > 1)
                for (int y = 0; y < z.hoehe; ++y)
                    zeileWeitergeben(z, z.punkte.data() + static_cast<std::size_t>(y) * z.zeilenBytes);
            bild = RohesBild{std::move(*z.verkleinerer).fertig(), ausrichtung(z)};
        }
    } catch (...) {
        png_destroy_read_struct(&z.png, &z.info, nullptr);
        throw;
    }
    png_destroy_read_struct(&z.png, &z.info, nullptr);
    return bild;
}

} // namespace quillmate::leser::motoren
