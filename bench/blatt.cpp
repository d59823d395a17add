#include "blatt.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>
#include <vector>

namespace quillmate::bench {

using demo::Wuerfel;
using leser::motoren::Graubild;

namespace {

struct Satzaufraeumer {
    void operator()(PangoLayout* satz) const noexcept { g_object_unref(satz); }
    void operator()(PangoFontDescription* schrift) const noexcept { pango_font_description_free(schrift); }
};

} // namespace

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

Blatt::Blatt(int breite, int hoehe, char const* schrift)
    : flaeche_{cairo_image_surface_create(CAIRO_FORMAT_RGB24, breite, hoehe)}
    , stift_{cairo_create(flaeche_.get())}
    , schrift_(schrift) {
    cairo_set_source_rgb(stift_.get(), 1, 1, 1);
    cairo_paint(stift_.get());
}

Blatt::Blatt(Graubild const& grund, char const* schrift)
    : Blatt(grund.breite, grund.hoehe, schrift) {
    cairo_surface_flush(flaeche_.get());
    auto* const bytes = cairo_image_surface_get_data(flaeche_.get());
    auto const schritt = cairo_image_surface_get_stride(flaeche_.get());
    for (int y = 0; y < grund.hoehe; ++y)
        for (int x = 0; x < grund.breite; ++x)
            std::fill_n(
                bytes + static_cast<std::ptrdiff_t>(y) * schritt + 4 * x, 3,
                grund.zeile(y)[static_cast<std::size_t>(x)]);
    cairo_surface_mark_dirty(flaeche_.get());
}

void Blatt::farbe(double wert, std::optional<double> rand) {
    wert_ = wert;
    rand_ = rand;
}

void Blatt::flaeche(double x, double y, double breite, double hoehe, double wert) {
    cairo_set_source_rgb(stift_.get(), wert, wert, wert);
    cairo_rectangle(stift_.get(), x, y, breite, hoehe);
    cairo_fill(stift_.get());
}

void Blatt::schreibe(double x, double y, std::string const& text, double groesse, double anteil) {
    std::unique_ptr<PangoLayout, Satzaufraeumer> const satz{pango_cairo_create_layout(stift_.get())};
    std::unique_ptr<PangoFontDescription, Satzaufraeumer> const art{pango_font_description_new()};
    pango_font_description_set_family(art.get(), schrift_);
    pango_font_description_set_absolute_size(art.get(), groesse * PANGO_SCALE);
    pango_layout_set_font_description(satz.get(), art.get());
    pango_layout_set_text(satz.get(), text.data(), static_cast<int>(text.size()));
    int breite = 0;
    pango_layout_get_size(satz.get(), &breite, nullptr);
    cairo_move_to(stift_.get(), x - anteil * breite / PANGO_SCALE, y);
    if (rand_) {
        cairo_set_source_rgb(stift_.get(), *rand_, *rand_, *rand_);
        cairo_set_line_width(stift_.get(), groesse / 8);
        pango_cairo_layout_path(stift_.get(), satz.get());
        cairo_stroke(stift_.get());
        cairo_move_to(stift_.get(), x - anteil * breite / PANGO_SCALE, y);
    }
    cairo_set_source_rgb(stift_.get(), wert_, wert_, wert_);
    pango_cairo_show_layout(stift_.get(), satz.get());
    text_ += text + "\n";
}

void Blatt::linie(double links, double rechts, double y) {
    cairo_set_source_rgb(stift_.get(), wert_, wert_, wert_);
    cairo_set_line_width(stift_.get(), 3);
    cairo_move_to(stift_.get(), links, y);
    cairo_line_to(stift_.get(), rechts, y);
    cairo_stroke(stift_.get());
}

Graubild Blatt::bild() const {
    cairo_surface_flush(flaeche_.get());
    Graubild bild{
        cairo_image_surface_get_width(flaeche_.get()), cairo_image_surface_get_height(flaeche_.get()), {}};
    auto const* const bytes = cairo_image_surface_get_data(flaeche_.get());
    auto const schritt = cairo_image_surface_get_stride(flaeche_.get());
    bild.punkte.reserve(static_cast<std::size_t>(bild.breite) * static_cast<std::size_t>(bild.hoehe));
    for (int y = 0; y < bild.hoehe; ++y)
        for (int x = 0; x < bild.breite; ++x)
            bild.punkte.push_back(bytes[static_cast<std::ptrdiff_t>(y) * schritt + 4 * x]);
    return bild;
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

} // namespace quillmate::bench
