#include "lage.h"

#include "texterkennung/heuristik.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace quillmate::leser::motoren {

namespace {

constexpr float sicher = 0.6F; // Words of noise seldom have more.
constexpr std::ptrdiff_t mindestlaenge = 3;
constexpr double klar = 8.0;         // Letters that settle it at once,
constexpr double klarerAnteil = 0.5; // if they are so many of those that were to be seen.
constexpr double genug = 4.0;        // Letters without which nothing is print.
constexpr std::size_t probenJeLage = 3;
constexpr std::size_t hoechstensProben = 7;
constexpr int vieleZeilen = 8;
constexpr std::size_t ganzeZeilen = 8;

/// The piece of the picture with (a part of) a line in it, and paper around.
Graubild ausschnitt(Graubild const& bild, Textfeld const& feld, Kasten const& k) {
    int const rand = static_cast<int>(feld.hoehe / 2) + 3;
    int const links = std::max(k.links - rand, 0);
    int const rechts = std::min(k.rechts + rand, bild.breite);
    auto streifen = querstreifen(bild, k.oben - rand, k.unten + rand);
    Graubild stueck{rechts - links, streifen.hoehe, {}};
    stueck.punkte.reserve(static_cast<std::size_t>(stueck.breite) * static_cast<std::size_t>(stueck.hoehe));
    for (int y = 0; y < streifen.hoehe; ++y) {
        auto const zeile = streifen.zeile(y).subspan(
            static_cast<std::size_t>(links), static_cast<std::size_t>(stueck.breite));
        stueck.punkte.insert(stueck.punkte.end(), zeile.begin(), zeile.end());
    }
    return stueck;
}

/// Slope once the picture is turned this way: what runs down becomes level by a quarter turn, which exchanges left and right
/// for it.
double neigungNach(int drehung, double neigung) {
    return drehung == 1 || drehung == 3 ? neigung : -neigung;
}

double mittlereNeigung(std::vector<Textfeld> const& felder) {
    // Long lines know better; the median of them is not moved by a few that are none.
    std::vector<double> neigungen;
    for (auto const& f : felder)
        if (f.guete >= brauchbareGuete)
            neigungen.insert(neigungen.end(), static_cast<std::size_t>(f.zeichen / 4), f.neigung);
    if (neigungen.empty())
        return 0.0;
    auto const mitte = neigungen.begin() + static_cast<std::ptrdiff_t>(neigungen.size() / 2);
    std::ranges::nth_element(neigungen, mitte);
    return *mitte;
}

/// What was read in one way of turning.
struct Versuch {
    int drehung;
    std::vector<Textfeld> const* felder;
    double gehalt{0.0};
    int zeichen{0};

    void lies(
        Graubild const& bild, std::size_t welches, Probenleser const& lesen,
        Kasten Textfeld::*teil = &Textfeld::probe) {
        auto const& feld = (*felder)[welches];
        auto stueck = ausgerichtet(ausschnitt(bild, feld, feld.*teil), drehung);
        if (auto const n = neigungNach(drehung, feld.neigung); std::abs(n) >= geringeNeigung)
            stueck = begradigt(stueck, n);
        gehalt += motoren::gehalt(lesen(std::move(stueck)));
        zeichen += feld.probezeichen;
    }
    [[nodiscard]] bool istKlar() const { return gehalt >= klar && gehalt >= klarerAnteil * zeichen; }
};

} // namespace

double gehalt(std::vector<Wort> const& woerter) {
    double summe = 0.0;
    for (auto const& wort : woerter) {
        auto const zeichen = std::ranges::count_if(wort.text, [](unsigned char c) {
            return std::isalnum(c) != 0 || c >= 0xC0; // One for each letter that takes several bytes.
        });
        if (wort.zuversicht >= sicher && zeichen >= mindestlaenge)
            summe += static_cast<double>(wort.zuversicht) * static_cast<double>(zeichen);
    }
    return summe;
}

Lage lage(Graubild const& bild, Textblick const& blick, Probenleser const& lesen) {
    std::array<Versuch, 4> versuche{{{1, &blick.quer}, {3, &blick.quer}, {8, &blick.hoch}, {6, &blick.hoch}}};
    if (blick.liegtQuer())
        std::ranges::rotate(versuche, versuche.begin() + 2);
    auto gefunden = [&](Versuch const& v) {
        return Lage{true, v.drehung, neigungNach(v.drehung, mittlereNeigung(*v.felder))};
    };
    for (auto& v : versuche) {
        if (brauchbare(*v.felder) < Texterkennung::MINDEST_TEXTFELDER)
            continue;
        for (std::size_t i = 0; i < std::min(v.felder->size(), probenJeLage); ++i) {
            v.lies(bild, i, lesen);
            if (v.istKlar())
                return gefunden(v);
        }
    }
    auto const& beste = *std::ranges::max_element(versuche, {}, &Versuch::gehalt);
    if (beste.gehalt >= genug)
        return gefunden(beste);
    auto& erster = versuche.front();
    // Small, faint or slanting print is not to be read in pieces, and yet a page of it, which is read whole.
    if (sindEinig(*erster.felder))
        return gefunden(erster);
    // Poor print: a few more lines, the likeliest way.
    for (auto i = probenJeLage; i < std::min(erster.felder->size(), hoechstensProben); ++i) {
        erster.lies(bild, i, lesen);
        if (erster.gehalt >= genug)
            return gefunden(erster);
    }
    // Print too small to be read in pieces still stands in many lines, which hold a word here and there.
    if (brauchbare(*erster.felder) >= vieleZeilen)
        for (std::size_t i = 0; i < std::min(erster.felder->size(), ganzeZeilen); ++i) {
            erster.lies(bild, i, lesen, &Textfeld::kasten);
            if (erster.gehalt >= genug)
                return gefunden(erster);
        }
    return {};
}

Graubild begradigt(Graubild const& bild, double neigung) {
    double const winkel = std::atan(neigung);
    double const c = std::cos(winkel);
    double const s = std::sin(winkel);
    Graubild neu{
        static_cast<int>(std::ceil(bild.breite * c + bild.hoehe * std::abs(s))),
        static_cast<int>(std::ceil(bild.hoehe * c + bild.breite * std::abs(s))),
        {}};
    neu.punkte.reserve(static_cast<std::size_t>(neu.breite) * static_cast<std::size_t>(neu.hoehe));
    constexpr int bruch = 8;
    constexpr int eins = 1 << bruch;
    auto fest = [](double wert) {
        return static_cast<std::int64_t>(std::lround(wert * 65'536));
    };
    auto const schrittX = fest(c);
    auto const schrittY = fest(s);
    for (int y = 0; y < neu.hoehe; ++y) {
        double const dx = -neu.breite / 2.0;
        double const dy = y - neu.hoehe / 2.0;
        auto qx = fest(c * dx - s * dy + bild.breite / 2.0);
        auto qy = fest(s * dx + c * dy + bild.hoehe / 2.0);
        for (int x = 0; x < neu.breite; ++x, qx += schrittX, qy += schrittY) {
            int const ganzX = static_cast<int>(qx >> 16);
            int const ganzY = static_cast<int>(qy >> 16);
            auto const restX = static_cast<int>((qx >> (16 - bruch)) & (eins - 1));
            auto const restY = static_cast<int>((qy >> (16 - bruch)) & (eins - 1));
            auto const x0 = static_cast<std::size_t>(std::clamp(ganzX, 0, bild.breite - 1));
            auto const x1 = static_cast<std::size_t>(std::clamp(ganzX + 1, 0, bild.breite - 1));
            auto const* const a = bild.zeile(std::clamp(ganzY, 0, bild.hoehe - 1)).data();
            auto const* const b = bild.zeile(std::clamp(ganzY + 1, 0, bild.hoehe - 1)).data();
            int const oben = a[x0] * (eins - restX) + a[x1] * restX;
            int const unten = b[x0] * (eins - restX) + b[x1] * restX;
            neu.punkte.push_back(static_cast<std::uint8_t>(
                (oben * (eins - restY) + unten * restY + (1 << (2 * bruch - 1))) >> (2 * bruch)));
        }
    }
    return neu;
}

} // namespace quillmate::leser::motoren
