#include "portaladresse.h"

#include "grundlage/text.h"

#include <algorithm>
#include <iterator>

namespace quillmate::portal {

namespace {

constexpr std::string_view sicher = "https://";

std::string_view ohneVorsatz(std::string_view text) {
    for (auto const vorsatz : {sicher, std::string_view{"www."}})
        if (text.starts_with(vorsatz))
            text.remove_prefix(vorsatz.size());
    return text;
}

} // namespace

PortalAdresse::PortalAdresse(ports::Voreinstellungen& voreinstellungen, ports::Adressdialog& dialog)
    : voreinstellungen_(voreinstellungen)
    , dialog_(dialog) {}

std::optional<Adresse> PortalAdresse::normalisieren(std::string_view eingabe) {
    auto adresse = Adresse::getippt(eingabe);
    return adresse ? std::optional{*std::move(adresse)} : std::nullopt;
}

std::vector<std::string> PortalAdresse::passende(
    std::vector<std::string> const& adressen, std::string_view text) {
    auto const getippt = kleingeschrieben(ohneRandleerraum(text));
    std::vector<std::string> treffer;
    std::ranges::copy_if(adressen, std::back_inserter(treffer), [&](std::string const& adresse) {
        auto const klein = kleingeschrieben(adresse);
        return klein.starts_with(getippt) || ohneVorsatz(klein).starts_with(ohneVorsatz(getippt));
    });
    return treffer;
}

std::vector<std::string> PortalAdresse::verlauf() {
    std::vector<std::string> adressen;
    for (auto const& text : voreinstellungen_.textliste(schluessel).value_or(std::vector<std::string>{})) {
        // Anyone may have written the list; more than we ever write is not ours.
        if (adressen.size() == hoechstensGemerkt)
            break;
        if (auto const adresse = normalisieren(text))
            adressen.push_back(adresse->text());
    }
    return adressen;
}

void PortalAdresse::merken(Adresse const& adresse) {
    auto adressen = verlauf();
    std::erase(adressen, adresse.text());
    adressen.insert(adressen.begin(), adresse.text());
    if (adressen.size() > hoechstensGemerkt)
        adressen.resize(hoechstensGemerkt);
    voreinstellungen_.setzeTextliste(schluessel, adressen);
}

void PortalAdresse::vergessen(std::string const& adresse) {
    auto adressen = verlauf();
    if (std::erase(adressen, adresse) > 0)
        voreinstellungen_.setzeTextliste(schluessel, adressen);
}

std::optional<PortalZiel> PortalAdresse::auswaehlen(std::optional<std::string> const& name) {
    if (offen_)
        return std::nullopt;
    auto bisherige = verlauf();
    auto const fuer = ersteZeichen(name.value_or(""), PortalZiel::hoechsterName);
    ports::Adressfrage const frage{
        .meldung = "Weiteres Anbieterportal öffnen",
        .erklaerung = "Die Adresse wird von dir in der App eingegeben und nicht von der Website vorgegeben. "
                      "Bereits verwendete Portale erscheinen beim nächsten Mal in dieser Liste.",
        .beanstandung = "Bitte gib eine vollständige HTTPS-Adresse ohne Benutzername oder Passwort ein, zum "
                        "Beispiel https://portal.example/.",
        .beschriftung = (fuer.empty() ? "Gib die Adresse des Rechnungsportals ein."
                                      : "Portal für " + fuer + ": Gib die Adresse ein.") +
                        std::string{" Es werden nur sichere HTTPS-Adressen geöffnet."},
        .platzhalter = "portal.example/rechnungen",
        .oeffnen = "Portal öffnen",
        .abbrechen = "Abbrechen",
        .bisherige = bisherige,
        .passende = [&bisherige](std::string const& text) { return passende(bisherige, text); },
        .entfernen =
            [this, &bisherige](std::string const& adresse) {
                std::erase(bisherige, adresse);
                vergessen(adresse);
            },
        .annehmbar =
            [](std::string const& text) {
                return normalisieren(text).has_value();
            }};
    offen_ = true;
    auto const text = dialog_.fragen(frage);
    offen_ = false;
    auto const adresse = text ? normalisieren(*text) : std::nullopt;
    if (!adresse)
        return std::nullopt;
    merken(*adresse);
    return PortalZiel::weiteres(name.value_or(""), *adresse);
}

} // namespace quillmate::portal
