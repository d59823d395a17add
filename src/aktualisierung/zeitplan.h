#pragma once

#include "ports/buendel.h"

#include <chrono>
#include <optional>

namespace quillmate::aktualisierung {

/// When the program looks for updates by itself.
struct Zeitplan {
    bool automatisch{false};
    std::chrono::seconds abstand{std::chrono::days{1}};
};

/// By the bundle's property list. Without a feed or the wish for it, never; never more often than once a day.
[[nodiscard]] Zeitplan zeitplanAus(ports::Updatewerte const& werte);

/// How long to wait until the next automatic check, nothing for "never". `letzte`: the last check, by whatever cause;
/// a program that has never looked before (its first start) waits a whole interval. A last check in the future, after
/// the clock was set back, counts as one just now.
[[nodiscard]] std::optional<std::chrono::seconds> wartezeit(
    Zeitplan const& plan, std::optional<std::chrono::sys_seconds> letzte, std::chrono::sys_seconds jetzt);

} // namespace quillmate::aktualisierung
