#include "anzeige.h"

#include "grundlage/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <string_view>
#include <vector>

namespace quillmate::demo {

std::string gebaendigt(std::string_view text, std::size_t breite) {
    std::string sauber;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const c = static_cast<unsigned char>(text[i]);
        // C1 control characters are two bytes in UTF-8: C2 80 to C2 9F.
        bool const c1 = c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (c < 0x20 || c == 0x7F || c1)
            sauber += "·";
        else
            sauber += text[i];
        i += c1 ? 1 : 0;
    }
    if (zeichenzahl(sauber, breite + 1) > breite)
        sauber = ersteZeichen(sauber, breite - 1) + "…";
    return sauber;
}

namespace {

/// Columns by characters; fmt counts code points, a decomposed umlaut has two.
std::string aufgefuellt(std::string text, std::size_t breite) {
    auto const laenge = zeichenzahl(text, breite);
    return text.append(breite - laenge, ' ');
}

std::string alsGroesse(std::int64_t bytes) {
    return bytes < 1'000'000 ? fmt::format("{:.1f} kB", static_cast<double>(bytes) / 1e3)
                             : fmt::format("{:.1f} MB", static_cast<double>(bytes) / 1e6);
}

std::string_view alsWort(Herkunft herkunft) {
    switch (herkunft) {
    case Herkunft::scan:
        return "Scan";
    case Herkunft::gezielt:
        return "Suche";
    case Herkunft::portal:
        return "Portal";
    }
    return "";
}

std::string_view alsWort(Zustand zustand) {
    switch (zustand) {
    case Zustand::ungelesen:
        return "noch ungelesen";
    case Zustand::beleg:
        return "Beleg ohne Buchung";
    case Zustand::keinBeleg:
        return "kein Beleg erkannt";
    }
    return "";
}

constexpr std::size_t breiteName = 44;
constexpr std::size_t breiteHaendler = 30;

std::string alsTabelle(Speicher& speicher, std::int64_t kunde) {
    std::map<std::int64_t, Buchung> buchungen;
    for (auto& buchung : speicher.buchungen(kunde)) {
        auto const id = buchung.id;
        buchungen.emplace(id, std::move(buchung));
    }
    std::map<std::int64_t, std::vector<Verknuepfung>> verknuepft;
    for (auto const& v : speicher.verknuepfungen(kunde))
        verknuepft[v.beleg].push_back(v);

    auto const belege = speicher.belege(kunde);
    auto tabelle =
        fmt::format("Mandant {}: {} Belege, {} Buchungen\n\n", kunde, belege.size(), buchungen.size());
    tabelle += aufgefuellt("Nr", 5) + aufgefuellt("Weg", 7) + aufgefuellt("Datei", breiteName + 2) +
               aufgefuellt("Größe", 10) + "Buchung\n";
    std::array<std::size_t, 3> ohneBuchung{};
    std::size_t zugeordnet = 0;
    std::map<std::int64_t, bool> belegt;
    for (auto const& beleg : belege) {
        tabelle += aufgefuellt(std::to_string(beleg.id), 5) +
                   aufgefuellt(std::string{alsWort(beleg.herkunft)}, 7) +
                   aufgefuellt(gebaendigt(beleg.name, breiteName), breiteName + 2) +
                   aufgefuellt(alsGroesse(beleg.groesse), 10);
        auto const stelle = verknuepft.find(beleg.id);
        if (stelle == verknuepft.end()) {
            tabelle += fmt::format("– {}\n", alsWort(beleg.zustand));
            ++ohneBuchung[static_cast<std::size_t>(beleg.zustand)];
            continue;
        }
        ++zugeordnet;
        std::string_view trenner;
        for (auto const& v : stelle->second) {
            auto const& buchung = buchungen[v.buchung];
            belegt[v.buchung] = true;
            tabelle += fmt::format(
                "{}{} {} {}{}", trenner, alsIsoDatum(buchung.datum),
                aufgefuellt(gebaendigt(buchung.gegenpartei, breiteHaendler), breiteHaendler),
                alsEuro(buchung.betrag), v.art == Zuordnung::vorschlag ? " (Vorschlag)" : "");
            trenner = "; ";
        }
        tabelle += '\n';
    }
    tabelle += fmt::format(
        "\n{} Belege mit Buchung, {} Belege ohne, {} Dateien ohne Beleg, {} ungelesen; {} Buchungen warten "
        "auf einen "
        "Beleg.\n",
        zugeordnet, ohneBuchung[static_cast<std::size_t>(Zustand::beleg)],
        ohneBuchung[static_cast<std::size_t>(Zustand::keinBeleg)],
        ohneBuchung[static_cast<std::size_t>(Zustand::ungelesen)], buchungen.size() - belegt.size());
    return tabelle;
}

} // namespace

std::string alsTabelle(Speicher& speicher) {
    std::string tabelle;
    for (auto const kunde : speicher.kunden())
        tabelle += alsTabelle(speicher, kunde);
    return tabelle;
}

} // namespace quillmate::demo
