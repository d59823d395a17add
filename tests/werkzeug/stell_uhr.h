#pragma once

#include "ports/arbeitsfaden.h"
#include "ports/uhr.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <vector>

namespace quillmate::werkzeug {

/// A clock that moves only when told, and by what is slept on it.
class StellUhr final : public ports::Uhr {
public:
    Zeitpunkt jetzt() const override {
        std::lock_guard const schutz{sperre_};
        return jetzt_;
    }
    void schlafen(std::chrono::duration<double> dauer) override {
        std::lock_guard const schutz{sperre_};
        geschlafen_.push_back(dauer.count());
        jetzt_ += std::chrono::duration_cast<Zeitpunkt::duration>(dauer);
    }
    void vor(std::chrono::duration<double> dauer) {
        std::lock_guard const schutz{sperre_};
        jetzt_ += std::chrono::duration_cast<Zeitpunkt::duration>(dauer);
    }
    [[nodiscard]] std::vector<double> geschlafen() const {
        std::lock_guard const schutz{sperre_};
        return geschlafen_;
    }

private:
    mutable std::mutex sperre_;
    Zeitpunkt jetzt_{std::chrono::hours{1000}};
    std::vector<double> geschlafen_;
};

/// Counts the threads that announced themselves as background work.
class ZaehlenderArbeitsfaden final : public ports::Arbeitsfaden {
public:
    void alsHilfsarbeit() noexcept override { ++anzahl; }
    std::atomic<int> anzahl{0};
};

} // namespace quillmate::werkzeug
