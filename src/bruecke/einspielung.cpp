#include "einspielung.h"

#include "aktionen.h"
#include "bruecke.h"
#include "skripte/einspielung.h"
#include "zitat.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>
#include <vector>

namespace quillmate::bruecke {

namespace {

/// The functions of `window.quillmateApp`, a line each, with the comments before them. The text goes on with a comma.
std::string funktionen() {
    std::vector<Aktion const*> folge;
    for (auto const& aktion : aktionen())
        folge.push_back(&aktion);
    std::ranges::sort(folge, {}, &Aktion::skriptstelle);
    std::string zeilen;
    for (auto const* const aktion : folge) {
        if (!zeilen.empty())
            zeilen += ",\n";
        auto const [namen, daten] =
            aktion->angaben.empty() ? std::pair{"()", ""} : std::pair{"(daten)", ", daten"};
        zeilen += fmt::format(
            "{0}    {1}: {2} => ruf('{1}'{3})", aktion->skriptkommentar, aktion->name, namen, daten);
    }
    return zeilen;
}

} // namespace

std::int64_t ganzzahlAus(std::string_view text) noexcept {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-'))
            return 0;
    }
    std::int64_t zahl = 0;
    auto const* const ende = text.data() + text.size();
    auto const [danach, fehler] = std::from_chars(text.data(), ende, zahl);
    return fehler == std::errc{} && danach == ende ? zahl : 0;
}

std::string einspielungsskript(Programmangaben const& angaben) {
    // The comments are part of what pages get. An older page is served by the same text, so it changes only together
    // with `fassung`.
    std::array<std::pair<std::string_view, std::string>, 6> const werte{{
        {"QM_NAME", std::string{Bruecke::name}},
        {"QM_VERSION", zitat(angaben.kurzfassung.value_or(""))},
        {"QM_BUILD", std::to_string(ganzzahlAus(angaben.buildnummer.value_or("")))},
        {"QM_ORT", zitat(angaben.ort)},
        {"QM_AKTUALISIERBAR", angaben.umzugNoetig ? "false" : "true"},
        {"QM_AKTIONEN", funktionen()},
    }};
    // In the order of the text, each place once: a value may hold another one's name.
    std::string skript;
    std::string_view rest = skripte::einspielung;
    for (auto const& [platz, wert] : werte) {
        auto const stelle = rest.find(platz);
        skript += rest.substr(0, stelle);
        skript += wert;
        rest.remove_prefix(stelle + platz.size());
    }
    return skript += rest;
}

} // namespace quillmate::bruecke
