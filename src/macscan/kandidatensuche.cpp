#include "kandidatensuche.h"

#include "am_ort.h"
#include "beurteilung.h"
#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "ordner/dateisuche.h"
#include "ordner/orte.h"
#include "texterkennung/heuristik.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace quillmate::MacScan {

namespace {

void haengtMelden(std::string const& name) {
    protokoll(fmt::format("MacScan: {} antwortet nicht und wird ausgelassen", name));
}

/// What the user may wonder about: once for each place, not once for each folder.
void bilanzMelden(std::string const& name, Ordner::Suchbilanz const& bilanz) {
    if (bilanz.pakete > 0) {
        std::vector<std::string> namen;
        for (auto const& paket : bilanz.paketnamen)
            namen.push_back(alsUtf8(paket));
        protokoll(fmt::format(
            "MacScan: {} Ordner in {} als Pakete ausgelassen: {}{}", bilanz.pakete, name,
            fmt::join(namen, ", "), bilanz.pakete > static_cast<std::int64_t>(namen.size()) ? ", …" : ""));
    }
    if (bilanz.verweiseHinaus > 0)
        protokoll(fmt::format(
            "MacScan: {} Verweise in {} führen aus den durchsuchten Orten hinaus", bilanz.verweiseHinaus,
            name));
    if (bilanz.unlesbareOrdner > 0)
        protokoll(fmt::format(
            "MacScan: {} Ordner in {} nicht lesbar, zuerst: {}", bilanz.unlesbareOrdner, name,
            bilanz.ersterUnlesbarer ? alsUtf8(bilanz.ersterUnlesbarer->text()) : std::string{}));
    if (bilanz.abbruch && bilanz.abbruch->art != Fehlerart::nichtGefunden)
        protokoll(
            fmt::format("MacScan: {} nicht ganz durchsucht: {}", name, alsUtf8(bilanz.abbruch->text())));
}

} // namespace

void Kandidatensuche::orteOeffnen(std::vector<std::string> const& orte) {
    orte_ = MacScan::orteOeffnen(orte, lauf_.umgebung.ortsfrist, [this] { return lauf_.gestoppt(); });
}

Weiter Kandidatensuche::wolkeLaden(std::vector<std::string> const& orte) {
    bool abgebrochen = false;
    auto const fragen = [&] {
        return abgebrochen = abgebrochen || lauf_.gestoppt();
    };
    for (auto const& ort : orte) {
        if (fragen())
            return Weiter::nein;
        auto const name = alsUtf8(Ordner::ortName(ort));
        auto const zaehlschritt = lauf_.stand.beginne("platzhalter", name);
        auto const gefunden = amOrt(ort, lauf_.umgebung.ortsfrist, fragen, {}, [ort](Ortszeichen& zeichen) {
            return Ordner::platzhalter(
                ort, Ordner::hoechstensPlatzhalter, [&] { return zeichen.soll_enden(); });
        });
        auto const dateien = gefunden.value_or(std::vector<std::string>{});
        auto const anzahl = static_cast<std::int64_t>(dateien.size());
        lauf_.stand.fertig(zaehlschritt, anzahl);
        if (abgebrochen)
            return Weiter::nein;
        if (!gefunden)
            haengtMelden(name);

        auto const ladeschritt = lauf_.stand.beginne("icloud", name, anzahl);
        // Placeholders also come from backups and shared drives. Where nothing can fetch them, waiting for
        // them would only cost the user a minute and a half per place.
        auto const frist = lauf_.umgebung.wolke.vorhanden() ? zeitbudgetSekunden : 0.0;
        auto const geladen = Ordner::ausDerCloudLaden(
            dateien, std::chrono::duration<double>{frist},
            [&](std::int64_t fertig) { lauf_.stand.setze(ladeschritt, fertig); }, lauf_.umgebung.wolke,
            lauf_.umgebung.uhr, fragen);
        lauf_.stand.fertig(ladeschritt, geladen);
        if (abgebrochen)
            return Weiter::nein;
        protokoll(fmt::format("MacScan: {}, {} geladen", name, geladen));
        if (auto const uebrig = anzahl - geladen; uebrig > 0) {
            cloudPlatzhalter_ += uebrig;
            protokoll(fmt::format("MacScan: {} iCloud-Platzhalter in {}", uebrig, name));
        }
    }
    return Weiter::ja;
}

Weiter Kandidatensuche::orteDurchsuchen(std::vector<std::string> const& orte) {
    struct Suchergebnis {
        std::vector<Ordner::Fund> funde;
        Ordner::Suchbilanz bilanz;
    };
    for (auto const& ort : orte) {
        auto const name = alsUtf8(Ordner::ortName(ort));
        auto const schritt = lauf_.stand.beginne("ordner", name);
        bool abgebrochen = lauf_.gestoppt();
        std::optional<Suchergebnis> ergebnis;
        if (!abgebrochen) {
            ergebnis = amOrt(
                ort, lauf_.umgebung.ortsfrist, [&] { return abgebrochen = abgebrochen || lauf_.gestoppt(); },
                [&](std::int64_t anzahl) { lauf_.stand.setze(schritt, anzahl); },
                [ort, orte = orte_.orte](Ortszeichen& zeichen) {
                    Suchergebnis gefunden;
                    gefunden.funde = Ordner::durchsuchen(
                        ort, {.hoechstens = hoechstensJeOrt,
                              .jeFund = [&](std::int64_t anzahl) { zeichen.gefunden = anzahl; },
                              .abbrechen = [&] { return zeichen.soll_enden(); },
                              .orte = orte.get(),
                              .bilanz = &gefunden.bilanz});
                    return gefunden;
                });
            if (ergebnis)
                bilanzMelden(name, ergebnis->bilanz);
            else if (!abgebrochen)
                haengtMelden(name);
        }
        auto funde = ergebnis ? std::move(ergebnis->funde) : std::vector<Ordner::Fund>{};
        lauf_.stand.fertig(schritt, static_cast<std::int64_t>(funde.size()));
        nimmAuf(ort, std::move(funde));
        if (abgebrochen)
            return Weiter::nein;
    }
    return Weiter::ja;
}

Weiter Kandidatensuche::bilderSuchen(std::string const& ordner, Bekanntes const& bekanntes) {
    auto const name = alsUtf8(Ordner::ortName(ordner));
    auto const schritt = lauf_.stand.beginne("ordner", name);
    bool abgebrochen = lauf_.gestoppt();
    auto const hoechstens =
        static_cast<std::size_t>(std::max<std::int64_t>(lauf_.auftrag.hoechstensBilder, 0));
    std::optional<std::vector<Ordner::Fund>> gefunden;
    if (!abgebrochen) {
        gefunden = amOrt(
            ordner, lauf_.umgebung.ortsfrist, [&] { return abgebrochen = abgebrochen || lauf_.gestoppt(); },
            [&](std::int64_t anzahl) { lauf_.stand.setze(schritt, anzahl); },
            [ordner, hoechstens, orte = orte_.orte, gesehen = bekanntes.gesehen,
             hashes = bekanntes.hashes](Ortszeichen& zeichen) {
                // Comparing reads whole files, so a stop must be seen within them too, not only between folders.
                auto const enden = [&] {
                    return zeichen.soll_enden();
                };
                auto const willkommen = [&](std::string const& pfad, std::int64_t groesse) {
                    if (enden() || groesse < BILD_MINDESTGROESSE)
                        return false;
                    if (!koennteBekanntSein(pfad, *gesehen, *hashes))
                        return true;
                    auto datei = orte->oeffnen({.pfad = pfad});
                    return !datei || !istBekannt(*datei, *gesehen, *hashes, enden);
                };
                return Ordner::durchsuchen(
                    ordner, {.hoechstens = hoechstens,
                             .nurEndungen = Texterkennung::bildEndungen,
                             .ausserdem = willkommen,
                             .jeFund = [&](std::int64_t anzahl) { zeichen.gefunden = anzahl; },
                             .abbrechen = enden,
                             .orte = orte.get()});
            });
        if (!gefunden && !abgebrochen)
            haengtMelden(name);
    }
    auto funde = std::move(gefunden).value_or(std::vector<Ordner::Fund>{});
    lauf_.stand.fertig(schritt, static_cast<std::int64_t>(funde.size()));
    protokoll(fmt::format("MacScan: erweiterte Bildersuche in {}: {} Bilder", name, funde.size()));
    nimmAuf(ordner, std::move(funde));
    return abgebrochen ? Weiter::nein : Weiter::ja;
}

void Kandidatensuche::nimmAuf(std::string const& ort, std::vector<Ordner::Fund> funde) {
    jeOrt_[alsUtf8(Ordner::ortName(ort))] += static_cast<std::int64_t>(funde.size());
    funde_.insert(funde_.end(), std::make_move_iterator(funde.begin()), std::make_move_iterator(funde.end()));
}

} // namespace quillmate::MacScan
