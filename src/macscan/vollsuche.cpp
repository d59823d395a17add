// One full scan. The driver's thread goes through the steps from top to bottom; the lesephase splits up:
//
//   readers (leserAnzahl)      take the next candidate, judge it ──► what is to be sent goes into a queue
//   uploaders (uploadPlaetze)  take from the queue and send it
//
// so that a file waiting for its upload never keeps a reader from the next file. Candidates are taken in
// order. The queue holds indices into the candidate list, so it stays small however slow the line is.
#include "vollsuche.h"

#include "beurteilung.h"
#include "datum.h"
#include "dienstwache.h"
#include "doppelte.h"
#include "fortschrittsmelder.h"
#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "ordner/dateisuche.h"
#include "ordner/orte.h"
#include "texterkennung/heuristik.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <set>
#include <system_error>
#include <thread>

namespace quillmate::MacScan {

namespace {

/// Objects of counts by name, with every name that can occur, so that a reader of the report need not know
/// which ones are left out when they are zero.
template<typename Wert>
using Zaehlung = std::map<Wert, std::int64_t>;

/// The threads of one phase; they take their low priority from the thread that starts them. A machine that is
/// out of threads works with fewer; a scan does not end for that.
class Faeden {
public:
    /// False when there was no thread to be had.
    template<typename Arbeit>
    bool starte(Arbeit arbeit) {
        try {
            faeden_.emplace_back(std::move(arbeit));
            return true;
        } catch (std::system_error const&) {
            return false;
        }
    }

private:
    std::vector<std::jthread> faeden_; ///< Joined at the end of the phase.
};

class Lauf {
public:
    Lauf(
        Umgebung const& umgebung, SuchStand& stand, StoppWaechter& stoppWaechter, Scanauftrag const& auftrag,
        Melder const& melden)
        : umgebung_(umgebung)
        , stand_(stand)
        , stoppWaechter_(stoppWaechter)
        , auftrag_(auftrag)
        , melden_(melden)
        , offen_(umgebung.merkliste) {
        for (auto const art : alleEntscheidungen)
            entscheidungen_[art] = 0;
        for (auto const art : alleUebertragungen)
            uebertragungen_[art] = 0;
    }
    Lauf(Lauf const&) = delete;
    Lauf& operator=(Lauf const&) = delete;

    void ausfuehren();

private:
    /// Whether the run goes on.
    enum class Weiter { ja, nein };

    void vorgabenHolen();
    void bekanntesHolen();
    Weiter wolkeLaden(std::vector<std::string> const& orte);
    Weiter orteDurchsuchen(std::vector<std::string> const& orte);
    Weiter bilderSuchen(std::string const& ordner);
    void nimmAuf(std::string const& ort, std::vector<Ordner::Fund> funde);
    void zeitraumPruefen();
    Weiter abgleichen();
    void gesehenesVergessen();
    void beginnMelden();
    void lesephase();
    void lesenUndSenden(std::int64_t gesamt);
    void lesen();
    void leserAnmelden();
    void leserAbmelden();
    void senden();
    void zaehle(std::optional<Entscheidung> entscheidung, std::optional<Uebertragung> uebertragung);
    void lesen(std::size_t index, Leseversuch versuch);
    void spaeterLesen();
    [[nodiscard]] Ergebnis<Entscheidung> beurteile(std::string const& pfad, Leseversuch versuch);
    void nichtLesbar(std::size_t index, Fehler const& fehler, Leseversuch versuch);
    void endeMelden();

    [[nodiscard]] bool gestoppt() { return stoppWaechter_.gestoppt(auftrag_.zugang); }
    void stoppMelden();
    Weiter beiDateisucheGestoppt();
    [[nodiscard]] Json zugriff() const;
    [[nodiscard]] Json zusammenfassung() const;

    Umgebung const& umgebung_;
    SuchStand& stand_;
    StoppWaechter& stoppWaechter_;
    Scanauftrag const& auftrag_;
    Melder const& melden_;
    Ordner::OffeneOrdner const offen_;

    // Of the service.
    std::optional<Ordner::Zeit> fruehestens_;
    std::vector<std::string> stichworte_;
    dienst::GesehenePfade gesehen_;
    dienst::Textmenge bekannteHashes_;
    bool bekanntesFehlt_{false}; ///< A list did not come, which is not the same as an empty one.

    // Gathered by the driver before the readers start, constant afterwards.
    std::vector<Ordner::Fund> kandidaten_;
    std::map<std::string, std::int64_t> orte_; ///< Files found, by the place's display name.
    std::int64_t ausserhalbZeitraum_{0};
    std::int64_t cloudPlatzhalter_{0};
    std::int64_t uebersprungen_{0};

    // The lesephase.
    int leseschritt_{-1};
    std::atomic<std::size_t> naechster_{0};
    std::mutex sperre_; ///< Guards everything below.
    std::condition_variable geaendert_;
    std::deque<std::size_t> zuSenden_; ///< Indices into kandidaten_.
    std::deque<std::size_t> spaeter_;  ///< The same; not readable the first time.
    std::set<Fehlerart> gesagteStoerungen_;
    std::optional<std::string> installationsfehler_; ///< For people.
    int leserBeiDerArbeit_{0};
    bool gestoppt_{false};
    std::int64_t verarbeitet_{0};
    Zaehlung<Entscheidung> entscheidungen_;
    Zaehlung<Uebertragung> uebertragungen_;
    std::optional<ports::Uhr::Zeitpunkt> zuletztGemeldet_;
    std::unique_ptr<Fortschrittsmelder> fortschritt_;
    Dienstwache wache_{
        umgebung_.uhr,
        {.ohneAntwort =
             [this, vorher = umgebung_.dienst.dateienOhneAntwort()]() mutable {
                 // What an earlier scan has left behind says nothing about this one.
                 auto const jetzt = umgebung_.dienst.dateienOhneAntwort();
                 vorher = jetzt < vorher ? 0 : vorher;
                 return jetzt - vorher;
             },
         .antwortet = [this] { return umgebung_.dienst.antwortet(auftrag_.zugang); },
         .gestoppt =
             [this] {
                 return gestoppt();
             }}};
};

// ------------------------------------------------------------------------------------------------ the run

void Lauf::ausfuehren() {
    vorgabenHolen();
    if (!auftrag_.alles)
        bekanntesHolen();
    if (auftrag_.nurOrdner) {
        auto const ordner = std::ranges::find_if(offen_.alle(), [&](Ordner::Gemerkt const& gemerkt) {
            return gemerkt.kennung == *auftrag_.nurOrdner && gemerkt.zugriffOffen;
        });
        if (ordner == offen_.alle().end()) {
            melden_(
                {{"fehler",
                  "Der gewählte Ordner ist nicht mehr freigegeben. Bitte füge ihn noch einmal hinzu."}});
            return;
        }
        if (bilderSuchen(ordner->url) == Weiter::nein)
            return;
    } else {
        auto const orte = Ordner::alleOrte(umgebung_.standardorte, offen_.alle());
        if (wolkeLaden(orte) == Weiter::nein || orteDurchsuchen(orte) == Weiter::nein)
            return;
    }
    ohneDoppelte(kandidaten_);
    zeitraumPruefen();
    if (!auftrag_.alles && !auftrag_.nurOrdner && abgleichen() == Weiter::nein)
        return;
    gesehenesVergessen();
    if (!kandidaten_.empty())
        beginnMelden();
    lesephase();
    endeMelden();
}

// ------------------------------------------------------------------------------------------------ from the
// service

void Lauf::vorgabenHolen() {
    auto const schritt = stand_.beginne("vorgaben", "Vorgaben");
    auto vorgabe = dienst::vorgabeAus(umgebung_.dienst.holeVorgabe(auftrag_.zugang));
    fruehestens_ = datumAus(vorgabe.fruehestens);
    stichworte_ = std::move(vorgabe.stichworte);
    stand_.fertig(schritt);
}

void Lauf::bekanntesHolen() {
    auto const schritt = stand_.beginne("bekannt", "Bereits bekannte Belege");
    auto gesehen = umgebung_.dienst.leseGesehenePfade(auftrag_.zugang);
    auto hashes = umgebung_.dienst.leseListe(auftrag_.zugang, "known-nonreceipt-hashes");
    bekanntesFehlt_ = !gesehen || !hashes;
    if (gesehen)
        gesehen_ = *std::move(gesehen);
    if (hashes)
        for (auto& hash : *hashes)
            bekannteHashes_.insert(std::move(hash));
    stand_.fertig(schritt, static_cast<std::int64_t>(gesehen_.pfade.size()));
}

// ------------------------------------------------------------------------------------------------ candidates

Lauf::Weiter Lauf::wolkeLaden(std::vector<std::string> const& orte) {
    for (auto const& ort : orte) {
        if (gestoppt())
            return beiDateisucheGestoppt();
        auto const name = alsUtf8(Ordner::ortName(ort));
        auto const zaehlschritt = stand_.beginne("platzhalter", name);
        auto const dateien = Ordner::platzhalter(ort);
        auto const anzahl = static_cast<std::int64_t>(dateien.size());
        stand_.fertig(zaehlschritt, anzahl);

        auto const ladeschritt = stand_.beginne("icloud", name, anzahl);
        // Placeholders also come from backups and shared drives. Where nothing can fetch them, waiting for
        // them would only cost the user a minute and a half per place.
        auto const frist = umgebung_.wolke.vorhanden() ? zeitbudgetSekunden : 0.0;
        auto const geladen = Ordner::ausDerCloudLaden(
            dateien, std::chrono::duration<double>{frist},
            [&](std::int64_t fertig) { stand_.setze(ladeschritt, fertig); }, umgebung_.wolke, umgebung_.uhr);
        stand_.fertig(ladeschritt, geladen);
        protokoll(fmt::format("MacScan: {}, {} geladen", name, geladen));
        if (auto const uebrig = anzahl - geladen; uebrig > 0) {
            cloudPlatzhalter_ += uebrig;
            protokoll(fmt::format("MacScan: {} iCloud-Platzhalter in {}", uebrig, name));
        }
    }
    return Weiter::ja;
}

Lauf::Weiter Lauf::orteDurchsuchen(std::vector<std::string> const& orte) {
    for (auto const& ort : orte) {
        auto const schritt = stand_.beginne("ordner", alsUtf8(Ordner::ortName(ort)));
        bool abgebrochen = gestoppt();
        std::vector<Ordner::Fund> funde;
        if (!abgebrochen)
            funde = Ordner::durchsuchen(
                ort, {.hoechstens = hoechstensJeOrt,
                      .jeFund = [&](std::int64_t anzahl) { stand_.setze(schritt, anzahl); },
                      .abbrechen =
                          [&] {
                              return abgebrochen = abgebrochen || gestoppt();
                          }});
        stand_.fertig(schritt, static_cast<std::int64_t>(funde.size()));
        nimmAuf(ort, std::move(funde));
        if (abgebrochen)
            return beiDateisucheGestoppt();
    }
    return Weiter::ja;
}

Lauf::Weiter Lauf::bilderSuchen(std::string const& ordner) {
    auto const name = alsUtf8(Ordner::ortName(ordner));
    auto const schritt = stand_.beginne("ordner", name);
    bool abgebrochen = gestoppt();
    auto const willkommen = [&](std::string const& pfad, std::int64_t groesse) {
        // Comparing reads whole files, so a stop must be seen between files too, not only between folders.
        abgebrochen = abgebrochen || gestoppt();
        return !abgebrochen && groesse >= BILD_MINDESTGROESSE && !istBekannt(pfad, gesehen_, bekannteHashes_);
    };
    std::vector<Ordner::Fund> funde;
    if (!abgebrochen)
        funde = Ordner::durchsuchen(
            ordner,
            {.hoechstens = static_cast<std::size_t>(std::max<std::int64_t>(auftrag_.hoechstensBilder, 0)),
             .nurEndungen = Texterkennung::bildEndungen,
             .ausserdem = willkommen,
             .jeFund = [&](std::int64_t anzahl) { stand_.setze(schritt, anzahl); },
             .abbrechen =
                 [&] {
                     return abgebrochen = abgebrochen || gestoppt();
                 }});
    stand_.fertig(schritt, static_cast<std::int64_t>(funde.size()));
    protokoll(fmt::format("MacScan: erweiterte Bildersuche in {}: {} Bilder", name, funde.size()));
    nimmAuf(ordner, std::move(funde));
    return abgebrochen ? beiDateisucheGestoppt() : Weiter::ja;
}

void Lauf::nimmAuf(std::string const& ort, std::vector<Ordner::Fund> funde) {
    orte_[alsUtf8(Ordner::ortName(ort))] += static_cast<std::int64_t>(funde.size());
    kandidaten_.insert(
        kandidaten_.end(), std::make_move_iterator(funde.begin()), std::make_move_iterator(funde.end()));
}

Lauf::Weiter Lauf::beiDateisucheGestoppt() {
    protokoll("MacScan: vom Nutzer gestoppt, noch waehrend der Dateisuche");
    stoppMelden();
    return Weiter::nein;
}

void Lauf::zeitraumPruefen() {
    if (fruehestens_)
        ausserhalbZeitraum_ = static_cast<std::int64_t>(std::erase_if(
            kandidaten_, [&](Ordner::Fund const& fund) { return fund.juengstes() < *fruehestens_; }));
}

Lauf::Weiter Lauf::abgleichen() {
    auto const schritt =
        stand_.beginne("abgleich", "Abgleich", static_cast<std::int64_t>(kandidaten_.size()));
    std::vector<char> ueberspringen(kandidaten_.size(), 0); // not vector<bool>: written by several threads
    std::atomic<std::size_t> naechster{0};
    std::atomic<bool> abgebrochen{false};
    auto const pruefe = [&](auto weiter) {
        for (std::size_t i = naechster++; i < kandidaten_.size() && !abgebrochen && weiter(); i = naechster++)
            ueberspringen[i] = darfWegenPfadUebersprungen(kandidaten_[i].pfad, gesehen_) ? 1 : 0;
    };
    if (!gesehen_.pfade.empty()) {
        Faeden helfer;
        constexpr std::size_t lohntFaden = 16;
        for (int k = 1; k < aktiveKerne() && kandidaten_.size() >= lohntFaden; ++k)
            helfer.starte([&] { pruefe([] { return true; }); });
        // Only this thread asks the service; the others see its answer.
        pruefe([&] {
            abgebrochen = gestoppt();
            return !abgebrochen;
        });
    }
    std::size_t i = 0;
    auto const anzahl = static_cast<std::int64_t>(kandidaten_.size());
    uebersprungen_ = static_cast<std::int64_t>(
        std::erase_if(kandidaten_, [&](Ordner::Fund const&) { return ueberspringen[i++] != 0; }));
    stand_.setze(schritt, {}, {}, {{"uebersprungen", uebersprungen_}});
    stand_.fertig(schritt, anzahl);
    return abgebrochen ? beiDateisucheGestoppt() : Weiter::ja;
}

/// Gives back what a large account takes for this: with 100,000 receipts some 60 MB, which would otherwise lie
/// idle through all of the lesephase, when the recognition engines take the most.
void Lauf::gesehenesVergessen() {
    gesehen_ = {};
    kandidaten_.shrink_to_fit();
    // The pieces lie between others that stay; the allocator returns such pages only when it is asked to.
    ::malloc_trim(0);
}

// ------------------------------------------------------------------------------------------------ reading
// and sending

void Lauf::beginnMelden() {
    constexpr int versuche = 3;
    constexpr double pause = 2.0;
    auto const gesamt = static_cast<std::int64_t>(kandidaten_.size());
    for (int versuch = 1; versuch <= versuche; ++versuch) {
        if (umgebung_.dienst.postJson(auftrag_.zugang, "progress-start", {{"total_candidates", gesamt}}))
            break;
        if (versuch < versuche)
            umgebung_.uhr.schlafen(std::chrono::duration<double>{pause});
    }
    melden_({{"gestartet", true}, {"gesamt", gesamt}, {"zugriff", zugriff()}});
}

void Lauf::lesephase() {
    auto const gesamt = static_cast<std::int64_t>(kandidaten_.size());
    leseschritt_ = stand_.beginne("lesen", "Belege lesen", gesamt);
    if (!kandidaten_.empty()) {
        // The poller ends with this phase, however it ends: left running, it would keep the next run from
        // asking.
        struct Waechterdienst {
            StoppWaechter& waechter;
            ~Waechterdienst() { waechter.hintergrundBeenden(); }
        } const waechterdienst{stoppWaechter_};
        stoppWaechter_.hintergrund(auftrag_.zugang);
        try {
            fortschritt_ = std::make_unique<Fortschrittsmelder>(umgebung_.dienst, auftrag_.zugang);
        } catch (std::system_error const&) {
            protokoll("MacScan: kein Faden für den Fortschritt frei");
        }
        lesenUndSenden(gesamt);
        stand_.fertig(leseschritt_, verarbeitet_);
        if (fortschritt_)
            fortschritt_->zuletzt(verarbeitet_, gesamt);
    } else {
        stand_.fertig(leseschritt_, 0);
    }
}

void Lauf::lesenUndSenden(std::int64_t gesamt) {
    leserBeiDerArbeit_ = 1; // this thread
    Faeden faeden;
    int sender = 0;
    for (int k = 0; k < uploadPlaetze; ++k)
        sender += faeden.starte([this] { senden(); }) ? 1 : 0;
    for (int k = 1; k < umgebung_.leser && k < gesamt; ++k) {
        leserAnmelden();
        if (!faeden.starte([this] { lesen(); }))
            leserAbmelden();
    }
    lesen();
    if (sender == 0)
        senden();
}

void Lauf::lesen() {
    for (;;) {
        auto const index = naechster_++;
        if (index >= kandidaten_.size())
            break;
        if (gestoppt()) {
            std::lock_guard const schutz{sperre_};
            gestoppt_ = true;
            break;
        }
        lesen(index, Leseversuch::erster);
    }
    spaeterLesen();
    leserAbmelden();
}

void Lauf::lesen(std::size_t index, Leseversuch versuch) {
    auto const entscheidung = beurteile(kandidaten_[index].pfad, versuch);
    if (!entscheidung) {
        nichtLesbar(index, entscheidung.error(), versuch);
    } else if (*entscheidung == Entscheidung::hochladen) {
        std::lock_guard const schutz{sperre_};
        zuSenden_.push_back(index);
        geaendert_.notify_one();
    } else {
        zaehle(*entscheidung, {});
    }
}

/// What was not readable gets one more attempt when nothing else is left to this reader. Whoever puts a file there comes
/// here afterwards, so none is left over.
void Lauf::spaeterLesen() {
    for (;;) {
        bool const halt = gestoppt();
        std::size_t index = 0;
        {
            std::lock_guard const schutz{sperre_};
            gestoppt_ = gestoppt_ || (halt && !spaeter_.empty());
            if (halt || spaeter_.empty())
                return;
            index = spaeter_.front();
            spaeter_.pop_front();
        }
        lesen(index, Leseversuch::letzter);
    }
}

/// Neither judged nor sent: the second time it counts as unreadable, and the next scan reads it again.
void Lauf::nichtLesbar(std::size_t index, Fehler const& fehler, Leseversuch versuch) {
    bool neu = false;
    {
        std::lock_guard const schutz{sperre_};
        neu = gesagteStoerungen_.insert(fehler.art).second;
        if (Texterkennung::installationGestoert(fehler))
            installationsfehler_ = fehler.satz;
        if (versuch == Leseversuch::erster)
            spaeter_.push_back(index);
    }
    if (neu)
        protokoll(fmt::format("MacScan: jetzt nicht lesbar: {}", alsUtf8(fehler.text())));
    if (versuch == Leseversuch::letzter)
        zaehle({}, Uebertragung::nichtLesbar);
}

void Lauf::leserAnmelden() {
    std::lock_guard const schutz{sperre_};
    ++leserBeiDerArbeit_;
}

void Lauf::leserAbmelden() {
    std::lock_guard const schutz{sperre_};
    --leserBeiDerArbeit_;
    geaendert_.notify_all();
}

Ergebnis<Entscheidung> Lauf::beurteile(std::string const& pfad, Leseversuch versuch) {
    try {
        return entscheiden(pfad, stichworte_, auftrag_.fotos, umgebung_.erkenner, versuch);
    } catch (std::exception const& ausnahme) { // out of memory; the next file may be smaller
        protokoll(fmt::format("MacScan: {} nicht beurteilt: {}", alsUtf8(pfad), ausnahme.what()));
        return fehler(Fehlerart::keineMittel, pfad, "zu wenig Speicher, um die Datei zu beurteilen");
    }
}

void Lauf::senden() {
    for (;;) {
        std::size_t index = 0;
        {
            std::unique_lock schutz{sperre_};
            geaendert_.wait(schutz, [this] { return !zuSenden_.empty() || leserBeiDerArbeit_ == 0; });
            if (zuSenden_.empty())
                return;
            index = zuSenden_.front();
            zuSenden_.pop_front();
        }
        bool const dienstDa = wache_.bereit();
        // Asked again right before sending: a stop pressed during a long recognition starts no further
        // upload.
        if (gestoppt()) {
            std::lock_guard const schutz{sperre_};
            gestoppt_ = true;
            continue;
        }
        zaehle(
            Entscheidung::hochladen, dienstDa ? umgebung_.dienst.hochladen(
                                                    auftrag_.zugang, kandidaten_[index].pfad, bekannteHashes_,
                                                    auftrag_.nurOrdner.has_value())
                                              : Uebertragung::uebertragungFehlgeschlagen);
    }
}

void Lauf::zaehle(std::optional<Entscheidung> entscheidung, std::optional<Uebertragung> uebertragung) {
    constexpr std::chrono::seconds meldeabstand{1};
    std::unique_lock schutz{sperre_};
    ++verarbeitet_;
    if (entscheidung)
        ++entscheidungen_[*entscheidung];
    if (uebertragung)
        ++uebertragungen_[*uebertragung];
    auto const verarbeitet = verarbeitet_;
    SuchStand::Zusatz zusatz;
    for (auto const& [art, anzahl] : entscheidungen_)
        if (anzahl > 0)
            zusatz.emplace(rohwert(art), anzahl);
    for (auto const& [art, anzahl] : uebertragungen_)
        if (anzahl > 0)
            zusatz.emplace(rohwert(art), anzahl);
    stand_.setze(leseschritt_, verarbeitet, {}, zusatz);
    auto const jetzt = umgebung_.uhr.jetzt();
    if (zuletztGemeldet_ && jetzt - *zuletztGemeldet_ < meldeabstand)
        return;
    zuletztGemeldet_ = jetzt;
    schutz.unlock();
    if (fortschritt_)
        fortschritt_->melden(verarbeitet, static_cast<std::int64_t>(kandidaten_.size()));
}

// ------------------------------------------------------------------------------------------------ what is
// told

void Lauf::stoppMelden() {
    melden_({{"gestoppt", true}, {"erledigt", verarbeitet_}, {"gesamt", kandidaten_.size()}});
}

void Lauf::endeMelden() {
    auto const zaehlen = [](auto const& zaehlung) {
        std::vector<std::string> teile;
        for (auto const& [art, anzahl] : zaehlung)
            if (anzahl > 0)
                teile.push_back(fmt::format("{} {}", rohwert(art), anzahl));
        return teile.empty() ? std::string{"keine"} : fmt::format("{}", fmt::join(teile, ", "));
    };
    protokoll(fmt::format(
        "MacScan: {} Dateien, {}; Uebertragung: {}", verarbeitet_, zaehlen(entscheidungen_),
        zaehlen(uebertragungen_)));
    if (gestoppt_) {
        protokoll(fmt::format(
            "MacScan: vom Nutzer gestoppt nach {} von {} Dateien", verarbeitet_, kandidaten_.size()));
        stoppMelden();
    }
    auto const bericht = zusammenfassung();
    melden_(bericht);
    umgebung_.dienst.postJson(auftrag_.zugang, "progress-finish", bericht);
}

Json Lauf::zugriff() const {
    auto orte = Json::array();
    for (auto const& lage : Ordner::zugriffsLage(umgebung_.standardorte))
        orte.push_back({{"ort", alsUtf8(lage.ort)}, {"name", alsUtf8(lage.name)}, {"zustand", lage.zustand}});
    return orte;
}

Json Lauf::zusammenfassung() const {
    Json gruende = Json::object();
    for (auto const& [art, anzahl] : entscheidungen_)
        gruende[rohwert(art)] = anzahl;
    for (auto const& [art, anzahl] : uebertragungen_)
        gruende[rohwert(art)] = anzahl;
    gruende["ausserhalbZeitraum"] = ausserhalbZeitraum_;
    gruende["cloudPlatzhalter"] = cloudPlatzhalter_;
    gruende["uebersprungen"] = uebersprungen_;
    Json orte = Json::object();
    for (auto const& [name, anzahl] : orte_)
        orte[name] = anzahl;
    Json bericht{
        {"gestartet", true},
        {"gesamt", kandidaten_.size()},
        {"zugriff", zugriff()},
        {"gruende", std::move(gruende)},
        {"orte", std::move(orte)}};
    if (bekanntesFehlt_)
        bericht["hinweis"] = "Der Dienst hat nicht gesagt, was er schon kennt. Es kann alles erneut gesendet "
                             "worden sein.";
    if (installationsfehler_)
        bericht["fehler"] = *installationsfehler_;
    return bericht;
}

} // namespace

void vollsuche(
    Umgebung const& umgebung, SuchStand& stand, StoppWaechter& stoppWaechter, Scanauftrag const& auftrag,
    Melder const& melden) {
    Lauf{umgebung, stand, stoppWaechter, auftrag, melden}.ausfuehren();
}

} // namespace quillmate::MacScan
