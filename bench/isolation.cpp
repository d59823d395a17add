// What does it cost to read in locked-up processes instead of the program's own, and how large does a reader get?
// See README.md.

#include "grundlage/datei.h"
#include "leserprozess/leser_prozesse.h"
#include "messung.h"
#include "scanheim.h"
#include "senke.h"

#include <fmt/format.h>
#include <jpeglib.h>
#include <unistd.h>

#include <cstdio>
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

/// A page of DIN A4 at 600 dpi with lines of boxes like print.
void a4Schreiben(std::string const& pfad, int komponenten) {
    constexpr int breite = 4960;
    constexpr int hoehe = 7016;
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
    bild.input_components = komponenten;
    bild.in_color_space = komponenten == 3 ? JCS_RGB : JCS_GRAYSCALE;
    jpeg_set_defaults(&bild);
    jpeg_start_compress(&bild, TRUE);
    std::vector<JSAMPLE> zeile(static_cast<std::size_t>(breite) * static_cast<std::size_t>(komponenten));
    for (unsigned y = 0; y < hoehe; ++y) {
        bool const inZeile = y % 120 < 60 && y > 400 && y < 6600;
        for (std::size_t x = 0; x < zeile.size(); ++x) {
            auto const spalte = x / static_cast<std::size_t>(komponenten);
            bool const strich = inZeile && spalte > 400 && spalte < 4500 && spalte % 360 < 300 &&
                                (spalte % 60 < 12 || (y % 120 % 24 < 8 && spalte % 60 < 40));
            zeile[x] = strich ? 20 : 245;
        }
        auto* zeiger = zeile.data();
        jpeg_write_scanlines(&bild, &zeiger, 1);
    }
    jpeg_finish_compress(&bild);
    jpeg_destroy_compress(&bild);
    std::fclose(datei);
}

std::vector<Zeile> speicherMessen(Umgebung const& umgebung) {
    auto const pfad = (umgebung.arbeitsordner / "a4.jpg").string();
    a4Schreiben(pfad, 3);
    Texterkennung::LeserProzesse leser;
    auto const datei = oeffneDatei(pfad);
    auto const lesung = leser.lesen(datei.get(), Texterkennung::Dateiart::bild);
    auto const alle = kinder(::getpid());
    if (alle.size() != 1 || lesung.art != Texterkennung::Lesung::Art::gelesen)
        throw std::runtime_error{"no reader to look at"};
    auto const spitze = static_cast<double>(hoechststand(alle.front()));
    return {
        {.kennzahl = "peak memory of a reader, A4 scan of 600 dpi",
         .unsere = fmt::format("{:.1f} MB", spitze / 1e6),
         .vergleich = fmt::format("{:.0f} MB, fixed", erlaubtJeLeser / 1e6),
         .verhaeltnis = spitze / erlaubtJeLeser,
         .ziel = 1}};
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
