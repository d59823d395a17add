#include "vorlagen.h"

#include "leser/motoren/pdf.h"
#include "texterkennung/heuristik.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
#pragma GCC diagnostic ignored "-Wold-style-cast"
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#include <mupdf/fitz.h>
#include <mupdf/pdf.h>
#pragma GCC diagnostic pop

#include <jpeglib.h>
#include <libheif/heif.h>
#include <png.h>

// The HEVC encoder that makes the HEIC samples keeps some memory; no encoder is part of what is tested.
extern "C" char const* __lsan_default_suppressions();
extern "C" char const* __lsan_default_suppressions() {
    return "leak:libx265";
}

namespace quillmate::vorlagen {

using leser::motoren::Graubild;

Deskriptor alsDatei(Bytes const& bytes) {
    Deskriptor datei{memfd_create("vorlage", MFD_CLOEXEC)};
    std::size_t geschrieben = 0;
    while (geschrieben < bytes.size()) {
        auto const n = write(datei.get(), bytes.data() + geschrieben, bytes.size() - geschrieben);
        if (n <= 0)
            throw std::runtime_error("memfd");
        geschrieben += static_cast<std::size_t>(n);
    }
    return datei;
}

namespace {

std::string strom(std::string const& eintraege, std::string const& inhalt) {
    return "<< " + eintraege + " /Length " + std::to_string(inhalt.size()) + " >>\nstream\n" + inhalt +
           "\nendstream";
}

constexpr int festeObjekte = 6;

} // namespace

Bytes pdf(std::vector<Seite> const& seiten) {
    std::vector<std::string> objekte;
    std::string kinder;
    for (std::size_t i = 0; i < seiten.size(); ++i)
        kinder += std::to_string(festeObjekte + 1 + 3 * static_cast<int>(i)) + " 0 R ";
    objekte.emplace_back("<< /Type /Catalog /Pages 2 0 R >>");
    objekte.push_back(
        "<< /Type /Pages /Count " + std::to_string(seiten.size()) + " /Kids [ " + kinder + "] >>");
    objekte.emplace_back("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>");
    objekte.emplace_back(
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding /ToUnicode 5 0 R >>");
    objekte.push_back(strom(
        "", "/CIDInit /ProcSet findresource begin 12 dict begin begincmap\n"
            "1 begincodespacerange <00> <FF> endcodespacerange\n"
            "2 beginbfrange <20> <20> <0020> <21> <21> <0001> endbfrange\n"
            "endcmap end end"));
    // Glyphs that a viewer draws but nobody can name.
    objekte.emplace_back(
        "<< /Type /Font /Subtype /Type3 /FontBBox [0 0 1 1] /FontMatrix [1 0 0 1 0 0] /CharProcs << "
        ">> /FirstChar 0 /LastChar 0 /Widths [1] /Encoding << /Type /Encoding /Differences [33 "
        "/g001 /g002 /g003] >> >>");
    for (std::size_t i = 0; i < seiten.size(); ++i) {
        auto const& s = seiten[i];
        auto const nummer = static_cast<int>(objekte.size()) + 1;
        auto const inhalt = std::to_string(nummer + 1) + " 0 R";
        auto const bild = std::to_string(nummer + 2) + " 0 R";
        objekte.push_back(
            "<< /Type /Page /Parent 2 0 R /MediaBox " + s.kasten + " /Contents " + inhalt +
            " /Resources << /Font << /F1 3 0 R /F2 4 0 R /F3 6 0 R >> /XObject << /B " + bild + " >> >> " +
            s.zusatz + " >>");
        objekte.push_back(strom("", s.inhalt));
        if (s.bild)
            objekte.push_back(strom(
                "/Type /XObject /Subtype /Image /BitsPerComponent 8 /Width " +
                    std::to_string(s.bild->breite) + " /Height " + std::to_string(s.bild->hoehe) +
                    (s.jpeg.empty() ? " /ColorSpace /DeviceGray "
                                    : " /ColorSpace /DeviceRGB /Filter /DCTDecode ") +
                    s.bildzusatz,
                s.jpeg.empty() ? Bytes{s.bild->punkte.begin(), s.bild->punkte.end()} : s.jpeg));
        else
            objekte.emplace_back("null");
    }
    std::string datei = "%PDF-1.4\n";
    std::vector<std::size_t> stellen;
    for (std::size_t i = 0; i < objekte.size(); ++i) {
        stellen.push_back(datei.size());
        datei += std::to_string(i + 1) + " 0 obj\n" + objekte[i] + "\nendobj\n";
    }
    auto const verzeichnis = datei.size();
    datei += "xref\n0 " + std::to_string(objekte.size() + 1) + "\n0000000000 65535 f \n";
    for (auto const stelle : stellen) {
        std::array<char, 32> zeile{};
        std::snprintf(zeile.data(), zeile.size(), "%010zu 00000 n \n", stelle);
        datei += zeile.data();
    }
    datei += "trailer << /Root 1 0 R /Size " + std::to_string(objekte.size() + 1) + " >>\nstartxref\n" +
             std::to_string(verzeichnis) + "\n%%EOF\n";
    return datei;
}

Bytes verschluesselt(Bytes const& klar, std::string const& kennwort) {
    auto* ctx = fz_new_context(nullptr, nullptr, FZ_STORE_DEFAULT);
    fz_buffer* aus = nullptr;
    bool gelungen = true;
    fz_try(ctx) {
        auto* ein = fz_open_memory(ctx, reinterpret_cast<unsigned char const*>(klar.data()), klar.size());
        auto* dokument = pdf_open_document_with_stream(ctx, ein);
        aus = fz_new_buffer(ctx, klar.size());
        auto* ausgabe = fz_new_output_with_buffer(ctx, aus);
        pdf_write_options vorgaben = pdf_default_write_options;
        vorgaben.do_encrypt = PDF_ENCRYPT_AES_128;
        vorgaben.permissions = ~0;
        std::strncpy(vorgaben.upwd_utf8, kennwort.c_str(), sizeof vorgaben.upwd_utf8 - 1);
        std::strncpy(vorgaben.opwd_utf8, "besitzer", sizeof vorgaben.opwd_utf8 - 1);
        pdf_write_document(ctx, dokument, ausgabe, &vorgaben);
        fz_close_output(ctx, ausgabe);
        fz_drop_output(ctx, ausgabe);
        pdf_drop_document(ctx, dokument);
        fz_drop_stream(ctx, ein);
    }
    fz_catch(ctx) gelungen = false;
    unsigned char* daten = nullptr;
    std::size_t const anzahl = gelungen ? fz_buffer_storage(ctx, aus, &daten) : 0;
    Bytes bytes{reinterpret_cast<char const*>(daten), anzahl};
    fz_drop_buffer(ctx, aus);
    fz_drop_context(ctx);
    if (!gelungen)
        throw std::runtime_error("pdf_write_document");
    return bytes;
}

std::optional<Graubild> gezeichnet(Bytes const& bytes) {
    auto* ctx = fz_new_context(nullptr, nullptr, FZ_STORE_DEFAULT);
    fz_pixmap* punkte = nullptr;
    fz_stream* strom = nullptr;
    pdf_document* dokument = nullptr;
    fz_page* seite = nullptr;
    fz_device* geraet = nullptr;
    bool gelungen = true;
    fz_var(punkte);
    fz_var(strom);
    fz_var(dokument);
    fz_var(seite);
    fz_var(geraet);
    fz_try(ctx) {
        fz_disable_icc(ctx);
        fz_set_warning_callback(
            ctx, [](void*, char const*) {}, nullptr);
        fz_set_error_callback(
            ctx, [](void*, char const*) {}, nullptr);
        strom = fz_open_memory(ctx, reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size());
        dokument = pdf_open_document_with_stream(ctx, strom);
        seite = reinterpret_cast<fz_page*>(pdf_load_page(ctx, dokument, 0));
        auto const kasten = fz_bound_page(ctx, seite);
        auto const faktor =
            static_cast<float>(Texterkennung::lesefaktor(kasten.x1 - kasten.x0, kasten.y1 - kasten.y0));
        auto const lage = fz_scale(faktor, faktor);
        punkte = fz_new_pixmap_with_bbox(
            ctx, fz_device_gray(ctx), fz_round_rect(fz_transform_rect(kasten, lage)), nullptr, 0);
        fz_clear_pixmap_with_value(ctx, punkte, 255);
        geraet = fz_new_draw_device(ctx, lage, punkte);
        fz_cookie keks{}; // With it, an operator that fails is left out; without it, the page ends there.
        fz_run_page(ctx, seite, geraet, fz_identity, &keks);
        fz_close_device(ctx, geraet);
    }
    fz_always(ctx) {
        fz_drop_device(ctx, geraet);
        fz_drop_page(ctx, seite);
        pdf_drop_document(ctx, dokument);
        fz_drop_stream(ctx, strom);
    }
    fz_catch(ctx) gelungen = false;
    std::optional<Graubild> bild;
    if (gelungen) {
        bild = Graubild{punkte->w, punkte->h, {}};
        for (int y = 0; y < bild->hoehe; ++y) {
            auto const* const zeile = punkte->samples + static_cast<std::ptrdiff_t>(y) * punkte->stride;
            bild->punkte.insert(bild->punkte.end(), zeile, zeile + bild->breite);
        }
    }
    fz_drop_pixmap(ctx, punkte);
    fz_drop_context(ctx);
    return bild;
}

std::string zeilen(std::vector<std::string> const& texte, std::string_view schrift, int grad, int oben) {
    std::string inhalt = "BT /" + std::string{schrift} + " " + std::to_string(grad) + " Tf " +
                         std::to_string(grad * 3 / 2) + " TL 30 " + std::to_string(oben) + " Td\n";
    for (auto const& text : texte)
        inhalt += "(" + text + ") Tj T*\n";
    return inhalt + "ET\n";
}

std::vector<std::string> beleg() {
    return {
        "Musterladen GmbH", "Hauptstrasse 12", "Rechnung Nummer 4711", "Kaffee und Kuchen",
        "Gesamt 12,50 EUR"};
}

Graubild schriftbild(std::vector<std::string> const& texte) {
    auto const datei = alsDatei(pdf({{.inhalt = zeilen(texte)}}));
    auto const quelle = leser::motoren::Dateiquelle::ausDeskriptor(datei.get());
    return leser::motoren::PdfDatei::oeffnen(quelle.value()).value().pdfSeiteAlsBild().value();
}

Graubild eckbild() {
    Graubild bild{80, 60, std::vector<std::uint8_t>(80U * 60U, 255)};
    for (int y = 8; y < 24; ++y)
        for (int x = 8; x < 40; ++x)
            bild.punkte[static_cast<std::size_t>(y * bild.breite + x)] = 20;
    return bild;
}

Bytes exifDaten(int ausrichtung, bool niedrigesZuerst) {
    auto const wert = static_cast<char>(ausrichtung);
    using namespace std::string_literals;
    if (niedrigesZuerst)
        return "II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0"s + wert + "\0\0\0\0\0\0\0"s;
    return "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0"s + wert + "\0\0\0\0\0\0"s;
}

Bytes jpeg(Graubild const& bild, std::optional<int> exif, Jpegart art, int guete) {
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr fehler{};
    jpeg.err = jpeg_std_error(&fehler);
    jpeg_create_compress(&jpeg);
    unsigned char* puffer = nullptr;
    unsigned long anzahl = 0;
    jpeg_mem_dest(&jpeg, &puffer, &anzahl);
    jpeg.image_width = static_cast<JDIMENSION>(bild.breite);
    jpeg.image_height = static_cast<JDIMENSION>(bild.hoehe);
    jpeg.input_components = art == Jpegart::grau ? 1 : art == Jpegart::vierfarben ? 4 : 3;
    jpeg.in_color_space = art == Jpegart::grau         ? JCS_GRAYSCALE
                          : art == Jpegart::vierfarben ? JCS_CMYK
                                                       : JCS_RGB;
    jpeg_set_defaults(&jpeg);
    if (art == Jpegart::rgb || art == Jpegart::rgbOhneMarke)
        jpeg_set_colorspace(&jpeg, JCS_RGB);
    if (art == Jpegart::rgbOhneMarke)
        jpeg.write_Adobe_marker = FALSE;
    jpeg_set_quality(&jpeg, guete, TRUE);
    if (art == Jpegart::fortschreitend)
        jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    if (exif) {
        using namespace std::string_literals;
        auto const daten = "Exif\0\0"s + exifDaten(*exif, *exif % 2 == 0);
        jpeg_write_marker(
            &jpeg, JPEG_APP0 + 1, reinterpret_cast<JOCTET const*>(daten.data()),
            static_cast<unsigned>(daten.size()));
    }
    std::vector<JSAMPLE> zeile(
        static_cast<std::size_t>(bild.breite) * static_cast<std::size_t>(jpeg.input_components));
    for (int y = 0; y < bild.hoehe; ++y) {
        auto ziel = zeile.begin();
        // In four colours it is all black ink, or none, inverted as Adobe's programs write it.
        for (auto const punkt : bild.zeile(y))
            for (int i = 0; i < jpeg.input_components; ++i)
                *ziel++ = art == Jpegart::vierfarben && i < 3 ? JSAMPLE{255} : punkt;
        JSAMPROW p = zeile.data();
        jpeg_write_scanlines(&jpeg, &p, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    Bytes bytes{reinterpret_cast<char const*>(puffer), anzahl};
    std::free(puffer);
    return bytes;
}

Bytes vieleDurchgaenge(int anzahl) {
    auto const bytes = jpeg(schriftbild({"Rechnung"}), std::nullopt, Jpegart::fortschreitend);
    auto const letzter = bytes.rfind("\xFF\xDA");
    auto const durchgang = bytes.substr(letzter, bytes.size() - letzter - 2);
    auto viele = bytes.substr(0, letzter);
    for (int i = 0; i < anzahl; ++i)
        viele += durchgang;
    return viele + "\xFF\xD9";
}

namespace {

void anhaengen(png_structp png, png_bytep daten, std::size_t anzahl) {
    static_cast<Bytes*>(png_get_io_ptr(png))->append(reinterpret_cast<char const*>(daten), anzahl);
}

std::vector<std::uint8_t> pngZeile(std::span<std::uint8_t const> punkte, Pngart art) {
    std::vector<std::uint8_t> zeile;
    for (auto const punkt : punkte) {
        switch (art) {
        case Pngart::grau16:
            zeile.insert(zeile.end(), {punkt, punkt});
            break;
        case Pngart::rgb:
            zeile.insert(zeile.end(), {punkt, punkt, punkt});
            break;
        case Pngart::rgba: {
            // Where nothing covers, the colour below is black, which must not be seen.
            std::uint8_t const deckung = punkt == 255 ? 0 : 255;
            std::uint8_t const farbe = punkt == 255 ? 0 : punkt;
            zeile.insert(zeile.end(), {farbe, farbe, farbe, deckung});
            break;
        }
        default:
            zeile.push_back(punkt);
        }
    }
    return zeile;
}

} // namespace

Bytes png(Graubild const& bild, Pngart art, std::optional<int> exif) {
    Bytes bytes;
    auto* schreiber = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    auto* info = png_create_info_struct(schreiber);
    png_set_write_fn(schreiber, &bytes, anhaengen, nullptr);
    int const farbe = art == Pngart::rgb       ? PNG_COLOR_TYPE_RGB
                      : art == Pngart::rgba    ? PNG_COLOR_TYPE_RGBA
                      : art == Pngart::palette ? PNG_COLOR_TYPE_PALETTE
                                               : PNG_COLOR_TYPE_GRAY;
    png_set_IHDR(
        schreiber, info, static_cast<png_uint_32>(bild.breite), static_cast<png_uint_32>(bild.hoehe),
        art == Pngart::grau16 ? 16 : 8, farbe,
        art == Pngart::verschraenkt ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
        PNG_FILTER_TYPE_DEFAULT);
    std::array<png_color, 256> palette{};
    for (std::size_t i = 0; i < palette.size(); ++i)
        palette[i] = {static_cast<png_byte>(i), static_cast<png_byte>(i), static_cast<png_byte>(i)};
    if (art == Pngart::palette)
        png_set_PLTE(schreiber, info, palette.data(), static_cast<int>(palette.size()));
    Bytes daten;
    if (exif) {
        daten = exifDaten(*exif, true);
        png_set_eXIf_1(
            schreiber, info, static_cast<png_uint_32>(daten.size()),
            reinterpret_cast<png_bytep>(daten.data()));
    }
    png_write_info(schreiber, info);
    int const durchgaenge = art == Pngart::verschraenkt ? png_set_interlace_handling(schreiber) : 1;
    for (int d = 0; d < durchgaenge; ++d)
        for (int y = 0; y < bild.hoehe; ++y)
            png_write_row(schreiber, pngZeile(bild.zeile(y), art).data());
    png_write_end(schreiber, nullptr);
    png_destroy_write_struct(&schreiber, &info);
    return bytes;
}

Bytes pngKopf(std::uint32_t breite, std::uint32_t hoehe) {
    // Take a real header and overwrite the size; the reader does not judge by check sums.
    auto bytes = png(Graubild{1, 1, {0}}).substr(0, 33);
    for (unsigned i = 0; i < 4; ++i) {
        bytes[16 + i] = static_cast<char>(breite >> (24 - 8 * i));
        bytes[20 + i] = static_cast<char>(hoehe >> (24 - 8 * i));
    }
    return bytes;
}

namespace {

Bytes heifMit(heif_compression_format art, Graubild const& bild, int ausrichtung) {
    auto pruefe = [](heif_error fehler) {
        if (fehler.code != heif_error_Ok)
            throw std::runtime_error(fehler.message);
    };
    auto* dokument = heif_context_alloc();
    heif_encoder* schreiber = nullptr;
    pruefe(heif_context_get_encoder_for_format(dokument, art, &schreiber));
    pruefe(heif_encoder_set_lossy_quality(schreiber, 90));
    heif_image* roh = nullptr;
    pruefe(heif_image_create(bild.breite, bild.hoehe, heif_colorspace_YCbCr, heif_chroma_420, &roh));
    pruefe(heif_image_add_plane(roh, heif_channel_Y, bild.breite, bild.hoehe, 8));
    for (auto const kanal : {heif_channel_Cb, heif_channel_Cr}) {
        int const breite = (bild.breite + 1) / 2;
        int const hoehe = (bild.hoehe + 1) / 2;
        pruefe(heif_image_add_plane(roh, kanal, breite, hoehe, 8));
        int schritt = 0;
        auto* ebene = heif_image_get_plane(roh, kanal, &schritt);
        std::memset(ebene, 128, static_cast<std::size_t>(schritt) * static_cast<std::size_t>(hoehe));
    }
    int schritt = 0;
    auto* ebene = heif_image_get_plane(roh, heif_channel_Y, &schritt);
    for (int y = 0; y < bild.hoehe; ++y)
        std::memcpy(
            ebene + static_cast<std::ptrdiff_t>(y) * schritt, bild.zeile(y).data(), bild.zeile(y).size());
    auto* vorgaben = heif_encoding_options_alloc();
    vorgaben->macOS_compatibility_workaround = 0; // Odd sizes then get a crop box.
    vorgaben->image_orientation = static_cast<heif_orientation>(ausrichtung);
    pruefe(heif_context_encode_image(dokument, roh, schreiber, vorgaben, nullptr));
    Bytes bytes;
    heif_writer ausgabe{1, [](heif_context*, void const* daten, std::size_t anzahl, void* ziel) {
                            static_cast<Bytes*>(ziel)->append(static_cast<char const*>(daten), anzahl);
                            return heif_error{heif_error_Ok, heif_suberror_Unspecified, ""};
                        }};
    pruefe(heif_context_write(dokument, &ausgabe, &bytes));
    heif_encoding_options_free(vorgaben);
    heif_image_release(roh);
    heif_encoder_release(schreiber);
    heif_context_free(dokument);
    return bytes;
}

} // namespace

Bytes heic(Graubild const& bild, int ausrichtung) {
    return heifMit(heif_compression_HEVC, bild, ausrichtung);
}

Bytes avif(Graubild const& bild) {
    return heifMit(heif_compression_AV1, bild, 1);
}

double abstand(Graubild const& a, Graubild const& b) {
    if (a.breite != b.breite || a.hoehe != b.hoehe || a.punkte.empty())
        return 255;
    double summe = 0;
    for (std::size_t i = 0; i < a.punkte.size(); ++i)
        summe += std::abs(a.punkte[i] - b.punkte[i]);
    return summe / static_cast<double>(a.punkte.size());
}

} // namespace quillmate::vorlagen
