#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// Looks at files that may never come back: stat(2) of a share whose server is gone blocks for minutes or for ever,
/// and nothing can end it from outside.
/// Threads: any.
namespace quillmate {

/// Runs `arbeit` on a thread of its own and waits for its end, at most `frist`; true when it ended in time.
/// A thread that hangs is left behind and ends when the call that it hangs in does; so `arbeit` owns all that it
/// touches. While it hangs, a further call for the same `stelle` returns false at once instead of leaving one more
/// thread behind. Where no thread is to be had, `arbeit` runs on the caller's.
/// What `arbeit` throws ends it and reaches nobody.
bool innerhalbFrist(std::string const& stelle, std::chrono::milliseconds frist, std::function<void()> arbeit);

/// The same, for as long as `weiterWarten` says; it is asked every 20 ms on the calling thread.
bool solangeGewartet(
    std::string const& stelle, std::function<bool()> const& weiterWarten, std::function<void()> arbeit);

/// Whether a look at this place was left behind and has not come back yet.
[[nodiscard]] bool haengt(std::string_view stelle);

/// innerhalbFrist() with a result; nothing when it did not come in time.
template<typename Blick>
auto mitFrist(std::string const& stelle, std::chrono::milliseconds frist, Blick blick)
    -> std::optional<decltype(blick())> {
    auto const ergebnis = std::make_shared<std::optional<decltype(blick())>>();
    bool const fertig =
        innerhalbFrist(stelle, frist, [ergebnis, blick = std::move(blick)] { *ergebnis = blick(); });
    return fertig ? std::move(*ergebnis) : std::nullopt;
}

} // namespace quillmate
