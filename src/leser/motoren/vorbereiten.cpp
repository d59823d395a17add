#include "vorbereiten.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace quillmate::leser::motoren {

namespace {

/// Sums of three neighbours, the middle one twice; the edge counts as its own neighbour.
void waagrechtSummieren(std::span<std::uint8_t const> punkte, std::span<std::uint16_t> summen) {
    auto const letzte = punkte.size() - 1;
    for (std::size_t x = 1; x < letzte; ++x)
        summen[x] = static_cast<std::uint16_t>(punkte[x - 1] + 2 * punkte[x] + punkte[x + 1]);
    summen[0] = static_cast<std::uint16_t>(3 * punkte[0] + punkte[std::min<std::size_t>(1, letzte)]);
    summen[letzte] =
        static_cast<std::uint16_t>(3 * punkte[letzte] + punkte[letzte - std::min<std::size_t>(1, letzte)]);
}

} // namespace

void glaetten(Graubild& bild) {
    if (bild.breite <= 0 || bild.hoehe <= 0)
        return;
    auto const breite = static_cast<std::size_t>(bild.breite);
    constexpr unsigned gewicht = 16;
    std::vector<std::uint16_t> oben(breite);
    std::vector<std::uint16_t> mitte(breite);
    std::vector<std::uint16_t> unten(breite);
    waagrechtSummieren(bild.zeile(0), mitte);
    oben = mitte;
    for (int y = 0; y < bild.hoehe; ++y) {
        if (y + 1 < bild.hoehe)
            waagrechtSummieren(bild.zeile(y + 1), unten);
        else
            unten = mitte;
        auto* const ziel = bild.punkte.data() + static_cast<std::size_t>(y) * breite;
        for (std::size_t x = 0; x < breite; ++x)
            ziel[x] = static_cast<std::uint8_t>((oben[x] + 2U * mitte[x] + unten[x] + gewicht / 2) / gewicht);
        oben.swap(mitte);
        mitte.swap(unten);
    }
}

void vorbereiten(Graubild& bild) {
    glaetten(bild);
}

} // namespace quillmate::leser::motoren
