#pragma once

#include "dienst/dienst.h"
#include "dienst/zugang.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>

namespace quillmate::MacScan {

/// Tells the service how many files are done. Its posts run one after another on a thread of its own.
/// Threads: any.
/// Ownership: borrows the service client. Destroying waits for a report that is on its way.
class Fortschrittsmelder {
public:
    Fortschrittsmelder(dienst::Dienst& dienst, dienst::Zugang zugang);
    ~Fortschrittsmelder();
    Fortschrittsmelder(Fortschrittsmelder const&) = delete;
    Fortschrittsmelder& operator=(Fortschrittsmelder const&) = delete;

    /// Returns at once. While a report is on its way, this one is dropped: a later one will tell more anyway.
    void melden(std::int64_t verarbeitet, std::int64_t gesamt);
    /// The final report: sent after whatever is on its way; returns when it has been sent. `zugang`: with which, if it is
    /// to end otherwise than the reports before.
    void zuletzt(
        std::int64_t verarbeitet, std::int64_t gesamt, std::optional<dienst::Zugang> zugang = std::nullopt);

private:
    struct Stand {
        std::int64_t verarbeitet;
        std::int64_t gesamt;
        std::optional<dienst::Zugang> zugang; ///< Instead of zugang_.
    };

    void arbeiten(std::stop_token const& ende);
    void senden(Stand const& stand);

    dienst::Dienst& dienst_;
    dienst::Zugang const zugang_;
    std::mutex sperre_; ///< Guards auftrag_ and unterwegs_.
    std::condition_variable_any geaendert_;
    std::optional<Stand> auftrag_; ///< Handed to the thread, not begun yet.
    bool unterwegs_{false};        ///< From melden() until its post has returned.
    std::jthread reihe_;           ///< Last member: it uses all others.
};

} // namespace quillmate::MacScan
