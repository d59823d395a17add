#include "lesephase.h"

#include "faeden.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"

#include <fmt/format.h>

#include <chrono>
#include <exception>
#include <expected>
#include <system_error>
#include <utility>

namespace quillmate::MacScan {

Leseergebnis::Leseergebnis() {
    for (auto const art : alleEntscheidungen)
        entscheidungen[art] = 0;
    for (auto const art : alleUebertragungen)
        uebertragungen[art] = 0;
}

Lesephase::Lesephase(
    Lauf const& lauf, Kandidaten const& kandidaten, std::vector<std::string> const& stichworte,
    dienst::Textmenge const& bekannteHashes)
    : lauf_(lauf)
    , kandidaten_(kandidaten)
    , stichworte_(stichworte)
    , bekannteHashes_(bekannteHashes)
    , zugriff_(kandidaten.orte, lauf.umgebung.ortsfrist, [&lauf] { return lauf.mussEnden(); })
    , wache_(
          lauf.umgebung.uhr,
          {.ohneAntwort =
               [&lauf, vorher = lauf.umgebung.dienst.dateienOhneAntwort()]() mutable {
                   // What an earlier scan has left behind says nothing about this one.
                   auto const jetzt = lauf.umgebung.dienst.dateienOhneAntwort();
                   vorher = jetzt < vorher ? 0 : vorher;
                   return jetzt - vorher;
               },
           .antwortet = [&lauf] { return lauf.umgebung.dienst.antwortet(lauf.auftrag.zugang); },
           .gestoppt =
               [&lauf] {
                   return lauf.gestoppt();
               }}) {}

Leseergebnis Lesephase::durchfuehren() {
    auto const gesamt = static_cast<std::int64_t>(kandidaten_.funde.size());
    schritt_ = lauf_.stand.beginne("lesen", "Belege lesen", gesamt);
    if (gesamt == 0) {
        lauf_.stand.fertig(schritt_, 0);
        return std::move(ergebnis_);
    }
    // The poller ends with this phase, however it ends: left running, it would keep the next run from asking.
    struct Waechterdienst {
        StoppWaechter& waechter;
        ~Waechterdienst() { waechter.hintergrundBeenden(); }
    } const waechterdienst{lauf_.stoppWaechter};
    lauf_.stoppWaechter.hintergrund(lauf_.auftrag.zugang);
    try {
        fortschritt_ = std::make_unique<Fortschrittsmelder>(lauf_.umgebung.dienst, lauf_.auftrag.zugang);
    } catch (std::system_error const&) {
        protokoll("MacScan: kein Faden für den Fortschritt frei");
    }
    lesenUndSenden();
    ergebnis_.ende = std::chrono::steady_clock::now();
    lauf_.stand.fertig(schritt_, ergebnis_.verarbeitet);
    if (fortschritt_)
        fortschritt_->zuletzt(ergebnis_.verarbeitet, gesamt, lauf_.schlusszugang(ergebnis_.ende));
    return std::move(ergebnis_);
}

void Lesephase::lesenUndSenden() {
    schlange_.leserAnmelden(); // this thread
    Faeden faeden;
    int sender = 0;
    for (int k = 0; k < uploadPlaetze; ++k)
        sender += faeden.starte([this] { senden(); }) ? 1 : 0;
    for (int k = 1; k < lauf_.umgebung.leser && static_cast<std::size_t>(k) < kandidaten_.funde.size(); ++k) {
        schlange_.leserAnmelden();
        if (!faeden.starte([this] { lesen(); }))
            schlange_.leserAbmelden();
    }
    lesen();
    if (sender == 0)
        senden();
}

// ------------------------------------------------------------------------------------------------ readers

void Lesephase::angehalten() {
    std::lock_guard const schutz{sperre_};
    ergebnis_.gestoppt = true;
}

void Lesephase::lesen() {
    for (;;) {
        auto const index = naechster_++;
        if (index >= kandidaten_.funde.size())
            break;
        if (gestoppt()) {
            angehalten();
            break;
        }
        lesen(index, Leseversuch::erster);
    }
    spaeterLesen();
    schlange_.leserAbmelden();
}

/// What was not readable gets one more attempt when nothing else is left to this reader. Whoever puts a file there comes
/// here afterwards, so none is left over.
void Lesephase::spaeterLesen() {
    for (;;) {
        bool const halt = gestoppt();
        std::size_t index = 0;
        {
            std::lock_guard const schutz{sperre_};
            ergebnis_.gestoppt = ergebnis_.gestoppt || (halt && !spaeter_.empty());
            if (halt || spaeter_.empty())
                return;
            index = spaeter_.front();
            spaeter_.pop_front();
        }
        lesen(index, Leseversuch::letzter);
    }
}

void Lesephase::lesen(std::size_t index, Leseversuch versuch) {
    auto urteil = beurteile(index, versuch);
    if (!urteil)
        nichtLesbar(index, urteil.error(), versuch);
    else if (urteil->entscheidung == Entscheidung::hochladen)
        schlange_.anstellen({.index = index, .datei = std::move(urteil->datei)});
    else
        zaehle(urteil->entscheidung, {});
}

/// Neither judged nor sent: the second time it counts as unreadable, and the next scan reads it again.
void Lesephase::nichtLesbar(std::size_t index, Ausfall const& ausfall, Leseversuch versuch) {
    auto const& fehler = ausfall.fehler;
    if (fehler.art == Fehlerart::gestoppt &&
        gestoppt()) { // Nothing is wrong with it; the next scan reads it.
        angehalten();
        return;
    }
    bool const nochmals = ausfall.nochmals && versuch == Leseversuch::erster;
    bool neu = false;
    {
        std::lock_guard const schutz{sperre_};
        neu = gesagteStoerungen_.insert(fehler.art).second;
        if (Texterkennung::installationGestoert(fehler))
            ergebnis_.installationsfehler = fehler.satz;
        if (nochmals)
            spaeter_.push_back(index);
    }
    if (neu || !ausfall.nochmals)
        protokoll(fmt::format("MacScan: jetzt nicht lesbar: {}", alsUtf8(fehler.text())));
    if (!nochmals)
        zaehle({}, Uebertragung::nichtLesbar);
}

/// Want of descriptors is no property of the file: those that wait for their upload give theirs up first.
Ergebnis<Belegdatei> Lesephase::oeffnen(Ordner::Fund const& fund) {
    auto datei = zugriff_.oeffnen(fund);
    if (datei || datei.error().art != Fehlerart::keineMittel)
        return datei;
    schlange_.deskriptorenAbgeben();
    return zugriff_.oeffnen(fund);
}

/// Judges what the path leads to now. A file that changes while it is judged is judged once more; one that goes on
/// changing is left to the next scan.
std::expected<Lesephase::Urteil, Lesephase::Ausfall> Lesephase::beurteile(
    std::size_t index, Leseversuch versuch) {
    constexpr int anlaeufe = 2;
    auto const& fund = kandidaten_.funde[index];
    for (int anlauf = 1; anlauf <= anlaeufe; ++anlauf) {
        auto datei = oeffnen(fund);
        if (!datei)
            return std::unexpected(Ausfall{.fehler = std::move(datei.error())});
        if (auto const bekannt = kandidaten_.verglichen.find(fund.pfad);
            bekannt != kandidaten_.verglichen.end())
            datei->pruefsummeBekannt(bekannt->second.stand, bekannt->second.pruefsumme);
        auto const entscheidung = beurteileInhalt(*datei, versuch);
        if (!entscheidung)
            return std::unexpected(Ausfall{.fehler = entscheidung.error()});
        auto const gleich = zugriff_.unveraendertGeblieben(fund, *datei);
        if (!gleich)
            return std::unexpected(Ausfall{.fehler = gleich.error()});
        if (*gleich)
            return Urteil{.entscheidung = *entscheidung, .datei = *std::move(datei)};
    }
    return std::unexpected(Ausfall{
        .fehler =
            {.art = Fehlerart::gestoert,
             .wo = fund.pfad,
             .satz = "die Datei ändert sich, während sie gelesen wird, und bleibt der nächsten Suche"},
        .nochmals = false});
}

Ergebnis<Entscheidung> Lesephase::beurteileInhalt(Belegdatei& datei, Leseversuch versuch) {
    try {
        return entscheiden(datei, stichworte_, lauf_.auftrag.fotos, lauf_.umgebung.erkenner, versuch, [this] {
            return gestoppt() && lauf_.mussEnden();
        });
    } catch (std::exception const& ausnahme) { // out of memory; the next file may be smaller
        protokoll(fmt::format("MacScan: {} nicht beurteilt: {}", alsUtf8(datei.pfad()), ausnahme.what()));
        return fehler(Fehlerart::keineMittel, datei.pfad(), "zu wenig Speicher, um die Datei zu beurteilen");
    }
}

// ------------------------------------------------------------------------------------------------ senders

void Lesephase::senden() {
    while (auto sendung = schlange_.naechste()) {
        bool const dienstDa = wache_.bereit();
        // Asked again right before sending: a stop pressed during a long recognition starts no further
        // upload.
        if (gestoppt()) {
            angehalten();
            continue;
        }
        sende(*std::move(sendung), dienstDa);
    }
}

/// What has changed since its judgement is judged once more. False when it is not to be sent now; it has been counted.
bool Lesephase::erneuert(Sendung& sendung) {
    auto const& fund = kandidaten_.funde[sendung.index];
    auto const vorher = sendung.datei.stand();
    auto const bereit = zugriff_.zumSenden(fund, sendung.datei);
    if (bereit && *bereit)
        return true;
    if (!bereit && bereit.error().art == Fehlerart::gestoppt) {
        angehalten();
        return false;
    }
    auto const nichtGesendet = [this] {
        zaehle(Entscheidung::hochladen, Uebertragung::nichtLesbar);
        return false;
    };
    if (!bereit) {
        protokoll("MacScan: " + alsUtf8(bereit.error().text()));
        return nichtGesendet();
    }
    auto urteil = beurteile(sendung.index, Leseversuch::erster);
    if (urteil && urteil->entscheidung != Entscheidung::hochladen) {
        zaehle(urteil->entscheidung, {});
        return false;
    }
    if (urteil && urteil->datei.stand().selbeDatei(vorher)) {
        sendung.datei = std::move(urteil->datei);
        return zugriff_.zumSenden(fund, sendung.datei).value_or(false) || nichtGesendet();
    }
    if (!urteil && urteil.error().fehler.art == Fehlerart::gestoppt && gestoppt()) {
        angehalten();
        return false;
    }
    protokoll(
        urteil ? fmt::format(
                     "MacScan: {} ist inzwischen eine andere Datei, bleibt der nächsten Suche",
                     alsUtf8(fund.pfad))
               : "MacScan: " + alsUtf8(urteil.error().fehler.text()));
    return nichtGesendet();
}

void Lesephase::sende(Sendung sendung, bool dienstDa) {
    if (!dienstDa) {
        zaehle(Entscheidung::hochladen, Uebertragung::uebertragungFehlgeschlagen);
        return;
    }
    if (!erneuert(sendung))
        return;
    auto const uebertragung = lauf_.umgebung.dienst.hochladen(
        lauf_.auftrag.zugang, sendung.datei, bekannteHashes_, lauf_.auftrag.nurOrdner.has_value(),
        [this] { return gestoppt(); });
    if (uebertragung == Uebertragung::uebertragungFehlgeschlagen && gestoppt())
        angehalten(); // Ended by the stop, not by the line; the next scan sends it.
    else
        zaehle(Entscheidung::hochladen, uebertragung);
}

// ------------------------------------------------------------------------------------------------ counting

void Lesephase::zaehle(std::optional<Entscheidung> entscheidung, std::optional<Uebertragung> uebertragung) {
    constexpr std::chrono::seconds meldeabstand{1};
    std::unique_lock schutz{sperre_};
    ++ergebnis_.verarbeitet;
    if (entscheidung)
        ++ergebnis_.entscheidungen[*entscheidung];
    if (uebertragung)
        ++ergebnis_.uebertragungen[*uebertragung];
    auto const verarbeitet = ergebnis_.verarbeitet;
    SuchStand::Zusatz zusatz;
    for (auto const& [art, anzahl] : ergebnis_.entscheidungen)
        if (anzahl > 0)
            zusatz.emplace(rohwert(art), anzahl);
    for (auto const& [art, anzahl] : ergebnis_.uebertragungen)
        if (anzahl > 0)
            zusatz.emplace(rohwert(art), anzahl);
    lauf_.stand.setze(schritt_, verarbeitet, {}, zusatz);
    auto const jetzt = lauf_.umgebung.uhr.jetzt();
    if (zuletztGemeldet_ && jetzt - *zuletztGemeldet_ < meldeabstand)
        return;
    zuletztGemeldet_ = jetzt;
    schutz.unlock();
    if (fortschritt_)
        fortschritt_->melden(verarbeitet, static_cast<std::int64_t>(kandidaten_.funde.size()));
}

} // namespace quillmate::MacScan
