#include "kostprobe.h"

#include "texterkennung/heuristik.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace quillmate::leser::motoren {

namespace {

// Photographed receipts are read with 0.7 to 0.9, and with 0.4 to 0.5 on their heads.
constexpr float abstand = 0.2F;

std::size_t buchstaben(Textzeile const& zeile) {
    std::size_t anzahl = 0;
    for (auto const& wort : zeile.woerter)
        anzahl += static_cast<std::size_t>(
            std::ranges::count_if(wort.text, [](unsigned char c) { return std::isalpha(c) != 0; }));
    return anzahl;
}

} // namespace

std::optional<Streifen> kostprobe(std::span<Textzeile const> zeilen) {
    if (zeilen.size() < 2 * zeilenDerKostprobe)
        return std::nullopt;
    std::size_t bester = 0;
    std::size_t meiste = 0;
    for (std::size_t erste = 0; erste + zeilenDerKostprobe <= zeilen.size(); ++erste) {
        std::size_t anzahl = 0;
        for (auto const& zeile : zeilen.subspan(erste, zeilenDerKostprobe))
            anzahl += buchstaben(zeile);
        if (anzahl > meiste) {
            meiste = anzahl;
            bester = erste;
        }
    }
    auto const probe = zeilen.subspan(bester, zeilenDerKostprobe);
    Streifen streifen{.zuversicht = mittlereZuversicht(probe)};
    if (meiste == 0 || streifen.zuversicht < Texterkennung::UNSICHER_GELESEN)
        return std::nullopt;
    bool leer = true;
    for (auto const& zeile : probe)
        for (auto const& wort : zeile.woerter) {
            streifen.oben = leer ? wort.kasten.oben : std::min(streifen.oben, wort.kasten.oben);
            streifen.unten = leer ? wort.kasten.unten : std::max(streifen.unten, wort.kasten.unten);
            leer = false;
        }
    int const rand = (streifen.unten - streifen.oben) / (4 * static_cast<int>(zeilenDerKostprobe));
    streifen.oben -= rand;
    streifen.unten += rand;
    return streifen;
}

bool liegtRichtig(Streifen const& streifen, std::span<Textzeile const> andersherum) {
    return !andersherum.empty() && mittlereZuversicht(andersherum) + abstand < streifen.zuversicht;
}

} // namespace quillmate::leser::motoren
