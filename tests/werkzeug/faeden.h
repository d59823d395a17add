#pragma once

#include "warten.h"

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace quillmate::werkzeug {

/// Threads of this process, those that the kernel is still taking away included.
inline std::size_t fadenzahl() {
    return static_cast<std::size_t>(std::distance(
        std::filesystem::directory_iterator{"/proc/self/task"}, std::filesystem::directory_iterator{}));
}

/// What a sanitizer adds to the main thread once a first thread has been started.
#ifdef __SANITIZE_THREAD__
inline constexpr std::size_t ruhendeFaeden = 2;
#else
inline constexpr std::size_t ruhendeFaeden = 1;
#endif

/// Waits until only the resting threads are left; their number. A thread that was joined is still listed for a moment.
inline std::size_t nurRuhende() {
    std::thread{[] {
    }}.join();
    if (!wartenBis([] { return fadenzahl() == ruhendeFaeden; }))
        throw std::runtime_error{"Es laufen noch andere Fäden"};
    return ruhendeFaeden;
}

} // namespace quillmate::werkzeug
