#include "bild.h"
#include "exif.h"
#include "rechenuhr.h"

#include <jpeglib.h>
// Needs jpeglib.h first.
#include <jerror.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

// How errors leave the library: its error callback may not return, so it jumps back into durchlauf().
// Everything with a destructor therefore lives in Zustand, outside the frames that are jumped over.

namespace quillmate::leser::motoren {

namespace {

constexpr std::size_t pufferBytes = 64U << 10U;
constexpr std::size_t segmentBytes = 64U << 10U; // Its length has 16 bits.
constexpr std::array<std::uint8_t, 6> exifKennung{'E', 'x', 'i', 'f', 0, 0};

struct Zustand {
    jpeg_decompress_struct jpeg{};
    jpeg_error_mgr fehler{};
    jpeg_source_mgr bytes{};
    jpeg_progress_mgr fortschritt{};
    std::jmp_buf zurueck{};
    Dateiquelle const* quelle{};
    Jpegvorgabe const* vorgabe{}; ///< Nothing for a file of its own.
    std::int64_t speicher{hoechsterBildspeicher};
    std::int64_t stelle{0};
    Rechenuhr::time_point ende;
    std::vector<std::uint8_t> puffer;
    std::vector<std::uint8_t> zeile;
    std::vector<std::uint8_t> grau;
    std::unique_ptr<Verkleinerer> verkleinerer;
    std::vector<std::uint8_t>
        exif; ///< As large as a segment can be from the start: filled inside the library.
    std::size_t exifBytes{0};
    bool mangel{false};
};

Zustand& zustand(jpeg_common_struct* jpeg) {
    return *static_cast<Zustand*>(jpeg->client_data);
}

Zustand& zustand(jpeg_decompress_struct* jpeg) {
    return *static_cast<Zustand*>(jpeg->client_data);
}

[[noreturn]] void abbrechen(jpeg_common_struct* jpeg) {
    zustand(jpeg).mangel = jpeg->err->msg_code == JERR_OUT_OF_MEMORY;
    std::longjmp(zustand(jpeg).zurueck, 1);
}

void schweigen(jpeg_common_struct* /*jpeg*/) {}
void schweigen(jpeg_common_struct* /*jpeg*/, int /*stufe*/) {}
void nichtsTun(jpeg_decompress_struct* /*jpeg*/) {}

boolean nachfuellen(jpeg_decompress_struct* jpeg) {
    auto& z = zustand(jpeg);
    auto n = z.quelle->lesen(z.stelle, z.puffer);
    z.stelle += static_cast<std::int64_t>(n);
    if (n == 0) {
        // Cut off: an end mark makes the library finish the picture with what it has.
        z.puffer[0] = 0xFF;
        z.puffer[1] = JPEG_EOI;
        n = 2;
    }
    z.bytes.next_input_byte = z.puffer.data();
    z.bytes.bytes_in_buffer = n;
    return TRUE;
}

void ueberspringen(jpeg_decompress_struct* jpeg, long anzahl) {
    auto& z = zustand(jpeg);
    if (anzahl <= 0)
        return;
    auto const weit = static_cast<std::size_t>(anzahl);
    if (weit <= z.bytes.bytes_in_buffer) {
        z.bytes.next_input_byte += weit;
        z.bytes.bytes_in_buffer -= weit;
        return;
    }
    z.stelle += static_cast<std::int64_t>(weit - z.bytes.bytes_in_buffer);
    z.bytes.bytes_in_buffer = 0;
}

std::uint8_t naechstesByte(jpeg_decompress_struct* jpeg) {
    auto& bytes = zustand(jpeg).bytes;
    if (bytes.bytes_in_buffer == 0)
        nachfuellen(jpeg);
    --bytes.bytes_in_buffer;
    return *bytes.next_input_byte++;
}

/// Keeps the first EXIF segment. The library's own keeper would hold all APP1 segments of a file, and a file
/// may consist of nothing else.
boolean app1Lesen(jpeg_decompress_struct* jpeg) {
    auto& z = zustand(jpeg);
    auto const hoch = naechstesByte(jpeg);
    long rest = (long{hoch} << 8U) + naechstesByte(jpeg) - 2;
    if (z.exifBytes == 0 && rest > static_cast<long>(exifKennung.size())) {
        bool istExif = true;
        for (auto const erwartet : exifKennung) {
            istExif = naechstesByte(jpeg) == erwartet && istExif;
            --rest;
        }
        for (; istExif && rest > 0; --rest)
            z.exif[z.exifBytes++] = naechstesByte(jpeg);
    }
    ueberspringen(jpeg, rest);
    return TRUE;
}

void fristPruefen(jpeg_common_struct* jpeg) {
    if (Rechenuhr::now() >= zustand(jpeg).ende)
        abbrechen(jpeg);
}

/// The strongest reduction of the decoder (by 2, 4 or 8) that does not fall below the target.
unsigned nenner(jpeg_decompress_struct const& jpeg, Bildmass ziel) {
    for (unsigned n : {8U, 4U, 2U})
        if ((jpeg.image_width + n - 1) / n >= static_cast<unsigned>(ziel.breite) &&
            (jpeg.image_height + n - 1) / n >= static_cast<unsigned>(ziel.hoehe))
            return n;
    return 1;
}

/// What a picture that has to be held whole takes, from its header.
std::int64_t koeffizientenBytes(jpeg_decompress_struct const& jpeg) {
    std::int64_t bytes = 0;
    for (int i = 0; i < jpeg.num_components; ++i)
        bytes += static_cast<std::int64_t>(jpeg.comp_info[i].width_in_blocks) *
                 jpeg.comp_info[i].height_in_blocks * std::int64_t{sizeof(JBLOCK)};
    return bytes;
}

/// One row of CMYK as the common programs write it, inverted, to grey.
void cmykZuGrau(std::span<std::uint8_t const> cmyk, std::span<std::uint8_t> grau, bool umgekehrt) {
    for (std::size_t x = 0; x < grau.size(); ++x) {
        auto anteil = [&](std::size_t i) -> unsigned {
            return umgekehrt ? cmyk[4 * x + i] : 255U - cmyk[4 * x + i];
        };
        unsigned const farbe = (77 * anteil(0) + 150 * anteil(1) + 29 * anteil(2)) >> 8U;
        grau[x] = static_cast<std::uint8_t>(farbe * anteil(3) / 255);
    }
}

bool entspricht(jpeg_decompress_struct const& jpeg, Jpegvorgabe const& vorgabe) {
    // In a PDF only Adobe's mark tells what the three channels are; the library also believes others.
    bool const rgb = jpeg.saw_Adobe_marker != FALSE && jpeg.Adobe_transform == 0;
    if (jpeg.num_components == 3 && jpeg.jpeg_color_space != (rgb ? JCS_RGB : JCS_YCbCr))
        return false;
    return std::cmp_equal(jpeg.image_width, vorgabe.breite) &&
           std::cmp_equal(jpeg.image_height, vorgabe.hoehe) && jpeg.num_components == vorgabe.kanaele;
}

/// Allocates, which may throw; never called with a jump pending over it. False: beyond the limits, or something else
/// than it should be.
bool vorbereiten(Zustand& z) {
    auto& jpeg = z.jpeg;
    if (static_cast<std::int64_t>(jpeg.image_width) * jpeg.image_height > hoechstePixel)
        return false;
    if (jpeg_has_multiple_scans(&jpeg) && koeffizientenBytes(jpeg) > z.speicher)
        return false;
    if (z.vorgabe != nullptr && !entspricht(jpeg, *z.vorgabe))
        return false;
    auto const ziel = zielmass(static_cast<int>(jpeg.image_width), static_cast<int>(jpeg.image_height));
    jpeg.scale_num = 1;
    jpeg.scale_denom = nenner(jpeg, ziel);
    bool const vierfarbig = jpeg.jpeg_color_space == JCS_CMYK || jpeg.jpeg_color_space == JCS_YCCK;
    jpeg.out_color_space = vierfarbig ? JCS_CMYK : JCS_GRAYSCALE;
    jpeg.dct_method = JDCT_ISLOW;
    return true;
}

void zeilenAnlegen(Zustand& z) {
    auto const ziel = zielmass(static_cast<int>(z.jpeg.image_width), static_cast<int>(z.jpeg.image_height));
    auto const breite = static_cast<std::size_t>(z.jpeg.output_width);
    z.zeile.resize(breite * static_cast<std::size_t>(z.jpeg.output_components));
    z.grau.resize(breite);
    z.verkleinerer = std::make_unique<Verkleinerer>(
        static_cast<int>(z.jpeg.output_width), static_cast<int>(z.jpeg.output_height), ziel.breite,
        ziel.hoehe);
}

/// False when no picture came out. What arrived before an error counts.
bool durchlauf(Zustand& z) {
    auto& jpeg = z.jpeg;
    if (setjmp(z.zurueck) != 0)
        return z.verkleinerer != nullptr && jpeg.output_scanline > 0;
    jpeg_create_decompress(&jpeg);
    jpeg.client_data = &z;
    jpeg.src = &z.bytes;
    jpeg.progress = &z.fortschritt;
    jpeg.mem->max_memory_to_use = z.speicher;
    jpeg_set_marker_processor(&jpeg, JPEG_APP0 + 1, app1Lesen);
    jpeg_read_header(&jpeg, TRUE);
    if (!vorbereiten(z))
        return false;
    jpeg_start_decompress(&jpeg);
    zeilenAnlegen(z);
    while (jpeg.output_scanline < jpeg.output_height) {
        JSAMPROW zeile = z.zeile.data();
        jpeg_read_scanlines(&jpeg, &zeile, 1);
        if (jpeg.output_components == 1) {
            z.verkleinerer->zeile(z.zeile);
        } else {
            cmykZuGrau(z.zeile, z.grau, jpeg.saw_Adobe_marker != FALSE);
            z.verkleinerer->zeile(z.grau);
        }
    }
    return true;
}

std::optional<RohesBild> laden(Dateiquelle const& quelle, Jpegvorgabe const* vorgabe) {
    auto const z = std::make_unique<Zustand>();
    z->quelle = &quelle;
    z->ende = Rechenuhr::now() + fristJeBild;
    z->vorgabe = vorgabe;
    if (vorgabe != nullptr) {
        z->ende = std::min(z->ende, vorgabe->ende);
        z->speicher = static_cast<std::int64_t>(
            std::min(vorgabe->speicher, static_cast<std::size_t>(hoechsterBildspeicher)));
    }
    z->puffer.resize(pufferBytes);
    z->exif.resize(segmentBytes);
    z->jpeg.err = jpeg_std_error(&z->fehler);
    z->jpeg.client_data = z.get();
    z->fehler.error_exit = abbrechen;
    z->fehler.emit_message = schweigen;
    z->fehler.output_message = schweigen;
    z->bytes.init_source = nichtsTun;
    z->bytes.fill_input_buffer = nachfuellen;
    z->bytes.skip_input_data = ueberspringen;
    z->bytes.resync_to_restart = jpeg_resync_to_restart;
    z->bytes.term_source = nichtsTun;
    z->fortschritt.progress_monitor = fristPruefen;
    std::optional<RohesBild> bild;
    try {
        if (durchlauf(*z))
            bild = RohesBild{
                std::move(*z->verkleinerer).fertig(),
                exifAusrichtung(std::span{z->exif}.first(z->exifBytes))};
    } catch (...) {
        jpeg_destroy_decompress(&z->jpeg);
        throw;
    }
    jpeg_destroy_decompress(&z->jpeg);
    if (z->mangel)
        throw std::bad_alloc{};
    return bild;
}

} // namespace

void jpegSpeicherBegrenzen() {
    // In thousands of bytes.
    (void)::setenv("JPEGMEM", std::to_string(hoechsterBildspeicher / 1000).c_str(), 1);
}

std::optional<RohesBild> jpegLaden(Dateiquelle const& quelle) {
    return laden(quelle, nullptr);
}

std::optional<Graubild> eingebettetesJpegLaden(Dateiquelle const& quelle, Jpegvorgabe const& vorgabe) {
    auto roh = laden(quelle, &vorgabe);
    if (!roh)
        return std::nullopt;
    return std::move(roh->bild);
}

} // namespace quillmate::leser::motoren
