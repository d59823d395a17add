// One full scan, from top to bottom on the calling thread: what the service says, the candidates
// (kandidatensuche.h, abgleich.h), the reading phase (lesephase.h), and what is told at the end.
#include "vollsuche.h"

#include "abgleich.h"
#include "datum.h"
#include "doppelte.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "kandidatensuche.h"
#include "lauf.h"
#include "lesephase.h"
#include "ordner/orte.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

namespace quillmate::MacScan {

namespace {

class Vollsuche {
public:
    explicit Vollsuche(Lauf const& lauf)
        : lauf_(lauf)
        , offen_(lauf.umgebung.merkliste) {}
    Vollsuche(Vollsuche const&) = delete;
    Vollsuche& operator=(Vollsuche const&) = delete;

    void ausfuehren();

private:
    void vorgabenHolen();
    void bekanntesHolen();
    [[nodiscard]] Weiter kandidatenFinden();
    void zeitraumPruefen();
    void gesehenesVergessen();
    void beginnMelden();

    void stoppMelden(std::int64_t erledigt);
    void endeMelden(Leseergebnis const& ergebnis, dienst::Zugang const& zugang);
    [[nodiscard]] Json zugriff() const;
    [[nodiscard]] Json zusammenfassung(Leseergebnis const& ergebnis) const;

    Lauf const& lauf_;
    Ordner::OffeneOrdner const offen_;
    Kandidatensuche suche_{lauf_};

    // Of the service.
    std::optional<Ordner::Zeit> fruehestens_;
    std::vector<std::string> stichworte_;
    Bekanntes bekanntes_;

    Kandidaten kandidaten_;
    std::int64_t ausserhalbZeitraum_{0};
    std::int64_t uebersprungen_{0};
};

// ------------------------------------------------------------------------------------------------ the run

void Vollsuche::ausfuehren() {
    vorgabenHolen();
    if (!lauf_.auftrag.alles)
        bekanntesHolen();
    if (lauf_.auftrag.nurOrdner && !std::ranges::any_of(offen_.alle(), [&](Ordner::Gemerkt const& gemerkt) {
            return gemerkt.kennung == *lauf_.auftrag.nurOrdner && gemerkt.zugriffOffen;
        })) {
        lauf_.melden(
            {{"fehler",
              "Der gewählte Ordner ist nicht mehr freigegeben. Bitte füge ihn noch einmal hinzu."}});
        return;
    }
    if (kandidatenFinden() == Weiter::nein) {
        protokoll("MacScan: vom Nutzer gestoppt, noch waehrend der Dateisuche");
        stoppMelden(0);
        return;
    }
    gesehenesVergessen();
    if (!kandidaten_.funde.empty())
        beginnMelden();
    auto const ergebnis = Lesephase{lauf_, kandidaten_, stichworte_, *bekanntes_.hashes}.durchfuehren();
    endeMelden(ergebnis, lauf_.schlusszugang(ergebnis.ende));
}

void Vollsuche::vorgabenHolen() {
    auto const schritt = lauf_.stand.beginne("vorgaben", "Vorgaben");
    auto vorgabe = dienst::vorgabeAus(lauf_.umgebung.dienst.holeVorgabe(lauf_.auftrag.zugang));
    fruehestens_ = datumAus(vorgabe.fruehestens);
    stichworte_ = std::move(vorgabe.stichworte);
    lauf_.stand.fertig(schritt);
}

void Vollsuche::bekanntesHolen() {
    auto const schritt = lauf_.stand.beginne("bekannt", "Bereits bekannte Belege");
    auto gesehen = lauf_.umgebung.dienst.leseGesehenePfade(lauf_.auftrag.zugang);
    auto hashes = lauf_.umgebung.dienst.leseListe(lauf_.auftrag.zugang, "known-nonreceipt-hashes");
    bekanntes_.fehlt = !gesehen || !hashes;
    if (gesehen)
        bekanntes_.gesehen = std::make_shared<dienst::GesehenePfade>(*std::move(gesehen));
    if (hashes) {
        dienst::Textmenge menge;
        for (auto& hash : *hashes)
            menge.insert(std::move(hash));
        bekanntes_.hashes = std::make_shared<dienst::Textmenge>(std::move(menge));
    }
    lauf_.stand.fertig(schritt, static_cast<std::int64_t>(bekanntes_.gesehen->pfade.size()));
}

// ------------------------------------------------------------------------------------------------ candidates

Weiter Vollsuche::kandidatenFinden() {
    auto& auftrag = lauf_.auftrag;
    if (auftrag.nurOrdner) {
        auto const ordner = std::ranges::find(offen_.alle(), *auftrag.nurOrdner, &Ordner::Gemerkt::kennung);
        suche_.orteOeffnen({ordner->url});
        if (suche_.bilderSuchen(ordner->url, bekanntes_) == Weiter::nein)
            return Weiter::nein;
    } else {
        auto const orte = Ordner::alleOrte(lauf_.umgebung.standardorte, offen_.alle());
        suche_.orteOeffnen(orte);
        if (suche_.wolkeLaden(orte) == Weiter::nein || suche_.orteDurchsuchen(orte) == Weiter::nein)
            return Weiter::nein;
    }
    kandidaten_.orte = suche_.orte();
    kandidaten_.funde = std::move(suche_).funde();
    ohneDoppelte(kandidaten_.funde);
    zeitraumPruefen();
    if (auftrag.alles || auftrag.nurOrdner)
        return Weiter::ja;
    auto const abgleich = abgleichen(lauf_, bekanntes_, kandidaten_);
    uebersprungen_ = abgleich.uebersprungen;
    return abgleich.weiter;
}

void Vollsuche::zeitraumPruefen() {
    if (fruehestens_)
        ausserhalbZeitraum_ = static_cast<std::int64_t>(std::erase_if(
            kandidaten_.funde, [&](Ordner::Fund const& fund) { return fund.juengstes() < *fruehestens_; }));
}

/// Gives back what a large account takes for this: with 100,000 receipts some 60 MB, which would otherwise lie
/// idle through all of the reading phase, when the recognition engines take the most.
void Vollsuche::gesehenesVergessen() {
    bekanntes_.gesehen = std::make_shared<dienst::GesehenePfade>();
    kandidaten_.funde.shrink_to_fit();
    // The pieces lie between others that stay; the allocator returns such pages only when it is asked to.
    ::malloc_trim(0);
}

// ------------------------------------------------------------------------------------------------ what is told

void Vollsuche::beginnMelden() {
    constexpr int versuche = 3;
    constexpr double pause = 2.0;
    constexpr double takt = 0.25; // so that a stop is seen within a pause
    auto const gesamt = static_cast<std::int64_t>(kandidaten_.funde.size());
    for (int versuch = 1; versuch <= versuche; ++versuch) {
        if (lauf_.umgebung.dienst.postJson(
                lauf_.auftrag.zugang, "progress-start", {{"total_candidates", gesamt}}))
            break;
        if (lauf_.gestoppt())
            break;
        if (versuch < versuche)
            for (double rest = pause; rest > 0 && !lauf_.mussEnden(); rest -= takt)
                lauf_.umgebung.uhr.schlafen(std::chrono::duration<double>{takt});
    }
    lauf_.melden({{"gestartet", true}, {"gesamt", gesamt}, {"zugriff", zugriff()}});
}

void Vollsuche::stoppMelden(std::int64_t erledigt) {
    lauf_.melden({{"gestoppt", true}, {"erledigt", erledigt}, {"gesamt", kandidaten_.funde.size()}});
}

void Vollsuche::endeMelden(Leseergebnis const& ergebnis, dienst::Zugang const& zugang) {
    auto const zaehlen = [](auto const& zaehlung) {
        std::vector<std::string> teile;
        for (auto const& [art, anzahl] : zaehlung)
            if (anzahl > 0)
                teile.push_back(fmt::format("{} {}", rohwert(art), anzahl));
        return teile.empty() ? std::string{"keine"} : fmt::format("{}", fmt::join(teile, ", "));
    };
    protokoll(fmt::format(
        "MacScan: {} Dateien, {}; Uebertragung: {}", ergebnis.verarbeitet, zaehlen(ergebnis.entscheidungen),
        zaehlen(ergebnis.uebertragungen)));
    if (ergebnis.gestoppt) {
        protokoll(fmt::format(
            "MacScan: vom Nutzer gestoppt nach {} von {} Dateien", ergebnis.verarbeitet,
            kandidaten_.funde.size()));
        stoppMelden(ergebnis.verarbeitet);
    }
    auto const bericht = zusammenfassung(ergebnis);
    lauf_.melden(bericht);
    lauf_.umgebung.dienst.postJson(zugang, "progress-finish", bericht);
}

Json Vollsuche::zugriff() const {
    auto orte = Json::array();
    for (auto const& lage : Ordner::zugriffsLage(lauf_.umgebung.standardorte))
        orte.push_back({{"ort", alsUtf8(lage.ort)}, {"name", alsUtf8(lage.name)}, {"zustand", lage.zustand}});
    return orte;
}

Json Vollsuche::zusammenfassung(Leseergebnis const& ergebnis) const {
    Json gruende = Json::object();
    for (auto const& [art, anzahl] : ergebnis.entscheidungen)
        gruende[rohwert(art)] = anzahl;
    for (auto const& [art, anzahl] : ergebnis.uebertragungen)
        gruende[rohwert(art)] = anzahl;
    gruende["ausserhalbZeitraum"] = ausserhalbZeitraum_;
    gruende["cloudPlatzhalter"] = suche_.cloudPlatzhalter();
    gruende["uebersprungen"] = uebersprungen_;
    Json orte = Json::object();
    for (auto const& [name, anzahl] : suche_.jeOrt())
        orte[name] = anzahl;
    Json bericht{
        {"gestartet", true},
        {"gesamt", kandidaten_.funde.size()},
        {"zugriff", zugriff()},
        {"gruende", std::move(gruende)},
        {"orte", std::move(orte)}};
    if (bekanntes_.fehlt)
        bericht["hinweis"] = "Der Dienst hat nicht gesagt, was er schon kennt. Es kann alles erneut gesendet "
                             "worden sein.";
    if (ergebnis.installationsfehler)
        bericht["fehler"] = *ergebnis.installationsfehler;
    return bericht;
}

} // namespace

void vollsuche(
    Umgebung const& umgebung, SuchStand& stand, StoppWaechter& stoppWaechter, Scanauftrag const& auftrag,
    Melder const& melden) {
    Lauf const lauf{
        .umgebung = umgebung,
        .stand = stand,
        .stoppWaechter = stoppWaechter,
        .auftrag = auftrag,
        .melden = melden};
    Vollsuche{lauf}.ausfuehren();
}

} // namespace quillmate::MacScan
