// How long does the window take from the start of the program until it shows something, and until it shows the page?
// See README.md.

#include "messung.h"
#include "pruefstand.h"

namespace quillmate::bench {

namespace {

constexpr double hoechstensMehr = 1.15;

std::vector<Zeile> messen(Umgebung const& umgebung) {
    if (!Pruefstand::moeglich())
        return {};
    Pruefstand stand{umgebung.arbeitsordner / "start"};
    auto const ladeseite = [&](Fensterart art) {
        return [&stand, art] {
            Pruefstand::Fenster fenster{stand, art, Antwort::nie};
            return fenster.ladeseiteGemalt().count();
        };
    };
    std::vector<double> gemalte[3];
    auto const laden = [&](Fensterart art, std::size_t seite) {
        return [&stand, &gemalte, art, seite] {
            Pruefstand::Fenster fenster{stand, art, Antwort::sofort};
            gemalte[seite].push_back(fenster.gemalt().count());
            return fenster.geladen().count();
        };
    };
    using enum Fensterart;
    auto const zeiten = abwechselnd(
        umgebung.runden, {ladeseite(unser), ladeseite(mitLadeseite), laden(unser, 0), laden(mitLadeseite, 1),
                          laden(ohneLadeseite, 2)});
    auto const seitGemalt = [&](std::size_t seite) {
        return median({gemalte[seite].begin() + 1, gemalte[seite].end()}); // The first only warms up.
    };
    auto const zeile = [](std::string name, double unsere, double vergleich, char const* was) {
        return Zeile{
            .kennzahl = std::move(name),
            .unsere = alsZeit(unsere),
            .vergleich = alsZeit(vergleich) + ' ' + was,
            .verhaeltnis = unsere / vergleich,
            .ziel = hoechstensMehr};
    };
    constexpr auto const* mit = "a bare window with a web view, loading page first";
    constexpr auto const* ohne = "the same without a loading page";
    return {
        zeile("start until the loading page is seen", zeiten[0], zeiten[1], mit),
        zeile("… until the page is loaded", zeiten[2], zeiten[3], mit),
        zeile("", zeiten[2], zeiten[4], ohne),
        zeile("… until the page is seen", seitGemalt(0), seitGemalt(1), mit),
        zeile("", seitGemalt(0), seitGemalt(2), ohne),
    };
}

Anmeldung const anmeldung{
    {.name = "start",
     .frage = "How long does the window take from the start of the program until it shows the page?",
     .messen = messen}};

} // namespace

} // namespace quillmate::bench
