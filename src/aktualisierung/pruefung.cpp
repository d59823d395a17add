#include "pruefung.h"

#include "ablage.h"
#include "auspacken.h"
#include "grundlage/adresse.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

namespace quillmate::aktualisierung {

namespace {

/// What people are told when the disk does not take something.
Fehlschlag platzfehlschlag(Fehler const& grund) {
    protokoll("Aktualisierung: " + grund.text());
    // EFBIG is a quota of another kind.
    if (grund.art == Fehlerart::keinPlatz || grund.art == Fehlerart::zuGross)
        return Fehlschlag::keinPlatz;
    return {Fehlschlag::nichtEinzubauen, "Auf den Datenträger ließ sich gerade nicht schreiben."};
}

/// What people are told when fetching failed.
Fehlschlag bezugsfehlschlag(Fehler const& grund) {
    if (grund.art == Fehlerart::gestoppt)
        return Fehlschlag::abgebrochen;
    if (grund.ursache.herkunft == Ursache::Herkunft::errnoWert) // Not the net's.
        return platzfehlschlag(grund);
    protokoll("Aktualisierung: " + grund.text());
    if (grund.ursache.herkunft == Ursache::Herkunft::http)
        return Fehlschlag::dienstfehler;
    switch (grund.art) {
    case Fehlerart::keineVerbindung:
    case Fehlerart::zeitAbgelaufen:
        return Fehlschlag::offline;
    case Fehlerart::gestoert:
        return Fehlschlag::abgerissen;
    case Fehlerart::zuGross:
        return Fehlschlag::nichtVertrauenswuerdig;
    default:
        return Fehlschlag::dienstfehler;
    }
}

/// What people are told when unpacking failed: the archive is at fault where none of the system's calls was.
Fehlschlag auspackfehlschlag(Fehler const& grund) {
    if (grund.ursache.herkunft == Ursache::Herkunft::errnoWert)
        return platzfehlschlag(grund);
    protokoll("Aktualisierung: " + grund.text());
    return Fehlschlag::nichtVertrauenswuerdig;
}

Suchergebnis gescheitert(Fehlschlag::Art grund, std::string_view warum) {
    protokoll("Aktualisierung: " + std::string{warum});
    return {.fehlschlag = grund};
}

/// Nothing, or why what was unpacked is not what was offered. The archive is signed, but an older one is so too.
std::optional<std::string> nichtDasAngebotene(
    std::optional<ports::Buendel> const& neues, Angebot const& angebot, Anlass const& anlass) {
    if (!neues)
        return "Im Archiv ist kein Bündel";
    if (neues->kennung != anlass.kennung)
        return "Im Archiv ist ein anderes Programm: " +
               einzeilig(neues->kennung.value_or("ohne Kennung"), 200);
    auto const fassung = neues->buildnummer ? Fassungsnummer::lesen(*neues->buildnummer) : std::nullopt;
    if (!fassung || *fassung != angebot.fassung || *fassung <= anlass.eigene)
        return fmt::format(
            "Im Archiv ist die Fassung {}, angeboten war {}",
            einzeilig(neues->buildnummer.value_or("ohne Nummer"), 200), angebot.fassungstext);
    if (!neues->programm || ::access(neues->programm->c_str(), X_OK) != 0)
        return "Im Archiv ist kein Programm";
    return std::nullopt;
}

std::optional<Fehlschlag> archivLaden(
    Angebot const& angebot, Ablage& ablage, Lader& lader,
    std::function<void(std::uint64_t geladen)> const& fortschritt, std::atomic<bool> const& abbruch) {
    // A slow line may take its time, as long as something comes.
    constexpr std::chrono::seconds wartegrenze{std::chrono::hours{2}};
    auto const geladen = lader.laden(
        {.url = angebot.url,
         .hoechstens = angebot.laenge,
         .ablage = [&](char const* bytes, std::size_t anzahl) { return ablage.anhaengen(bytes, anzahl); },
         .fortschritt = fortschritt,
         .wartegrenze = wartegrenze},
        abbruch);
    if (!geladen)
        return bezugsfehlschlag(geladen.error());
    return std::nullopt;
}

} // namespace

Suchergebnis suchen(Anlass const& anlass, Lader& lader, std::atomic<bool> const& abbruch) {
    if (auto const feed = Adresse::lesen(anlass.feed);
        !feed || !(feed->istSicher() || (anlass.auchHttp && feed->istWeb())))
        return gescheitert(Fehlschlag::nichtVertrauenswuerdig, "Die Adresse der Updates ist nicht sicher");
    std::string bytes;
    auto const geladen = lader.laden(
        {.url = anlass.feed,
         .hoechstens = hoechstgroesseAppcast,
         .ablage = [&](char const* stueck, std::size_t anzahl) -> Ergebnis<void> {
             bytes.append(stueck, anzahl);
             return {};
         }},
        abbruch);
    if (!geladen)
        return {.fehlschlag = bezugsfehlschlag(geladen.error())};

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
        return platzfehlschlag(ablage.error());
    if (auto const fehlschlag = archivLaden(angebot, *ablage, lader, fortschritt, abbruch))
        return fehlschlag;
    auto const archiv = ablage->alles();
    if (!archiv)
        return platzfehlschlag(archiv.error());
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
    if (!baustelle)
        return platzfehlschlag(baustelle.error());
    auto const bereit = [&]() -> std::optional<Fehlschlag> {
        if (auto const ausgepackt = auspacken(*archiv, *baustelle); !ausgepackt)
            return auspackfehlschlag(ausgepackt.error());
        if (auto const anderes = nichtDasAngebotene(buendelkunde.lesen(*baustelle), angebot, anlass)) {
            protokoll("Aktualisierung: " + *anderes);
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
