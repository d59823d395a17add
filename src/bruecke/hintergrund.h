#pragma once

#include "ports/arbeitsfaden.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>

namespace quillmate::bruecke {

/// One background thread that does work in the order in which it is given. Started with the first work, asleep
/// without any.
/// Threads: any. Destroying asks the work under way to stop, waits for it, and drops the rest.
/// Errors: ausfuehren() throws std::system_error when no thread can be started, std::bad_alloc without memory. The
/// work must not throw.
/// Ownership: borrows the port.
class Hintergrund {
public:
    explicit Hintergrund(ports::Arbeitsfaden& arbeitsfaden) noexcept
        : arbeitsfaden_(arbeitsfaden) {}
    /// Work looks at the token, which asks it to stop, as often as it can.
    using Arbeit = std::function<void(std::stop_token const&)>;
    void ausfuehren(Arbeit arbeit);

private:
    void arbeiten(std::stop_token const& ende);

    ports::Arbeitsfaden& arbeitsfaden_;
    std::mutex sperre_; ///< Guards offen_ and the start of faden_.
    std::condition_variable_any neues_;
    std::deque<Arbeit> offen_;
    std::jthread faden_; ///< Last member: it uses all others.
};

} // namespace quillmate::bruecke
