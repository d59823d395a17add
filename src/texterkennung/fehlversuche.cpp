#include "fehlversuche.h"

#include "grundlage/datei.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <sstream>

namespace quillmate::Texterkennung {

namespace {

constexpr std::size_t schluesselBytes = 64;
constexpr std::uint64_t hoechstgroesse = std::uint64_t{128} * Fehlversuche::hoechstensEintraege;

} // namespace

Fehlversuche::Fehlversuche(std::string datei)
    : datei_(std::move(datei)) {}

/// One line each: key, blank, number. Lines of another form are left out.
void Fehlversuche::laden() {
    if (std::exchange(geladen_, true))
        return;
    auto const inhalt = leseDatei(datei_, hoechstgroesse);
    if (!inhalt)
        return;
    std::istringstream zeilen{*inhalt};
    std::string schluessel;
    unsigned anzahl = 0;
    while (zeilen >> schluessel >> anzahl && eintraege_.size() < hoechstensEintraege)
        if (schluessel.size() == schluesselBytes && anzahl > 0)
            eintraege_.emplace_back(schluessel, anzahl);
}

void Fehlversuche::sichern() const {
    std::string inhalt;
    for (auto const& [schluessel, anzahl] : eintraege_)
        inhalt += fmt::format("{} {}\n", schluessel, anzahl);
    auto const trenner = datei_.rfind('/');
    if (trenner != std::string::npos && !ordnerAnlegen(datei_.substr(0, trenner)))
        return;
    (void)schreibeAtomar(datei_, inhalt, Dauerhaft::nein);
}

std::vector<std::pair<std::string, unsigned>>::iterator Fehlversuche::finde(std::string_view schluessel) {
    return std::ranges::find_if(eintraege_, [&](auto const& eintrag) { return eintrag.first == schluessel; });
}

bool Fehlversuche::aufgegeben(std::string_view schluessel) {
    std::scoped_lock const gesperrt{sperre_};
    laden();
    auto const eintrag = finde(schluessel);
    return eintrag != eintraege_.end() && eintrag->second >= genug;
}

void Fehlversuche::zaehle(std::string_view schluessel) {
    std::scoped_lock const gesperrt{sperre_};
    laden();
    auto const eintrag = finde(schluessel);
    if (eintrag != eintraege_.end()) {
        ++eintrag->second;
    } else {
        if (eintraege_.size() >= hoechstensEintraege)
            eintraege_.erase(eintraege_.begin());
        eintraege_.emplace_back(schluessel, 1);
    }
    sichern();
}

void Fehlversuche::vergiss(std::string_view schluessel) {
    std::scoped_lock const gesperrt{sperre_};
    laden();
    auto const eintrag = finde(schluessel);
    if (eintrag == eintraege_.end())
        return;
    eintraege_.erase(eintrag);
    sichern();
}

} // namespace quillmate::Texterkennung
