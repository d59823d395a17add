#include "erfassung.h"

#include "ablage.h"
#include "belegversand.h"
#include "grundlage/dateiarten.h"
#include "grundlage/text.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <utility>

namespace quillmate::portal {

std::string_view const erfassungsskript = R"js(
try {
  const antwort = await fetch(window.location.href, {credentials: 'include', cache: 'no-store', redirect: 'follow'});
  if (!antwort.ok)
    return JSON.stringify({ok: false, fehler: 'Portal antwortet mit ' + antwort.status + '.'});
  const datei = await antwort.blob();
  if (datei.size === 0)
    return JSON.stringify({ok: false, fehler: 'Die angezeigte Datei ist leer.'});
  if (datei.size > 50 * 1024 * 1024)
    return JSON.stringify({ok: false, fehler: 'Die angezeigte Datei ist größer als 50 MB.'});
  const bytes = new Uint8Array(await datei.arrayBuffer());
  let text = '';
  for (let i = 0; i < bytes.length; i += 32768)
    text += String.fromCharCode.apply(null, bytes.subarray(i, i + 32768));
  let name = '';
  try {
    name = decodeURIComponent(new URL(antwort.url || window.location.href).pathname.split('/').pop());
  } catch (fehler) {
    name = '';
  }
  return JSON.stringify({ok: true, daten: btoa(text), name: name || 'rechnung.pdf', mime: datei.type || ''});
} catch (fehler) {
  return JSON.stringify({ok: false, fehler: (fehler && fehler.message) || String(fehler)});
}
)js";

namespace {

using FremdesJson = nlohmann::json;

/// The longest base64 text, in bytes, and the longest answer that can hold it.
constexpr std::size_t hoechsteDaten = 73'400'320;
constexpr std::size_t hoechsteAntwort = hoechsteDaten + std::size_t{1024} * 1024;
/// Of a page's own sentence, in characters.
constexpr std::size_t hoechsterFehlertext = 1000;

constexpr char const* nichtLesbar = "Die aktuelle Datei ist nicht lesbar oder größer als 50 MB.";

std::string const* textUnter(FremdesJson const& objekt, char const* schluessel) {
    auto const stelle = objekt.find(schluessel);
    return stelle == objekt.end() ? nullptr : stelle->get_ptr<std::string const*>();
}

std::variant<ErfasstePdf, std::string> gelesen(FremdesJson const& ergebnis) {
    if (!ergebnis.is_object())
        return "Das Portal hat keine lesbare PDF zurückgegeben.";
    auto const ok = ergebnis.find("ok");
    if (ok == ergebnis.end() || !ok->is_boolean() || !ok->get<bool>()) {
        auto const* const fehler = textUnter(ergebnis, "fehler");
        return fehler && !fehler->empty()
                   ? einzeilig(*fehler, hoechsterFehlertext)
                   : "Die aktuelle Seite ist keine direkt lesbare PDF. Nutze dort den Download-Knopf.";
    }
    auto const* const text = textUnter(ergebnis, "daten");
    auto daten = text && text->size() <= hoechsteDaten ? ausBase64(*text) : std::nullopt;
    if (!daten || daten->size() > hoechsterPortalbeleg)
        return nichtLesbar;
    if (!std::string_view{*daten}.substr(0, 1024).contains("%PDF-"))
        return "Die aktuelle Seite ist keine PDF. Öffne zuerst die Rechnung oder nutze ihren Download-Knopf.";
    auto const* const vorschlag = textUnter(ergebnis, "name");
    auto name = vorschlag ? belegname(*vorschlag) : std::string{};
    if (name.empty())
        name = "rechnung.pdf";
    if (dateiendung(name) != "pdf")
        name += ".pdf";
    return ErfasstePdf{.name = std::move(name), .daten = *std::move(daten)};
}

} // namespace

std::variant<ErfasstePdf, std::string> erfasstePdf(std::string antwort) {
    try {
        if (antwort.size() > hoechsteAntwort)
            return nichtLesbar;
        auto const ergebnis = FremdesJson::parse(antwort, nullptr, false);
        antwort = {}; // 70 MB that nobody needs any more
        return gelesen(ergebnis);
    } catch (std::exception const&) { // no memory left
        return nichtLesbar;
    }
}

std::optional<std::string> ausBase64(std::string_view text) {
    static constexpr auto werte = [] {
        std::array<std::int8_t, 256> tabelle{};
        tabelle.fill(-1);
        constexpr std::string_view zeichen =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        for (std::size_t i = 0; i < zeichen.size(); ++i)
            tabelle[static_cast<unsigned char>(zeichen[i])] = static_cast<std::int8_t>(i);
        return tabelle;
    }();
    if (text.size() % 4 != 0)
        return std::nullopt;
    std::size_t fuellung = 0;
    while (fuellung < 2 && text.size() > fuellung && text[text.size() - 1 - fuellung] == '=')
        ++fuellung;
    auto const zeichen = text.substr(0, text.size() - fuellung);
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3);
    std::uint32_t rest = 0;
    unsigned bits = 0;
    for (char const c : zeichen) {
        auto const wert = werte[static_cast<unsigned char>(c)];
        if (wert < 0)
            return std::nullopt;
        rest = (rest << 6U) | static_cast<std::uint32_t>(wert);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            bytes += static_cast<char>((rest >> bits) & 0xFFU);
        }
    }
    return bytes;
}

} // namespace quillmate::portal
