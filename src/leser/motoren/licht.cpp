#include "licht.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace quillmate::leser::motoren {

namespace {

// Pixels. Larger than a line of print is high, so that paper is in each, and smaller than a shadow's edge is wide.
constexpr int kachel = 40;
// Percent of the points of a tile, or of the tiles, that are no brighter than its paper. The rest are specks and glare.
constexpr int hellster = 90;
// Percent of the paper's brightness: less is no paper. The shadow of a hand leaves 65 to 85.
constexpr int tischanteil = 60;
// Photographed, as opposed to scanned: so many percent of the tiles are no paper (receipts on a table had 50 to 60, scans
// 0 to 10), or the darkest tenth of the paper has less than so many percent of the brightest tenth's light (of 21 scans one).
constexpr int tischflaeche = 15;
constexpr int lichtgefaelle = 80;
// Percent of the paper's brightness from which on a point is white, and with it a sensor's noise. Of 88 and 74 either finds
// fewer words and umlauts (93 and 95 of 100 on a dark table, where 80 finds 96), and so does making the darkest points black.
constexpr int weissVon = 80;

struct Raster {
    int breite{}, hoehe{};
    std::vector<int> wert;

    [[nodiscard]] int& bei(int x, int y) {
        return wert
            [static_cast<std::size_t>(y) * static_cast<std::size_t>(breite) + static_cast<std::size_t>(x)];
    }
    [[nodiscard]] int bei(int x, int y) const {
        x = std::clamp(x, 0, breite - 1);
        y = std::clamp(y, 0, hoehe - 1);
        return wert
            [static_cast<std::size_t>(y) * static_cast<std::size_t>(breite) + static_cast<std::size_t>(x)];
    }
};

/// The value below which so many percent of what was counted lie.
int stelle(std::array<int, 256> const& haeufigkeit, int anzahl, int prozent) {
    int bisher = 0;
    for (int g = 0; g < 256; ++g) {
        bisher += haeufigkeit[static_cast<std::size_t>(g)];
        if (100LL * bisher >= static_cast<long long>(prozent) * anzahl)
            return g;
    }
    return 255;
}

Raster kacheln(Graubild const& bild) {
    Raster r{(bild.breite + kachel - 1) / kachel, (bild.hoehe + kachel - 1) / kachel, {}};
    r.wert.resize(static_cast<std::size_t>(r.breite) * static_cast<std::size_t>(r.hoehe));
    for (int ky = 0; ky < r.hoehe; ++ky)
        for (int kx = 0; kx < r.breite; ++kx) {
            std::array<int, 256> haeufigkeit{};
            int anzahl = 0;
            for (int y = ky * kachel; y < std::min((ky + 1) * kachel, bild.hoehe); y += 2)
                for (int x = kx * kachel; x < std::min((kx + 1) * kachel, bild.breite); x += 2, ++anzahl)
                    ++haeufigkeit[bild.zeile(y)[static_cast<std::size_t>(x)]];
            r.bei(kx, ky) = stelle(haeufigkeit, anzahl, hellster);
        }
    return r;
}

/// The brightness of paper in each tile; where there is none, that of the nearest paper.
void fuellen(Raster& r, int papier) {
    int const grenze = papier * tischanteil / 100;
    for (auto& w : r.wert)
        if (w < grenze)
            w = papier;
}

Raster gemittelt(Raster const& r) {
    Raster neu = r;
    for (int y = 0; y < r.hoehe; ++y)
        for (int x = 0; x < r.breite; ++x) {
            int summe = 0;
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx)
                    summe += r.bei(x + dx, y + dy); // Beyond the edge: its own tiles.
            neu.bei(x, y) = summe / 9;
        }
    return neu;
}

/// By how many tiles are of which brightness.
bool istFoto(std::array<int, 256> const& kachelwerte, int anzahl, int papier) {
    int tisch = 0;
    std::array<int, 256> blatt = kachelwerte;
    for (int g = 0; g < papier * tischanteil / 100; ++g) {
        tisch += blatt[static_cast<std::size_t>(g)];
        blatt[static_cast<std::size_t>(g)] = 0;
    }
    return 100 * tisch >= tischflaeche * anzahl ||
           100 * stelle(blatt, anzahl - tisch, 100 - hellster) < lichtgefaelle * papier;
}

} // namespace

bool ausleuchten(Graubild& bild) {
    if (bild.breite < 2 * kachel || bild.hoehe < 2 * kachel)
        return false;
    auto raster = kacheln(bild);
    std::array<int, 256> haeufigkeit{};
    for (auto const w : raster.wert)
        ++haeufigkeit[static_cast<std::size_t>(w)];
    int const papier = stelle(haeufigkeit, static_cast<int>(raster.wert.size()), hellster);
    if (!istFoto(haeufigkeit, static_cast<int>(raster.wert.size()), papier))
        return false;
    fuellen(raster, papier);
    auto const glatt = gemittelt(raster);
    // Between the middles of tiles, in 256ths.
    auto ort = [](int punkt) {
        return (2 * punkt + 1) * 256 / (2 * kachel) - 128;
    };
    for (int y = 0; y < bild.hoehe; ++y) {
        int const oy = ort(y);
        int const ky = oy >> 8;
        int const ry = oy & 255;
        auto* const zeile =
            bild.punkte.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(bild.breite);
        for (int kx = -1; kx < glatt.breite; ++kx) {
            int const links = glatt.bei(kx, ky) * (256 - ry) + glatt.bei(kx, ky + 1) * ry;
            int const rechts = glatt.bei(kx + 1, ky) * (256 - ry) + glatt.bei(kx + 1, ky + 1) * ry;
            int const von = std::max(kx * kachel + kachel / 2, 0);
            int const bis = std::min((kx + 1) * kachel + kachel / 2, bild.breite);
            for (int x = von; x < bis; ++x) {
                int const rx = std::clamp(ort(x) - kx * 256, 0, 256);
                int const hier = std::max((links * (256 - rx) + rechts * rx) >> 16, 1);
                zeile[x] =
                    static_cast<std::uint8_t>(std::clamp(100 * 255 * zeile[x] / (weissVon * hier), 0, 255));
            }
        }
    }
    return true;
}

} // namespace quillmate::leser::motoren
