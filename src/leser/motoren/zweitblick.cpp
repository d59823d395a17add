#include "zweitblick.h"

#include "texterkennung/heuristik.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <iterator>
#include <numeric>
#include <string_view>
#include <utility>

namespace quillmate::leser::motoren {

namespace {

constexpr float zweifel = 0.7F;
constexpr float vorsprungBetrag = 0.2F;
constexpr int mindestseite = 8; // Smaller pieces are specks.

Kasten umfassend(Kasten a, Kasten const& b) {
    return {
        std::min(a.links, b.links), std::min(a.oben, b.oben), std::max(a.rechts, b.rechts),
        std::max(a.unten, b.unten)};
}

Kasten umfassend(std::span<Wort const> woerter) {
    auto kasten = woerter.front().kasten;
    for (auto const& wort : woerter)
        kasten = umfassend(kasten, wort.kasten);
    return kasten;
}

Kasten beschnitten(Kasten k, Graubild const& bild) {
    return {
        std::max(k.links, 0), std::max(k.oben, 0), std::min(k.rechts, bild.breite),
        std::min(k.unten, bild.hoehe)};
}

/// With some room around: the engine wants to see where a letter ends.
Kasten mitRand(Kasten k, Graubild const& bild) {
    int const hoehe = k.unten - k.oben;
    int const seitlich = hoehe / 3 + 3;
    int const darueber = hoehe / 8 + 3;
    return beschnitten(
        {k.links - seitlich, k.oben - darueber, k.rechts + seitlich, k.unten + darueber}, bild);
}

bool istZiffer(unsigned char c) {
    return std::isdigit(c) != 0;
}

bool hatZiffer(std::string_view text) {
    return std::ranges::any_of(text, istZiffer);
}

bool sindCent(std::string_view text) {
    return text.size() == 2 && std::ranges::all_of(text, istZiffer);
}

bool istTrennzeichen(char c) {
    return c == ',' || c == '.';
}

/// Whether two digits stand behind a separator that no euros stand before: ",00", ", 00" or "39, 00".
bool hatEinzelneCent(std::span<Wort const> woerter) {
    for (std::size_t i = 0; i < woerter.size(); ++i) {
        std::string_view const text = woerter[i].text;
        if (!text.empty() && istTrennzeichen(text.front()) && sindCent(text.substr(1)))
            return true;
        if (i == 0 || !sindCent(text))
            continue;
        std::string_view const davor = woerter[i - 1].text;
        if (!davor.empty() && istTrennzeichen(davor.back()) &&
            (davor.size() == 1 || istZiffer(static_cast<unsigned char>(davor[davor.size() - 2]))))
            return true;
    }
    return false;
}

std::string verbunden(std::span<Wort const> woerter) {
    std::string text;
    for (auto const& wort : woerter)
        text += wort.text + ' ';
    return text;
}

int breite(std::span<Wort const> woerter) {
    return std::transform_reduce(woerter.begin(), woerter.end(), 0, std::plus<>{}, [](Wort const& w) {
        return std::max(w.kasten.rechts - w.kasten.links, 1);
    });
}

/// How much a reading is worth of which words of this width are expected: mean confidence per width, so that what is
/// missing counts as read with none, and the advance of an amount.
float guete(std::span<Wort const> woerter, int erwarteteBreite) {
    if (woerter.empty())
        return 0.0F;
    float summe = 0.0F;
    for (auto const& wort : woerter)
        summe += wort.zuversicht * static_cast<float>(std::max(wort.kasten.rechts - wort.kasten.links, 1));
    return summe / static_cast<float>(std::max(breite(woerter), erwarteteBreite)) +
           (Texterkennung::hatBetrag(verbunden(woerter)) ? vorsprungBetrag : 0.0F);
}

/// The grey value that parts ink from paper best (Otsu): the ink is at most this dark.
int schwelle(Graubild const& bild, Kasten k) {
    std::array<int, 256> haeufigkeit{};
    for (int y = k.oben; y < k.unten; ++y)
        for (int x = k.links; x < k.rechts; ++x)
            ++haeufigkeit[bild.zeile(y)[static_cast<std::size_t>(x)]];
    double gesamt = 0;
    double anzahl = 0;
    for (std::size_t g = 0; g < haeufigkeit.size(); ++g) {
        gesamt += static_cast<double>(g) * haeufigkeit[g];
        anzahl += haeufigkeit[g];
    }
    double dunkel = 0;
    double dunkelSumme = 0;
    double besteTrennung = -1;
    int beste = 0;
    for (std::size_t g = 0; g + 1 < haeufigkeit.size(); ++g) {
        dunkel += haeufigkeit[g];
        dunkelSumme += static_cast<double>(g) * haeufigkeit[g];
        double const hell = anzahl - dunkel;
        if (dunkel == 0 || hell == 0)
            continue;
        double const unterschied = dunkelSumme / dunkel - (gesamt - dunkelSumme) / hell;
        double const trennung = dunkel * hell * unterschied * unterschied;
        if (trennung > besteTrennung) {
            besteTrennung = trennung;
            beste = static_cast<int>(g);
        }
    }
    return beste;
}

/// Letters, as far as blank columns part them.
std::vector<Kasten> zeichen(Graubild const& bild, Kasten k) {
    int const tinte = schwelle(bild, k);
    std::vector<Kasten> gefunden;
    bool offen = false;
    for (int x = k.links; x < k.rechts; ++x) {
        int oben = k.unten;
        int unten = k.oben;
        for (int y = k.oben; y < k.unten; ++y)
            if (bild.zeile(y)[static_cast<std::size_t>(x)] <= tinte) {
                oben = std::min(oben, y);
                unten = y + 1;
            }
        if (oben >= unten) {
            offen = false;
            continue;
        }
        Kasten const spalte{x, oben, x + 1, unten};
        if (offen)
            gefunden.back() = umfassend(gefunden.back(), spalte);
        else
            gefunden.push_back(spalte);
        offen = true;
    }
    return gefunden;
}

int hoehe(Kasten const& k) {
    return k.unten - k.oben;
}

/// The height that three quarters do not exceed: that of capitals and digits, whatever small letters are there.
int grosseHoehe(std::span<Kasten const> zeichen) {
    std::vector<int> hoehen;
    std::ranges::transform(zeichen, std::back_inserter(hoehen), hoehe);
    auto const stelle = hoehen.begin() + static_cast<std::ptrdiff_t>(hoehen.size() * 3 / 4);
    std::ranges::nth_element(hoehen, stelle);
    return *stelle;
}

/// The part of the picture between two columns, as high as its ink.
Kasten tintenkasten(std::span<Kasten const> zeichen) {
    auto kasten = zeichen.front();
    for (auto const& z : zeichen)
        kasten = umfassend(kasten, z);
    return kasten;
}

/// Letters without dots, dashes and commas.
std::vector<Kasten> grosseZeichen(Graubild const& bild, Kasten kasten) {
    auto alle = zeichen(bild, kasten);
    int hoechste = 0;
    for (auto const& z : alle)
        hoechste = std::max(hoechste, hoehe(z));
    std::erase_if(alle, [&](Kasten const& z) { return 10 * hoehe(z) < 3 * hoechste; });
    return alle;
}

std::vector<Wort> neuGelesen(Graubild const& bild, Kasten kasten, Stueckleser const& lesen) {
    auto const grenze = groessenwechsel(bild, kasten);
    if (!grenze)
        return lesen(mitRand(kasten, bild));
    auto const alle = grosseZeichen(bild, kasten);
    auto const zweites = std::ranges::find_if(alle, [&](Kasten const& z) { return z.links >= *grenze; });
    std::vector<Wort> woerter;
    for (auto const& haelfte : {std::span{alle.begin(), zweites}, std::span{zweites, alle.end()}}) {
        auto rand = mitRand(tintenkasten(haelfte), bild);
        // Not into the other half.
        if (haelfte.begin() == std::span{alle}.begin())
            rand.rechts = std::min(rand.rechts, *grenze);
        else
            rand.links = std::max(rand.links, *grenze - 1);
        std::ranges::move(lesen(rand), std::back_inserter(woerter));
    }
    return woerter;
}

} // namespace

std::vector<Stueck> stuecke(Textzeile const& zeile) {
    if (zeile.woerter.empty())
        return {};
    int const zeilenhoehe = hoehe(umfassend(zeile.woerter));
    std::vector<Stueck> gefunden{{0, 1}};
    for (std::size_t i = 1; i < zeile.woerter.size(); ++i) {
        if (zeile.woerter[i].kasten.links - zeile.woerter[i - 1].kasten.rechts >= zeilenhoehe)
            gefunden.push_back({i, i});
        gefunden.back().ende = i + 1;
    }
    return gefunden;
}

bool zweifelhaft(std::span<Wort const> woerter) {
    if (std::ranges::any_of(
            woerter, [](Wort const& w) { return w.zuversicht < zweifel && hatZiffer(w.text); }))
        return true;
    auto const text = verbunden(woerter);
    bool const betragErwartet = text.find("€") != std::string::npos || hatEinzelneCent(woerter);
    return betragErwartet && hatZiffer(text) && !Texterkennung::hatBetrag(text);
}

std::optional<int> groessenwechsel(Graubild const& bild, Kasten kasten) {
    // Print of another size is at least half as large again; capitals among small letters are less.
    constexpr double verhaeltnis = 1.5;
    constexpr std::size_t mindestzeichen = 3; // "0,00", and a word before it.
    auto const alle = grosseZeichen(bild, beschnitten(kasten, bild));
    if (alle.size() < 2 * mindestzeichen)
        return std::nullopt;
    std::optional<int> grenze;
    int kleinsteAbweichung = 0;
    for (auto k = mindestzeichen; k + mindestzeichen <= alle.size(); ++k) {
        auto const links = std::span{alle}.first(k);
        auto const rechts = std::span{alle}.subspan(k);
        int const hoeheLinks = grosseHoehe(links);
        int const hoeheRechts = grosseHoehe(rechts);
        if (std::max(hoeheLinks, hoeheRechts) < verhaeltnis * std::min(hoeheLinks, hoeheRechts))
            continue;
        int abweichung = 0;
        for (auto const& z : links)
            abweichung += std::abs(hoehe(z) - hoeheLinks);
        for (auto const& z : rechts)
            abweichung += std::abs(hoehe(z) - hoeheRechts);
        if (!grenze || abweichung < kleinsteAbweichung) {
            grenze = rechts.front().links;
            kleinsteAbweichung = abweichung;
        }
    }
    return grenze;
}

std::size_t zweiterBlick(std::vector<Textzeile>& zeilen, Graubild const& bild, Stueckleser const& lesen) {
    std::size_t gelesen = 0;
    for (auto& zeile : zeilen) {
        auto const alle = stuecke(zeile);
        bool geaendert = false;
        // From the right, so that the indices of what is left of a replaced piece still hold.
        for (auto stueck = alle.rbegin(); stueck != alle.rend() && gelesen < hoechstensStuecke; ++stueck) {
            auto const alt = std::span{zeile.woerter}.subspan(stueck->erstes, stueck->ende - stueck->erstes);
            auto const kasten = beschnitten(umfassend(alt), bild);
            if (!zweifelhaft(alt) || kasten.rechts - kasten.links < mindestseite ||
                hoehe(kasten) < mindestseite)
                continue;
            ++gelesen;
            auto neu = neuGelesen(bild, kasten, lesen);
            auto const erwartet = breite(alt);
            if (guete(neu, erwartet) <= guete(alt, erwartet))
                continue;
            auto const anfang = zeile.woerter.begin() + static_cast<std::ptrdiff_t>(stueck->erstes);
            auto const stelle = zeile.woerter.erase(
                anfang, zeile.woerter.begin() + static_cast<std::ptrdiff_t>(stueck->ende));
            zeile.woerter.insert(
                stelle, std::make_move_iterator(neu.begin()), std::make_move_iterator(neu.end()));
            geaendert = true;
        }
        if (geaendert)
            zeile.zuversicht = mittlereZuversicht(zeile.woerter);
    }
    return gelesen;
}

} // namespace quillmate::leser::motoren
