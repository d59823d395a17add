#include "alltagsproben.h"

#include "blatt.h"
#include "demo/belegdaten.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <string>
#include <utility>

namespace quillmate::bench {

namespace {

using demo::Wuerfel;
using leser::motoren::Graubild;

using Punkt3 = std::array<double, 3>;

double mal(Punkt3 const& a, Punkt3 const& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// Paper in front of a camera. Lengths are those of the paper's points.
struct Lage {
    Punkt3 mitte;         ///< Of the paper; the camera stands at 0 and looks along the third axis.
    Punkt3 rechts, unten; ///< The paper's own axes, of length 1.

    /// Tilted by `kippen` about an axis in the paper at `achse`, and turned by `drehen`; radians.
    Lage(Punkt3 ort, double drehen, double kippen, double achse)
        : mitte(ort) {
        auto gekippt = [&](double x, double y) -> Punkt3 {
            double const laengs = x * std::cos(achse) + y * std::sin(achse);
            double const quer = -x * std::sin(achse) + y * std::cos(achse);
            double const flach = quer * std::cos(kippen);
            return {
                laengs * std::cos(achse) - flach * std::sin(achse),
                laengs * std::sin(achse) + flach * std::cos(achse), quer * std::sin(kippen)};
        };
        rechts = gekippt(std::cos(drehen), std::sin(drehen));
        unten = gekippt(-std::sin(drehen), std::cos(drehen));
    }

    /// The paper's brightness where the camera sees this point of it; nothing beside it.
    [[nodiscard]] std::optional<double> gesehen(Graubild const& papier, Punkt3 const& strahl) const {
        Punkt3 const lot{
            rechts[1] * unten[2] - rechts[2] * unten[1], rechts[2] * unten[0] - rechts[0] * unten[2],
            rechts[0] * unten[1] - rechts[1] * unten[0]};
        double const weit = mal(lot, mitte) / mal(lot, strahl);
        Punkt3 const ort{
            weit * strahl[0] - mitte[0], weit * strahl[1] - mitte[1], weit * strahl[2] - mitte[2]};
        return zwischen(papier, papier.breite / 2.0 + mal(ort, rechts), papier.hoehe / 2.0 + mal(ort, unten));
    }
};

constexpr double grad = std::numbers::pi / 180;

/// The soft edge of a shadow: 0 in it, 1 outside.
double helligkeit(double abstand, double weich) {
    return 1 / (1 + std::exp(-abstand / weich));
}

struct Foto {
    int breite{3000}, hoehe{4000};
    double tisch{60};
    int unschaerfe{2};
    double schatten{1}; ///< What a shadow leaves of the light.
};

/// What a camera sees of papers on a table.
template<std::size_t anzahl>
Graubild fotografiert(
    Foto const& foto, std::array<Graubild const*, anzahl> const& papiere,
    std::array<Lage, anzahl> const& lagen, double brennweite, Wuerfel& wuerfel) {
    double const schattenwinkel = std::numbers::pi * zufall(wuerfel);
    double const schattenort = foto.breite * 0.25 * zufall(wuerfel);
    double const hell = 215 + 15 * zufall(wuerfel);
    Graubild bild{foto.breite, foto.hoehe, {}};
    bild.punkte.reserve(static_cast<std::size_t>(foto.breite) * static_cast<std::size_t>(foto.hoehe));
    for (int y = 0; y < foto.hoehe; ++y)
        for (int x = 0; x < foto.breite; ++x) {
            double const dx = x - foto.breite / 2.0;
            double const dy = y - foto.hoehe / 2.0;
            double wert = foto.tisch + 8 * std::sin(y / 23.0 + 3 * std::sin(x / 410.0));
            for (std::size_t i = 0; i < anzahl; ++i)
                if (auto const p = lagen[i].gesehen(*papiere[i], {dx / brennweite, dy / brennweite, 1}))
                    wert = hell * *p / 255;
            double const abstand =
                dx * std::cos(schattenwinkel) + dy * std::sin(schattenwinkel) - schattenort;
            double const licht = (1 - 0.3 * static_cast<double>(x + y) / (foto.breite + foto.hoehe)) *
                                 (foto.schatten + (1 - foto.schatten) * helligkeit(abstand, 60));
            bild.punkte.push_back(static_cast<std::uint8_t>(std::clamp(wert * licht, 0.0, 255.0)));
        }
    unscharf(bild, foto.unschaerfe);
    rausche(bild, 12, wuerfel);
    return bild;
}

/// How far away a paper must be to fill this part of the picture's sides.
double entfernung(Graubild const& papier, Foto const& foto, double anteil, double brennweite) {
    return brennweite *
           std::max(papier.breite / (anteil * foto.breite), papier.hoehe / (anteil * foto.hoehe));
}

// None of them holds a receipt word or an amount.
constexpr std::array saetze{
    "Morgen treffen wir uns um acht am Bahnhof",
    "Wer bringt den Kuchen für Jonas mit?",
    "Das Konzert beginnt erst nach Einbruch der Dunkelheit",
    "Don't forget to water the plants",
    "Im Süden bleibt es trocken und windig",
    "The library is closed on Mondays",
    "Der Zug hat heute leider etwas Verspätung",
    "Fotos vom Ausflug sind jetzt online",
    "Kannst du bitte die Tür abschließen?",
    "We are hiking to the old castle tomorrow",
    "Schöne Grüße von der Küste",
    "Das neue Buch liegt auf dem Küchentisch",
    "Sommerfest im Stadtpark mit Musik und Tanz",
    "Keep calm and read another chapter",
    "Ich bin gleich zu Hause, warte bitte kurz",
    "Neue Wege durch das alte Viertel"};

char const* satz(Wuerfel& wuerfel) {
    return saetze[static_cast<std::size_t>(wuerfel.unter(static_cast<int>(saetze.size())))];
}

Schriftprobe fertig(Blatt const& blatt, int schaerfe, Wuerfel& wuerfel) {
    Schriftprobe probe{blatt.bild(), blatt.text()};
    if (schaerfe > 0)
        unscharf(probe.bild, schaerfe);
    rausche(probe.bild, 4, wuerfel);
    return probe;
}

} // namespace

Schriftprobe schraegerBon(int nummer) {
    Wuerfel wuerfel{static_cast<std::uint64_t>(nummer) + 2001};
    auto probe = bonpapier(nummer);
    constexpr double brennweite = 3600; // A telephone's, about 45 degrees across.
    Foto const foto{.tisch = 70 + 50 * zufall(wuerfel), .schatten = 0.65 + 0.2 * zufall(wuerfel)};
    std::array const lagen{Lage{
        {0, 0, entfernung(probe.bild, foto, 0.8, brennweite)},
        5 * grad * zufall(wuerfel),
        (12.5 + 7.5 * zufall(wuerfel)) * grad,
        std::numbers::pi * zufall(wuerfel)}};
    probe.bild = fotografiert<1>(foto, {&probe.bild}, lagen, brennweite, wuerfel);
    return probe;
}

Schriftprobe langerBon(int nummer) {
    Wuerfel wuerfel{static_cast<std::uint64_t>(nummer) + 3001};
    int belege = 1;
    auto probe = bonpapier(nummer);
    while (probe.bild.hoehe < 6 * probe.bild.breite && belege < 60)
        probe = bonpapier(nummer, ++belege);
    constexpr double brennweite = 3600;
    Foto const foto{
        .breite = 760, .hoehe = 4000, .tisch = 60 + 20 * zufall(wuerfel), .unschaerfe = 1, .schatten = 0.85};
    std::array const lagen{
        Lage{{0, 0, entfernung(probe.bild, foto, 0.94, brennweite)}, grad * zufall(wuerfel), 0, 0}};
    probe.bild = fotografiert<1>(foto, {&probe.bild}, lagen, brennweite, wuerfel);
    return probe;
}

Schriftprobe zweiBons(int nummer) {
    Wuerfel wuerfel{static_cast<std::uint64_t>(nummer) + 4001};
    auto const links = bonpapier(nummer);
    auto const rechts = bonpapier(nummer + 3);
    constexpr double brennweite = 3600;
    Foto const foto{.breite = 4000, .hoehe = 3000, .tisch = 55 + 20 * zufall(wuerfel), .schatten = 0.9};
    double const weit = brennweite * std::max(std::max(links.bild.hoehe, rechts.bild.hoehe) / 2700.0, 0.8);
    std::array const lagen{
        Lage{{-750, 40 * zufall(wuerfel), weit}, 3 * grad * zufall(wuerfel), 3 * grad, 0},
        Lage{{750, 40 * zufall(wuerfel), weit}, 3 * grad * zufall(wuerfel), 3 * grad, 0}};
    return {
        fotografiert<2>(foto, {&links.bild, &rechts.bild}, lagen, brennweite, wuerfel),
        links.text + rechts.text};
}

Schriftprobe plakat(int nummer) {
    Wuerfel wuerfel{static_cast<std::uint64_t>(nummer) + 5001};
    constexpr int breite = 1400;
    constexpr int hoehe = 2000;
    Graubild grund{breite, hoehe, std::vector<std::uint8_t>(static_cast<std::size_t>(breite) * hoehe)};
    bool const dunkel = nummer % 3 == 0;
    for (int y = 0; y < hoehe; ++y)
        for (int x = 0; x < breite; ++x)
            punkt(grund, x, y) = static_cast<std::uint8_t>(
                (dunkel ? 50 : 180) + 40 * std::sin(x / 190.0 + nummer) * std::cos(y / 260.0));
    Blatt blatt{grund, nummer % 2 == 0 ? "DejaVu Sans" : "Liberation Serif"};
    blatt.farbe(dunkel ? 0.95 : 0.1);
    double y = 160;
    for (int i = 0; i < 3 + nummer % 4; ++i) {
        std::string const text = satz(wuerfel);
        auto const mitte = text.find(' ', text.size() / 2);
        double const groesse = 60 + 8 * (nummer % 5);
        blatt.schreibe(breite / 2.0, y, text.substr(0, mitte), groesse, 0.5);
        if (mitte != std::string::npos)
            blatt.schreibe(breite / 2.0, y + 1.4 * groesse, text.substr(mitte + 1), groesse, 0.5);
        y += 4.2 * groesse;
    }
    return fertig(blatt, 1, wuerfel);
}

Schriftprobe bildschirm(int nummer) {
    Wuerfel wuerfel{static_cast<std::uint64_t>(nummer) + 6001};
    constexpr int breite = 1080;
    constexpr int hoehe = 1920;
    bool const dunkel = nummer % 2 == 1;
    Blatt blatt{breite, hoehe, nummer % 3 == 0 ? "DejaVu Sans" : "Liberation Sans"};
    blatt.flaeche(0, 0, breite, hoehe, dunkel ? 0.1 : 0.96);
    blatt.farbe(dunkel ? 0.9 : 0.1);
    double const groesse = 30 + 2 * (nummer % 4);
    bool const nachrichten = nummer % 4 < 2;
    for (double y = 120; y < hoehe - 150; y += nachrichten ? 150 : 1.6 * groesse) {
        double const x = nachrichten ? 60 + 120 * wuerfel.unter(2) : 50;
        if (nachrichten)
            blatt.flaeche(x - 30, y - 25, 860, 100, dunkel ? 0.22 : 0.86);
        blatt.schreibe(x, y, satz(wuerfel), groesse);
    }
    return fertig(blatt, 0, wuerfel);
}

Schriftprobe spruchbild(int nummer, Graubild const& foto) {
    Wuerfel wuerfel{static_cast<std::uint64_t>(nummer) + 7001};
    Blatt blatt{foto, "DejaVu Sans"};
    blatt.farbe(1, 0);
    double const groesse = foto.breite / 16.0;
    for (double const y : {0.04 * foto.hoehe, 0.92 * foto.hoehe - 1.4 * groesse}) {
        std::string const text = satz(wuerfel);
        auto const mitte = text.find(' ', text.size() / 2);
        blatt.schreibe(foto.breite / 2.0, y, text.substr(0, mitte), groesse, 0.5);
        if (mitte != std::string::npos)
            blatt.schreibe(foto.breite / 2.0, y + 1.2 * groesse, text.substr(mitte + 1), groesse, 0.5);
    }
    return fertig(blatt, 0, wuerfel);
}

} // namespace quillmate::bench
