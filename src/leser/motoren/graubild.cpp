#include "graubild.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace quillmate::leser::motoren {

Graubild ausgerichtet(Graubild bild, int exifAusrichtung) {
    if (exifAusrichtung < 2 || exifAusrichtung > 8)
        return bild;
    if (exifAusrichtung == 3) {
        std::ranges::reverse(bild.punkte);
        return bild;
    }
    // 5 to 8 exchange rows and columns.
    bool const vertauscht = exifAusrichtung >= 5;
    bool const spiegleX = exifAusrichtung == 2 || exifAusrichtung == 7 || exifAusrichtung == 8;
    bool const spiegleY = exifAusrichtung == 4 || exifAusrichtung == 6 || exifAusrichtung == 7;
    Graubild neu{vertauscht ? bild.hoehe : bild.breite, vertauscht ? bild.breite : bild.hoehe, {}};
    neu.punkte.resize(bild.punkte.size());
    auto ziel = neu.punkte.begin();
    for (int y = 0; y < neu.hoehe; ++y) {
        for (int x = 0; x < neu.breite; ++x) {
            int quelleX = vertauscht ? y : x;
            int quelleY = vertauscht ? x : y;
            if (spiegleX)
                quelleX = bild.breite - 1 - quelleX;
            if (spiegleY)
                quelleY = bild.hoehe - 1 - quelleY;
            *ziel++ = bild.punkte
                          [static_cast<std::size_t>(quelleY) * static_cast<std::size_t>(bild.breite) +
                           static_cast<std::size_t>(quelleX)];
        }
    }
    return neu;
}

Graubild querstreifen(Graubild const& bild, int oben, int unten) {
    oben = std::clamp(oben, 0, bild.hoehe);
    unten = std::clamp(unten, oben, bild.hoehe);
    auto const breite = static_cast<std::ptrdiff_t>(bild.breite);
    auto const anfang = bild.punkte.begin();
    return {bild.breite, unten - oben, {anfang + oben * breite, anfang + unten * breite}};
}

Verkleinerer::Verkleinerer(int breite, int hoehe, int zielBreite, int zielHoehe)
    : breite_(breite)
    , hoehe_(hoehe)
    , hoehenverhaeltnis_(static_cast<double>(hoehe) / zielHoehe)
    , anteilGanz_(static_cast<float>(zielBreite) / static_cast<float>(breite))
    , unveraendert_(breite == zielBreite && hoehe == zielHoehe) {
    bild_.breite = zielBreite;
    bild_.hoehe = zielHoehe;
    auto const b = static_cast<std::size_t>(zielBreite);
    bild_.punkte.assign(b * static_cast<std::size_t>(zielHoehe), 255);
    if (unveraendert_)
        return;
    reduziert_.resize(b);
    summe_.resize(b);
    spalten_.reserve(b);
    double const verhaeltnis = static_cast<double>(breite) / zielBreite;
    for (int x = 0; x < zielBreite; ++x) {
        double const von = x * verhaeltnis;
        double const bis = std::min((x + 1) * verhaeltnis, static_cast<double>(breite));
        int const erste = std::min(static_cast<int>(von), breite - 1);
        int const letzte = std::clamp(static_cast<int>(std::ceil(bis)) - 1, erste, breite - 1);
        spalten_.push_back(
            {static_cast<std::size_t>(erste), static_cast<std::size_t>(letzte),
             static_cast<float>((std::min(bis, erste + 1.0) - von) / verhaeltnis),
             letzte > erste ? static_cast<float>((bis - letzte) / verhaeltnis) : 0.0F});
    }
}

void Verkleinerer::waagrecht(std::span<std::uint8_t const> punkte) {
    auto ziel = reduziert_.begin();
    for (auto const& s : spalten_) {
        unsigned mitte = 0;
        for (auto i = s.erste + 1; i < s.letzte; ++i)
            mitte += punkte[i];
        *ziel++ = s.anteilErste * static_cast<float>(punkte[s.erste]) +
                  anteilGanz_ * static_cast<float>(mitte) +
                  s.anteilLetzte * static_cast<float>(punkte[s.letzte]);
    }
}

void Verkleinerer::abschliessen() {
    auto ziel = bild_.punkte.begin() + static_cast<std::ptrdiff_t>(zielzeile_) * bild_.breite;
    for (auto& wert : summe_) {
        *ziel++ = static_cast<std::uint8_t>(std::clamp(wert + 0.5F, 0.0F, 255.0F));
        wert = 0.0F;
    }
    ++zielzeile_;
}

void Verkleinerer::zeile(std::span<std::uint8_t const> punkte) {
    if (quellzeile_ >= hoehe_ || zielzeile_ >= bild_.hoehe)
        return;
    if (unveraendert_) {
        std::ranges::copy(
            punkte.first(static_cast<std::size_t>(breite_)),
            bild_.punkte.begin() + static_cast<std::ptrdiff_t>(zielzeile_) * bild_.breite);
        ++quellzeile_;
        ++zielzeile_;
        return;
    }
    waagrecht(punkte);
    // A source row lies in one target row, or across the border of two.
    double const grenze = (zielzeile_ + 1) * hoehenverhaeltnis_;
    double const von = quellzeile_;
    double const bis = von + 1;
    auto addiere = [this](double laenge) {
        auto const anteil = static_cast<float>(laenge / hoehenverhaeltnis_);
        for (std::size_t x = 0; x < summe_.size(); ++x)
            summe_[x] += anteil * reduziert_[x];
    };
    ++quellzeile_;
    if (bis < grenze && quellzeile_ < hoehe_) {
        addiere(1.0);
        return;
    }
    addiere(std::min(bis, grenze) - von);
    abschliessen();
    if (bis > grenze && zielzeile_ < bild_.hoehe)
        addiere(bis - grenze);
}

Graubild Verkleinerer::fertig() && {
    return std::move(bild_);
}

} // namespace quillmate::leser::motoren
