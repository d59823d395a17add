#include "zeichnung.h"

#include <cairo-pdf.h>
#include <fmt/format.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <array>
#include <numbers>
#include <optional>

namespace quillmate::demo {

namespace {

constexpr double a4Breite_pt = 595.28;
constexpr double a4Hoehe_pt = 841.89;
constexpr double rand_pt = 62;

constexpr char const* schrift = "Liberation Sans, DejaVu Sans";
constexpr char const* schreibmaschinenschrift = "DejaVu Sans Mono, Liberation Mono";

struct PangoAufraeumer {
    void operator()(PangoLayout* satz) const noexcept { g_object_unref(satz); }
    void operator()(PangoFontDescription* schriftart) const noexcept {
        pango_font_description_free(schriftart);
    }
};

enum class Buendig { links, mitte, rechts };

/// Writes text with its top left corner, middle or top right corner at x, y. Returns the height it took.
double schreibe(
    cairo_t* stift, double x, double y, std::string const& text, double groesse,
    char const* familie = schrift, Buendig buendig = Buendig::links, double breite = -1, bool fett = false) {
    std::unique_ptr<PangoLayout, PangoAufraeumer> const satz{pango_cairo_create_layout(stift)};
    std::unique_ptr<PangoFontDescription, PangoAufraeumer> const schriftart{pango_font_description_new()};
    pango_font_description_set_family(schriftart.get(), familie);
    pango_font_description_set_absolute_size(schriftart.get(), groesse * PANGO_SCALE);
    if (fett)
        pango_font_description_set_weight(schriftart.get(), PANGO_WEIGHT_BOLD);
    pango_layout_set_font_description(satz.get(), schriftart.get());
    if (breite > 0) {
        pango_layout_set_width(satz.get(), static_cast<int>(breite * PANGO_SCALE));
        pango_layout_set_wrap(satz.get(), PANGO_WRAP_WORD);
    }
    pango_layout_set_text(satz.get(), text.data(), static_cast<int>(text.size()));
    int b = 0;
    int h = 0;
    pango_layout_get_size(satz.get(), &b, &h);
    auto const anteil = buendig == Buendig::links ? 0.0 : buendig == Buendig::mitte ? 0.5 : 1.0;
    cairo_move_to(stift, x - anteil * b / PANGO_SCALE, y);
    pango_cairo_show_layout(stift, satz.get());
    return static_cast<double>(h) / PANGO_SCALE;
}

std::string ohneWaehrung(Cent betrag) {
    auto text = alsEuro(betrag);
    text.resize(text.size() - std::string_view{" €"}.size());
    return text;
}

std::string alsDatum(Tag tag) {
    std::chrono::year_month_day const datum{tag};
    return fmt::format(
        "{:02}.{:02}.{}", static_cast<unsigned>(datum.day()), static_cast<unsigned>(datum.month()),
        static_cast<int>(datum.year()));
}

/// An A4 PDF whose only dates are ours, so that its bytes are always the same.
Flaeche neuesPdf(std::string const& pfad, std::string const& titel) {
    Flaeche flaeche{cairo_pdf_surface_create(pfad.c_str(), a4Breite_pt, a4Hoehe_pt)};
    cairo_pdf_surface_set_metadata(flaeche.get(), CAIRO_PDF_METADATA_TITLE, titel.c_str());
    cairo_pdf_surface_set_metadata(flaeche.get(), CAIRO_PDF_METADATA_CREATE_DATE, "2026-01-02T09:00:00Z");
    return flaeche;
}

bool schliesse(Flaeche& flaeche) {
    cairo_surface_finish(flaeche.get());
    return cairo_surface_status(flaeche.get()) == CAIRO_STATUS_SUCCESS;
}

void linie(cairo_t* stift, double y) {
    cairo_set_line_width(stift, 0.7);
    cairo_move_to(stift, rand_pt, y);
    cairo_line_to(stift, a4Breite_pt - rand_pt, y);
    cairo_stroke(stift);
}

/// One invoice sheet in points.
void zeichneRechnung(cairo_t* stift, Beispielbeleg const& beleg) {
    constexpr double rechts = a4Breite_pt - rand_pt;
    constexpr double spalteEinzel = rechts - 100;
    constexpr double spalteMenge = rand_pt + 300;
    cairo_set_source_rgb(stift, 0.05, 0.05, 0.08);
    schreibe(stift, rand_pt, 50, beleg.haendler, 20, schrift, Buendig::links, -1, true);
    schreibe(stift, rand_pt, 80, fmt::format("{} · {}", beleg.strasse, beleg.ort), 9.5);
    schreibe(stift, rand_pt, 150, "Atelier Sommerfeld\nGartenweg 11\n23999 Ahornstedt", 11);
    schreibe(stift, rechts, 150, "Rechnungsnummer: " + beleg.rechnungsnummer, 11, schrift, Buendig::rechts);
    schreibe(stift, rechts, 166, "Rechnungsdatum: " + alsDatum(beleg.datum), 11, schrift, Buendig::rechts);
    schreibe(stift, rechts, 182, fmt::format("Kundennummer: {}", 40112), 11, schrift, Buendig::rechts);
    schreibe(stift, rand_pt, 250, "Rechnung", 18, schrift, Buendig::links, -1, true);
    schreibe(stift, rand_pt, 282, "Wir danken für Ihren Auftrag und berechnen wie folgt:", 11);

    double y = 320;
    schreibe(stift, rand_pt, y, "Bezeichnung", 11, schrift, Buendig::links, -1, true);
    schreibe(stift, spalteMenge, y, "Menge", 11, schrift, Buendig::rechts, -1, true);
    schreibe(stift, spalteEinzel, y, "Einzelpreis", 11, schrift, Buendig::rechts, -1, true);
    schreibe(stift, rechts, y, "Betrag", 11, schrift, Buendig::rechts, -1, true);
    linie(stift, y + 18);
    y += 26;
    for (auto const& posten : beleg.posten) {
        schreibe(stift, rand_pt, y, posten.bezeichnung, 11);
        schreibe(stift, spalteMenge, y, std::to_string(posten.menge), 11, schrift, Buendig::rechts);
        schreibe(stift, spalteEinzel, y, alsEuro(posten.einzelpreis), 11, schrift, Buendig::rechts);
        schreibe(stift, rechts, y, alsEuro(posten.menge * posten.einzelpreis), 11, schrift, Buendig::rechts);
        y += 20;
    }
    linie(stift, y + 4);
    y += 14;
    schreibe(stift, spalteEinzel, y, "Nettobetrag", 11, schrift, Buendig::rechts);
    schreibe(stift, rechts, y, alsEuro(beleg.brutto() - beleg.steuer()), 11, schrift, Buendig::rechts);
    y += 18;
    schreibe(
        stift, spalteEinzel, y, fmt::format("MwSt {} %", beleg.steuersatz), 11, schrift, Buendig::rechts);
    schreibe(stift, rechts, y, alsEuro(beleg.steuer()), 11, schrift, Buendig::rechts);
    y += 20;
    schreibe(stift, spalteEinzel, y, "Rechnungsbetrag", 12, schrift, Buendig::rechts, -1, true);
    schreibe(stift, rechts, y, alsEuro(beleg.brutto()), 12, schrift, Buendig::rechts, -1, true);
    y += 50;
    schreibe(
        stift, rand_pt, y,
        "Bitte überweisen Sie den Rechnungsbetrag innerhalb von 14 Tagen ohne Abzug. Leistungsdatum "
        "entspricht dem "
        "Rechnungsdatum.",
        11, schrift, Buendig::links, a4Breite_pt - 2 * rand_pt);
    schreibe(
        stift, rand_pt, 780,
        fmt::format(
            "{} · USt-IdNr. DE999{:06} · Amtsgericht Ahornstedt", beleg.haendler, 137 * (beleg.nummer + 3)),
        8.5);
}

/// One line of a till receipt: a text alone stands in the middle.
struct Bonzeile {
    std::string links;
    std::optional<std::string> rechts;
};

std::vector<Bonzeile> bonzeilen(Beispielbeleg const& beleg) {
    std::vector<Bonzeile> zeilen{
        {beleg.haendler, {}}, {beleg.strasse, {}}, {beleg.ort, {}}, {"", {}}, {"Kassenbon", {}}, {"", {}}};
    for (auto const& posten : beleg.posten) {
        zeilen.push_back({posten.bezeichnung, ""});
        zeilen.push_back(
            {fmt::format("    {} x {}", posten.menge, ohneWaehrung(posten.einzelpreis)),
             ohneWaehrung(posten.menge * posten.einzelpreis)});
    }
    zeilen.push_back({"", {}});
    zeilen.push_back({"Summe EUR", ohneWaehrung(beleg.brutto())});
    zeilen.push_back({"Gegeben Karte", ohneWaehrung(beleg.brutto())});
    zeilen.push_back({"", {}});
    zeilen.push_back(
        {fmt::format("Netto {} %", beleg.steuersatz), ohneWaehrung(beleg.brutto() - beleg.steuer())});
    zeilen.push_back({fmt::format("MwSt {} %", beleg.steuersatz), ohneWaehrung(beleg.steuer())});
    zeilen.push_back({"", {}});
    zeilen.push_back({"Datum", alsDatum(beleg.datum)});
    zeilen.push_back({"Beleg-Nr.", beleg.rechnungsnummer});
    zeilen.push_back({"", {}});
    zeilen.push_back({"Vielen Dank für Ihren Einkauf!", {}});
    return zeilen;
}

} // namespace

bool schreibeRechnung(std::string const& pfad, Beispielbeleg const& beleg) {
    auto flaeche = neuesPdf(pfad, "Rechnung " + beleg.rechnungsnummer);
    {
        Stift const stift{cairo_create(flaeche.get())};
        zeichneRechnung(stift.get(), beleg);
        cairo_show_page(stift.get());
    }
    return schliesse(flaeche);
}

bool schreibeScan(std::string const& pfad, Beispielbeleg const& beleg, Wuerfel& wuerfel) {
    constexpr double aufloesung = 150.0 / 72; // pixels per point
    auto const bild =
        leeresBild(static_cast<int>(a4Breite_pt * aufloesung), static_cast<int>(a4Hoehe_pt * aufloesung));
    {
        Stift const stift{cairo_create(bild.get())};
        cairo_scale(stift.get(), aufloesung, aufloesung);
        cairo_rotate(stift.get(), (wuerfel.unter(20) - 10) / 10.0 * std::numbers::pi / 180);
        zeichneRechnung(stift.get(), beleg);
    }
    rausche(bild.get(), 14, wuerfel);

    auto const jpeg = alsJpeg(bild.get(), Farben::grau);
    // The PDF then holds these very bytes, as a scanner writes them.
    auto* const kopie = new std::string{jpeg};
    cairo_surface_set_mime_data(
        bild.get(), CAIRO_MIME_TYPE_JPEG, reinterpret_cast<unsigned char const*>(kopie->data()),
        kopie->size(), [](void* bytes) { delete static_cast<std::string*>(bytes); }, kopie);
    auto flaeche = neuesPdf(pfad, "Scan");
    {
        Stift const stift{cairo_create(flaeche.get())};
        cairo_scale(stift.get(), 1 / aufloesung, 1 / aufloesung);
        cairo_set_source_surface(stift.get(), bild.get(), 0, 0);
        cairo_paint(stift.get());
        cairo_show_page(stift.get());
    }
    return schliesse(flaeche);
}

bool schreibeSchriftstueck(std::string const& pfad, Schriftstueck const& stueck) {
    auto flaeche = neuesPdf(pfad, stueck.ueberschrift);
    {
        Stift const stift{cairo_create(flaeche.get())};
        for (auto const& seite : stueck.seiten) {
            schreibe(stift.get(), rand_pt, 60, stueck.absender, 10);
            schreibe(stift.get(), rand_pt, 140, stueck.ueberschrift, 15, schrift, Buendig::links, -1, true);
            schreibe(
                stift.get(), rand_pt, 190, seite, 11.5, schrift, Buendig::links, a4Breite_pt - 2 * rand_pt);
            cairo_show_page(stift.get());
        }
    }
    return schliesse(flaeche);
}

Flaeche kassenbonFoto(Beispielbeleg const& beleg, Bonschrift bonschrift, Wuerfel& wuerfel) {
    constexpr int breite = 1080;
    constexpr int hoehe = 1440;
    constexpr double schriftgroesse = 36;
    constexpr double zeilenabstand = 52;
    constexpr double papierrand = 50;
    auto bild = leeresBild(breite, hoehe);
    Stift const stift{cairo_create(bild.get())};
    cairo_set_source_rgb(stift.get(), 0.46, 0.36, 0.27); // the table
    cairo_paint(stift.get());
    cairo_translate(stift.get(), breite / 2.0, hoehe / 2.0);
    cairo_rotate(stift.get(), (wuerfel.unter(25) - 12) / 10.0 * std::numbers::pi / 180);
    constexpr double papierBreite = 760;
    constexpr double papierHoehe = 1330;
    cairo_rectangle(stift.get(), -papierBreite / 2, -papierHoehe / 2, papierBreite, papierHoehe);
    cairo_set_source_rgb(stift.get(), 0.95, 0.95, 0.92);
    cairo_fill(stift.get());
    cairo_set_source_rgb(stift.get(), 0.13, 0.13, 0.16);
    auto const* const familie = bonschrift == Bonschrift::druck ? schrift : schreibmaschinenschrift;
    // Letters of one width take more room.
    auto const groesse = bonschrift == Bonschrift::druck ? schriftgroesse : schriftgroesse * 0.9;
    constexpr double links = -papierBreite / 2 + papierrand;
    double y = -papierHoehe / 2 + papierrand;
    for (auto const& zeile : bonzeilen(beleg)) {
        if (!zeile.rechts) {
            schreibe(stift.get(), 0, y, zeile.links, groesse, familie, Buendig::mitte);
        } else {
            schreibe(stift.get(), links, y, zeile.links, groesse, familie);
            schreibe(stift.get(), -links, y, *zeile.rechts, groesse, familie, Buendig::rechts);
        }
        y += zeilenabstand;
    }
    rausche(bild.get(), 8, wuerfel);
    return bild;
}

Flaeche urlaubsfoto(Wuerfel& wuerfel) {
    constexpr int breite = 1280;
    constexpr int hoehe = 960;
    auto bild = leeresBild(breite, hoehe);
    Stift const stift{cairo_create(bild.get())};
    auto* const himmel = cairo_pattern_create_linear(0, 0, 0, hoehe);
    cairo_pattern_add_color_stop_rgb(himmel, 0, 0.25, 0.45 + wuerfel.unter(20) / 100.0, 0.85);
    cairo_pattern_add_color_stop_rgb(himmel, 0.6, 0.85, 0.8, 0.75);
    cairo_pattern_add_color_stop_rgb(himmel, 1, 0.2, 0.35, 0.4);
    cairo_set_source(stift.get(), himmel);
    cairo_paint(stift.get());
    cairo_pattern_destroy(himmel);
    for (int berg = 0; berg < 3; ++berg) {
        auto const fuss = 520 + berg * 110 + wuerfel.unter(40);
        cairo_move_to(stift.get(), 0, hoehe);
        cairo_line_to(stift.get(), 0, fuss);
        cairo_curve_to(
            stift.get(), 250 + wuerfel.unter(100), fuss - 160 - wuerfel.unter(120), 600 + wuerfel.unter(200),
            fuss + 120, breite, fuss - wuerfel.unter(90));
        cairo_line_to(stift.get(), breite, hoehe);
        cairo_close_path(stift.get());
        cairo_set_source_rgb(stift.get(), 0.25 - berg * 0.05, 0.42 - berg * 0.09, 0.3 - berg * 0.07);
        cairo_fill(stift.get());
    }
    rausche(bild.get(), 9, wuerfel);
    return bild;
}

Flaeche bildschirmfoto(std::string const& text) {
    constexpr int breite = 1280;
    constexpr int hoehe = 800;
    auto bild = leeresBild(breite, hoehe);
    Stift const stift{cairo_create(bild.get())};
    cairo_set_source_rgb(stift.get(), 0.1, 0.1, 0.12);
    schreibe(stift.get(), 80, 80, text, 30, schrift, Buendig::links, breite - 160);
    return bild;
}

} // namespace quillmate::demo
