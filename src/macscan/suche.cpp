#include "suche.h"

#include "gezielte_suche.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "ordner/dateisuche.h"
#include "texterkennung/heuristik.h"
#include "vollsuche.h"

#include <sched.h>

#include <algorithm>
#include <exception>
#include <system_error>
#include <utility>

namespace quillmate::MacScan {

int leserAnzahl(int kerne) {
    return std::clamp(kerne - 1, 2, 8);
}

int aktiveKerne() {
    // Not the number that the machine has: a container or the user may have given the process fewer.
    cpu_set_t kerne{};
    if (::sched_getaffinity(0, sizeof kerne, &kerne) == 0)
        return std::max(CPU_COUNT(&kerne), 1);
    return static_cast<int>(std::max(std::thread::hardware_concurrency(), 1U));
}

Suche::Suche(Umgebung const& umgebung)
    : stand(umgebung.uhr)
    , stoppWaechter(umgebung.dienst, umgebung.uhr)
    , umgebung_(umgebung) {}

Suche::~Suche() {
    anhalten();
    // Without this the wait for a call under way, or for the poller's last question, could take the call's
    // limit.
    umgebung_.dienst.abbrechen();
    std::lock_guard const schutz{fadensperre_};
    faden_ = {}; // asks the run to stop and waits for it
}

bool Suche::belegen() {
    std::lock_guard const schutz{sperre_};
    return !std::exchange(laeuft_, true);
}

void Suche::freigeben() {
    std::lock_guard const schutz{sperre_};
    laeuft_ = false;
}

bool Suche::laeuft() const {
    std::lock_guard const schutz{sperre_};
    return laeuft_;
}

void Suche::anhalten() {
    stoppWaechter.anhalten();
}

void Suche::beenden() {
    stand.ende(); // before the place is free: the next run's state must not be ended
    freigeben();
}

void Suche::imHintergrund(std::function<void(std::stop_token const&)> arbeit, Melder const& melden) {
    auto const lauf = [this, arbeit = std::move(arbeit), melden](std::stop_token const& ende) {
        umgebung_.arbeitsfaden.alsHilfsarbeit();
        try {
            arbeit(ende);
        } catch (std::exception const& fehler) { // out of memory, out of threads
            protokoll(std::string{"MacScan: abgebrochen: "} + fehler.what());
            melden({{"fehler", "Die Suche ist unerwartet abgebrochen."}});
        }
        beenden();
    };
    try {
        std::lock_guard const schutz{fadensperre_};
        // The assignment joins the thread of the last run, which gave the place back as its last act.
        faden_ = std::jthread{lauf};
    } catch (std::system_error const& fehler) {
        protokoll(std::string{"MacScan: nicht gestartet: "} + fehler.what());
        beenden();
        melden({{"fehler", "Die Suche konnte nicht gestartet werden."}});
    }
}

void Suche::starten(Scanauftrag auftrag, Melder melden) {
    if (!belegen()) {
        melden({{"fehler", "Es läuft bereits ein Scan."}});
        return;
    }
    stand.neu(auftrag.nurOrdner ? "bildersuche" : "suche");
    stoppWaechter.neuerLauf();
    auftrag.zugang.abbrechen = [this] {
        auto const seit = stoppWaechter.gestopptSeit();
        return seit && std::chrono::steady_clock::now() - *seit > nachlaufNachStopp;
    };
    imHintergrund(
        [this, auftrag = std::move(auftrag), melden](std::stop_token const&) {
            vollsuche(umgebung_, stand, stoppWaechter, auftrag, melden);
        },
        melden);
}

void Suche::gezieltSuchen(Suchanfrage anfrage, Melder melden) {
    if (!belegen()) {
        melden({{"fehler", "Es läuft bereits ein Scan - bitte kurz warten."}});
        return;
    }
    auto begriffe = suchbegriffe(anfrage);
    if (begriffe.leer()) {
        freigeben();
        melden({{"fehler", "Zu dieser Buchung gibt es keine brauchbaren Suchbegriffe."}});
        return;
    }
    imHintergrund(
        [this, anfrage = std::move(anfrage), begriffe = std::move(begriffe),
         melden](std::stop_token const& ende) { gezielteSuche(umgebung_, anfrage, begriffe, melden, ende); },
        melden);
}

std::optional<std::int64_t> Suche::bilderZaehlen(std::string_view kennung, std::stop_token const& ende) {
    Ordner::OffeneOrdner const offen{umgebung_.merkliste};
    for (auto const& gemerkt : offen.alle())
        if (gemerkt.kennung == kennung && gemerkt.zugriffOffen) {
            auto const anzahl =
                Ordner::zaehlen(gemerkt.url, Texterkennung::bildEndungen, BILD_MINDESTGROESSE, [&ende] {
                    return ende.stop_requested();
                });
            if (anzahl)
                return *anzahl;
            protokoll("MacScan: Bilder nicht gezählt: " + alsUtf8(anzahl.error().text()));
            return std::nullopt;
        }
    return std::nullopt;
}

} // namespace quillmate::MacScan
