#include "schriftproben.h"

#include "blatt.h"
#include "demo/belegdaten.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace quillmate::bench {

namespace {

using demo::Wuerfel;
using leser::motoren::Graubild;

demo::Beispielbeleg beleg(int nummer) {
    static auto const alle = demo::beispielbelege();
    return alle[static_cast<std::size_t>(nummer) % alle.size()];
}

std::string datum(demo::Beispielbeleg const& b) {
    std::chrono::year_month_day const tag{b.datum};
    return fmt::format(
        "{:02}.{:02}.{}", static_cast<unsigned>(tag.day()), static_cast<unsigned>(tag.month()),
        static_cast<int>(tag.year()));
}

/// Without the currency.
std::string betrag(demo::Cent cent) {
    auto const text = demo::alsEuro(cent);
    return text.substr(0, text.find(' '));
}

constexpr std::array absaetze{
    "Wir danken für Ihren Auftrag und berechnen wie folgt. Bitte überweisen Sie den Betrag",
    "ohne Abzug innerhalb von 14 Tagen auf unser Geschäftskonto. Für Rückfragen erreichen",
    "Sie uns täglich außer samstags zwischen neun und siebzehn Uhr. Die Ware bleibt bis zur",
    "vollständigen Bezahlung unser Eigentum. Rücksendungen nehmen wir nur in unbeschädigter",
    "Verpackung zurück. Erfüllungsort und Gerichtsstand ist Köln. Größere Mengen, längere",
    "Lieferzeiten und spätere Änderungen bestätigen wir Ihnen schriftlich. Schöne Grüße aus",
    "Köln! Geschäftsführer: Jürgen Weiß, Käthe Müller und Björn Großmann"};

constexpr std::array blattschriften{"Liberation Sans", "DejaVu Sans", "Liberation Serif", "DejaVu Serif"};

Schriftprobe rechnung(demo::Beispielbeleg const& b, int nummer) {
    constexpr double einPunkt = 300.0 / 72;
    constexpr double links = 62 * einPunkt;
    constexpr double rechts = 533 * einPunkt;
    double const grad = (9.0 + nummer % 2) * einPunkt;
    double const schritt = 1.7 * grad;
    Blatt blatt{2480, 3508, blattschriften[static_cast<std::size_t>(nummer) % blattschriften.size()]};
    double y = 50 * einPunkt;
    blatt.schreibe(links, y, b.haendler, 18 * einPunkt);
    blatt.schreibe(links, y += 30 * einPunkt, b.strasse + ", " + b.ort, grad);
    blatt.schreibe(links, y += 3 * schritt, "Bäckerei Schröder", grad);
    blatt.schreibe(rechts, y, "Rechnungsnummer: " + b.rechnungsnummer, grad, 1);
    blatt.schreibe(links, y += schritt, "Königstraße 27", grad);
    blatt.schreibe(rechts, y, "Rechnungsdatum: " + datum(b), grad, 1);
    blatt.schreibe(links, y += schritt, "23999 Lüneburg", grad);
    blatt.schreibe(links, y += 3 * schritt, "Rechnung", 16 * einPunkt);
    y += 2 * schritt;
    auto zeile = [&](std::string const& was, std::string const& menge, std::string const& einzel,
                     std::string const& summe) {
        blatt.schreibe(links, y, was, grad);
        if (!menge.empty())
            blatt.schreibe(360 * einPunkt, y, menge, grad, 1);
        if (!einzel.empty())
            blatt.schreibe(440 * einPunkt, y, einzel, grad, 1);
        blatt.schreibe(rechts, y, summe, grad, 1);
        y += schritt;
    };
    zeile("Bezeichnung", "Menge", "Einzelpreis", "Betrag");
    blatt.linie(links, rechts, y);
    y += schritt / 2;
    for (auto const& p : b.posten)
        zeile(
            p.bezeichnung, std::to_string(p.menge), demo::alsEuro(p.einzelpreis),
            demo::alsEuro(p.menge * p.einzelpreis));
    blatt.linie(links, rechts, y + schritt / 4);
    y += schritt / 2;
    zeile("Nettobetrag", "", "", demo::alsEuro(b.brutto() - b.steuer()));
    zeile(fmt::format("Umsatzsteuer {} %", b.steuersatz), "", "", demo::alsEuro(b.steuer()));
    zeile("Gesamtbetrag", "", "", demo::alsEuro(b.brutto()));
    y += schritt;
    for (auto const* absatz : absaetze) {
        blatt.schreibe(links, y, absatz, grad);
        y += schritt;
    }
    blatt.schreibe(links, 780 * einPunkt, "Sparkasse Köln, IBAN DE02 1203 0000 0000 2020 51", 8 * einPunkt);
    return {blatt.bild(), blatt.text()};
}

constexpr std::array bonschriften{"DejaVu Sans Mono", "Liberation Mono", "Liberation Sans"};

Schriftprobe bon(demo::Beispielbeleg const& b, int nummer) {
    constexpr double rand = 60;
    constexpr int breite = 1300;
    constexpr double rechts = breite - rand;
    constexpr double grad = 42;
    constexpr double schritt = 64;
    auto const zeilen = 15 + 2 * static_cast<int>(b.posten.size());
    Blatt blatt{
        breite, static_cast<int>(2 * rand + schritt * zeilen),
        bonschriften[static_cast<std::size_t>(nummer) % bonschriften.size()]};
    double y = rand;
    auto mittig = [&](std::string const& text, double groesse) {
        blatt.schreibe(breite / 2.0, y, text, groesse, 0.5);
        y += schritt * std::max(1.0, groesse / grad);
    };
    auto zeile = [&](std::string const& was, std::string const& summe) {
        blatt.schreibe(rand, y, was, grad);
        blatt.schreibe(rechts, y, summe, grad, 1);
        y += schritt;
    };
    mittig(b.haendler, 52);
    mittig(b.strasse, grad);
    mittig(b.ort, grad);
    y += schritt / 2;
    zeile("Beleg " + b.rechnungsnummer, datum(b));
    y += schritt / 2;
    for (auto const& p : b.posten) {
        blatt.schreibe(rand, y, p.bezeichnung, grad);
        y += schritt;
        zeile(fmt::format("  {} x {}", p.menge, betrag(p.einzelpreis)), betrag(p.menge * p.einzelpreis));
    }
    blatt.linie(rand, rechts, y + 8);
    y += schritt / 2;
    zeile("SUMME EUR", betrag(b.brutto()));
    zeile(fmt::format("enthaltene MwSt {} %", b.steuersatz), betrag(b.steuer()));
    zeile("Bezahlt mit Karte", betrag(b.brutto()));
    y += schritt / 2;
    mittig("Vielen Dank für Ihren Besuch!", grad);
    mittig("Öffnungszeiten täglich 9 bis 18 Uhr", grad);
    return {blatt.bild(), blatt.text()};
}

/// The receipt on a table. From a point of the photo back to one of the paper: turned, and farther away at the top.
Graubild aufDemTisch(Graubild const& papier, Wuerfel& wuerfel) {
    constexpr int breite = 3000;
    constexpr int hoehe = 4000;
    double const winkel = 3 * zufall(wuerfel) * std::numbers::pi / 180;
    double const kippen = 0.04 * zufall(wuerfel);
    // The paper takes most of the height, or of the width if it is short.
    double const groesse = std::min(0.85 * hoehe / papier.hoehe, 0.75 * breite / papier.breite);
    double const hell = 215 + 15 * zufall(wuerfel);
    double const tisch = 55 + 20 * zufall(wuerfel);
    Graubild foto{breite, hoehe, {}};
    foto.punkte.reserve(static_cast<std::size_t>(breite) * hoehe);
    for (int y = 0; y < hoehe; ++y)
        for (int x = 0; x < breite; ++x) {
            double const dx = x - breite / 2.0;
            double const dy = y - hoehe / 2.0;
            double const entfernung = groesse * (1 + kippen * dy / (hoehe / 2.0));
            auto const wert = zwischen(
                papier, papier.breite / 2.0 + (dx * std::cos(winkel) + dy * std::sin(winkel)) / entfernung,
                papier.hoehe / 2.0 + (dy * std::cos(winkel) - dx * std::sin(winkel)) / entfernung);
            double const licht =
                1.0 - 0.35 * (static_cast<double>(x) / breite + static_cast<double>(y) / hoehe) / 2;
            // Wood: stripes along one side.
            double const maserung = 8 * std::sin(y / 23.0 + 3 * std::sin(x / 410.0));
            foto.punkte.push_back(static_cast<std::uint8_t>(
                std::clamp((wert ? hell * *wert / 255 : tisch + maserung) * licht, 0.0, 255.0)));
        }
    return foto;
}

} // namespace

Schriftprobe bonpapier(int nummer, int belege) {
    auto b = beleg(nummer);
    for (int i = 1; i < belege; ++i)
        for (auto const& p : beleg(nummer + i).posten)
            b.posten.push_back(p);
    return bon(b, nummer);
}

Schriftprobe gescannteRechnung(int nummer) {
    Wuerfel wuerfel{static_cast<std::uint64_t>(nummer) + 1};
    auto probe = rechnung(beleg(nummer), nummer);
    probe.bild = gedreht(probe.bild, zufall(wuerfel));
    unscharf(probe.bild, 1);
    rausche(probe.bild, 8, wuerfel);
    return probe;
}

Schriftprobe fotografierterBon(int nummer) {
    Wuerfel wuerfel{static_cast<std::uint64_t>(nummer) + 1001};
    auto probe = bon(beleg(nummer), nummer);
    probe.bild = aufDemTisch(probe.bild, wuerfel);
    unscharf(probe.bild, 2);
    rausche(probe.bild, 14, wuerfel);
    return probe;
}

} // namespace quillmate::bench
