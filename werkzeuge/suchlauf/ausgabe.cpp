#include "ausgabe.h"

#include <fmt/format.h>

#include <array>
#include <iterator>
#include <map>
#include <string_view>
#include <utility>

namespace quillmate::suchlauf {

namespace {

std::string bezeichnung(Json const& schritt) {
    static std::map<std::string, std::string, std::less<>> const vorsaetze{
        {"platzhalter", "Cloud-Platzhalter in "},
        {"icloud", "Aus der Cloud geladen: "},
        {"ordner", "Dateien in "}};
    auto const schluessel = schritt.value("schluessel", std::string{});
    auto const name = schritt.value("name", schluessel);
    auto const vorsatz = vorsaetze.find(schluessel);
    return vorsatz == vorsaetze.end() ? name : vorsatz->second + name;
}

using Zeile = std::pair<std::string_view, std::string_view>;

constexpr std::array<Zeile, 4> entscheidungen{{
    {"hochladen", "als Beleg erkannt"},
    {"keinBelegtext", "Bild ohne Belegtext"},
    {"keinBeleg", "kein Beleg"},
    {"nichtZumThema", "Beleg, aber nicht zum Thema"},
}};
constexpr std::array<Zeile, 5> uebertragungen{{
    {"hochgeladen", "hochgeladen"},
    {"bekannt", "als Nicht-Beleg bekannt"},
    {"nichtLesbar", "nicht lesbar"},
    {"zuGross", "dem Dienst zu groß"},
    {"uebertragungFehlgeschlagen", "Übertragung fehlgeschlagen"},
}};
constexpr std::array<Zeile, 3> uebergangen{{
    {"ausserhalbZeitraum", "außerhalb des Zeitraums"},
    {"cloudPlatzhalter", "nur in der Cloud"},
    {"uebersprungen", "dem Dienst schon bekannt"},
}};

template<std::size_t N>
void gruppe(
    std::string& text, std::string_view titel, std::array<Zeile, N> const& zeilen, Json const& gruende) {
    fmt::format_to(std::back_inserter(text), "\n{}\n", titel);
    for (auto const& [schluessel, name] : zeilen)
        fmt::format_to(
            std::back_inserter(text), "  {:>7}  {}\n",
            gruende.value(std::string{schluessel}, std::int64_t{0}), name);
}

} // namespace

std::string Ausgabe::neueSchritte(Json const& bericht) {
    std::string text;
    auto const& schritte = bericht.at("schritte");
    if (schritte.size() < erzaehlt_)
        erzaehlt_ = 0; // a new run
    for (; erzaehlt_ < schritte.size() && schritte[erzaehlt_].at("fertig").get<bool>(); ++erzaehlt_) {
        auto const& schritt = schritte[erzaehlt_];
        auto anzahl = schritt.contains("anzahl") ? fmt::format("{:>7}", schritt["anzahl"].get<std::int64_t>())
                                                 : std::string(7, ' ');
        fmt::format_to(
            std::back_inserter(text), "{}  {} ({:.2f} s)\n", anzahl, bezeichnung(schritt),
            schritt.at("sekunden").get<double>());
    }
    return text;
}

std::string Ausgabe::laufend(Json const& bericht) {
    auto const& schritte = bericht.at("schritte");
    if (schritte.empty() || schritte.back().at("fertig").get<bool>())
        return {};
    auto const& schritt = schritte.back();
    auto text = fmt::format("{:>7}", schritt.value("anzahl", std::int64_t{0}));
    if (schritt.contains("gesamt"))
        text += fmt::format(" von {}", schritt["gesamt"].get<std::int64_t>());
    return text + "  " + bezeichnung(schritt) + " …";
}

std::string Ausgabe::zusammenfassung(Json const& meldung) {
    auto const gruende = meldung.value("gruende", Json::object());
    // What was judged; with a stop, or where files could not be read, that is less than what was found.
    std::int64_t geprueft = 0;
    for (auto const& [schluessel, name] : entscheidungen)
        geprueft += gruende.value(std::string{schluessel}, std::int64_t{0});
    auto const gesamt = meldung.value("gesamt", std::int64_t{0});
    auto text = geprueft == gesamt ? fmt::format("\nGeprüfte Dateien: {}\n", geprueft)
                                   : fmt::format("\nGeprüfte Dateien: {} von {}\n", geprueft, gesamt);
    gruppe(text, "Entscheidungen", entscheidungen, gruende);
    gruppe(text, "Übertragungen", uebertragungen, gruende);
    gruppe(text, "Nicht geprüft", uebergangen, gruende);
    text += "\nGefunden je Ort\n";
    auto const orte = meldung.value("orte", Json::object());
    for (auto const& [name, anzahl] : orte.items())
        fmt::format_to(std::back_inserter(text), "  {:>7}  {}\n", anzahl.get<std::int64_t>(), name);
    return text;
}

} // namespace quillmate::suchlauf
