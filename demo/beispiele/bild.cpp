#include "bild.h"

#include "grundlage/datei.h"

#include <jpeglib.h>
#include <libheif/heif.h>

#include <algorithm>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <string_view>

namespace quillmate::demo {

namespace {

/// The pixels of one row: 0x00RRGGBB each.
std::uint32_t* zeile(cairo_surface_t* bild, int y) {
    return reinterpret_cast<std::uint32_t*>(
        cairo_image_surface_get_data(bild) +
        static_cast<std::ptrdiff_t>(y) * cairo_image_surface_get_stride(bild));
}

/// A smallest EXIF block: one directory with one entry, the orientation.
std::string exifBlock(Lage lage) {
    std::string block{"Exif\0\0MM\0\x2A\0\0\0\x08", 14};        // big-endian, directory at 8
    block += std::string_view{"\0\x01", 2};                     // one entry
    block += std::string_view{"\x01\x12\0\x03\0\0\0\x01\0", 9}; // orientation, short, one value
    block += static_cast<char>(lage);
    block += std::string_view{"\0\0\0\0\0\0", 6}; // rest of the value, no further directory
    return block;
}

} // namespace

Flaeche leeresBild(int breite, int hoehe) {
    Flaeche bild{cairo_image_surface_create(CAIRO_FORMAT_RGB24, breite, hoehe)};
    Stift const stift{cairo_create(bild.get())};
    cairo_set_source_rgb(stift.get(), 1, 1, 1);
    cairo_paint(stift.get());
    return bild;
}

Flaeche gedrehtGespeichert(cairo_surface_t* bild, Lage lage) {
    auto const breite = cairo_image_surface_get_width(bild);
    auto const hoehe = cairo_image_surface_get_height(bild);
    bool const quer = lage == Lage::rechtsGedreht || lage == Lage::linksGedreht;
    auto ziel = quer ? leeresBild(hoehe, breite) : leeresBild(breite, hoehe);
    Stift const stift{cairo_create(ziel.get())};
    switch (lage) {
    case Lage::aufrecht:
        break;
    case Lage::kopfueber:
        cairo_translate(stift.get(), breite, hoehe);
        cairo_rotate(stift.get(), std::numbers::pi);
        break;
    case Lage::rechtsGedreht: // stored turned to the left
        cairo_translate(stift.get(), 0, breite);
        cairo_rotate(stift.get(), -std::numbers::pi / 2);
        break;
    case Lage::linksGedreht:
        cairo_translate(stift.get(), hoehe, 0);
        cairo_rotate(stift.get(), std::numbers::pi / 2);
        break;
    }
    cairo_set_source_surface(stift.get(), bild, 0, 0);
    cairo_pattern_set_filter(cairo_get_source(stift.get()), CAIRO_FILTER_NEAREST);
    cairo_paint(stift.get());
    return ziel;
}

void rausche(cairo_surface_t* bild, int staerke, Wuerfel& wuerfel) {
    cairo_surface_flush(bild);
    auto const breite = cairo_image_surface_get_width(bild);
    auto const hoehe = cairo_image_surface_get_height(bild);
    for (int y = 0; y < hoehe; ++y) {
        auto* const punkte = zeile(bild, y);
        std::uint64_t zufall = 0;
        for (int x = 0; x < breite; ++x) {
            // Four pixels from one number: this loop is what costs time here.
            zufall = x % 4 == 0 ? wuerfel.zahl() : zufall >> 16U;
            auto const abweichung = static_cast<int>(zufall & 0xFFFFU) % (2 * staerke + 1) - staerke;
            auto const teil = [&](unsigned stelle) {
                auto const wert = static_cast<int>((punkte[x] >> stelle) & 0xFFU) + abweichung;
                return static_cast<std::uint32_t>(std::clamp(wert, 0, 255)) << stelle;
            };
            punkte[x] = teil(16) | teil(8) | teil(0);
        }
    }
    cairo_surface_mark_dirty(bild);
}

std::string alsJpeg(cairo_surface_t* bild, Farben farben, Lage lage) {
    cairo_surface_flush(bild);
    jpeg_compress_struct packer{};
    jpeg_error_mgr fehler{};
    packer.err = jpeg_std_error(&fehler); // Ends the program: only lack of memory can go wrong here.
    jpeg_create_compress(&packer);
    unsigned char* puffer = nullptr;
    unsigned long laenge = 0;
    jpeg_mem_dest(&packer, &puffer, &laenge);
    auto const breite = cairo_image_surface_get_width(bild);
    auto const hoehe = cairo_image_surface_get_height(bild);
    packer.image_width = static_cast<JDIMENSION>(breite);
    packer.image_height = static_cast<JDIMENSION>(hoehe);
    packer.input_components = farben == Farben::grau ? 1 : 3;
    packer.in_color_space = farben == Farben::grau ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&packer);
    jpeg_set_quality(&packer, 82, TRUE);
    jpeg_start_compress(&packer, TRUE);
    if (lage != Lage::aufrecht) {
        auto const exif = exifBlock(lage);
        jpeg_write_marker(
            &packer, JPEG_APP0 + 1, reinterpret_cast<JOCTET const*>(exif.data()),
            static_cast<unsigned>(exif.size()));
    }
    std::string punkte;
    while (packer.next_scanline < packer.image_height) {
        punkte.clear();
        auto const* const quelle = zeile(bild, static_cast<int>(packer.next_scanline));
        for (int x = 0; x < breite; ++x) {
            auto const punkt = quelle[x];
            if (farben == Farben::bunt) {
                punkte += static_cast<char>((punkt >> 16U) & 0xFFU);
                punkte += static_cast<char>((punkt >> 8U) & 0xFFU);
            }
            punkte += static_cast<char>(punkt & 0xFFU);
        }
        auto* reihe = reinterpret_cast<JSAMPROW>(punkte.data());
        jpeg_write_scanlines(&packer, &reihe, 1);
    }
    jpeg_finish_compress(&packer);
    jpeg_destroy_compress(&packer);
    std::string bytes{reinterpret_cast<char const*>(puffer), laenge};
    std::free(puffer); // NOLINT(cppcoreguidelines-no-malloc): malloc() is what jpeg_mem_dest() promises.
    return bytes;
}

bool schreibePng(std::string const& pfad, cairo_surface_t* bild) {
    return cairo_surface_write_to_png(bild, pfad.c_str()) == CAIRO_STATUS_SUCCESS;
}

bool kannHeic() {
    return heif_have_encoder_for_format(heif_compression_HEVC) != 0;
}

bool schreibeHeic(std::string const& pfad, cairo_surface_t* bild, Lage lage) {
    cairo_surface_flush(bild);
    auto const breite = cairo_image_surface_get_width(bild);
    auto const hoehe = cairo_image_surface_get_height(bild);
    std::unique_ptr<heif_context, decltype(&heif_context_free)> const behaelter{
        heif_context_alloc(), &heif_context_free};
    heif_encoder* roherPacker = nullptr;
    if (heif_context_get_encoder_for_format(behaelter.get(), heif_compression_HEVC, &roherPacker).code !=
        heif_error_Ok)
        return false;
    std::unique_ptr<heif_encoder, decltype(&heif_encoder_release)> const packer{
        roherPacker, &heif_encoder_release};
    heif_encoder_set_lossy_quality(packer.get(), 55);
    heif_encoder_set_parameter_string(packer.get(), "preset", "ultrafast"); // Ten times the default's speed.

    heif_image* rohesBild = nullptr;
    if (heif_image_create(breite, hoehe, heif_colorspace_RGB, heif_chroma_interleaved_RGB, &rohesBild).code !=
        heif_error_Ok)
        return false;
    std::unique_ptr<heif_image, decltype(&heif_image_release)> const quelle{rohesBild, &heif_image_release};
    if (heif_image_add_plane(quelle.get(), heif_channel_interleaved, breite, hoehe, 8).code != heif_error_Ok)
        return false;
    int schritt = 0;
    auto* const punkte = heif_image_get_plane(quelle.get(), heif_channel_interleaved, &schritt);
    for (int y = 0; y < hoehe; ++y) {
        auto const* const reihe = zeile(bild, y);
        auto* ziel = punkte + static_cast<std::ptrdiff_t>(y) * schritt;
        for (int x = 0; x < breite; ++x) {
            *ziel++ = static_cast<std::uint8_t>(reihe[x] >> 16U);
            *ziel++ = static_cast<std::uint8_t>(reihe[x] >> 8U);
            *ziel++ = static_cast<std::uint8_t>(reihe[x]);
        }
    }
    std::unique_ptr<heif_encoding_options, decltype(&heif_encoding_options_free)> const wunsch{
        heif_encoding_options_alloc(), &heif_encoding_options_free};
    wunsch->image_orientation = static_cast<heif_orientation>(lage); // Defined equal to EXIF's numbers.
    return heif_context_encode_image(behaelter.get(), quelle.get(), packer.get(), wunsch.get(), nullptr)
                   .code == heif_error_Ok &&
           heif_context_write_to_file(behaelter.get(), pfad.c_str()).code == heif_error_Ok;
}

bool schreibeDatei(std::string const& pfad, std::string const& bytes) {
    return schreibeAtomar(pfad, bytes, Dauerhaft::nein);
}

} // namespace quillmate::demo
