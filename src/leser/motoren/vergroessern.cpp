#include "vergroessern.h"

#include "texterkennung/heuristik.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace quillmate::leser::motoren {

namespace {

constexpr int bruch = 12;        // Weights are fixed-point numbers with this many binary places.
constexpr int zwischenbruch = 4; // So are the rows in between.

/// The four points around a place between the second and the third, and what each counts.
struct Stuetze {
    std::array<int, 4> stelle;
    std::array<int, 4> gewicht;
};

/// For each target point of a row or column.
std::vector<Stuetze> stuetzen(int von, int nach) {
    std::vector<Stuetze> alle(static_cast<std::size_t>(nach));
    double const schritt = static_cast<double>(von) / nach;
    for (int i = 0; i < nach; ++i) {
        double const ort = (i + 0.5) * schritt - 0.5;
        int const links = static_cast<int>(std::floor(ort));
        double const t = ort - links;
        double const t2 = t * t;
        double const t3 = t2 * t;
        std::array const gewicht{
            (-t3 + 2 * t2 - t) / 2, (3 * t3 - 5 * t2 + 2) / 2, (-3 * t3 + 4 * t2 + t) / 2, (t3 - t2) / 2};
        auto& s = alle[static_cast<std::size_t>(i)];
        for (int k = 0; k < 4; ++k) {
            auto const stelle = static_cast<std::size_t>(k);
            s.stelle[stelle] = std::clamp(links + k - 1, 0, von - 1);
            s.gewicht[stelle] = static_cast<int>(std::lround(gewicht[stelle] * (1 << bruch)));
        }
        s.gewicht[1] += (1 << bruch) - (s.gewicht[0] + s.gewicht[1] + s.gewicht[2] + s.gewicht[3]);
    }
    return alle;
}

} // namespace

Graubild vergroessert(Graubild const& bild, int breite, int hoehe) {
    Graubild neu{breite, hoehe, {}};
    auto const b = static_cast<std::size_t>(breite);
    neu.punkte.resize(b * static_cast<std::size_t>(hoehe));
    auto const spalten = stuetzen(bild.breite, breite);
    auto const zeilen = stuetzen(bild.hoehe, hoehe);
    // Source row y, stretched, lies in the line y % 4; those around a target row are always there.
    std::array<std::vector<std::int16_t>, 4> gestreckt;
    for (auto& zeile : gestreckt)
        zeile.resize(b);
    int fertige = 0;
    for (int y = 0; y < hoehe; ++y) {
        auto const& s = zeilen[static_cast<std::size_t>(y)];
        for (; fertige <= s.stelle[3]; ++fertige) {
            auto const quelle = bild.zeile(fertige);
            auto& ziel = gestreckt[static_cast<std::size_t>(fertige % 4)];
            for (std::size_t x = 0; x < b; ++x) {
                auto const& k = spalten[x];
                int summe = 0;
                for (std::size_t i = 0; i < 4; ++i)
                    summe += k.gewicht[i] * quelle[static_cast<std::size_t>(k.stelle[i])];
                ziel[x] = static_cast<std::int16_t>(summe >> (bruch - zwischenbruch));
            }
        }
        std::array<std::int16_t const*, 4> reihen{};
        for (std::size_t i = 0; i < 4; ++i)
            reihen[i] = gestreckt[static_cast<std::size_t>(s.stelle[i] % 4)].data();
        auto* const ziel = neu.punkte.data() + static_cast<std::size_t>(y) * b;
        auto const& g = s.gewicht;
        constexpr int halb = 1 << (bruch + zwischenbruch - 1);
        for (std::size_t x = 0; x < b; ++x) {
            int const summe =
                g[0] * reihen[0][x] + g[1] * reihen[1][x] + g[2] * reihen[2][x] + g[3] * reihen[3][x];
            ziel[x] =
                static_cast<std::uint8_t>(std::clamp((summe + halb) >> (bruch + zwischenbruch), 0, 255));
        }
    }
    return neu;
}

Graubild aufLesegroesse(Graubild bild) {
    double const faktor = std::min(Texterkennung::lesefaktor(bild.breite, bild.hoehe), hoechstfach);
    if (bild.punkte.empty() || faktor <= 1)
        return bild;
    auto seite = [&](int laenge) {
        return std::max(static_cast<int>(std::lround(laenge * faktor)), laenge);
    };
    return vergroessert(bild, seite(bild.breite), seite(bild.hoehe));
}

} // namespace quillmate::leser::motoren
