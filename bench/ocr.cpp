// What does the recognition of a receipt cost, compared with the engine's own program started per file, and
// is as much found? See README.md.

#include "grundlage/datei.h"
#include "leser/motoren/leser_im_prozess.h"
#include "messung.h"
#include "texterkennung/heuristik.h"
#include "wahrheit.h"
#include "wortvergleich.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace quillmate::bench {

namespace {

namespace fs = std::filesystem;

constexpr double ziel = 0.55;
constexpr double zielMehrWoerter = 0.06;
constexpr double zielSummen = 0.9;

/// What was found of what is known about the receipts.
struct Fund {
    Anteil woerter;
    Anteil summen;

    void vergleiche(fs::path const& bild, std::string const& gelesen) {
        bench::vergleiche(
            woerter, zerlegt(wahrerText(fs::path{bild}.replace_extension(".csv"))), zerlegt(gelesen),
            [](std::string const& /*wort*/) { return true; });
        if (auto const summe = wahreSumme(fs::path{bild}.replace_extension(".json")); !summe.empty()) {
            ++summen.alle;
            summen.gefunden += hatBetragWie(gelesen, summe) ? 1 : 0;
        }
    }
};

/// Ours and theirs for some of the pictures.
struct Vergleich {
    int bilder{0};
    Fund unserer;
    Fund ihrer;
};

std::string alsText(Fund const& fund) {
    return fmt::format(
        "{:.1f} %, {} of {} totals", 100 * fund.woerter.wert(), fund.summen.gefunden, fund.summen.alle);
}

std::vector<Zeile> messen(Umgebung const& umgebung) {
    if (!umgebung.korpus) {
        hinweis("  übersprungen: braucht --korpus mit Belegbildern");
        return {};
    }
    if (!installiert("tesseract"))
        return {};
    std::vector<fs::path> bilder;
    for (auto const& eintrag : fs::recursive_directory_iterator{*umgebung.korpus})
        if (eintrag.is_regular_file() && eintrag.path().extension() == ".jpg")
            bilder.push_back(eintrag.path());
    std::ranges::sort(bilder);
    if (bilder.empty()) {
        hinweis("  übersprungen: keine Bilder im Korpus");
        return {};
    }

    leser::motoren::LeserImProzess leser;
    leser.vorwaermen();
    double unsere = 0;
    double ihre = 0;
    Fund unserFund;
    Fund ihrFund;
    std::array<Vergleich, 2> haelften;
    // Minutes of work, and processor time hardly varies: each picture once, both readers in turn.
    for (auto const& bild : bilder) {
        auto const datei = oeffneDatei(bild.string());
        auto const beginn = rechenzeit();
        auto const lesung = leser.lesen(datei.get(), Texterkennung::Dateiart::bild);
        unsere += rechenzeit() - beginn;
        auto& eine = haelften.at(haelfte(bild.stem().string()));
        ++eine.bilder;
        unserFund.vergleiche(bild, lesung.text.value_or(""));
        eine.unserer.vergleiche(bild, lesung.text.value_or(""));
        auto const lauf = ausfuehren(
            {"env", "OMP_THREAD_LIMIT=1", "tesseract", "-l", "deu+eng", bild.string(), "-", "quiet"},
            Ausgabe::behalten);
        ihre += (lauf.benutzerzeit + lauf.systemzeit).count();
        ihrFund.vergleiche(bild, lauf.ausgabe);
        eine.ihrer.vergleiche(bild, lauf.ausgabe);
    }
    auto const anzahl = static_cast<double>(bilder.size());
    std::vector<Zeile> zeilen{
        {.kennzahl = fmt::format("recognition of {} pictures, processor time each", bilder.size()),
         .unsere = alsZeit(unsere / anzahl),
         .vergleich = alsZeit(ihre / anzahl) + " tesseract -l deu+eng, one thread",
         .verhaeltnis = unsere / ihre,
         .ziel = ziel}};
    if (unserFund.woerter.alle > 0)
        zeilen.push_back(
            {.kennzahl = "… share of words found, more than the peer's",
             .unsere = fmt::format("{:.1f} %", 100 * unserFund.woerter.wert()),
             .vergleich = fmt::format("{:.1f} %", 100 * ihrFund.woerter.wert()),
             .verhaeltnis = unserFund.woerter.wert() - ihrFund.woerter.wert(),
             .ziel = zielMehrWoerter,
             .richtung = Richtung::mindestens});
    if (unserFund.summen.alle > 0)
        zeilen.push_back(
            {.kennzahl = "… totals found",
             .unsere = fmt::format("{} of {}", unserFund.summen.gefunden, unserFund.summen.alle),
             .vergleich = fmt::format("{} of {}", ihrFund.summen.gefunden, ihrFund.summen.alle),
             .verhaeltnis = unserFund.summen.wert(),
             .ziel = zielSummen,
             .richtung = Richtung::mindestens});
    for (std::size_t i = 0; i < haelften.size(); ++i)
        if (auto const& eine = haelften.at(i); eine.unserer.woerter.alle > 0)
            zeilen.push_back(
                {.kennzahl = fmt::format(
                     "… the {} half, {} pictures: words found, more than the peer's",
                     i == 0 ? "first" : "second", eine.bilder),
                 .unsere = alsText(eine.unserer),
                 .vergleich = alsText(eine.ihrer),
                 .verhaeltnis = eine.unserer.woerter.wert() - eine.ihrer.woerter.wert()});
    return zeilen;
}

Anmeldung const anmeldung{
    {.name = "ocr",
     .frage = "How much processor time does reading a photographed receipt take, and what is found in it?",
     .messen = messen}};

} // namespace

} // namespace quillmate::bench
