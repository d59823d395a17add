#pragma once

#include "dienst/dienst.h"
#include "dienst/zugang.h"
#include "ports/uhr.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>

namespace quillmate::MacScan {

/// Finds out whether the user has stopped the scan, on the service's page or here. Scan threads ask it often;
/// it asks the service at most once in two seconds. A service that does not answer never stops a scan.
/// Threads: any.
/// Ownership: borrows both; destroying ends the poller and waits for a question under way.
class StoppWaechter {
public:
    static constexpr std::chrono::duration<double> frageabstand{2.0};

    /// `abstand`: pause between two questions to the service.
    StoppWaechter(
        dienst::Dienst& dienst, ports::Uhr const& uhr, std::chrono::duration<double> abstand = frageabstand);
    ~StoppWaechter();
    StoppWaechter(StoppWaechter const&) = delete;
    StoppWaechter& operator=(StoppWaechter const&) = delete;

    /// A new scan begins: not stopped, and never asked. An answer to a question of the last scan no longer
    /// counts.
    void neuerLauf();
    /// The cheap question. While the background poller runs it costs only a lock; otherwise it asks the
    /// service when the last question is two seconds old.
    [[nodiscard]] bool gestoppt(dienst::Zugang const& zugang);
    /// Since when a stop is known, without asking anybody.
    [[nodiscard]] std::optional<std::chrono::steady_clock::time_point> gestopptSeit();
    /// Asks the service now and takes over its Boolean, false included.
    bool fragen(dienst::Zugang const& zugang);
    /// Starts the background poller if it does not run: one question at once on the calling thread, then one
    /// every two seconds on its own.
    void hintergrund(dienst::Zugang const& zugang);
    /// Ends it; returns without waiting for a question under way.
    void hintergrundBeenden();
    /// A stop from this side: from now on gestoppt() is true, until neuerLauf().
    void anhalten();

private:
    void abfragen(std::stop_token const& ende);
    /// Stores what the service answered to a question of the run `lauf`.
    void uebernehmen(FremdesJson const& antwort, std::uint64_t lauf);

    dienst::Dienst& dienst_;
    ports::Uhr const& uhr_;
    std::chrono::duration<double> const abstand_;

    std::mutex sperre_; ///< Guards everything below. No request is made while holding it.
    std::condition_variable_any geaendert_;
    std::optional<ports::Uhr::Zeitpunkt> zuletzt_; ///< Of the last question; nothing: never in this run.
    bool wert_{false};                             ///< The service's last Boolean.
    bool angehalten_{false}; ///< Stopped from this side; no answer of the service takes that back.
    std::chrono::steady_clock::time_point gestopptSeit_{}; ///< Valid while one of the two is set.
    bool imHintergrund_{false};
    std::uint64_t lauf_{0};
    dienst::Zugang zugang_; ///< Of the poller's run.
    bool fadenLebt_{false}; ///< Cleared by the poller's thread right before it returns.
    std::jthread faden_;    ///< Last member: it uses all others.
};

} // namespace quillmate::MacScan
