#pragma once

#include "grundlage/frist.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace quillmate::MacScan {

/// What a look through one place and the run that waits for it tell each other. The look may outlive the run.
struct Ortszeichen {
    std::atomic<bool> halt{false};          ///< The look is to end.
    std::atomic<std::uint64_t> schritte{0}; ///< Grows as long as the place answers.
    std::atomic<std::int64_t> gefunden{0};

    /// For the look: one more sign of life; whether to end.
    [[nodiscard]] bool soll_enden() noexcept {
        ++schritte;
        return halt;
    }
};

/// Looks through a place on a thread of its own, because a share whose server is gone holds up whoever looks, and
/// nothing can end that. `gestoppt` and `fortschritt` are asked and told on the calling thread.
/// Nothing when the place gave no sign of life for `frist`, or when it did not end soon after a stop; then the look is
/// left behind, and so it owns all that it touches.
template<typename Blick>
auto amOrt(
    std::string const& ort, std::chrono::milliseconds frist, std::function<bool()> const& gestoppt,
    std::function<void(std::int64_t)> const& fortschritt, Blick blick)
    -> std::optional<decltype(blick(std::declval<Ortszeichen&>()))> {
    using Uhr = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds nachEinemStopp{500};
    auto const zeichen = std::make_shared<Ortszeichen>();
    auto const ergebnis = std::make_shared<std::optional<decltype(blick(*zeichen))>>();
    std::uint64_t letzterSchritt = 0;
    std::int64_t gemeldet = 0;
    auto ende = Uhr::now() + frist;
    auto const weiterWarten = [&] {
        if (auto const schritt = zeichen->schritte.load(); schritt != letzterSchritt && !zeichen->halt) {
            letzterSchritt = schritt;
            ende = Uhr::now() + frist;
        }
        if (auto const anzahl = zeichen->gefunden.load(); anzahl != gemeldet && fortschritt)
            fortschritt(gemeldet = anzahl);
        if (!zeichen->halt && gestoppt()) {
            zeichen->halt = true;
            ende = Uhr::now() + nachEinemStopp;
        }
        return Uhr::now() < ende;
    };
    bool const fertig = solangeGewartet(
        ort, weiterWarten, [zeichen, ergebnis, blick = std::move(blick)] { *ergebnis = blick(*zeichen); });
    zeichen->halt = true;
    return fertig ? std::move(*ergebnis) : std::nullopt;
}

} // namespace quillmate::MacScan
