#pragma once

#include "ports/uhr.h"

#include <chrono>
#include <functional>
#include <mutex>

namespace quillmate::MacScan {

/// Keeps a scan from running into a service that is gone: each file would cost three attempts and their pauses, ten
/// thousand files half a day.
/// Threads: any number at once; while the service is gone all but one of them wait for that one's result.
/// Ownership: borrows the clock; one object serves one reading phase.
class Dienstwache {
public:
    /// Files in a row that got no answer at all.
    static constexpr int hoechstensOhneAntwort = 20;
    static constexpr std::chrono::seconds abstand{10};     ///< Between two questions whether it is back.
    static constexpr std::chrono::seconds geduld{120};     ///< Until the rest is left to the next scan.
    static constexpr std::chrono::seconds stoppabstand{1}; ///< How often a waiting thread looks for a stop.

    struct Fragen {
        std::function<int()> ohneAntwort; ///< Files in a row without an answer, until now.
        std::function<bool()> antwortet;  ///< One small request: whether any answer comes.
        std::function<bool()> gestoppt;   ///< Whether the scan is to end.
    };
    Dienstwache(ports::Uhr& uhr, Fragen fragen);

    /// Asked before each file. True at once while the service answers; blocks while it is gone. False: it did not come
    /// back, or the scan was stopped meanwhile; from then on at once.
    [[nodiscard]] bool bereit();

private:
    ports::Uhr& uhr_;
    Fragen const fragen_;
    std::mutex sperre_; ///< Guards aufgegeben_ and is held by the one who asks.
    bool aufgegeben_{false};
    int zurueckBei_{0}; ///< Guarded by sperre_: the count at which the service was last found to be back.
};

} // namespace quillmate::MacScan
