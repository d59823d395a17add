#include "abgleich.h"

#include "grundlage/text.h"
#include "texterkennung/heuristik.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <limits>

namespace quillmate::demo {

namespace {

bool istZiffer(char c) {
    return c >= '0' && c <= '9';
}

Cent ohneVorzeichen(Cent betrag) {
    // The smallest number has no positive counterpart; no text holds either.
    return betrag == std::numeric_limits<Cent>::min() ? std::numeric_limits<Cent>::max() : std::abs(betrag);
}

/// A number as it stands in the text: digit groups and what parts them.
struct Zahl {
    std::vector<std::string_view> gruppen;
    std::string trenner; ///< One character between each two groups: '.', ',' or ' '.
};

/// Longest number that is looked at: more groups are no amount.
constexpr std::size_t hoechstensGruppen = 8;

/// Amounts are below ten billions; longer digits are account or invoice numbers.
constexpr std::size_t hoechstensZiffern = 10;

/// Adds the amount that groups [ab, ende) are, if they are one: "1.234,56", "1234,56", "1,234.56".
void deute(Zahl const& zahl, std::size_t ab, std::size_t ende, std::set<Cent>& betraege) {
    if (ende - ab < 2 || zahl.gruppen[ende - 1].size() != 2 || zahl.trenner[ende - 2] == ' ')
        return;
    std::string ziffern{zahl.gruppen[ab]};
    if (ende - ab > 2 && ziffern.size() > 3)
        return;
    auto const dezimal = zahl.trenner[ende - 2];
    for (std::size_t i = ab + 1; i + 1 < ende; ++i) {
        // Groups of thousands have three digits and another separator than the decimals ("1.234.56" is a
        // version).
        if (zahl.gruppen[i].size() != 3 || zahl.trenner[i - 1] == dezimal ||
            zahl.trenner[i - 1] != zahl.trenner[ab])
            return;
        ziffern += zahl.gruppen[i];
    }
    ziffern += zahl.gruppen[ende - 1];
    if (ziffern.size() > hoechstensZiffern)
        return;
    Cent wert = 0;
    std::from_chars(ziffern.data(), ziffern.data() + ziffern.size(), wert);
    betraege.insert(wert);
}

constexpr std::string_view geschuetztesLeerzeichen = "\xC2\xA0";
constexpr std::string_view schmalesLeerzeichen = "\xE2\x80\xAF";

/// Length of the blank at the start of `text`; 0 without one.
std::size_t leerzeichen(std::string_view text) {
    for (auto const zeichen : {std::string_view{" "}, geschuetztesLeerzeichen, schmalesLeerzeichen})
        if (text.starts_with(zeichen))
            return zeichen.size();
    return 0;
}

/// Reads the number at the start of `text` and takes it off.
Zahl liesZahl(std::string_view& text) {
    Zahl zahl;
    for (;;) {
        std::size_t laenge = 0;
        while (laenge < text.size() && istZiffer(text[laenge]))
            ++laenge;
        zahl.gruppen.push_back(text.substr(0, laenge));
        text.remove_prefix(laenge);
        if (text.size() > 1 && (text[0] == '.' || text[0] == ',') && istZiffer(text[1])) {
            zahl.trenner += text[0];
            text.remove_prefix(1);
            continue;
        }
        if (auto const blank = leerzeichen(text);
            blank > 0 && text.size() > blank && istZiffer(text[blank])) {
            zahl.trenner += ' ';
            text.remove_prefix(blank);
            continue;
        }
        return zahl;
    }
}

/// Reads up to `hoechstens` digits. -1 without any, or with more.
int liesZiffern(std::string_view& text, std::size_t hoechstens) {
    std::size_t laenge = 0;
    while (laenge < text.size() && istZiffer(text[laenge]))
        ++laenge;
    if (laenge == 0 || laenge > hoechstens)
        return -1;
    int wert = 0;
    std::from_chars(text.data(), text.data() + laenge, wert);
    text.remove_prefix(laenge);
    return wert;
}

/// A year of two or four digits; -1 for anything else ("1.2.3" is no date).
int liesJahr(std::string_view& text) {
    auto const vorher = text.size();
    auto const jahr = liesZiffern(text, 4);
    auto const ziffern = vorher - text.size();
    return ziffern == 2 || ziffern == 4 ? jahr : -1;
}

std::optional<Tag> alsTag(int jahr, int monat, int tag) {
    if (jahr >= 0 && jahr < 100)
        jahr += 2000;
    if (jahr < 1990 || jahr > 2099 || monat < 1 || tag < 1)
        return std::nullopt;
    std::chrono::year_month_day const datum{
        std::chrono::year{jahr}, std::chrono::month{static_cast<unsigned>(monat)},
        std::chrono::day{static_cast<unsigned>(tag)}};
    if (!datum.ok())
        return std::nullopt;
    return Tag{datum};
}

struct Monatsname {
    std::string_view anfang; ///< Lower case; the rest of the word does not matter.
    int monat;
};

constexpr std::array monatsnamen{Monatsname{"jan", 1},  Monatsname{"jän", 1},  Monatsname{"feb", 2},
                                 Monatsname{"mär", 3},  Monatsname{"mar", 3},  Monatsname{"mae", 3},
                                 Monatsname{"apr", 4},  Monatsname{"mai", 5},  Monatsname{"may", 5},
                                 Monatsname{"jun", 6},  Monatsname{"jul", 7},  Monatsname{"aug", 8},
                                 Monatsname{"sep", 9},  Monatsname{"okt", 10}, Monatsname{"oct", 10},
                                 Monatsname{"nov", 11}, Monatsname{"dez", 12}, Monatsname{"dec", 12}};

void ueberspringeLeerraum(std::string_view& text) {
    while (!text.empty()) {
        auto const blank = leerzeichen(text);
        if (blank == 0)
            return;
        text.remove_prefix(blank);
    }
}

/// A date at the start of `text`, which begins with a digit. `text` is in lower case.
std::optional<Tag> liesDatum(std::string_view text) {
    auto const erste = liesZiffern(text, 4);
    if (erste < 0 || text.empty())
        return std::nullopt;
    auto const zeichen = text.front();
    if (zeichen != '.' && zeichen != '-' && zeichen != '/')
        return std::nullopt;
    text.remove_prefix(1);
    if (zeichen == '.') {
        ueberspringeLeerraum(text); // "12. März 2026", and what OCR makes of "12.03.2026"
        for (auto const& name : monatsnamen) {
            if (!text.starts_with(name.anfang))
                continue;
            while (!text.empty() && (static_cast<unsigned char>(text.front()) >= 0x80 ||
                                     (text.front() >= 'a' && text.front() <= 'z') || text.front() == '.'))
                text.remove_prefix(1);
            ueberspringeLeerraum(text);
            return alsTag(liesJahr(text), name.monat, erste);
        }
    }
    auto const zweite = liesZiffern(text, 2);
    if (zweite < 0 || text.empty() || text.front() != zeichen)
        return std::nullopt;
    text.remove_prefix(1);
    if (zeichen == '.')
        ueberspringeLeerraum(text);
    return zeichen == '-' ? alsTag(erste, zweite, liesZiffern(text, 2))
                          : alsTag(liesJahr(text), zweite, erste);
}

} // namespace

std::set<Cent> betraegeAus(std::string_view text) {
    std::set<Cent> betraege;
    bool amWortanfang = true; // Digits within a word ("RE2026.10") are part of a number that is no amount.
    while (!text.empty()) {
        if (!istZiffer(text.front())) {
            auto const c = static_cast<unsigned char>(text.front());
            amWortanfang = !((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == ',');
            text.remove_prefix(1);
            continue;
        }
        auto const zahl = liesZahl(text);
        // Each stretch that neither begins nor ends within "12.03" may be an amount: blanks part numbers or
        // groups.
        for (std::size_t ab = 0; ab < zahl.gruppen.size(); ++ab) {
            if (ab == 0 ? !amWortanfang : zahl.trenner[ab - 1] != ' ')
                continue;
            for (std::size_t ende = ab + 2; ende <= std::min(zahl.gruppen.size(), ab + hoechstensGruppen);
                 ++ende)
                if (ende == zahl.gruppen.size() || zahl.trenner[ende - 1] == ' ')
                    deute(zahl, ab, ende, betraege);
        }
        amWortanfang = true;
    }
    return betraege;
}

std::set<Tag> dateAus(std::string_view text) {
    std::set<Tag> tage;
    auto const klein = zusammengesetzt(kleingeschrieben(text));
    std::string_view const sicht = klein;
    for (std::size_t i = 0; i < sicht.size(); ++i) {
        if (!istZiffer(sicht[i]) || (i > 0 && istZiffer(sicht[i - 1])))
            continue;
        if (auto const tag = liesDatum(sicht.substr(i)))
            tage.insert(*tag);
    }
    return tage;
}

bool istBeleg(std::string_view text) {
    return Texterkennung::hatBelegwort(text) && !betraegeAus(text).empty();
}

bool betragStehtIn(std::string_view text, Buchung const& buchung) {
    return betraegeAus(text).contains(ohneVorzeichen(buchung.betrag));
}

std::optional<std::int64_t> passendeBuchung(std::string_view text, std::span<Buchung const> offene) {
    auto const betraege = betraegeAus(text);
    auto const tage = dateAus(text);
    std::optional<std::int64_t> beste;
    auto besterAbstand = std::chrono::days::max();
    std::size_t gleicherBetrag = 0;
    for (auto const& buchung : offene) {
        if (!betraege.contains(ohneVorzeichen(buchung.betrag)))
            continue;
        ++gleicherBetrag;
        if (tage.empty() && gleicherBetrag == 1)
            beste = buchung.id;
        for (auto const tag : tage) {
            auto const vorher = buchung.datum - tag; // positive: the receipt came first
            if (vorher > hoechstensVorBuchung || -vorher > hoechstensNachBuchung)
                continue;
            auto const abstand = std::chrono::abs(vorher);
            if (abstand < besterAbstand) {
                besterAbstand = abstand;
                beste = buchung.id;
            }
        }
    }
    if (tage.empty() && gleicherBetrag > 1)
        return std::nullopt;
    return beste;
}

std::string alsIsoDatum(Tag tag) {
    std::chrono::year_month_day const datum{tag};
    return fmt::format(
        "{:04}-{:02}-{:02}", static_cast<int>(datum.year()), static_cast<unsigned>(datum.month()),
        static_cast<unsigned>(datum.day()));
}

std::optional<Tag> ausIsoDatum(std::string_view text) {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-')
        return std::nullopt;
    auto jahr = text.substr(0, 4);
    auto monat = text.substr(5, 2);
    auto tag = text.substr(8, 2);
    if (!std::ranges::all_of(jahr, istZiffer) || !std::ranges::all_of(monat, istZiffer) ||
        !std::ranges::all_of(tag, istZiffer))
        return std::nullopt;
    return alsTag(liesZiffern(jahr, 4), liesZiffern(monat, 2), liesZiffern(tag, 2));
}

std::string alsEuro(Cent betrag) {
    auto const negativ = betrag < 0;
    // Through unsigned: the smallest number has no positive counterpart.
    auto const wert = negativ ? ~static_cast<std::uint64_t>(betrag) + 1 : static_cast<std::uint64_t>(betrag);
    auto euro = fmt::format("{}", wert / 100);
    for (auto i = static_cast<std::ptrdiff_t>(euro.size()) - 3; i > 0; i -= 3)
        euro.insert(static_cast<std::size_t>(i), 1, '.');
    return fmt::format("{}{},{:02} €", negativ ? "-" : "", euro, wert % 100);
}

} // namespace quillmate::demo
