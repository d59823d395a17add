#pragma once

#include <chrono>

namespace quillmate::leser::motoren {

/// Processor time of the calling thread, so that a busy machine does not decide what a file holds. A clock as those of
/// std::chrono; its times mean something on the thread that took them only.
struct Rechenuhr {
    using duration = std::chrono::nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<Rechenuhr>;
    static constexpr bool is_steady = true;
    [[nodiscard]] static time_point now() noexcept;
};

} // namespace quillmate::leser::motoren
