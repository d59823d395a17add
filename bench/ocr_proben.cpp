// What is found in German documents whose text is known to the letter? See README.md.

#include "grundlage/datei.h"
#include "leser/motoren/leser_im_prozess.h"
#include "messung.h"
#include "schriftproben.h"
#include "werkzeug/vorlagen.h"
#include "wortvergleich.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <regex>
#include <string>
#include <vector>

namespace quillmate::bench {

namespace {

constexpr int scanGuete = 60;
constexpr int fotoGuete = 80;
constexpr int scans = 12;
constexpr int fotos = 12;
constexpr int gelegte = 2; // Documents that are laid every way.

bool jedes(std::string const& /*wort*/) {
    return true;
}

bool mitUmlaut(std::string const& wort) {
    constexpr std::array umlaute{"ä", "ö", "ü", "Ä", "Ö", "Ü", "ß"};
    return std::ranges::any_of(
        umlaute, [&](char const* umlaut) { return wort.find(umlaut) != std::string::npos; });
}

bool istBetrag(std::string const& wort) {
    static std::regex const muster{R"(\d{1,3}(\.\d{3})*,\d{2})"};
    return std::regex_match(wort, muster);
}

/// Whether a gap was seen between an amount and its currency is not what is asked.
std::string euroAllein(std::string const& text) {
    static std::regex const euro{"€"};
    return std::regex_replace(text, euro, " € ");
}

struct Fund {
    Anteil woerter;
    Anteil umlaute;
    Anteil betraege;
    double sekunden{0};

    void vergleiche(std::string const& wahr, std::string const& gelesen) {
        auto const soll = zerlegt(euroAllein(wahr));
        auto const ist = zerlegt(euroAllein(gelesen));
        bench::vergleiche(woerter, soll, ist, jedes);
        bench::vergleiche(umlaute, soll, ist, mitUmlaut);
        bench::vergleiche(betraege, soll, ist, istBetrag);
    }
};

void lies(Texterkennung::Leser& leser, std::string const& bytes, std::string const& wahr, Fund& fund) {
    auto const datei = vorlagen::alsDatei(bytes);
    auto const beginn = rechenzeit();
    auto const lesung = leser.lesen(datei.get(), Texterkennung::Dateiart::bild);
    fund.sekunden += rechenzeit() - beginn;
    fund.vergleiche(wahr, lesung.text.value_or(""));
}

void liesFremd(
    std::filesystem::path const& ordner, std::string const& bytes, std::string const& wahr, Fund& fund) {
    auto const pfad = ordner / "probe.jpg";
    if (!schreibeAtomar(pfad.string(), bytes, Dauerhaft::nein))
        return;
    auto const lauf = ausfuehren(
        {"env", "OMP_THREAD_LIMIT=1", "tesseract", "-l", "deu+eng", pfad.string(), "-", "quiet"},
        Ausgabe::behalten);
    fund.sekunden += (lauf.benutzerzeit + lauf.systemzeit).count();
    fund.vergleiche(wahr, lauf.ausgabe);
}

std::string prozent(Anteil const& anteil) {
    return fmt::format("{:.1f} %", 100 * anteil.wert());
}

/// Ours against a fixed share; the peer's is shown beside it.
Zeile anteilzeile(std::string kennzahl, Anteil const& unser, Anteil const& ihr, std::optional<double> ziel) {
    return {
        .kennzahl = std::move(kennzahl),
        .unsere = prozent(unser),
        .vergleich = ihr.alle > 0 ? prozent(ihr) + " tesseract" : "all of them",
        .verhaeltnis = unser.wert(),
        .ziel = ziel,
        .richtung = Richtung::mindestens};
}

Zeile zeitzeile(std::string kennzahl, Fund const& unser, Fund const& ihr, int anzahl) {
    return {
        .kennzahl = std::move(kennzahl),
        .unsere = alsZeit(unser.sekunden / anzahl),
        .vergleich =
            ihr.sekunden > 0 ? alsZeit(ihr.sekunden / anzahl) + " tesseract -l deu+eng, one thread" : "",
        .verhaeltnis = ihr.sekunden > 0 ? std::optional{unser.sekunden / ihr.sekunden} : std::nullopt,
        .ziel = std::nullopt};
}

/// The same documents upright and otherwise; the ratio is that of the shares of words.
Zeile lagezeile(std::string kennzahl, Anteil const& gelegt, Anteil const& aufrecht) {
    constexpr double gleichGut = 0.99;
    return {
        .kennzahl = std::move(kennzahl),
        .unsere = prozent(gelegt),
        .vergleich = prozent(aufrecht) + " upright",
        .verhaeltnis = aufrecht.alle > 0 ? std::optional{gelegt.wert() / aufrecht.wert()} : std::nullopt,
        .ziel = gleichGut,
        .richtung = Richtung::mindestens};
}

void lagen(Texterkennung::Leser& leser, std::vector<Zeile>& zeilen) {
    using leser::motoren::ausgerichtet;
    Fund aufrecht;
    Fund gedreht;
    Fund kopfueber;
    Fund heic;
    for (int i = 0; i < gelegte; ++i) {
        auto const [bild, text] = gescannteRechnung(i);
        lies(leser, vorlagen::jpeg(bild, std::nullopt), text, aufrecht);
        for (int code = 1; code <= 8; ++code) {
            // Stored the way that its code turns back: 6 and 8 undo each other, the rest themselves.
            int const gegen = code == 6 ? 8 : code == 8 ? 6 : code;
            lies(leser, vorlagen::jpeg(ausgerichtet(bild, gegen), code), text, gedreht);
        }
        lies(leser, vorlagen::jpeg(ausgerichtet(bild, 3), std::nullopt), text, kopfueber);
        lies(leser, vorlagen::heic(bild), text, heic);
        lies(leser, vorlagen::heic(ausgerichtet(bild, 8), 6), text, heic);
    }
    zeilen.push_back(
        lagezeile("words in scans stored in all 8 orientations", gedreht.woerter, aufrecht.woerter));
    zeilen.push_back(lagezeile("… lying upside down", kopfueber.woerter, aufrecht.woerter));
    zeilen.push_back(lagezeile("… as HEIC, upright and turned", heic.woerter, aufrecht.woerter));
}

std::vector<Zeile> messen(Umgebung const& umgebung) {
    constexpr double zielWoerter = 0.965;
    constexpr double zielUmlaute = 0.93;
    constexpr double zielBetraege = 0.99;
    bool const vergleich = installiert("tesseract");
    leser::motoren::LeserImProzess leser;
    leser.vorwaermen();
    std::vector<Zeile> zeilen;
    auto reihe = [&](int anzahl, Schriftprobe (*machen)(int), int guete, Fund& unser, Fund& ihr) {
        for (int i = 0; i < anzahl; ++i) {
            auto const probe = machen(i);
            auto const bytes = vorlagen::jpeg(probe.bild, std::nullopt, vorlagen::Jpegart::einfach, guete);
            lies(leser, bytes, probe.text, unser);
            if (vergleich)
                liesFremd(umgebung.arbeitsordner, bytes, probe.text, ihr);
        }
    };
    Fund unser;
    Fund ihr;
    reihe(scans, gescannteRechnung, scanGuete, unser, ihr);
    zeilen.push_back(
        zeitzeile(fmt::format("{} German scans, processor time each", scans), unser, ihr, scans));
    zeilen.push_back(anteilzeile("… words found", unser.woerter, ihr.woerter, zielWoerter));
    zeilen.push_back(anteilzeile("… of those with umlauts", unser.umlaute, ihr.umlaute, zielUmlaute));
    zeilen.push_back(anteilzeile("… amounts found", unser.betraege, ihr.betraege, zielBetraege));
    unser = {};
    ihr = {};
    reihe(fotos, fotografierterBon, fotoGuete, unser, ihr);
    zeilen.push_back(
        zeitzeile(fmt::format("{} receipts on a dark table, processor time each", fotos), unser, ihr, fotos));
    zeilen.push_back(anteilzeile("… words found", unser.woerter, ihr.woerter, std::nullopt));
    zeilen.push_back(anteilzeile("… amounts found", unser.betraege, ihr.betraege, std::nullopt));
    lagen(leser, zeilen);
    return zeilen;
}

Anmeldung const anmeldung{
    {.name = "ocr-proben",
     .frage = "What is found in German scans and photos whose text is known, whichever way they lie?",
     .messen = messen}};

} // namespace

} // namespace quillmate::bench
