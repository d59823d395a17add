#include "schriftproben.h"

#include "demo/belegdaten.h"

#include <cairo.h>
#include <fmt/format.h>
#include <pango/pangocairo.h>

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

struct Aufraeumer {
    void operator()(cairo_surface_t* flaeche) const noexcept { cairo_surface_destroy(flaeche); }
    void operator()(cairo_t* stift) const noexcept { cairo_destroy(stift); }
    void operator()(PangoLayout* satz) const noexcept { g_object_unref(satz); }
    void operator()(PangoFontDescription* schrift) const noexcept { pango_font_description_free(schrift); }
};

/// Between -1 and 1.
double zufall(Wuerfel& wuerfel) {
    constexpr int stufen = 2001;
    return (wuerfel.unter(stufen) - stufen / 2) / static_cast<double>(stufen / 2);
}

std::uint8_t& punkt(Graubild& bild, int x, int y) {
    return bild.punkte
        [static_cast<std::size_t>(y) * static_cast<std::size_t>(bild.breite) + static_cast<std::size_t>(x)];
}

double punkt(Graubild const& bild, int x, int y) {
    return bild.zeile(y)[static_cast<std::size_t>(x)];
}

/// A white sheet that is written on; keeps what was written.
class Blatt {
public:
    Blatt(int breite, int hoehe, char const* schrift)
        : flaeche_{cairo_image_surface_create(CAIRO_FORMAT_RGB24, breite, hoehe)}
        , stift_{cairo_create(flaeche_.get())}
        , schrift_(schrift) {
        cairo_set_source_rgb(stift_.get(), 1, 1, 1);
        cairo_paint(stift_.get());
        cairo_set_source_rgb(stift_.get(), 0.1, 0.1, 0.1);
    }

    /// `anteil` of the text's width lies left of x: 0 left, 0.5 middle, 1 right.
    void schreibe(double x, double y, std::string const& text, double groesse, double anteil = 0) {
        std::unique_ptr<PangoLayout, Aufraeumer> const satz{pango_cairo_create_layout(stift_.get())};
        std::unique_ptr<PangoFontDescription, Aufraeumer> const art{pango_font_description_new()};
        pango_font_description_set_family(art.get(), schrift_);
        pango_font_description_set_absolute_size(art.get(), groesse * PANGO_SCALE);
        pango_layout_set_font_description(satz.get(), art.get());
        pango_layout_set_text(satz.get(), text.data(), static_cast<int>(text.size()));
        int breite = 0;
        pango_layout_get_size(satz.get(), &breite, nullptr);
        cairo_move_to(stift_.get(), x - anteil * breite / PANGO_SCALE, y);
        pango_cairo_show_layout(stift_.get(), satz.get());
        text_ += text + "\n";
    }

    void linie(double links, double rechts, double y) {
        cairo_set_line_width(stift_.get(), 3);
        cairo_move_to(stift_.get(), links, y);
        cairo_line_to(stift_.get(), rechts, y);
        cairo_stroke(stift_.get());
    }

    [[nodiscard]] Schriftprobe fertig() {
        cairo_surface_flush(flaeche_.get());
        Graubild bild{
            cairo_image_surface_get_width(flaeche_.get()),
            cairo_image_surface_get_height(flaeche_.get()),
            {}};
        auto const* const bytes = cairo_image_surface_get_data(flaeche_.get());
        auto const schritt = cairo_image_surface_get_stride(flaeche_.get());
        bild.punkte.reserve(static_cast<std::size_t>(bild.breite) * static_cast<std::size_t>(bild.hoehe));
        for (int y = 0; y < bild.hoehe; ++y)
            for (int x = 0; x < bild.breite; ++x)
                bild.punkte.push_back(bytes[static_cast<std::ptrdiff_t>(y) * schritt + 4 * x]);
        return {std::move(bild), std::move(text_)};
    }

private:
    std::unique_ptr<cairo_surface_t, Aufraeumer> flaeche_;
    std::unique_ptr<cairo_t, Aufraeumer> stift_;
    char const* schrift_;
    std::string text_;
};

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
    return blatt.fertig();
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
    return blatt.fertig();
}

/// Mean of neighbours, twice in either direction, which comes close to a lens out of focus.
void unscharf(Graubild& bild, int radius) {
    std::vector<std::uint8_t> reihe;
    auto mitteln = [&](int anzahl, auto&& stelle) {
        reihe.resize(static_cast<std::size_t>(anzahl));
        int summe = 0;
        for (int i = -radius; i <= radius; ++i)
            summe += stelle(std::clamp(i, 0, anzahl - 1));
        for (int i = 0; i < anzahl; ++i) {
            reihe[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(summe / (2 * radius + 1));
            summe += stelle(std::min(i + radius + 1, anzahl - 1)) - stelle(std::max(i - radius, 0));
        }
        for (int i = 0; i < anzahl; ++i)
            stelle(i) = reihe[static_cast<std::size_t>(i)];
    };
    for (int durchgang = 0; durchgang < 2; ++durchgang) {
        for (int y = 0; y < bild.hoehe; ++y)
            mitteln(bild.breite, [&](int x) -> std::uint8_t& { return punkt(bild, x, y); });
        for (int x = 0; x < bild.breite; ++x)
            mitteln(bild.hoehe, [&](int y) -> std::uint8_t& { return punkt(bild, x, y); });
    }
}

/// The value between four points; nothing outside of the picture.
std::optional<double> zwischen(Graubild const& bild, double x, double y) {
    if (x < 0 || y < 0 || x >= bild.breite - 1 || y >= bild.hoehe - 1)
        return std::nullopt;
    auto const x0 = static_cast<int>(x);
    auto const y0 = static_cast<int>(y);
    double const ax = x - x0;
    double const ay = y - y0;
    return (punkt(bild, x0, y0) * (1 - ax) + punkt(bild, x0 + 1, y0) * ax) * (1 - ay) +
           (punkt(bild, x0, y0 + 1) * (1 - ax) + punkt(bild, x0 + 1, y0 + 1) * ax) * ay;
}

Graubild gedreht(Graubild const& bild, double winkel_grad) {
    double const winkel = winkel_grad * std::numbers::pi / 180;
    Graubild neu{bild.breite, bild.hoehe, std::vector<std::uint8_t>(bild.punkte.size(), 255)};
    double const mx = bild.breite / 2.0;
    double const my = bild.hoehe / 2.0;
    for (int y = 0; y < neu.hoehe; ++y)
        for (int x = 0; x < neu.breite; ++x)
            if (auto const wert = zwischen(
                    bild, mx + (x - mx) * std::cos(winkel) + (y - my) * std::sin(winkel),
                    my - (x - mx) * std::sin(winkel) + (y - my) * std::cos(winkel)))
                punkt(neu, x, y) = static_cast<std::uint8_t>(*wert);
    return neu;
}

void rausche(Graubild& bild, int staerke, Wuerfel& wuerfel) {
    for (auto& p : bild.punkte)
        p = static_cast<std::uint8_t>(std::clamp(p + wuerfel.unter(2 * staerke + 1) - staerke, 0, 255));
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
