#include "adressteile.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

namespace quillmate {

namespace {

bool istBuchstabe(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

std::string klein(std::string_view text) {
    std::string ergebnis{text};
    std::ranges::transform(ergebnis, ergebnis.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return ergebnis;
}

std::optional<unsigned> hexziffer(char c) {
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned>(c - 'a') + 10;
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned>(c - 'A') + 10;
    return std::nullopt;
}

} // namespace

std::optional<Adressteile> Adressteile::lesen(std::string_view adresse) {
    auto const doppelpunkt = adresse.find(':');
    if (doppelpunkt == std::string_view::npos || doppelpunkt == 0 || !istBuchstabe(adresse.front()))
        return std::nullopt;
    auto const schema = adresse.substr(0, doppelpunkt);
    if (!std::ranges::all_of(schema, [](char c) {
            return istBuchstabe(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
        }))
        return std::nullopt;
    Adressteile teile{.schema = klein(schema), .wirt = {}, .port = {}, .pfad = {}, .abfrage = {}};

    auto rest = adresse.substr(doppelpunkt + 1);
    rest = rest.substr(0, rest.find('#'));
    if (auto const frage = rest.find('?'); frage != std::string_view::npos) {
        teile.abfrage = rest.substr(frage + 1);
        rest = rest.substr(0, frage);
    }
    // A lenient reader would find a host in "https:/a/" too, where the page that is loaded has none.
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        // A "\" ends the host for browsers, and is no part of any for others: nobody may see a longer one.
        auto const ende = std::min(rest.find_first_of("/\\"), rest.size());
        auto stelle = rest.substr(0, ende);
        rest.remove_prefix(ende);
        if (auto const at = stelle.rfind('@'); at != std::string_view::npos)
            stelle.remove_prefix(at + 1);
        auto const klammer = stelle.starts_with('[') ? stelle.find(']') : std::string_view::npos;
        auto const wirtsende = klammer != std::string_view::npos ? klammer + 1 : stelle.find(':');
        bool const offen = stelle.starts_with('[') && klammer == std::string_view::npos;
        if (auto const wirt = stelle.substr(0, wirtsende); !wirt.empty() && !offen)
            teile.wirt = klein(wirt);
        if (wirtsende < stelle.size() && stelle[wirtsende] == ':') {
            auto const ziffern = stelle.substr(wirtsende + 1);
            std::uint16_t port = 0;
            auto const* const ziffernende = ziffern.data() + ziffern.size();
            auto const [stelleDanach, fehler] = std::from_chars(ziffern.data(), ziffernende, port);
            if (fehler == std::errc{} && stelleDanach == ziffernende)
                teile.port = port;
            else if (!ziffern.empty())
                teile.wirt.reset(); // no address that could be connected to
        }
    }
    teile.pfad = rest;
    return teile;
}

std::optional<std::uint16_t> Adressteile::wirksamerPort() const {
    if (port)
        return port;
    if (schema == "https")
        return std::uint16_t{443};
    if (schema == "http")
        return std::uint16_t{80};
    return std::nullopt;
}

std::string Adressteile::lesbarerPfad() const {
    return ohneProzent(pfad);
}

std::vector<Abfrageteil> abfrageteile(std::string_view abfrage) {
    std::vector<Abfrageteil> teile;
    while (!abfrage.empty()) {
        auto const ende = std::min(abfrage.find('&'), abfrage.size());
        auto const stueck = abfrage.substr(0, ende);
        abfrage.remove_prefix(std::min(ende + 1, abfrage.size()));
        auto const gleich = stueck.find('=');
        teile.push_back(
            {.name = ohneProzent(stueck.substr(0, gleich)),
             .wert = gleich == std::string_view::npos
                         ? std::nullopt
                         : std::optional{ohneProzent(stueck.substr(gleich + 1))}});
    }
    return teile;
}

std::string ohneProzent(std::string_view text) {
    std::string ergebnis;
    ergebnis.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const hoch = text[i] == '%' && i + 2 < text.size() ? hexziffer(text[i + 1]) : std::nullopt;
        auto const tief = hoch ? hexziffer(text[i + 2]) : std::nullopt;
        if (tief) {
            ergebnis += static_cast<char>(*hoch * 16 + *tief);
            i += 2;
        } else {
            ergebnis += text[i];
        }
    }
    return ergebnis;
}

std::string mitProzent(std::string_view text) {
    constexpr std::string_view ziffern = "0123456789ABCDEF";
    std::string ergebnis;
    ergebnis.reserve(text.size());
    for (char const c : text) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
            std::string_view{"-._~"}.contains(c)) {
            ergebnis += c;
        } else {
            auto const byte = static_cast<unsigned char>(c);
            ergebnis += '%';
            ergebnis += ziffern[byte >> 4U];
            ergebnis += ziffern[byte & 0xFU];
        }
    }
    return ergebnis;
}

} // namespace quillmate
