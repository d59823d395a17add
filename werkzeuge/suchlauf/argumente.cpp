#include "argumente.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>

namespace quillmate::suchlauf {

namespace {

std::optional<std::int64_t> zahl(std::string_view text) {
    std::int64_t wert = 0;
    auto const [ende, fehler] = std::from_chars(text.data(), text.data() + text.size(), wert);
    if (fehler != std::errc{} || ende != text.data() + text.size())
        return std::nullopt;
    return wert;
}

} // namespace

std::optional<Argumente> argumenteAus(std::span<char const* const> argumente, std::string& fehler) {
    Argumente ergebnis;
    auto& auftrag = ergebnis.auftrag;
    bool hatClient = false;
    for (std::size_t i = 1; i < argumente.size(); ++i) {
        std::string_view const schalter = argumente[i];
        if (schalter == "--alles") {
            auftrag.alles = true;
        } else if (schalter == "--fotos") {
            auftrag.fotos = true;
        } else if (schalter == "--hilfe" || schalter == "--help" || schalter == "-h") {
            ergebnis.hilfe = true;
            return ergebnis;
        } else if (schalter == "--version") {
            ergebnis.fassung = true;
            return ergebnis;
        } else if (
            schalter == "--server" || schalter == "--client" || schalter == "--token" ||
            schalter == "--nur-ordner" || schalter == "--hoechstens" || schalter == "--merken") {
            if (i + 1 == argumente.size()) {
                fehler = "Nach " + std::string{schalter} + " fehlt der Wert.";
                return std::nullopt;
            }
            std::string const wert = argumente[++i];
            if (schalter == "--server") {
                auftrag.zugang.server = wert;
            } else if (schalter == "--token") {
                auftrag.zugang.token = wert;
            } else if (schalter == "--nur-ordner") {
                auftrag.nurOrdner = wert;
            } else if (schalter == "--merken") {
                ergebnis.merken = wert;
            } else {
                auto const nummer = zahl(wert);
                if (!nummer) {
                    fehler = std::string{schalter} + " braucht eine ganze Zahl, nicht „" + wert + "“.";
                    return std::nullopt;
                }
                if (schalter == "--client") {
                    auftrag.zugang.clientId = *nummer;
                    hatClient = true;
                } else {
                    auftrag.hoechstensBilder = std::clamp<std::int64_t>(*nummer, 1, 500);
                }
            }
        } else {
            fehler = "Unbekannt: " + std::string{schalter};
            return std::nullopt;
        }
    }
    if (ergebnis.merken)
        return ergebnis;
    auto& server = auftrag.zugang.server;
    if (!server.starts_with("http://") && !server.starts_with("https://")) {
        fehler = "--server fehlt oder beginnt nicht mit http:// oder https://.";
        return std::nullopt;
    }
    while (server.ends_with('/'))
        server.pop_back();
    if (!hatClient || auftrag.zugang.token.empty()) {
        fehler = "--client und --token werden gebraucht.";
        return std::nullopt;
    }
    return ergebnis;
}

} // namespace quillmate::suchlauf
