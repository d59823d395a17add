#include "portaldialoge.h"

#include "grundlage/text.h"

#include <fmt/format.h>

#include <utility>

namespace quillmate::portal {

namespace {

/// Characters of a page's text in a dialog: more than anybody reads.
constexpr std::size_t hoechstensImDialog = 4000;
constexpr std::size_t hoechstensWirt = 253; ///< A name of the DNS is no longer.

std::string fuerDialog(std::string const& text) {
    auto kurz = ersteZeichen(text, hoechstensImDialog);
    if (kurz.size() < text.size())
        kurz += "…";
    return alsUtf8(kurz);
}

} // namespace

Portaldialoge::Portaldialoge(ports::Dialoge& dialoge, std::function<void()> schliessen)
    : dialoge_(dialoge)
    , schliessen_(std::move(schliessen)) {}

ports::Frage Portaldialoge::frage(
    Frager const& wer, char const* tut, std::string const& text, std::vector<std::string> knoepfe) {
    ports::Frage neue{
        .meldung = wer.wirt.empty()
                       ? fmt::format("Das Portal {}:", tut)
                       : fmt::format("Das Portal {} {}:", ersteZeichen(wer.wirt, hoechstensWirt), tut),
        .erklaerung = fuerDialog(text),
        .knoepfe = std::move(knoepfe)};
    if (++gefragt_ > 1)
        neue.zusatz = {.titel = "Portal schließen", .gedrueckt = schliessen_};
    return neue;
}

void Portaldialoge::hinweis(Frager const& wer, std::string const& text, std::function<void()> fertig) {
    dialoge_.fragen(
        wer.fenster, frage(wer, "meldet", text, {"OK"}),
        [fertig = std::move(fertig)](ports::Antwort const&) { fertig(); });
}

void Portaldialoge::bestaetigung(
    Frager const& wer, std::string const& text, std::function<void(bool)> antwort) {
    dialoge_.fragen(
        wer.fenster, frage(wer, "fragt", text, {"OK", "Abbrechen"}),
        [antwort = std::move(antwort)](ports::Antwort const& gewaehlt) { antwort(gewaehlt.knopf == 0); });
}

void Portaldialoge::eingabe(
    Frager const& wer, std::string const& text, std::string const& vorgabe,
    std::function<void(std::optional<std::string>)> antwort) {
    dialoge_.eingeben(
        wer.fenster, frage(wer, "fragt", text, {"OK", "Abbrechen"}), fuerDialog(vorgabe), std::move(antwort));
}

} // namespace quillmate::portal
