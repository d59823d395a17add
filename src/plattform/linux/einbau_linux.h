#pragma once

#include "plattform/einbau.h"

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace quillmate::plattform {

/// Beside "NAME.app" stand, hidden: ".NAME.app.neu", first the version to be put in, after the exchange the one before;
/// ".NAME.app.probe", as long as a version is on trial, locked by the helper that watches it.
/// The helper is this very program, started with `einbauschalter`.
class EinbauLinux final : public Einbau {
public:
    [[nodiscard]] bool moeglich(std::string const& buendel) override;
    [[nodiscard]] std::string baustelle(std::string const& buendel) override;
    [[nodiscard]] Hindernis bereiten(std::string const& buendel) override;
    [[nodiscard]] bool einbauenNachEnde(std::string const& buendel) override;
    void verwerfen(std::string const& buendel) override;
    void bestaetigen(std::string const& buendel) override;
};

/// "--einbau-abschliessen PROCESS BUNDLE": the program's command line as the helper.
inline constexpr char const* einbauschalter = "--einbau-abschliessen";

struct Einbaufristen {
    std::chrono::milliseconds ende{std::chrono::seconds{30}};  ///< For the old process to end.
    std::chrono::milliseconds anlauf{std::chrono::minutes{2}}; ///< For the new version to confirm.
};

/// What the helper did.
enum class Einbauausgang {
    eingebaut,
    nichtEingebaut,  ///< The old version is where it was; started again unless it still runs.
    zurueckgenommen, ///< The new version did not start; the old one is back and started.
};

/// Told the build number of a version that did not start, before the old one starts again; empty when not known.
using Rueckmeldung = std::function<void(std::string const& buildnummer)>;

/// The helper's work: waits for the end of its parent `alterProzess`, exchanges, starts, watches, takes back.
[[nodiscard]] Einbauausgang einbauAbschliessen(
    pid_t alterProzess, std::string const& buendel, Rueckmeldung const& zurueckgenommen,
    Einbaufristen const& fristen = {});

/// Runs the helper when the command line asks for it; its exit code then. To be called before anything else in
/// main().
[[nodiscard]] std::optional<int> alsEinbauhelfer(
    std::span<char const* const> argumente, Rueckmeldung const& zurueckgenommen);

} // namespace quillmate::plattform
