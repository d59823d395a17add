// The catalogue of known portals. Its entries stand in katalog.inc; what is wrong with one of them is found while this
// file is compiled.
#include "grundlage/text.h"
#include "portalziel.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace quillmate::portal {

namespace {

struct Eintrag {
    std::string_view kennung;
    std::string_view name;
    std::string_view adresse;
};

constexpr auto eintraege = std::to_array<Eintrag>({
#include "katalog.inc"
});

constexpr bool istKleinbuchstabeOderZiffer(char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

constexpr bool istKennung(std::string_view text) {
    return !text.empty() &&
           std::ranges::all_of(text, [](char c) { return istKleinbuchstabeOderZiffer(c) || c == '_'; });
}

/// "www.example.org": at least two labels, a top-level domain of letters.
constexpr bool istWirt(std::string_view text) {
    std::size_t teile = 0;
    for (;;) {
        auto const ende = text.find('.');
        auto const teil = text.substr(0, ende);
        if (teil.empty() || teil.front() == '-' || teil.back() == '-' ||
            !std::ranges::all_of(teil, [](char c) { return istKleinbuchstabeOderZiffer(c) || c == '-'; }))
            return false;
        ++teile;
        if (ende == std::string_view::npos)
            return teile >= 2 && teil.size() >= 2 &&
                   std::ranges::all_of(teil, [](char c) { return c >= 'a' && c <= 'z'; });
        text.remove_prefix(ende + 1);
    }
}

/// "https://host/path": no user, no port, no query; of a fragment only what pages use as a path.
constexpr bool istAdresse(std::string_view text) {
    constexpr std::string_view anfang = "https://";
    if (!text.starts_with(anfang))
        return false;
    text.remove_prefix(anfang.size());
    auto const schnitt = text.find('/');
    return schnitt != std::string_view::npos && istWirt(text.substr(0, schnitt)) &&
           std::ranges::all_of(text.substr(schnitt), [](char c) {
               return istKleinbuchstabeOderZiffer(c) || (c >= 'A' && c <= 'Z') ||
                      std::string_view{"/-._~#"}.contains(c);
           });
}

constexpr bool kennungenEindeutig() {
    auto sortiert = eintraege;
    std::ranges::sort(sortiert, {}, &Eintrag::kennung);
    return std::ranges::adjacent_find(sortiert, {}, &Eintrag::kennung) == sortiert.end();
}

static_assert(eintraege.size() == 327);
static_assert(eintraege.front().kennung == "aws" && eintraege.front().name == "Amazon Web Services");
static_assert(kennungenEindeutig());
static_assert(std::ranges::all_of(eintraege, istKennung, &Eintrag::kennung));
static_assert(std::ranges::all_of(eintraege, istAdresse, &Eintrag::adresse));
static_assert(std::ranges::none_of(eintraege, [](auto const& e) { return e.name.empty(); }));
// This key is the user's own addresses'.
static_assert(std::ranges::none_of(eintraege, [](auto const& e) { return e.kennung == "weiteres"; }));

std::vector<PortalZiel> bauen() {
    std::vector<PortalZiel> ziele;
    ziele.reserve(eintraege.size());
    for (auto const& [kennung, name, adresse] : eintraege)
        ziele.push_back(
            {.kennung = std::string{kennung},
             .name = std::string{name},
             .adresse = Adresse::lesen(adresse).value()}); // istAdresse() is the stricter
    return ziele;
}

} // namespace

std::span<PortalZiel const> PortalZiel::alle() {
    static std::vector<PortalZiel> const ziele = bauen();
    return ziele;
}

PortalZiel const* PortalZiel::mitKennung(std::string_view kennung) {
    auto const ziele = alle();
    auto const gefunden = std::ranges::find(ziele, kennung, &PortalZiel::kennung);
    return gefunden == ziele.end() ? nullptr : &*gefunden;
}

PortalZiel PortalZiel::weiteres(std::string_view name, Adresse adresse) {
    auto sauber = ersteZeichen(ohneRandleerraum(ohneSteuerzeichen(name)), hoechsterName);
    if (sauber.empty())
        sauber = adresse.wirt().value_or("Weiteres Portal");
    return {.kennung = "weiteres", .name = std::move(sauber), .adresse = std::move(adresse)};
}

} // namespace quillmate::portal
