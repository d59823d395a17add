#pragma once

#include "beurteilung.h"
#include "dateizugriff.h"
#include "dienstwache.h"
#include "ergebnisse.h"
#include "fortschrittsmelder.h"
#include "lauf.h"
#include "sendeschlange.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <expected>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace quillmate::MacScan {

/// What became of the candidates. Every value that can occur is there, so that a reader of the report need not know which
/// ones are left out when they are zero.
struct Leseergebnis {
    Leseergebnis();
    std::map<Entscheidung, std::int64_t> entscheidungen;
    std::map<Uebertragung, std::int64_t> uebertragungen;
    std::int64_t verarbeitet{0};
    bool gestoppt{false};
    std::chrono::steady_clock::time_point ende{std::chrono::steady_clock::now()}; ///< Of reading and sending.
    std::optional<std::string> installationsfehler;                               ///< For people.
};

/// The step "lesen": judges the candidates and sends what is to be sent.
///
///   readers (Umgebung::leser)  take the next candidate, judge it ──► what is to be sent goes into a queue
///   senders (uploadPlaetze)    take from the queue and send it
///
/// so that a file waiting for its upload never keeps a reader from the next file. Candidates are taken in order.
/// Threads: durchfuehren() blocks; the calling thread is one of the readers, all others have ended when it returns.
/// Ownership: borrows run, service's lists and candidates.
class Lesephase {
public:
    Lesephase(
        Lauf const& lauf, Kandidaten const& kandidaten, std::vector<std::string> const& stichworte,
        dienst::Textmenge const& bekannteHashes);
    Lesephase(Lesephase const&) = delete;
    Lesephase& operator=(Lesephase const&) = delete;

    /// Once in the life of an object.
    [[nodiscard]] Leseergebnis durchfuehren();

private:
    struct Urteil {
        Entscheidung entscheidung{Entscheidung::hochladen};
        Belegdatei datei;
    };

    /// Why there is no judgement.
    struct Ausfall {
        Fehler fehler;
        bool nochmals{true}; ///< Whether this scan tries it once more.
    };

    void lesenUndSenden();
    // Of a reader.
    void lesen();
    void spaeterLesen();
    void lesen(std::size_t index, Leseversuch versuch);
    [[nodiscard]] std::expected<Urteil, Ausfall> beurteile(std::size_t index, Leseversuch versuch);
    [[nodiscard]] Ergebnis<Entscheidung> beurteileInhalt(Belegdatei& datei, Leseversuch versuch);
    [[nodiscard]] Ergebnis<Belegdatei> oeffnen(Ordner::Fund const& fund);
    void nichtLesbar(std::size_t index, Ausfall const& ausfall, Leseversuch versuch);
    // Of a sender.
    void senden();
    void sende(Sendung sendung, bool dienstDa);
    [[nodiscard]] bool erneuert(Sendung& sendung);

    void zaehle(std::optional<Entscheidung> entscheidung, std::optional<Uebertragung> uebertragung);
    void angehalten();
    [[nodiscard]] bool gestoppt() const { return lauf_.gestoppt(); }

    Lauf const& lauf_;
    Kandidaten const& kandidaten_;
    std::vector<std::string> const& stichworte_;
    dienst::Textmenge const& bekannteHashes_;
    Dateizugriff const zugriff_;
    int schritt_{-1};
    std::unique_ptr<Fortschrittsmelder> fortschritt_;
    Dienstwache wache_;
    std::atomic<std::size_t> naechster_{0};
    Sendeschlange schlange_;
    std::mutex sperre_;               ///< Guards everything below.
    std::deque<std::size_t> spaeter_; ///< Indices of candidates that were not readable the first time.
    std::set<Fehlerart> gesagteStoerungen_;
    std::optional<ports::Uhr::Zeitpunkt> zuletztGemeldet_;
    Leseergebnis ergebnis_;
};

} // namespace quillmate::MacScan
