#include "rechenuhr.h"

#include <ctime>

namespace quillmate::leser::motoren {

Rechenuhr::time_point Rechenuhr::now() noexcept {
    timespec zeit{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &zeit);
    return time_point{std::chrono::seconds{zeit.tv_sec} + std::chrono::nanoseconds{zeit.tv_nsec}};
}

} // namespace quillmate::leser::motoren
