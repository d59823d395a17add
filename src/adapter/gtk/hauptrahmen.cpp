#include "hauptrahmen.h"

#include <glib.h>
#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

std::string neuesGeheimnis() {
    std::array<unsigned char, 16> zufall{};
    if (RAND_bytes(zufall.data(), static_cast<int>(zufall.size())) != 1)
        throw std::runtime_error{"Das System liefert keine Zufallszahlen"};
    std::string text;
    for (unsigned char const byte : zufall) {
        std::array<char, 3> ziffern{};
        std::snprintf(ziffern.data(), ziffern.size(), "%02x", static_cast<unsigned>(byte));
        text += ziffern.data();
    }
    return text;
}

} // namespace

Hauptrahmenzeichen::Hauptrahmenzeichen(std::string nachrichtenname)
    : name_(std::move(nachrichtenname))
    , geheimnis_(neuesGeheimnis()) {}

std::string Hauptrahmenzeichen::skript() const {
    // Array literals and captured functions only: nothing here looks up a property that a page could have replaced,
    // because the page's scripts run later. `ursprung` is taken now, since the document's origin never changes.
    return "(() => {\n"
           "  const griff = window.webkit && window.webkit.messageHandlers && "
           "window.webkit.messageHandlers." +
           name_ +
           ";\n"
           "  if (!griff) return;\n"
           "  const art = Object.getPrototypeOf(griff);\n"
           "  const echt = art.postMessage, rufe = Reflect.apply, geheim = '" +
           geheimnis_ +
           "', ursprung = window.origin;\n"
           "  Object.defineProperty(art, 'postMessage', {\n"
           "    value: function postMessage(nachricht) {\n"
           "      return rufe(echt, this, [[geheim, ursprung, nachricht === undefined ? null : "
           "nachricht]]);\n"
           "    },\n"
           "    writable: false, configurable: false, enumerable: true\n"
           "  });\n"
           "})();";
}

Hauptrahmenzeichen::Geprueft Hauptrahmenzeichen::pruefen(std::string_view json) const {
    // The engine writes the array without blanks: ["SECRET","ORIGIN",MESSAGE]. An origin holds no character that JSON
    // escapes, so the first quote after its beginning ends it.
    std::string const anfang = "[\"" + geheimnis_ + "\",\"";
    if (!json.starts_with(anfang) || !json.ends_with(']'))
        return {.nachricht = json, .hauptrahmen = false, .ursprung = {}};
    auto const rest = json.substr(anfang.size());
    auto const ende = rest.find('"');
    if (ende == std::string_view::npos || ende + 2 >= rest.size() || rest[ende + 1] != ',')
        return {.nachricht = json, .hauptrahmen = false, .ursprung = {}};
    return {
        .nachricht = rest.substr(ende + 2, rest.size() - ende - 3),
        .hauptrahmen = true,
        .ursprung = std::string{rest.substr(0, ende)}};
}

namespace {

/// Scheme, host in lower case, port unless it is the usual one; nothing without a host.
std::optional<std::string> herkunft(std::string_view adresse) {
    std::unique_ptr<GUri, decltype(&g_uri_unref)> const uri{
        g_uri_parse(std::string{adresse}.c_str(), G_URI_FLAGS_PARSE_RELAXED, nullptr), &g_uri_unref};
    if (!uri || !g_uri_get_host(uri.get()))
        return std::nullopt;
    std::string const schema = g_uri_get_scheme(uri.get());
    std::unique_ptr<char, decltype(&g_free)> const wirt{
        g_ascii_strdown(g_uri_get_host(uri.get()), -1), &g_free};
    std::string text = schema + "://";
    std::string const name{wirt.get()};
    text += name.find(':') == std::string::npos ? name : '[' + name + ']';
    int const port = g_uri_get_port(uri.get());
    bool const ueblich = port <= 0 || (schema == "https" && port == 443) || (schema == "http" && port == 80);
    if (!ueblich)
        text += ':' + std::to_string(port);
    return text;
}

} // namespace

std::optional<std::string> ursprungVon(std::string_view adresse) {
    auto text = herkunft(adresse);
    if (!text || !(text->starts_with("https://") || text->starts_with("http://")))
        return std::nullopt;
    auto const harmlos = [](char zeichen) {
        return g_ascii_isalnum(zeichen) || std::string_view{"-._:/[]"}.contains(zeichen);
    };
    if (!std::ranges::all_of(*text, harmlos))
        return std::nullopt;
    return text;
}

bool gehoertZu(std::string_view adresse, std::string_view ursprung) {
    return herkunft(adresse) == ursprung;
}

} // namespace quillmate::adapter::gtk
