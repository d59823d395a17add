#pragma once

#include <glib.h>

#include <chrono>

namespace quillmate::werkzeug {

/// Turns GLib's main loop, in the thread that owns it, until `bedingung()` holds; false when it does not within `grenze`.
template<typename Bedingung>
[[nodiscard]] bool drehenBis(Bedingung bedingung, std::chrono::seconds grenze = std::chrono::seconds{30}) {
    auto const ende = std::chrono::steady_clock::now() + grenze;
    while (!bedingung()) {
        if (std::chrono::steady_clock::now() > ende)
            return false;
        if (g_main_context_iteration(nullptr, FALSE) == FALSE)
            g_usleep(1000);
    }
    return true;
}

} // namespace quillmate::werkzeug
