#include "textfelder.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <numeric>
#include <optional>
#include <span>
#include <utility>

// The way of a picture through this file: halbiert() halves it, tinte() parts ink from paper by the brightness around,
// formen() finds what hangs together, ketten() strings neighbours of like height together, and feld() judges a string.
// Lines that run down are found by the same steps over boxes whose axes are exchanged.

namespace quillmate::leser::motoren {

namespace {

// All lengths below are pixels of the halved picture.
constexpr int umkreis = 15;        // Half the window whose mean brightness counts as the paper's.
constexpr int mindesthoehe = 4;    // Of a letter. Smaller ones are not legible.
constexpr int hoechsthoehe = 70;   // Larger shapes are no letters of a document.
constexpr int hoechstensWeit = 10; // Letters that touch, in heights.
constexpr std::size_t mindestzeichen = 4;
constexpr int probenweite = 12;                   // Heights.
constexpr std::size_t hoechstensLaeufe = 500'000; // Of ink. A page of small print has some 200,000.

/// What hangs together.
struct Form {
    int links{}, oben{}, rechts{}, unten{}; ///< The latter two are the first that no longer belong to it.
    int flaeche{0};
    int laeufe{0};   ///< Runs of ink from left to right; area by runs is the width of a stroke.
    int spruenge{0}; ///< Runs of ink from top to bottom.

    [[nodiscard]] int breite() const { return rechts - links; }
    [[nodiscard]] int hoehe() const { return unten - oben; }
    [[nodiscard]] Form gespiegelt() const { return {oben, links, unten, rechts, flaeche, spruenge, laeufe}; }
};

Graubild halbiert(Graubild const& bild) {
    Graubild halb{bild.breite / 2, bild.hoehe / 2, {}};
    auto const breite = static_cast<std::size_t>(halb.breite);
    halb.punkte.resize(breite * static_cast<std::size_t>(halb.hoehe));
    for (int y = 0; y < halb.hoehe; ++y) {
        auto const* const a = bild.zeile(2 * y).data();
        auto const* const b = bild.zeile(2 * y + 1).data();
        auto* const ziel = halb.punkte.data() + static_cast<std::size_t>(y) * breite;
        for (std::size_t x = 0; x < breite; ++x)
            ziel[x] = static_cast<std::uint8_t>((a[2 * x] + a[2 * x + 1] + b[2 * x] + b[2 * x + 1] + 2) / 4);
    }
    return halb;
}

/// Adds a row to the sums of its columns, or takes it away.
template<typename Rechnung>
void verrechnen(std::vector<std::uint32_t>& summen, std::span<std::uint8_t const> zeile, Rechnung rechnung) {
    for (std::size_t x = 0; x < summen.size(); ++x)
        summen[x] = rechnung(summen[x], zeile[x]);
}

/// 1 where a point is darker than what lies around it by more than paper is uneven.
std::vector<std::uint8_t> tinte(Graubild const& bild) {
    constexpr unsigned dunkler = 88;   // Percent of the mean around.
    constexpr unsigned mindestens = 9; // Steps of grey.
    auto const breite = static_cast<std::size_t>(bild.breite);
    std::vector<std::uint8_t> ist(bild.punkte.size());
    std::vector<std::uint32_t> spalten(breite, 0);
    std::vector<std::uint32_t> bisher(breite + 1, 0);
    int unten = 0; // Rows from y - umkreis up to here are in the sums.
    for (int y = 0; y < bild.hoehe; ++y) {
        for (; unten < std::min(y + umkreis + 1, bild.hoehe); ++unten)
            verrechnen(spalten, bild.zeile(unten), std::plus<std::uint32_t>{});
        if (y > umkreis)
            verrechnen(spalten, bild.zeile(y - umkreis - 1), std::minus<std::uint32_t>{});
        auto const zeilen = static_cast<std::uint32_t>(unten - std::max(y - umkreis, 0));
        std::partial_sum(spalten.begin(), spalten.end(), bisher.begin() + 1);
        auto const* const punkte = bild.zeile(y).data();
        auto* const ziel = ist.data() + static_cast<std::size_t>(y) * breite;
        for (std::size_t x = 0; x < breite; ++x) {
            auto const von = x > umkreis ? x - umkreis : 0;
            auto const bis = std::min(x + umkreis + 1, breite);
            auto const mitte = (bisher[bis] - bisher[von]) / (zeilen * static_cast<std::uint32_t>(bis - von));
            ziel[x] = punkte[x] + mindestens < mitte && 100U * punkte[x] < dunkler * mitte ? 1 : 0;
        }
    }
    return ist;
}

/// A run of ink in one row, and which form it belongs to.
struct Lauf {
    int von, bis;
    std::size_t form;
};

std::size_t wurzel(std::vector<std::size_t>& eltern, std::size_t i) {
    while (eltern[i] != i)
        i = eltern[i] = eltern[eltern[i]];
    return i;
}

void vereinigen(std::vector<Form>& formen, std::vector<std::size_t>& eltern, std::size_t a, std::size_t b) {
    a = wurzel(eltern, a);
    b = wurzel(eltern, b);
    if (a == b)
        return;
    auto& ziel = formen[a];
    auto const& von = formen[b];
    ziel = {std::min(ziel.links, von.links), std::min(ziel.oben, von.oben), std::max(ziel.rechts, von.rechts),
            std::max(ziel.unten, von.unten), ziel.flaeche + von.flaeche,    ziel.laeufe + von.laeufe,
            ziel.spruenge + von.spruenge};
    eltern[b] = a;
}

bool koennteBuchstabeSein(Form const& form) {
    int const h = form.hoehe();
    int const b = form.breite();
    return h >= mindesthoehe && h <= hoechsthoehe && b <= hoechstensWeit * h;
}

/// Ink that touches, also at a corner. Nothing that is too small or too large to be a letter either way.
std::vector<Form> formen(std::vector<std::uint8_t> const& ist, int breite, int hoehe) {
    std::vector<Form> alle;
    std::vector<std::size_t> eltern;
    std::vector<Lauf> oben;
    std::vector<Lauf> hier;
    for (int y = 0; y < hoehe && alle.size() < hoechstensLaeufe; ++y) {
        auto const* const zeile = ist.data() + static_cast<std::ptrdiff_t>(y) * breite;
        hier.clear();
        std::size_t darueber = 0;
        for (int x = 0; x < breite;) {
            if (zeile[x] == 0) {
                ++x;
                continue;
            }
            int const von = x;
            while (x < breite && zeile[x] != 0)
                ++x;
            auto const neu = alle.size();
            alle.push_back({von, y, x, y + 1, x - von, 1, x - von});
            eltern.push_back(neu);
            while (darueber < oben.size() && oben[darueber].bis < von)
                ++darueber;
            for (auto i = darueber; i < oben.size() && oben[i].von <= x; ++i) {
                // Points that lie below ink begin no new run from top to bottom.
                alle[wurzel(eltern, neu)].spruenge -=
                    std::max(0, std::min(x, oben[i].bis) - std::max(von, oben[i].von));
                vereinigen(alle, eltern, oben[i].form, neu);
            }
            hier.push_back({von, x, neu});
        }
        oben.swap(hier);
    }
    std::vector<Form> gute;
    for (std::size_t i = 0; i < alle.size(); ++i)
        if (eltern[i] == i && (koennteBuchstabeSein(alle[i]) || koennteBuchstabeSein(alle[i].gespiegelt())))
            gute.push_back(alle[i]);
    return gute;
}

constexpr auto keine = static_cast<std::size_t>(-1);

/// Whether `b` could be the next letter after `a`.
bool folgt(Form const& a, Form const& b) {
    int const klein = std::min(a.hoehe(), b.hoehe());
    int const gross = std::max(a.hoehe(), b.hoehe());
    if (2 * gross > 5 * klein || b.links < a.links + 1 || b.links - a.rechts > 3 * gross / 2 + 1 ||
        a.rechts - b.links > klein)
        return false;
    int const spiel = gross / 4 + 1;
    return std::abs(a.unten - b.unten) <= spiel || std::abs(a.oben - b.oben) <= spiel;
}

/// Neighbours strung together, each from left to right.
std::vector<std::vector<std::size_t>> ketten(std::vector<Form> const& alle, int hoehe) {
    constexpr int fach = 8; // Rows that share a list.
    std::vector<std::vector<std::size_t>> faecher(static_cast<std::size_t>(hoehe / fach + 1));
    for (std::size_t i = 0; i < alle.size(); ++i) // They come from left to right.
        faecher[static_cast<std::size_t>((alle[i].oben + alle[i].unten) / 2 / fach)].push_back(i);
    std::vector<std::size_t> naechste(alle.size(), keine);
    std::vector<std::size_t> vorige(alle.size(), keine);
    for (std::size_t i = 0; i < alle.size(); ++i) {
        auto const& form = alle[i];
        int const mitte = (form.oben + form.unten) / 2;
        int const weite = form.hoehe();
        auto const erstes = static_cast<std::size_t>(std::max(mitte - weite, 0) / fach);
        auto const letztes = std::min(static_cast<std::size_t>((mitte + weite) / fach), faecher.size() - 1);
        std::size_t beste = keine;
        for (auto f = erstes; f <= letztes; ++f) {
            auto stelle = std::ranges::upper_bound(faecher[f], i);
            for (int schritte = 0; stelle != faecher[f].end() && schritte < 12; ++stelle, ++schritte) {
                auto const& andere = alle[*stelle];
                if (andere.links - form.rechts > 4 * form.hoehe())
                    break;
                if (folgt(form, andere) && (beste == keine || andere.links < alle[beste].links))
                    beste = *stelle;
            }
        }
        // Of two that would have the same successor the nearer one keeps it.
        if (beste == keine || (vorige[beste] != keine && alle[vorige[beste]].rechts >= form.rechts))
            continue;
        if (vorige[beste] != keine)
            naechste[vorige[beste]] = keine;
        naechste[i] = beste;
        vorige[beste] = i;
    }
    std::vector<std::vector<std::size_t>> gefunden;
    for (std::size_t i = 0; i < alle.size(); ++i) {
        if (vorige[i] != keine || naechste[i] == keine)
            continue;
        auto& kette = gefunden.emplace_back();
        for (auto j = i; j != keine; j = naechste[j])
            kette.push_back(j);
    }
    return gefunden;
}

double median(std::vector<double>& werte) {
    auto const mitte = werte.begin() + static_cast<std::ptrdiff_t>(werte.size() / 2);
    std::ranges::nth_element(werte, mitte);
    return *mitte;
}

/// Share of the values that are off by no more than that.
double anteilUm(std::span<double const> werte, double mitte, double spiel) {
    auto const nahe = std::ranges::count_if(werte, [&](double w) { return std::abs(w - mitte) <= spiel; });
    return static_cast<double>(nahe) / static_cast<double>(werte.size());
}

/// What a string of shapes looks like as a line of print; nothing when it cannot be one.
std::optional<Textfeld> feld(std::vector<Form> const& alle, std::vector<std::size_t> const& kette) {
    std::vector<double> hoehen;
    std::vector<double> striche;
    Kasten kasten{alle[kette.front()].links, alle[kette.front()].oben, 0, 0};
    std::size_t zeichen = 0;
    for (auto const i : kette) {
        auto const& f = alle[i];
        hoehen.push_back(f.hoehe());
        striche.push_back(static_cast<double>(f.flaeche) / std::max(f.laeufe, f.spruenge));
        kasten.oben = std::min(kasten.oben, f.oben);
        kasten.rechts = std::max(kasten.rechts, f.rechts);
        kasten.unten = std::max(kasten.unten, f.unten);
        zeichen += static_cast<std::size_t>(std::max(1, f.breite() / std::max(f.hoehe(), 1)));
    }
    double const hoehe = median(hoehen);
    if (zeichen < mindestzeichen || kasten.rechts - kasten.links < 3 * hoehe)
        return std::nullopt;
    // The slope of the baseline, from shapes half a line apart.
    auto const halb = kette.size() / 2;
    std::vector<double> neigungen;
    for (std::size_t i = 0; i + halb < kette.size() && halb > 0; ++i) {
        auto const& a = alle[kette[i]];
        auto const& b = alle[kette[i + halb]];
        neigungen.push_back(static_cast<double>(b.unten - a.unten) / std::max(b.links - a.links, 1));
    }
    double const neigung = neigungen.empty() ? 0.0 : median(neigungen);
    std::vector<double> fuesse;
    for (auto const i : kette)
        fuesse.push_back(alle[i].unten - neigung * alle[i].links);
    auto sortiert = fuesse;
    double const grundlinie = median(sortiert);
    double const strich = median(striche);
    double const gerade = anteilUm(fuesse, grundlinie, std::max(1.0, 0.12 * hoehe));
    double const gleichHoch = anteilUm(hoehen, hoehe, std::max(1.5, 0.35 * hoehe));
    double const gleichDick = anteilUm(striche, strich, std::max(0.5, 0.3 * strich));
    Textfeld gefunden{
        .kasten = kasten,
        .zeichen = static_cast<int>(zeichen),
        .neigung = neigung,
        .guete = gerade * gleichHoch * gleichDick,
        .hoehe = hoehe,
        .probe = {kasten.links, kasten.unten, kasten.links, kasten.oben},
        .probezeichen = 0};
    auto& probe = gefunden.probe;
    for (auto const i : kette) {
        auto const& f = alle[i];
        if (gefunden.probezeichen > 0 && f.rechts - probe.links > probenweite * hoehe)
            break;
        probe = {
            probe.links, std::min(probe.oben, f.oben), std::max(probe.rechts, f.rechts),
            std::max(probe.unten, f.unten)};
        gefunden.probezeichen += std::max(1, f.breite() / std::max(f.hoehe(), 1));
    }
    return gefunden;
}

std::vector<Textfeld> felderAus(std::vector<Form> alle, int hoehe) {
    std::erase_if(alle, [](Form const& f) { return !koennteBuchstabeSein(f); });
    std::ranges::sort(alle, {}, &Form::links);
    std::vector<Textfeld> felder;
    for (auto const& kette : ketten(alle, hoehe))
        if (auto const f = feld(alle, kette))
            felder.push_back(*f);
    std::ranges::sort(felder, std::greater{}, [](Textfeld const& f) { return f.guete * f.zeichen; });
    return felder;
}

/// Back to the size of the picture that was halved.
void verdoppeln(std::vector<Textfeld>& felder) {
    for (auto& f : felder) {
        for (auto* k : {&f.kasten, &f.probe})
            *k = {2 * k->links, 2 * k->oben, 2 * k->rechts, 2 * k->unten};
        f.hoehe *= 2;
    }
}

} // namespace

namespace {

bool istBrauchbar(Textfeld const& feld) {
    constexpr int mindestens = 5;
    return feld.guete >= brauchbareGuete && feld.zeichen >= mindestens;
}

} // namespace

int brauchbare(std::vector<Textfeld> const& felder) {
    return static_cast<int>(std::ranges::count_if(felder, istBrauchbar));
}

bool sindEinig(std::vector<Textfeld> const& felder) {
    constexpr std::size_t mindestens = 6;
    constexpr std::size_t vonJe = 3; // One of so many; the others are logos, headings and dirt.
    constexpr double neigungsspiel = 0.025;
    std::vector<double> neigungen;
    std::vector<double> hoehen;
    for (auto const& f : felder)
        if (istBrauchbar(f)) {
            neigungen.push_back(f.neigung);
            hoehen.push_back(f.hoehe);
        }
    if (neigungen.size() < mindestens)
        return false;
    double const neigung = median(neigungen);
    double const hoehe = median(hoehen);
    auto const einige = static_cast<std::size_t>(std::ranges::count_if(felder, [&](Textfeld const& f) {
        return istBrauchbar(f) && std::abs(f.neigung - neigung) <= neigungsspiel &&
               std::abs(f.hoehe - hoehe) <= hoehe / 4 + 1;
    }));
    return einige >= mindestens && vonJe * einige >= neigungen.size();
}

bool Textblick::liegtQuer() const {
    auto gewicht = [](std::vector<Textfeld> const& felder) {
        return std::transform_reduce(felder.begin(), felder.end(), 0.0, std::plus<>{}, [](Textfeld const& f) {
            return f.guete * f.zeichen * f.zeichen;
        });
    };
    return gewicht(hoch) > gewicht(quer);
}

Textblick textblick(Graubild const& bild) {
    if (bild.breite < 4 * mindesthoehe || bild.hoehe < 4 * mindesthoehe)
        return {};
    auto const halb = halbiert(bild);
    auto alle = formen(tinte(halb), halb.breite, halb.hoehe);
    std::vector<Form> gespiegelte;
    gespiegelte.reserve(alle.size());
    std::ranges::transform(alle, std::back_inserter(gespiegelte), &Form::gespiegelt);
    Textblick blick{felderAus(std::move(alle), halb.hoehe), felderAus(std::move(gespiegelte), halb.breite)};
    verdoppeln(blick.quer);
    for (auto& f : blick.hoch)
        for (auto* k : {&f.kasten, &f.probe})
            *k = {k->oben, k->links, k->unten, k->rechts};
    verdoppeln(blick.hoch);
    return blick;
}

} // namespace quillmate::leser::motoren
