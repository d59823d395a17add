#include "bomben.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <stdexcept>

namespace quillmate::vorlagen {

namespace {

using leser::motoren::Graubild;

/// A PDF of these objects, numbered from 1; the first is the catalogue.
Bytes ausObjekten(std::vector<std::string> const& objekte) {
    Bytes datei = "%PDF-1.7\n";
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
    return datei + "trailer << /Root 1 0 R /Size " + std::to_string(objekte.size() + 1) + " >>\nstartxref\n" +
           std::to_string(verzeichnis) + "\n%%EOF\n";
}

std::string strom(std::string const& eintraege, std::string const& inhalt) {
    return "<< " + eintraege + " /Length " + std::to_string(inhalt.size()) + " >>\nstream\n" + inhalt +
           "\nendstream";
}

/// One page; `objekte` are numbered from 5. Object 4 is the content.
Bytes eineSeite(
    std::string const& inhalt, std::string const& mittel, std::vector<std::string> const& objekte,
    std::string const& inhaltsfilter = {}) {
    std::vector<std::string> alle{
        "<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Count 1 /Kids [3 0 R] >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 400 300] /Contents 4 0 R /Resources << " + mittel +
            " >> >>",
        strom(inhaltsfilter, inhalt)};
    alle.insert(alle.end(), objekte.begin(), objekte.end());
    return ausObjekten(alle);
}

/// One page that shows the picture of object 5.
Bytes bildseite(std::string const& bild) {
    return eineSeite("400 0 0 300 0 0 cm /B Do", "/XObject << /B 5 0 R >>", {bild});
}

std::string gepackt(std::string const& roh) {
    std::string ziel(::compressBound(roh.size()), '\0');
    auto laenge = static_cast<uLongf>(ziel.size());
    if (::compress2(
            reinterpret_cast<Bytef*>(ziel.data()), &laenge, reinterpret_cast<Bytef const*>(roh.data()),
            roh.size(), 9) != Z_OK)
        throw std::runtime_error{"zlib"};
    ziel.resize(laenge);
    return ziel;
}

std::string zahl32(std::uint32_t zahl) {
    std::string bytes;
    for (unsigned i = 0; i < 4; ++i)
        bytes += static_cast<char>(zahl >> (24U - 8U * i));
    return bytes;
}

std::string zahl16(unsigned zahl) {
    return {static_cast<char>(zahl >> 8U), static_cast<char>(zahl)};
}

// ------------------------------------------------------------------------------------------------------- PDF

Bytes tieferSeitenbaum() {
    constexpr int tiefe = 50'000;
    std::vector<std::string> objekte{"<< /Type /Catalog /Pages 2 0 R >>"};
    for (int i = 0; i < tiefe; ++i)
        objekte.push_back("<< /Type /Pages /Count 1 /Kids [" + std::to_string(i + 3) + " 0 R] >>");
    objekte.emplace_back("<< /Type /Page /MediaBox [0 0 400 300] >>");
    return ausObjekten(objekte);
}

Bytes seitenbaumImKreis() {
    return ausObjekten(
        {"<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Parent 3 0 R /Count 9 /Kids [3 0 R 3 0 R] >>",
         "<< /Type /Pages /Parent 2 0 R /Count 9 /Kids [2 0 R 2 0 R] >>"});
}

Bytes breiterSeitenbaum() {
    // Each level names the next one ten times: 10^9 pages in ten objects.
    std::vector<std::string> objekte{"<< /Type /Catalog /Pages 2 0 R >>"};
    for (int i = 0; i < 9; ++i) {
        std::string kinder;
        for (int k = 0; k < 10; ++k)
            kinder += std::to_string(i + 3) + " 0 R ";
        objekte.push_back("<< /Type /Pages /Count 1000000000 /Kids [" + kinder + "] >>");
    }
    objekte.emplace_back("<< /Type /Page >>");
    return ausObjekten(objekte);
}

Bytes geschachtelteFelder() {
    constexpr std::size_t tiefe = 500'000;
    return eineSeite(std::string(tiefe, '[') + std::string(tiefe, ']') + " TJ", "", {});
}

Bytes geschachtelteObjekte() {
    constexpr std::size_t tiefe = 300'000;
    std::string auf;
    for (std::size_t i = 0; i < tiefe; ++i)
        auf += "<</A";
    return ausObjekten({"<< /Type /Catalog /Pages " + auf + " >>"});
}

Bytes objektstromInSichSelbst() {
    auto const inhalt =
        std::string{"1 0 2 40 << /Type /Catalog /Pages 2 0 R >>         << /Type /Pages /Kids [] >>"};
    Bytes datei = "%PDF-1.7\n";
    auto const stelle = datei.size();
    // The stream of objects is said to be inside itself, and to be continued by itself.
    datei += "3 0 obj\n" + strom("/Type /ObjStm /N 2 /First 9 /Extends 3 0 R", inhalt) + "\nendobj\n";
    auto const verzeichnis = datei.size();
    std::string tabelle;
    for (int i = 0; i < 4; ++i)
        tabelle += std::string{'\2', '\0', '\3', static_cast<char>(i)};
    datei += "4 0 obj\n" +
             strom(
                 "/Type /XRef /Size 4 /W [1 2 1] /Root 1 0 R /Prev " + std::to_string(stelle) + " /XRefStm " +
                     std::to_string(verzeichnis),
                 tabelle) +
             "\nendobj\n";
    return datei + "startxref\n" + std::to_string(verzeichnis) + "\n%%EOF\n";
}

Bytes verzeichnisOhneEnde() {
    Bytes datei = "%PDF-1.4\n1 0 obj\n<< /Type /Catalog >>\nendobj\n";
    auto const verzeichnis = std::to_string(datei.size());
    return datei + "xref\n0 2147483647\n0000000000 65535 f \ntrailer << /Root 1 0 R /Size 2147483647 /Prev " +
           verzeichnis + " >>\nstartxref\n" + verzeichnis + "\n%%EOF\n";
}

Bytes dreifachGepackt() {
    // A megabyte that becomes a gigabyte that would become a terabyte.
    constexpr std::size_t anfang = 64U << 20U;
    auto const einmal = gepackt(std::string(anfang, ' '));
    std::string oft;
    while (oft.size() < (32U << 20U))
        oft += einmal;
    return eineSeite(gepackt(gepackt(oft)), "", {}, "/Filter [/FlateDecode /FlateDecode /FlateDecode]");
}

Bytes laufendeLaengen() {
    constexpr std::size_t anzahl = 2U << 20U;
    std::string laeufe;
    for (std::size_t i = 0; i < anzahl; ++i)
        laeufe += std::string{'\x81', ' '}; // 128 blanks each
    return eineSeite(
        gepackt(gepackt(laeufe)), "", {}, "/Filter [/FlateDecode /FlateDecode /RunLengthDecode]");
}

/// Blanks that unpack by the hundred gigabyte out of some kilobytes: what is packed of many blanks repeats itself, so it can
/// be packed again. Nothing of it takes memory, or reads the file.
Bytes filterOhneEnde(std::string const& davor) {
    z_stream packer{};
    if (deflateInit2(&packer, 9, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::runtime_error{"zlib"};
    std::string block(1U << 20U, ' ');
    std::string teil(64U << 10U, '\0');
    packer.next_in = reinterpret_cast<Bytef*>(block.data());
    packer.avail_in = static_cast<uInt>(block.size());
    packer.next_out = reinterpret_cast<Bytef*>(teil.data());
    packer.avail_out = static_cast<uInt>(teil.size());
    deflate(&packer, Z_FULL_FLUSH);
    teil.resize(teil.size() - packer.avail_out);
    deflateEnd(&packer);
    std::string innen = "\x78\xDA"; // A head, then the same full block over and over.
    for (int i = 0; i < 200'000; ++i)
        innen += teil;
    auto const aussen = gepackt(gepackt(innen));
    std::vector<Seite> seiten;
    if (!davor.empty())
        seiten.push_back({.inhalt = zeilen({davor})});
    seiten.push_back({.inhalt = aussen});
    auto bytes = pdf(seiten);
    auto const strom = bytes.find("<<  /Length " + std::to_string(aussen.size()));
    if (strom == Bytes::npos)
        throw std::runtime_error{"no such stream"};
    bytes.insert(strom + 2, " /Filter [/FlateDecode /FlateDecode /FlateDecode]");
    return bytes.replace(bytes.find("xref\n"), 5, "yref\n"); // The table no longer fits; a new one is made.
}

Bytes jbig2Riese() {
    // Page information and one generic region, both of the largest size, and no data for it.
    auto const seite = 65'535U;
    std::string daten;
    daten += zahl32(0) + "\x30" + std::string{"\x01"} + zahl32(19);
    daten += zahl32(seite) + zahl32(seite) + zahl32(0) + zahl32(0) + std::string{'\0'} + zahl16(0);
    daten += zahl32(1) + "\x26" + std::string{"\x01"} + zahl32(26);
    daten += zahl32(seite) + zahl32(seite) + zahl32(0) + zahl32(0) + std::string(1, '\0');
    daten += std::string(1, '\0') + "\x03\xFF\xFD\xFF\x02\xFE\xFE\xFE";
    return bildseite(strom(
        "/Type /XObject /Subtype /Image /ColorSpace /DeviceGray /BitsPerComponent 1 /Width 65535 /Height "
        "65535 /Filter /JBIG2Decode",
        daten));
}

Bytes jpeg2000Riese() {
    // Headers of a picture of 60000 x 60000 in 16,000 components, one tile, no data.
    auto const seite = 60'000U;
    constexpr unsigned ebenen = 16'000;
    std::string kopf = zahl16(0xFF4F);
    std::string siz = zahl16(0) + zahl32(seite) + zahl32(seite) + zahl32(0) + zahl32(0) + zahl32(seite) +
                      zahl32(seite) + zahl32(0) + zahl32(0) + zahl16(ebenen);
    for (unsigned i = 0; i < ebenen; ++i)
        siz += "\x07\x01\x01";
    kopf += zahl16(0xFF51) + zahl16(static_cast<unsigned>(siz.size()) + 2) + siz;
    std::string const cod{"\x00\x00\x00\x01\x00\x05\x04\x04\x00\x01", 10};
    kopf += zahl16(0xFF52) + zahl16(static_cast<unsigned>(cod.size()) + 2) + cod;
    std::string const qcd{"\x40\x40\x48\x48\x50\x48\x48\x50\x48\x48\x50\x48\x48\x50\x48\x48\x50", 17};
    kopf += zahl16(0xFF5C) + zahl16(static_cast<unsigned>(qcd.size()) + 2) + qcd;
    kopf += zahl16(0xFF90) + zahl16(10) + zahl16(0) + zahl32(14) + std::string{'\0', '\1'};
    kopf += zahl16(0xFF93) + zahl16(0xFFD9);
    return bildseite(strom(
        "/Type /XObject /Subtype /Image /ColorSpace /DeviceGray /Width 60000 /Height 60000 /Filter "
        "/JPXDecode",
        kopf));
}

Bytes faxRiese() {
    return bildseite(strom(
        "/Type /XObject /Subtype /Image /ColorSpace /DeviceGray /BitsPerComponent 1 /Width 2000000000 "
        "/Height "
        "2000000000 /Filter /CCITTFaxDecode /DecodeParms << /K -1 /Columns 2000000000 /Rows 2000000000 >>",
        std::string(1000, '\x26')));
}

Bytes rohesRiesenbild() {
    return bildseite(strom(
        "/Type /XObject /Subtype /Image /ColorSpace /DeviceRGB /BitsPerComponent 16 /Width 100000 /Height "
        "100000 /Filter [/FlateDecode /FlateDecode]",
        gepackt(gepackt(std::string(64U << 20U, 'x')))));
}

Bytes musterImZeichen() {
    // A glyph that paints a pattern that repeats every ten-thousandth of a unit.
    return eineSeite(
        "BT /T 300 Tf 10 10 Td (aaaaaaaaaa) Tj ET", "/Font << /T 5 0 R >>",
        {"<< /Type /Font /Subtype /Type3 /FontBBox [0 0 1000 1000] /FontMatrix [0.001 0 0 0.001 0 0] "
         "/CharProcs "
         "<< /a 6 0 R >> /Encoding << /Differences [97 /a] >> /FirstChar 97 /LastChar 97 /Widths [1000] "
         "/Resources << /Pattern << /P 7 0 R >> >> >>",
         strom("", "1000 0 d0 /Pattern cs /P scn 0 0 1000 1000 re f"),
         strom(
             "/Type /Pattern /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 1 1] /XStep 0.0001 /YStep "
             "0.0001 /Resources << >>",
             "0 g 0 0 1 1 re f")});
}

Bytes zeichenImMusterImZeichen() {
    // Glyph → pattern → the same glyph, twice each time.
    return eineSeite(
        "BT /T 300 Tf 10 10 Td (aa) Tj ET", "/Font << /T 5 0 R >>",
        {"<< /Type /Font /Subtype /Type3 /FontBBox [0 0 1000 1000] /FontMatrix [0.001 0 0 0.001 0 0] "
         "/CharProcs "
         "<< /a 6 0 R >> /Encoding << /Differences [97 /a] >> /FirstChar 97 /LastChar 97 /Widths [1000] "
         "/Resources << /Pattern << /P 7 0 R >> /Font << /T 5 0 R >> >> >>",
         strom("", "1000 0 d0 /Pattern cs /P scn 0 0 1000 1000 re f BT /T 1 Tf (aa) Tj ET"),
         strom(
             "/Type /Pattern /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 9 9] /XStep 9 /YStep 9 "
             "/Resources << /Font << /T 5 0 R >> /Pattern << /P 7 0 R >> >>",
             "BT /T 1 Tf (aa) Tj ET /Pattern cs /P scn 0 0 9 9 re f")});
}

Bytes formenOhneEnde() {
    // Forms that show the next one ten times: 10^12 in all.
    std::string zehnmal;
    for (int i = 0; i < 10; ++i)
        zehnmal += "/F Do ";
    std::vector<std::string> objekte;
    for (int i = 0; i < 12; ++i)
        objekte.push_back(strom(
            "/Type /XObject /Subtype /Form /BBox [0 0 400 300] /Resources << /XObject << /F " +
                std::to_string(i + 6) + " 0 R >> >>",
            zehnmal));
    objekte.push_back(strom("/Type /XObject /Subtype /Form /BBox [0 0 400 300]", "0 0 400 300 re f"));
    return eineSeite(zehnmal, "/XObject << /F 5 0 R >>", objekte);
}

Bytes verlaufOhneEnde() {
    // Shading by a function that is composed of ever more functions of itself.
    return eineSeite(
        "/S sh", "/Shading << /S 5 0 R >>",
        {"<< /ShadingType 1 /ColorSpace /DeviceGray /Domain [0 100000 0 100000] /Function 6 0 R >>",
         "<< /FunctionType 3 /Domain [0 1] /Functions [6 0 R 6 0 R] /Bounds [0.5] /Encode [0 1 0 1] >>"});
}

// -------------------------------------------------------------------------------------------------- pictures

std::string pngStueck(std::string const& art, std::string const& inhalt) {
    auto const bytes = art + inhalt;
    auto const pruefsumme =
        ::crc32(0, reinterpret_cast<Bytef const*>(bytes.data()), static_cast<uInt>(bytes.size()));
    return zahl32(static_cast<std::uint32_t>(inhalt.size())) + bytes +
           zahl32(static_cast<std::uint32_t>(pruefsumme));
}

Bytes pngMit(std::uint32_t breite, std::uint32_t hoehe, std::string const& art, std::string const& weitere) {
    return "\x89PNG\r\n\x1A\n" + pngStueck("IHDR", zahl32(breite) + zahl32(hoehe) + art) + weitere +
           pngStueck("IEND", "");
}

Bytes pngRiese() {
    std::string const grau{"\x08\x00\x00\x00\x00", 5};
    return pngMit(65'535, 65'535, grau, pngStueck("IDAT", gepackt(std::string(1U << 20U, '\0'))));
}

Bytes pngVerschraenkterRiese() {
    std::string const rgba16{"\x10\x06\x00\x00\x01", 5};
    return pngMit(15'800, 15'800, rgba16, pngStueck("IDAT", gepackt(std::string(1U << 20U, '\0'))));
}

Bytes pngMitGepacktemTextriesen() {
    std::string const grau{"\x08\x00\x00\x00\x00", 5};
    std::string texte;
    auto const text = gepackt(std::string(64U << 20U, 'x'));
    for (int i = 0; i < 60; ++i)
        texte += pngStueck("zTXt", std::string{"a\0\0", 3} + text);
    return pngMit(100, 100, grau, texte);
}

Bytes jpegRiese() {
    auto bytes = jpeg(eckbild());
    auto const kopf = bytes.find("\xFF\xC0");
    for (std::size_t i = 5; i < 9; ++i) // Height and width.
        bytes.at(kopf + i) = '\xFF';
    return bytes;
}

Bytes jpegAusDurchgaengen() {
    return vieleDurchgaenge(20'000);
}

/// A page with a JPEG of these sides by its own account, and others by the document's.
Bytes jpegseite(std::string const& masse, std::string const& bytes, std::string const& weiteres = {}) {
    return bildseite(strom(
        "/Type /XObject /Subtype /Image /ColorSpace /DeviceRGB /BitsPerComponent 8 " + masse +
            " /Filter /DCTDecode " + weiteres,
        bytes));
}

/// The corner picture, said to be of these sides: height and width, two bytes each.
Bytes riesigesJpeg(Jpegart art, std::string const& seiten) {
    auto bytes = jpeg(eckbild(), std::nullopt, art);
    auto const kopf = bytes.find(art == Jpegart::fortschreitend ? "\xFF\xC2" : "\xFF\xC0");
    return bytes.replace(kopf + 5, 4, seiten);
}

// ISO base media boxes.
std::string kasten(std::string const& art, std::string const& inhalt) {
    return zahl32(static_cast<std::uint32_t>(inhalt.size()) + 8) + art + inhalt;
}

std::string vollkasten(std::string const& art, unsigned fassung, std::string const& inhalt) {
    return kasten(art, std::string{static_cast<char>(fassung), '\0', '\0', '\0'} + inhalt);
}

/// A grid of 256 x 256 tiles, all of them one item that is itself a grid: four thousand million tiles.
Bytes heifGitter(unsigned breite, unsigned hoehe) {
    auto const gitter = std::string{'\0', '\1', '\xFF', '\xFF'} + zahl32(breite) + zahl32(hoehe);
    std::string const hdlr = vollkasten("hdlr", 0, zahl32(0) + "pict" + std::string(13, '\0'));
    auto eintrag = [](unsigned nummer) {
        return vollkasten("infe", 2, zahl16(nummer) + zahl16(0) + "grid" + std::string(1, '\0'));
    };
    std::string verweise;
    for (unsigned von = 1; von <= 2; ++von) {
        std::string ziele;
        for (int i = 0; i < 65'535; ++i)
            ziele += zahl16(3 - von);
        verweise += kasten("dimg", zahl16(von) + zahl16(65'535) + ziele);
    }
    auto const groesse = vollkasten("ispe", 0, zahl32(breite) + zahl32(hoehe));
    auto const eigenschaften = kasten(
        "iprp", kasten("ipco", groesse) +
                    vollkasten(
                        "ipma", 0,
                        zahl32(2) + zahl16(1) + std::string{"\1\1", 2} + zahl16(2) + std::string{"\1\1", 2}));
    auto const ort = [&](unsigned nummer, std::uint32_t stelle) {
        return zahl16(nummer) + zahl16(1) + zahl16(0) + zahl16(1) + zahl32(stelle) +
               zahl32(static_cast<std::uint32_t>(gitter.size()));
    };
    auto const iloc = vollkasten("iloc", 1, std::string{"\x44\x00", 2} + zahl16(2) + ort(1, 0) + ort(2, 0));
    auto const meta = vollkasten(
        "meta", 0,
        hdlr + vollkasten("pitm", 0, zahl16(1)) + vollkasten("iinf", 0, zahl16(2) + eintrag(1) + eintrag(2)) +
            iloc + eigenschaften + vollkasten("iref", 0, verweise) + kasten("idat", gitter));
    return kasten("ftyp", "heic" + zahl32(0) + "mif1heic") + meta;
}

Graubild leeresBild(int seite) {
    auto const laenge = static_cast<std::size_t>(seite);
    return {seite, seite, std::vector<std::uint8_t>(laenge * laenge, 200)};
}

/// Coded large, said to be small.
Bytes heifGroesserAlsGesagt() {
    auto bytes = heic(leeresBild(2048));
    auto const vorher = std::string{"ispe"} + zahl32(0) + zahl32(2048) + zahl32(2048);
    auto const nachher = std::string{"ispe"} + zahl32(0) + zahl32(64) + zahl32(64);
    auto const stelle = bytes.find(vorher);
    if (stelle == Bytes::npos)
        throw std::runtime_error{"no size in the picture"};
    return bytes.replace(stelle, vorher.size(), nachher);
}

} // namespace

std::vector<Bombe> bomben() {
    return {
        {"DeepPageTree", true, tieferSeitenbaum},
        {"CircularPageTree", true, seitenbaumImKreis},
        {"PageTreeOfAThousandMillionPages", true, breiterSeitenbaum},
        {"DeepArraysInTheContent", true, geschachtelteFelder},
        {"DeepDictionaries", true, geschachtelteObjekte},
        {"ObjectStreamInsideItself", true, objektstromInSichSelbst},
        {"TableOfObjectsWithoutEnd", true, verzeichnisOhneEnde},
        {"ThriceDeflated", true, dreifachGepackt},
        {"RunLengthsInsideDeflated", true, laufendeLaengen},
        {"StackedFiltersWithoutEnd", true,
         [] {
             return filterOhneEnde("");
         }},
        {"AWordBeforeStackedFiltersWithoutEnd", true,
         [] {
             return filterOhneEnde("eins");
         }},
        {"Jbig2Giant", true, jbig2Riese},
        {"Jpeg2000Giant", true, jpeg2000Riese, true},
        {"FaxGiant", true, faxRiese},
        {"RawPictureGiant", true, rohesRiesenbild},
        {"PdfWithJpegOfTwentyThousandScans", true,
         [] {
             return jpegseite("/Width 2000 /Height 1500", jpegAusDurchgaengen());
         }},
        {"PdfWithNegativeJpegOfThirtyThousandScans", true,
         [] {
             // Negative, so that it is left to the PDF library; said to be so large that its 60 MB are not too many.
             return jpegseite("/Width 6000 /Height 4500", vieleDurchgaenge(30'000), "/Decode [1 0 1 0 1 0]");
         }},
        {"PdfWithNegativeJpegOfTwentyThousandScans", true,
         [] {
             return jpegseite("/Width 2000 /Height 1500", jpegAusDurchgaengen(), "/Decode [1 0 1 0 1 0]");
         }},
        {"PdfWithProgressiveJpegGiant", true,
         [] {
             // 750 MB of coefficients: as much as the address space has room for.
             return jpegseite(
                 "/Width 16000 /Height 16000", riesigesJpeg(Jpegart::fortschreitend, "\x3E\x80\x3E\x80"));
         }},
        {"PdfWithProgressiveJpegSaidToBeSmall", true,
         [] {
             return jpegseite(
                 "/Width 10 /Height 16000", riesigesJpeg(Jpegart::fortschreitend, "\x3E\x80\x3E\x80"));
         }},
        {"PdfWithJpegGiant", true,
         [] {
             return jpegseite(
                 "/Width 60000 /Height 60000", riesigesJpeg(Jpegart::einfach, "\xEA\x60\xEA\x60"));
         }},
        {"PatternInsideAGlyph", true, musterImZeichen},
        {"GlyphInsideAPatternInsideAGlyph", true, zeichenImMusterImZeichen},
        {"FormsWithoutEnd", true, formenOhneEnde},
        {"ShadingWithoutEnd", true, verlaufOhneEnde},
        {"PngGiant", false, pngRiese},
        {"InterlacedPngGiant", false, pngVerschraenkterRiese},
        {"PngWithGiantTexts", false, pngMitGepacktemTextriesen},
        {"JpegGiant", false, jpegRiese},
        {"JpegOfTwentyThousandScans", false, jpegAusDurchgaengen},
        {"HeifGridGiant", false,
         [] {
             return heifGitter(65'535, 65'535);
         }},
        {"HeifGridOfGrids", false,
         [] {
             return heifGitter(10'000, 10'000);
         }},
        {"HeifLargerThanItSays", false, heifGroesserAlsGesagt},
    };
}

} // namespace quillmate::vorlagen
