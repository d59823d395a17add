#include "fortschrittsmelder.h"

#include <pthread.h>

#include <utility>

namespace quillmate::MacScan {

Fortschrittsmelder::Fortschrittsmelder(dienst::Dienst& dienst, dienst::Zugang zugang)
    : dienst_(dienst)
    , zugang_(std::move(zugang))
    , reihe_([this](std::stop_token const& ende) { arbeiten(ende); }) {}

Fortschrittsmelder::~Fortschrittsmelder() = default;

void Fortschrittsmelder::arbeiten(std::stop_token const& ende) {
    // The full name, "de.tandemwerk.quillmate.fortschritt", is longer than the 15 bytes Linux keeps.
    ::pthread_setname_np(::pthread_self(), "fortschritt");
    std::unique_lock schutz{sperre_};
    while (geaendert_.wait(schutz, ende, [this] { return auftrag_.has_value(); })) {
        auto const stand = *std::exchange(auftrag_, std::nullopt);
        schutz.unlock();
        senden(stand);
        schutz.lock();
        unterwegs_ = false;
        geaendert_.notify_all();
    }
}

void Fortschrittsmelder::senden(Stand const& stand) {
    dienst_.postJson(
        stand.zugang ? *stand.zugang : zugang_, "progress-update",
        {{"processed", stand.verarbeitet}, {"total", stand.gesamt}});
}

void Fortschrittsmelder::melden(std::int64_t verarbeitet, std::int64_t gesamt) {
    std::lock_guard const schutz{sperre_};
    if (unterwegs_)
        return;
    unterwegs_ = true;
    auftrag_ = Stand{.verarbeitet = verarbeitet, .gesamt = gesamt, .zugang = {}};
    geaendert_.notify_all();
}

void Fortschrittsmelder::zuletzt(
    std::int64_t verarbeitet, std::int64_t gesamt, std::optional<dienst::Zugang> zugang) {
    std::unique_lock schutz{sperre_};
    auto const frei = [this] {
        return !unterwegs_;
    };
    geaendert_.wait(schutz, frei);
    unterwegs_ = true;
    auftrag_ = Stand{.verarbeitet = verarbeitet, .gesamt = gesamt, .zugang = std::move(zugang)};
    geaendert_.notify_all();
    geaendert_.wait(schutz, frei);
}

} // namespace quillmate::MacScan
