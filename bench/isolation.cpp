// What does it cost to read in locked-up processes instead of the program's own, and how large does a reader get?
// See README.md.

#include "grundlage/datei.h"
#include "leser/motoren/dateiquelle.h"
#include "leser/motoren/pdf.h"
#include "leser/prozess/leser_prozesse.h"
#include "messung.h"
#include "scanheim.h"
#include "senke.h"

#include <fmt/format.h>
#include <jpeglib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace quillmate::bench {

namespace {

namespace fs = std::filesystem;

constexpr double hoechstensMehr = 1.05;
constexpr double erlaubtJeLeser = 60e6;

double rechenzeit(Lauf const& lauf) {
    return (lauf.benutzerzeit + lauf.systemzeit).count();
}

std::vector<Zeile> scanMessen(Umgebung const& umgebung) {
    if (!umgebung.korpus || !fs::is_directory(*umgebung.korpus / "einvoices")) {
        hinweis("  Scan übersprungen: braucht --korpus mit einem Ordner einvoices");
        return {};
    }
    ZweiProzessoren const zwei;
    auto nurRechnungen = umgebung;
    nurRechnungen.korpus = *umgebung.korpus / "einvoices";
    Scanheim const heim{nurRechnungen, "rechnungen"};
    Senke const senke;
    std::vector<double> cpu[2];
    auto const lauf = [&](std::size_t seite, char const* programm) {
        fs::remove_all(heim.pfad() / ".cache");
        auto const einer = heim.suchlauf(senke.zugang(), programm);
        cpu[seite].push_back(rechenzeit(einer));
        return einer.dauer.count();
    };
    auto const zeiten = abwechselnd(
        umgebung.runden * 3, {[&] { return lauf(0, "quillmate-suchlauf"); },
                              [&] {
                                  return lauf(1, "quillmate-bench-suchlauf");
                              }});
    return {
        {.kennzahl = "cold scan of invoices, readers in processes of their own",
         .unsere = alsZeit(zeiten[0]),
         .vergleich = alsZeit(zeiten[1]) + " the same code in one process",
         .verhaeltnis = zeiten[0] / zeiten[1],
         .ziel = hoechstensMehr},
        {.kennzahl = "… processor time",
         .unsere = alsZeit(median(cpu[0])),
         .vergleich = alsZeit(median(cpu[1])),
         .verhaeltnis = median(cpu[0]) / median(cpu[1])}};
}

/// An invoice of DIN A4 full of print, as a reader draws it: 2000 points high.
leser::motoren::Graubild seite() {
    std::string inhalt = "BT /F1 11 Tf 50 790 Td 14 TL ";
    for (int i = 1; i <= 52; ++i)
        inhalt += fmt::format(
            "({} {:02}: Bueromaterial und Dienstleistungen, Artikel {}, zu {},{:02} EUR) Tj T* ",
            i == 1 ? "Rechnung" : "Position", i, 4711 + i * 37, 10 + i, i);
    inhalt += "ET";
    auto const pdf = fmt::format(
        "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n2 0 obj<</Type/Pages/Kids[3 0 R]/Count "
        "1>>endobj\n"
        "3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 595 842]/Contents 4 0 "
        "R/Resources<</Font<</F1<</Type/Font"
        "/Subtype/Type1/BaseFont/Helvetica>>>>>>>>endobj\n4 0 obj<</Length {}>>stream\n{}\nendstream endobj\n"
        "trailer<</Root 1 0 R>>\n",
        inhalt.size(), inhalt);
    Deskriptor const datei{::memfd_create("seite", MFD_CLOEXEC)};
    if (::write(datei.get(), pdf.data(), pdf.size()) != static_cast<ssize_t>(pdf.size()))
        throw std::runtime_error{"memfd"};
    auto const quelle = leser::motoren::Dateiquelle::ausDeskriptor(datei.get());
    auto dokument = quelle ? leser::motoren::PdfDatei::oeffnen(*quelle) : std::nullopt;
    auto bild = dokument ? dokument->pdfSeiteAlsBild() : std::nullopt;
    if (!bild)
        throw std::runtime_error{"no page"};
    return *std::move(bild);
}

constexpr int a4Breite = 4960;
constexpr int a4Hoehe = 7016;

/// The page as a scanner at 600 dpi in colour gives it.
void a4Schreiben(std::string const& pfad) {
    constexpr int breite = a4Breite;
    constexpr int hoehe = a4Hoehe;
    constexpr int farben = 3;
    auto const vorlage = seite();
    auto* const datei = std::fopen(pfad.c_str(), "wb");
    if (datei == nullptr)
        throw std::runtime_error{pfad};
    jpeg_compress_struct bild{};
    jpeg_error_mgr fehler{};
    bild.err = jpeg_std_error(&fehler);
    jpeg_create_compress(&bild);
    jpeg_stdio_dest(&bild, datei);
    bild.image_width = breite;
    bild.image_height = hoehe;
    bild.input_components = farben;
    bild.in_color_space = JCS_RGB;
    jpeg_set_defaults(&bild);
    jpeg_start_compress(&bild, TRUE);
    std::vector<JSAMPLE> zeile(std::size_t{breite} * farben);
    for (int y = 0; y < hoehe; ++y) {
        auto const quelle = vorlage.zeile(y * vorlage.hoehe / hoehe);
        for (int x = 0; x < breite; ++x)
            std::fill_n(
                zeile.begin() + std::ptrdiff_t{x} * farben, farben,
                quelle[static_cast<std::size_t>(x * vorlage.breite / breite)]);
        auto* zeiger = zeile.data();
        jpeg_write_scanlines(&bild, &zeiger, 1);
    }
    jpeg_finish_compress(&bild);
    jpeg_destroy_compress(&bild);
    std::fclose(datei);
}

/// The same as a scanner's program stores it.
void alsPdf(std::string const& jpeg, std::string const& pfad) {
    constexpr std::uint64_t hoechstens = 64U << 20U;
    auto const bytes = leseDatei(jpeg, hoechstens).value();
    constexpr std::string_view inhalt = "q 595 0 0 842 0 0 cm /B Do Q";
    std::ofstream datei{pfad, std::ios::binary};
    datei << "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n2 0 obj<</Type/Pages/Kids[3 0 R]/Count "
             "1>>endobj\n"
          << "3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 595 842]/Contents 4 0 R/Resources<</XObject<</B "
             "5 0 R>>>>>>"
          << "endobj\n4 0 obj<</Length " << inhalt.size() << ">>stream\n"
          << inhalt << "\nendstream endobj\n"
          << "5 0 obj<</Type/XObject/Subtype/Image/Width " << a4Breite << "/Height " << a4Hoehe
          << "/ColorSpace/DeviceRGB/BitsPerComponent 8/Filter/DCTDecode/Length " << bytes.size()
          << ">>stream\n"
          << bytes << "\nendstream endobj\ntrailer<</Root 1 0 R>>\n";
    if (!datei.flush())
        throw std::runtime_error{pfad};
}

Zeile speicherZeile(std::string kennzahl, std::string const& pfad, Texterkennung::Dateiart art) {
    leser::prozess::LeserProzesse leser;
    auto const datei = oeffneDatei(pfad);
    auto const lesung = leser.lesen(datei.get(), art);
    auto const alle = kinder(::getpid());
    if (alle.size() != 1 || !lesung.text || lesung.text->find("Artikel 4748") == std::string::npos)
        throw std::runtime_error{"no reader to look at"};
    auto const spitze = static_cast<double>(hoechststand(alle.front()));
    return {
        .kennzahl = std::move(kennzahl),
        .unsere = fmt::format("{:.1f} MB", spitze / 1e6),
        .vergleich = fmt::format("{:.0f} MB, fixed", erlaubtJeLeser / 1e6),
        .verhaeltnis = spitze / erlaubtJeLeser,
        .ziel = 1};
}

std::vector<Zeile> speicherMessen(Umgebung const& umgebung) {
    auto const jpeg = (umgebung.arbeitsordner / "a4.jpg").string();
    auto const pdf = (umgebung.arbeitsordner / "a4.pdf").string();
    a4Schreiben(jpeg);
    alsPdf(jpeg, pdf);
    return {
        speicherZeile("peak memory of a reader, A4 scan of 600 dpi", jpeg, Texterkennung::Dateiart::bild),
        speicherZeile("… as a PDF", pdf, Texterkennung::Dateiart::pdf)};
}

Anmeldung const anmeldung{
    {.name = "isolation",
     .frage = "What do reader processes cost in time, and how large does one get?",
     .messen = [](Umgebung const& umgebung) {
         auto zeilen = scanMessen(umgebung);
         for (auto& zeile : speicherMessen(umgebung))
             zeilen.push_back(std::move(zeile));
         return zeilen;
     }}};

} // namespace

} // namespace quillmate::bench
