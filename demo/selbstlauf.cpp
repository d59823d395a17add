#include "selbstlauf.h"

#include "anzeige.h"
#include "grundlage/text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace quillmate::demo {

using Json = nlohmann::json;

namespace {

constexpr std::size_t hoechstensGrund_zeichen = 500;
constexpr double hoechstensSekunden = 1e6;

Json feld(Json const& meldung, char const* schluessel) {
    return meldung.is_object() ? meldung.value(schluessel, Json{}) : Json{};
}

std::int64_t anzahl(Json const& meldung, char const* schluessel) {
    auto const wert = feld(meldung, schluessel);
    // One that is too large for the type wraps below zero.
    return wert.is_number_integer() ? std::max<std::int64_t>(wert.get<std::int64_t>(), 0) : 0;
}

std::string mitWort(std::int64_t anzahl, std::string_view eines, std::string_view viele) {
    return fmt::format("{} {}", anzahl, anzahl == 1 ? eines : viele);
}

} // namespace

std::optional<Selbstlauf> alsSelbstlauf(Json const& meldung) {
    auto const erfolg = feld(meldung, "erfolg");
    if (!erfolg.is_boolean())
        return std::nullopt;
    auto const grund = feld(meldung, "grund");
    auto const sekunden = feld(meldung, "sekunden");
    return Selbstlauf{
        .erfolg = erfolg == Json(true),
        .grund = grund.is_string()
                     ? ersteZeichen(grund.get_ref<std::string const&>(), hoechstensGrund_zeichen)
                     : std::string{},
        .sekunden = sekunden.is_number() ? std::clamp(sekunden.get<double>(), 0.0, hoechstensSekunden) : 0,
        .ordner = anzahl(meldung, "ordner"),
        .dateien = anzahl(meldung, "dateien"),
        .hochgeladen = anzahl(meldung, "hochgeladen"),
        .belege = anzahl(meldung, "belege"),
        .zugeordnet = anzahl(meldung, "zugeordnet"),
        .ungelesen = anzahl(meldung, "ungelesen")};
}

Json alsJson(Selbstlauf const& selbstlauf) {
    return {{"erfolg", selbstlauf.erfolg},      {"grund", selbstlauf.grund},
            {"sekunden", selbstlauf.sekunden},  {"ordner", selbstlauf.ordner},
            {"dateien", selbstlauf.dateien},    {"hochgeladen", selbstlauf.hochgeladen},
            {"belege", selbstlauf.belege},      {"zugeordnet", selbstlauf.zugeordnet},
            {"ungelesen", selbstlauf.ungelesen}};
}

std::string selbstlaufzeile(Selbstlauf const& s) {
    auto const sekunden = std::lround(s.sekunden);
    if (!s.erfolg) {
        auto const grund = gebaendigt(s.grund, hoechstensGrund_zeichen);
        return fmt::format(
            "Selbstlauf: gescheitert nach {} s – {}", sekunden, grund.empty() ? "ohne Angabe" : grund);
    }
    auto zeile = fmt::format(
        "Selbstlauf: erfolgreich nach {} s – {} Ordner gemerkt, {} geprüft, {} übertragen; der Dienst hat "
        "{}, {} mit Buchung",
        sekunden, s.ordner, mitWort(s.dateien, "Datei", "Dateien"), s.hochgeladen,
        mitWort(s.belege, "Beleg", "Belege"), s.zugeordnet);
    if (s.ungelesen > 0)
        zeile += fmt::format(", {} noch ungelesen", s.ungelesen);
    return zeile;
}

} // namespace quillmate::demo
