#include "adresse.h"

#include "adressteile.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace quillmate {

namespace {

bool istBuchstabe(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool istZiffer(char c) {
    return c >= '0' && c <= '9';
}
bool istHexziffer(char c) {
    return istZiffer(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// RFC 3986 section 2: unreserved and reserved characters; "%" is checked on its own.
bool darfInAdresse(char c) {
    return istBuchstabe(c) || istZiffer(c) ||
           std::string_view{"-._~:/?#[]@!$&'()*+,;="}.find(c) != std::string_view::npos;
}

} // namespace

Adresse::Adresse(std::string text)
    : text_(std::move(text)) {}

std::optional<Adresse> Adresse::lesen(std::string_view text) {
    auto const doppelpunkt = text.find(':');
    if (doppelpunkt == std::string_view::npos || doppelpunkt == 0 || !istBuchstabe(text.front()))
        return std::nullopt;
    auto const schema = text.substr(0, doppelpunkt);
    if (!std::ranges::all_of(schema, [](char c) {
            return istBuchstabe(c) || istZiffer(c) || c == '+' || c == '-' || c == '.';
        }))
        return std::nullopt;
    for (std::size_t i = doppelpunkt; i < text.size(); ++i) {
        if (text[i] == '%') {
            if (i + 2 >= text.size() || !istHexziffer(text[i + 1]) || !istHexziffer(text[i + 2]))
                return std::nullopt;
        } else if (!darfInAdresse(text[i])) {
            return std::nullopt;
        }
    }
    return Adresse{std::string{text}};
}

namespace {

/// RFC 3986 section 3: scheme ":" ["//" authority] path ["?" query] ["#" fragment].
struct Teile {
    std::string_view schema;
    std::optional<std::string_view> hoheit; ///< User, host and port.
    std::string_view pfad;
    std::optional<std::string_view> abfrage;
    std::optional<std::string_view> bruchstueck;
};

Teile teilen(std::string_view text) {
    Teile teile;
    auto const abtrennen = [&text](char zeichen) -> std::optional<std::string_view> {
        auto const stelle = text.find(zeichen);
        if (stelle == std::string_view::npos)
            return std::nullopt;
        auto const rest = text.substr(stelle + 1);
        text = text.substr(0, stelle);
        return rest;
    };
    auto const doppelpunkt = text.find(':');
    teile.schema = text.substr(0, doppelpunkt);
    text.remove_prefix(doppelpunkt + 1);
    teile.bruchstueck = abtrennen('#');
    teile.abfrage = abtrennen('?');
    if (text.starts_with("//")) {
        text.remove_prefix(2);
        teile.hoheit = text.substr(0, text.find('/'));
        text.remove_prefix(teile.hoheit->size());
    }
    teile.pfad = text;
    return teile;
}

std::optional<std::string> kopie(std::optional<std::string_view> text) {
    return text ? std::optional{std::string{*text}} : std::nullopt;
}

} // namespace

std::optional<std::string> Adresse::wirt() const {
    auto const teile = Adressteile::lesen(text_);
    return teile ? teile->wirt : std::nullopt;
}

std::string Adresse::schema() const {
    return std::string{teilen(text_).schema};
}

std::string Adresse::pfad() const {
    return std::string{teilen(text_).pfad};
}

std::optional<std::string> Adresse::abfrage() const {
    return kopie(teilen(text_).abfrage);
}

std::optional<std::string> Adresse::bruchstueck() const {
    return kopie(teilen(text_).bruchstueck);
}

std::optional<Adresse> Adresse::mit(std::string_view pfad, std::optional<std::string_view> abfrage) const {
    auto const teile = teilen(text_);
    if (!wirt() || !(pfad.empty() || pfad.starts_with('/')))
        return std::nullopt;
    auto text = std::string{teile.schema} + "://" + std::string{*teile.hoheit} + std::string{pfad};
    if (abfrage)
        text += '?' + std::string{*abfrage};
    return lesen(text);
}

std::optional<Adresse> Adresse::mitAbfrage(std::string_view abfrage) const {
    auto const teile = teilen(text_);
    auto text = text_.substr(0, text_.find_first_of("?#")) + '?' + std::string{abfrage};
    if (teile.bruchstueck)
        text += '#' + std::string{*teile.bruchstueck};
    return lesen(text);
}

} // namespace quillmate
