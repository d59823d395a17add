#include "texterkennung.h"

#include "grundlage/datei.h"
#include "grundlage/dateiarten.h"
#include "grundlage/text.h"
#include "heuristik.h"

#include <expected>
#include <utility>

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
    if (!dateiartNachEndung(pfad))
        return std::nullopt;
    // Asked before the file is opened: what is known of it needs no right to read it.
    auto const schluessel = zwischenspeicherSchluessel(pfad);
    if (auto const eintrag = speicher_.ausZwischenspeicher(schluessel))
        return eintrag->text;
    auto datei = Belegdatei::oeffnen(pfad);
    if (datei)
        return text(*datei);
    if (datei.error().art != Fehlerart::falscheForm)
        return std::unexpected(std::move(datei.error()));
    speicher_.inZwischenspeicher(schluessel, std::nullopt); // What is no regular file never has a text.
    return std::nullopt;
}

Textbefund Erkenner::text(Belegdatei& datei, Abbruchfrage const& abbrechen) {
    return versuche(datei, Versuch::irgendeiner, abbrechen);
}

Textbefund Erkenner::letzterVersuch(Belegdatei& datei, Abbruchfrage const& abbrechen) {
    return versuche(datei, Versuch::letzter, abbrechen);
}

Textbefund Erkenner::versuche(Belegdatei& datei, Versuch versuch, Abbruchfrage const& abbrechen) {
    auto const art = dateiartNachEndung(datei.pfad());
    if (!art)
        return std::nullopt;
    // The key is of the state in which the file was opened: a text of the old bytes is never found for the new ones.
    auto const schluessel = zwischenspeicherSchluessel(datei);
    if (auto const eintrag = speicher_.ausZwischenspeicher(schluessel))
        return eintrag->text;
    if (fehlversuche_.aufgegeben(schluessel))
        return fehler(
            Fehlerart::abgelehnt, datei.pfad(),
            "die Datei wird nicht mehr gelesen, weil jeder Leseprozess über ihr endet");
    // The same bytes at another place, or at this one before it was renamed. What is too large to be sent is not asked for.
    auto const summe = datei.pruefsumme(hoechsterScanbeleg, abbrechen);
    if (!summe && summe.error().art != Fehlerart::zuGross)
        return std::unexpected(summe.error());
    auto const inhaltsschluessel =
        summe ? speicher_.inhaltsschluessel(*summe, *art == Dateiart::pdf ? "pdf" : "bild") : std::string{};
    if (summe)
        if (auto const eintrag = speicher_.nachInhalt(inhaltsschluessel)) {
            if (datei.unveraendert() == true)
                speicher_.inZwischenspeicher(schluessel, eintrag->text);
            return eintrag->text;
        }
    auto befund = lesen(datei, *art, schluessel, versuch, abbrechen);
    if (befund && datei.unveraendert() == true) {
        speicher_.inZwischenspeicher(schluessel, *befund);
        if (summe)
            speicher_.inhaltMerken(inhaltsschluessel, *befund);
    }
    return befund;
}

/// Nothing is cached here.
Textbefund Erkenner::lesen(
    Belegdatei& datei, Dateiart art, std::string const& schluessel, Versuch versuch,
    Abbruchfrage const& abbrechen) {
    auto lesung = leser_.lesenAbbrechbar(datei.deskriptor(), art, abbrechen);
    if (lesung.art != Lesung::Art::gelesen) {
        if (lesung.leserGestorben && versuch == Versuch::letzter)
            fehlversuche_.zaehle(schluessel);
        return std::unexpected(stoerung(lesung, datei.pfad()));
    }
    if (versuch == Versuch::letzter)
        fehlversuche_.vergiss(schluessel);
    if (lesung.text)
        lesung.text = ersteZeichen(*lesung.text, hoechstensZeichen);
    return std::move(lesung.text);
}

} // namespace quillmate::Texterkennung
