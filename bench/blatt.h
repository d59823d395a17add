#pragma once

#include "demo/belegdaten.h"
#include "leser/motoren/graubild.h"

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// What documents and photographs for measurements are drawn with. Threads: one at a time.
namespace quillmate::bench {

/// Between -1 and 1.
[[nodiscard]] double zufall(demo::Wuerfel& wuerfel);

[[nodiscard]] std::uint8_t& punkt(leser::motoren::Graubild& bild, int x, int y);
[[nodiscard]] double punkt(leser::motoren::Graubild const& bild, int x, int y);

/// The value between four points; nothing outside of the picture.
[[nodiscard]] std::optional<double> zwischen(leser::motoren::Graubild const& bild, double x, double y);

/// A sheet that is written on; keeps what was written.
class Blatt {
public:
    /// White.
    Blatt(int breite, int hoehe, char const* schrift);
    /// A picture.
    Blatt(leser::motoren::Graubild const& grund, char const* schrift);

    /// Grey values, 0 black to 1 white, of what is written from now on, and of a rim around each letter.
    void farbe(double wert, std::optional<double> rand = std::nullopt);
    void flaeche(double x, double y, double breite, double hoehe, double wert);
    /// `anteil` of the text's width lies left of x: 0 left, 0.5 middle, 1 right.
    void schreibe(double x, double y, std::string const& text, double groesse, double anteil = 0);
    void linie(double links, double rechts, double y);
    /// The picture, and one line for each text that was written.
    [[nodiscard]] leser::motoren::Graubild bild() const;
    [[nodiscard]] std::string const& text() const { return text_; }

private:
    struct Aufraeumer {
        void operator()(cairo_surface_t* flaeche) const noexcept { cairo_surface_destroy(flaeche); }
        void operator()(cairo_t* stift) const noexcept { cairo_destroy(stift); }
    };

    std::unique_ptr<cairo_surface_t, Aufraeumer> flaeche_;
    std::unique_ptr<cairo_t, Aufraeumer> stift_;
    char const* schrift_;
    double wert_{0.1};
    std::optional<double> rand_;
    std::string text_;
};

/// Mean of neighbours, twice in either direction, which comes close to a lens out of focus.
void unscharf(leser::motoren::Graubild& bild, int radius);
/// Around the middle, clockwise, in a frame of the same size; white where nothing was.
[[nodiscard]] leser::motoren::Graubild gedreht(leser::motoren::Graubild const& bild, double winkel_grad);
void rausche(leser::motoren::Graubild& bild, int staerke, demo::Wuerfel& wuerfel);

} // namespace quillmate::bench
