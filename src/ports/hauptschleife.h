#pragma once

#include <chrono>
#include <functional>

namespace quillmate::ports {

/// Port: the event loop of the main thread. The one place where other threads hand work to it.
/// Errors: work that throws ends the program; keep handlers from throwing.
/// Ownership: keeps the work until it has run. Work that is left when the loop ends never runs.
class Hauptschleife {
public:
    using Arbeit = std::function<void()>;

    virtual ~Hauptschleife() = default;
    /// Runs `arbeit` on the main thread, later, in posting order; also when called on the main thread. Any thread.
    virtual void spaeter(Arbeit arbeit) = 0;
    /// Runs `arbeit` once on the main thread after `dauer` at the earliest. Any thread.
    virtual void nach(std::chrono::milliseconds dauer, Arbeit arbeit) = 0;
    /// Ends the loop, and with it the program, once the current event is handled. Any thread.
    virtual void beenden() = 0;
};

} // namespace quillmate::ports
