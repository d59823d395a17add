#pragma once

#include "ports/laufende_programme.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quillmate::adapter::gtk {

/// Finds running programs by the names that they own on the session bus, and asks them to come to the front by
/// org.freedesktop.Application (freedesktop.org, desktop entries, "D-Bus Activation"), with the activation token that this
/// start was given: without it a Wayland desktop does not let another window come forward.
/// Threads: main thread. Blocks at most a few seconds, also when the other program hangs.
class LaufendeProgrammeBus final : public ports::LaufendeProgramme {
public:
    /// `zuOeffnen`: an address that the found program shall open rather than just come forward.
    explicit LaufendeProgrammeBus(std::optional<std::string> zuOeffnen);
    bool aktivieren(std::function<bool(std::string_view kennung)> const& passt) override;

private:
    std::optional<std::string> const zuOeffnen_;
};

} // namespace quillmate::adapter::gtk
