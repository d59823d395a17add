#include "diagnose.h"

#include "bruecke/zitat.h"
#include "grundlage/text.h"
#include "macscan/beurteilung.h"
#include "ordner/dateisuche.h"
#include "texterkennung/heuristik.h"

#include <fmt/format.h>

#include <iterator>

namespace quillmate::app::diagnose {

std::optional<std::string> wertNach(std::span<char const* const> argumente, std::string_view schalter) {
    for (std::size_t i = 0; i < argumente.size(); ++i)
        if (schalter == argumente[i])
            return i + 1 < argumente.size() ? std::optional<std::string>{argumente[i + 1]} : std::nullopt;
    return std::nullopt;
}

std::string scanZeile(std::string const& wurzel) {
    auto const funde = Ordner::durchsuchen(wurzel, {.hoechstens = hoechstens});
    auto zeile = fmt::format(
        R"({{"wurzel":{},"anzahl":{},"grenze_erreicht":{},"funde":[)", bruecke::zitat(wurzel), funde.size(),
        funde.size() >= hoechstens);
    std::string_view trenner;
    for (auto const& fund : funde) {
        fmt::format_to(
            std::back_inserter(zeile), R"({}{{"pfad":{},"groesse":{}}})", trenner, bruecke::zitat(fund.pfad),
            fund.groesse);
        trenner = ",";
    }
    return zeile + "]}";
}

Textbericht textbericht(std::string const& datei, Texterkennung::Erkenner& erkenner) {
    auto const befund = erkenner.text(datei);
    auto const text = befund.value_or(std::nullopt);
    Textbericht bericht;
    bericht.zeile = fmt::format(
        R"({{"datei":{},"zeichen":{},"beleg":{},"verlaesslich":{},"entscheidung":{},"text":{}}})",
        bruecke::zitat(datei), text ? zeichenzahl(*text) : 0, text && Texterkennung::siehtNachBelegAus(*text),
        text && Texterkennung::istVerlaesslich(*text),
        bruecke::zitat(MacScan::rohwert(MacScan::entscheidenNachText(datei, text, {}))),
        bruecke::zitat(text.value_or("")));
    if (!befund)
        bericht.fehler = befund.error();
    return bericht;
}

} // namespace quillmate::app::diagnose
