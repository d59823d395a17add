#pragma once

#include <chrono>

namespace quillmate::ports {

/// Port: time that passes. A test's clock moves only when told.
/// Threads: any.
class Uhr {
public:
    using Zeitpunkt = std::chrono::steady_clock::time_point;

    virtual ~Uhr() = default;
    /// Never goes back, also when the user sets the wall clock.
    [[nodiscard]] virtual Zeitpunkt jetzt() const = 0;
    /// Blocks the calling thread.
    virtual void schlafen(std::chrono::duration<double> dauer) = 0;
};

/// The machine's own clock.
class SystemUhr final : public Uhr {
public:
    [[nodiscard]] Zeitpunkt jetzt() const override;
    void schlafen(std::chrono::duration<double> dauer) override;
};

} // namespace quillmate::ports
