#include "texterkennung.h"

#include "grundlage/datei.h"
#include "grundlage/dateiarten.h"
#include "grundlage/text.h"
#include "heuristik.h"

#include <cerrno>

namespace quillmate::Texterkennung {

namespace {

std::optional<Dateiart> dateiartNachEndung(std::string const& pfad) {
    auto const* const zeile = belegendung(dateiendung(letzteKomponente(pfad)));
    return zeile ? std::optional{zeile->art} : std::nullopt;
}

/// What a reading that came to nothing is for the caller.
Fehler stoerung(Lesung const& lesung, std::string const& pfad) {
    switch (lesung.art) {
    case Lesung::Art::ohneMittel:
        return {
            Fehlerart::keineMittel,
            {},
            pfad,
            "zu wenig Speicher, Deskriptoren oder Prozesse, um die Datei zu lesen"};
    case Lesung::Art::gestoppt:
        return {Fehlerart::gestoppt, {}, pfad, "das Lesen wurde abgebrochen"};
    case Lesung::Art::ohneLeser:
    case Lesung::Art::ohneMotor:
        return {
            Fehlerart::helferGestorben,
            {},
            pfad,
            lesung.grund.empty()
                ? "Belege können nicht gelesen werden: die Texterkennung ist nicht vollständig installiert"
                : lesung.grund};
    case Lesung::Art::gestoert:
    case Lesung::Art::gelesen:
        break;
    }
    return {Fehlerart::gestoert, {}, pfad, "das Lesen der Datei ist gestört"};
}

} // namespace

bool installationGestoert(Fehler const& fehler) noexcept {
    return fehler.art == Fehlerart::helferGestorben;
}

Textbefund Erkenner::text(std::string const& pfad) {
    return versuche(pfad, Versuch::irgendeiner);
}

Textbefund Erkenner::letzterVersuch(std::string const& pfad) {
    return versuche(pfad, Versuch::letzter);
}

Textbefund Erkenner::versuche(std::string const& pfad, Versuch versuch) {
    auto const art = dateiartNachEndung(pfad);
    if (!art)
        return std::nullopt;
    // The key is taken before the file is read: a file that changes meanwhile has another key afterwards, so
    // a text of the old bytes is never found for the new ones.
    auto const schluessel = zwischenspeicherSchluessel(pfad);
    if (auto const eintrag = speicher_.ausZwischenspeicher(schluessel))
        return eintrag->text;
    if (fehlversuche_.aufgegeben(schluessel))
        return fehler(
            Fehlerart::abgelehnt, pfad,
            "die Datei wird nicht mehr gelesen, weil jeder Leseprozess über ihr endet");
    return lesen(pfad, *art, schluessel, versuch);
}

Textbefund Erkenner::lesen(
    std::string const& pfad, Dateiart art, std::string const& schluessel, Versuch versuch) {
    Lesung lesung;
    auto const datei = oeffneDatei(pfad);
    if (datei)
        lesung = leser_.lesen(datei.get(), art);
    else if (auto stoerung = errnoFehler(pfad, "die Datei lässt sich nicht öffnen");
             stoerung.error().art != Fehlerart::falscheForm) // What is no regular file never has a text.
        return stoerung;
    if (lesung.art != Lesung::Art::gelesen) {
        if (lesung.leserGestorben && versuch == Versuch::letzter)
            fehlversuche_.zaehle(schluessel);
        return std::unexpected(stoerung(lesung, pfad));
    }
    if (versuch == Versuch::letzter)
        fehlversuche_.vergiss(schluessel);
    if (lesung.text)
        lesung.text = ersteZeichen(*lesung.text, hoechstensZeichen);
    speicher_.inZwischenspeicher(schluessel, lesung.text);
    return lesung.text;
}

} // namespace quillmate::Texterkennung
