#include "zeitplan.h"

#include <algorithm>

namespace quillmate::aktualisierung {

Zeitplan zeitplanAus(ports::Updatewerte const& werte) {
    constexpr std::chrono::seconds hoechstens{std::chrono::years{1}};
    Zeitplan plan{.automatisch = werte.feed && werte.automatisch.value_or(false)};
    if (werte.abstand)
        plan.abstand = std::clamp(*werte.abstand, std::chrono::seconds{std::chrono::days{1}}, hoechstens);
    return plan;
}

std::optional<std::chrono::seconds> wartezeit(
    Zeitplan const& plan, std::optional<std::chrono::sys_seconds> letzte, std::chrono::sys_seconds jetzt) {
    if (!plan.automatisch)
        return std::nullopt;
    auto const seit = letzte && *letzte <= jetzt ? jetzt - *letzte : std::chrono::seconds{0};
    return std::max(plan.abstand - seit, std::chrono::seconds{0});
}

} // namespace quillmate::aktualisierung
