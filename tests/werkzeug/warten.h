#pragma once

#include <chrono>
#include <thread>

namespace quillmate::werkzeug {

/// Waits until `bedingung()` holds; false when it does not within `grenze`. Tests wait for conditions, never
/// for a length of time.
template<typename Bedingung>
[[nodiscard]] bool wartenBis(Bedingung bedingung, std::chrono::seconds grenze = std::chrono::seconds{20}) {
    auto const ende = std::chrono::steady_clock::now() + grenze;
    while (!bedingung()) {
        if (std::chrono::steady_clock::now() > ende)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds{2});
    }
    return true;
}

} // namespace quillmate::werkzeug
