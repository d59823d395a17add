#include "stoppwaechter.h"

#include "dienst/antworten.h"

#include <system_error>
#include <utility>

namespace quillmate::MacScan {

StoppWaechter::StoppWaechter(
    dienst::Dienst& dienst, ports::Uhr const& uhr, std::chrono::duration<double> abstand)
    : dienst_(dienst)
    , uhr_(uhr)
    , abstand_(abstand) {}

StoppWaechter::~StoppWaechter() {
    hintergrundBeenden();
}

void StoppWaechter::neuerLauf() {
    std::lock_guard const schutz{sperre_};
    ++lauf_;
    zuletzt_.reset();
    wert_ = false;
    angehalten_ = false;
}

bool StoppWaechter::gestoppt(dienst::Zugang const& zugang) {
    {
        std::lock_guard const schutz{sperre_};
        if (wert_ || angehalten_)
            return true;
        if (imHintergrund_)
            return false;
        if (zuletzt_ && uhr_.jetzt() - *zuletzt_ < abstand_)
            return false;
    }
    return fragen(zugang);
}

std::optional<std::chrono::steady_clock::time_point> StoppWaechter::gestopptSeit() {
    std::lock_guard const schutz{sperre_};
    return wert_ || angehalten_ ? std::optional{gestopptSeit_} : std::nullopt;
}

bool StoppWaechter::fragen(dienst::Zugang const& zugang) {
    std::unique_lock schutz{sperre_};
    auto const lauf = lauf_;
    schutz.unlock();
    auto const antwort = dienst_.holeFortschritt(zugang);
    uebernehmen(antwort, lauf);
    schutz.lock();
    return wert_ || angehalten_;
}

void StoppWaechter::uebernehmen(FremdesJson const& antwort, std::uint64_t lauf) {
    std::lock_guard const schutz{sperre_};
    if (lauf != lauf_)
        return; // asked on behalf of a run that is over; a stop of then must not end the run of now
    zuletzt_ = uhr_.jetzt();
    bool const vorher = wert_ || angehalten_;
    wert_ = dienst::gestopptAus(antwort).value_or(wert_);
    if (wert_ && !vorher)
        gestopptSeit_ = std::chrono::steady_clock::now();
    geaendert_.notify_all();
}

void StoppWaechter::hintergrund(dienst::Zugang const& zugang) {
    {
        std::lock_guard const schutz{sperre_};
        if (imHintergrund_)
            return;
        imHintergrund_ = true;
        zugang_ = zugang;
    }
    fragen(zugang);
    std::lock_guard const schutz{sperre_};
    if (fadenLebt_ || !imHintergrund_)
        return; // the last run's thread is still in a question and goes on for this one
    try {
        faden_ = std::jthread{[this](std::stop_token const& ende) {
            abfragen(ende);
        }};
        fadenLebt_ = true; // the thread waits for the lock until here
    } catch (std::system_error const&) {
        imHintergrund_ = false; // out of threads: the callers ask for themselves
    }
}

void StoppWaechter::abfragen(std::stop_token const& ende) {
    std::unique_lock schutz{sperre_};
    for (;;) {
        geaendert_.wait_for(
            schutz, ende, abstand_, [this] { return !imHintergrund_ || wert_ || angehalten_; });
        if (ende.stop_requested() || !imHintergrund_ || wert_ || angehalten_)
            break;
        auto const zugang = zugang_;
        auto const lauf = lauf_;
        schutz.unlock();
        auto const antwort = dienst_.holeFortschritt(zugang);
        uebernehmen(antwort, lauf);
        schutz.lock();
    }
    fadenLebt_ = false;
    if (!imHintergrund_)
        zugang_ = {};
}

void StoppWaechter::hintergrundBeenden() {
    std::lock_guard const schutz{sperre_};
    imHintergrund_ = false;
    zugang_ = {}; // the token is not kept beyond its run
    geaendert_.notify_all();
}

void StoppWaechter::anhalten() {
    std::lock_guard const schutz{sperre_};
    if (!wert_ && !angehalten_)
        gestopptSeit_ = std::chrono::steady_clock::now();
    angehalten_ = true;
    geaendert_.notify_all();
}

} // namespace quillmate::MacScan
