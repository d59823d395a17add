#pragma once

#include "ports/hauptschleife.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <mutex>
#include <utility>
#include <vector>

namespace quillmate::werkzeug {

/// A main loop that runs only when told, on the thread that tells it.
class HandSchleife final : public ports::Hauptschleife {
public:
    void spaeter(Arbeit arbeit) override {
        std::lock_guard const schutz{sperre_};
        wartend_.push_back(std::move(arbeit));
    }
    void nach(std::chrono::milliseconds dauer, Arbeit arbeit) override {
        std::lock_guard const schutz{sperre_};
        spaetere_.push_back({jetzt_ + dauer, std::move(arbeit)});
    }
    void beenden() override {
        std::lock_guard const schutz{sperre_};
        beendet_ = true;
    }

    /// Runs everything that waits, also what comes while it runs; returns how much that was.
    std::size_t laufen() {
        std::size_t anzahl = 0;
        for (; auto arbeit = naechste(); ++anzahl)
            arbeit();
        return anzahl;
    }
    /// Lets time pass, then runs what is due.
    void vor(std::chrono::milliseconds dauer) {
        {
            std::lock_guard const schutz{sperre_};
            jetzt_ += dauer;
            std::vector<std::pair<std::chrono::milliseconds, Arbeit>> rest;
            for (auto& [zeit, arbeit] : spaetere_) {
                if (zeit <= jetzt_)
                    wartend_.push_back(std::move(arbeit));
                else
                    rest.emplace_back(zeit, std::move(arbeit));
            }
            spaetere_ = std::move(rest);
        }
        laufen();
    }
    [[nodiscard]] std::size_t wartende() const {
        std::lock_guard const schutz{sperre_};
        return wartend_.size();
    }
    [[nodiscard]] bool beendet() const {
        std::lock_guard const schutz{sperre_};
        return beendet_;
    }

private:
    Arbeit naechste() {
        std::lock_guard const schutz{sperre_};
        if (wartend_.empty())
            return {};
        auto arbeit = std::move(wartend_.front());
        wartend_.pop_front();
        return arbeit;
    }

    mutable std::mutex sperre_; ///< Guards everything below.
    std::deque<Arbeit> wartend_;
    std::vector<std::pair<std::chrono::milliseconds, Arbeit>> spaetere_;
    std::chrono::milliseconds jetzt_{0};
    bool beendet_{false};
};

} // namespace quillmate::werkzeug
