#include "pruefung.h"

#include "ablage.h"
#include "auspacken.h"
#include "grundlage/adresse.h"
#include "grundlage/protokoll.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

namespace quillmate::aktualisierung {

namespace {

std::optional<Fehlschlag> fehlschlagAus(Bezug bezug) {
    switch (bezug) {
    case Bezug::gelungen:
        return std::nullopt;
    case Bezug::abgebrochen:
        return Fehlschlag::abgebrochen;
    case Bezug::offline:
        return Fehlschlag::offline;
    case Bezug::abgerissen:
        return Fehlschlag::abgerissen;
    case Bezug::abgelehnt:
        return Fehlschlag::dienstfehler;
    case Bezug::zuGross:
        return Fehlschlag::nichtVertrauenswuerdig;
    case Bezug::nichtAbgelegt:
        return Fehlschlag::keinPlatz;
    }
    return Fehlschlag::dienstfehler;
}

std::optional<Fehlschlag> fehlschlagAus(Auspacken ausgang) {
    switch (ausgang) {
    case Auspacken::gelungen:
        return std::nullopt;
    case Auspacken::falscheForm:
    case Auspacken::zuGross:
        return Fehlschlag::nichtVertrauenswuerdig;
    case Auspacken::nichtAbgelegt:
        return Fehlschlag::keinPlatz;
    }
    return Fehlschlag::keinPlatz;
}

Suchergebnis gescheitert(Fehlschlag::Art grund, std::string_view warum) {
    protokoll("Aktualisierung: " + std::string{warum});
    return {.fehlschlag = grund};
}

/// Whether what was unpacked is what was offered. The archive is signed, but an older one is so too.
bool istDasAngebotene(
    std::optional<ports::Buendel> const& neues, Angebot const& angebot, Anlass const& anlass) {
    auto const fassung =
        neues && neues->buildnummer ? Fassungsnummer::lesen(*neues->buildnummer) : std::nullopt;
    return fassung && *fassung == angebot.fassung && *fassung > anlass.eigene &&
           neues->kennung == anlass.kennung && neues->programm &&
           ::access(neues->programm->c_str(), X_OK) == 0;
}

std::optional<Fehlschlag> archivLaden(
    Angebot const& angebot, Ablage& ablage, Lader& lader,
    std::function<void(std::uint64_t geladen)> const& fortschritt, std::atomic<bool> const& abbruch) {
    // A slow line may take its time, as long as something comes.
    constexpr std::chrono::seconds wartegrenze{std::chrono::hours{2}};
    auto const bezug = lader.laden(
        {.url = angebot.url,
         .hoechstens = angebot.laenge,
         .ablage = [&](char const* bytes, std::size_t anzahl) { return ablage.anhaengen(bytes, anzahl); },
         .fortschritt = fortschritt,
         .wartegrenze = wartegrenze},
        abbruch);
    return fehlschlagAus(bezug);
}

} // namespace

Suchergebnis suchen(Anlass const& anlass, Lader& lader, std::atomic<bool> const& abbruch) {
    if (auto const feed = Adresse::lesen(anlass.feed);
        !feed || !(feed->istSicher() || (anlass.auchHttp && feed->istWeb())))
        return gescheitert(Fehlschlag::nichtVertrauenswuerdig, "Die Adresse der Updates ist nicht sicher");
    std::string bytes;
    auto const bezug = lader.laden(
        {.url = anlass.feed,
         .hoechstens = hoechstgroesseAppcast,
         .ablage =
             [&](char const* stueck, std::size_t anzahl) {
                 bytes.append(stueck, anzahl);
                 return true;
             }},
        abbruch);
    if (auto const fehlschlag = fehlschlagAus(bezug))
        return {.fehlschlag = *fehlschlag};

    auto const teil = signierterTeil(bytes, anlass.schluessel);
    if (!teil)
        return gescheitert(
            Fehlschlag::nichtVertrauenswuerdig, "Die Liste der Fassungen ist nicht von uns signiert");
    auto const appcast = appcastLesen(*teil, anlass.auchHttp);
    if (!appcast || appcast->kennung != anlass.kennung)
        return gescheitert(
            Fehlschlag::nichtVertrauenswuerdig, "Die Liste der Fassungen hat nicht die erwartete Form");
    if (appcast->gueltigBis <= anlass.jetzt)
        return gescheitert(Fehlschlag::abgelaufen, "Die Liste der Fassungen ist abgelaufen");
    if (appcast->ausgabe < anlass.gesehen)
        return gescheitert(Fehlschlag::veraltet, "Die Liste der Fassungen ist älter als eine frühere");
    Suchergebnis ergebnis{.fehlschlag = std::nullopt, .ausgabe = appcast->ausgabe, .angebot = std::nullopt};
    if (auto const* const angebot = neuestes(*appcast, anlass.eigene, anlass.architektur))
        ergebnis.angebot = *angebot;
    return ergebnis;
}

std::optional<Fehlschlag> bereitstellen(
    Angebot const& angebot, Anlass const& anlass, std::string const& buendel, Lader& lader,
    ports::Einbau& einbau, ports::Buendelkunde& buendelkunde,
    std::function<void(std::uint64_t geladen)> const& fortschritt, std::atomic<bool> const& abbruch) {
    auto ablage = Ablage::in(std::filesystem::path{buendel}.parent_path().string());
    if (!ablage)
        return Fehlschlag::keinPlatz;
    if (auto const fehlschlag = archivLaden(angebot, *ablage, lader, fortschritt, abbruch))
        return fehlschlag;
    auto const archiv = ablage->alles();
    if (!archiv)
        return Fehlschlag::keinPlatz;
    if (archiv->size() < angebot.laenge) {
        protokoll(fmt::format(
            "Aktualisierung: Das Archiv ist abgerissen: {} von {} Bytes", archiv->size(), angebot.laenge));
        return Fehlschlag::abgerissen;
    }
    if (archiv->size() != angebot.laenge || !istSigniert(*archiv, angebot.signaturen, anlass.schluessel)) {
        protokoll("Aktualisierung: Das Archiv ist nicht das signierte");
        return Fehlschlag::nichtVertrauenswuerdig;
    }
    auto const baustelle = einbau.baustelle(buendel);
    if (baustelle.empty())
        return Fehlschlag::keinPlatz;
    auto const bereit = [&]() -> std::optional<Fehlschlag> {
        if (auto const fehlschlag = fehlschlagAus(auspacken(*archiv, baustelle)))
            return fehlschlag;
        if (!istDasAngebotene(buendelkunde.lesen(baustelle), angebot, anlass)) {
            protokoll("Aktualisierung: Im Archiv ist nicht die angebotene Fassung");
            return Fehlschlag::nichtVertrauenswuerdig;
        }
        if (abbruch)
            return Fehlschlag::abgebrochen;
        if (auto const hindernis = einbau.bereiten(buendel)) {
            protokoll("Aktualisierung: " + *hindernis);
            return Fehlschlag{Fehlschlag::nichtEinzubauen, *hindernis};
        }
        return std::nullopt;
    }();
    if (bereit)
        einbau.verwerfen(buendel);
    return bereit;
}

} // namespace quillmate::aktualisierung
