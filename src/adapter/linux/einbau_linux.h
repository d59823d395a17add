#pragma once

#include "grundlage/datei.h"
#include "ports/einbau.h"
#include "umgebungswerte.h"

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace quillmate::adapter::linux {

/// Beside "NAME.app" stand, hidden: ".NAME.app.neu", first the version to be put in, after the exchange the one before;
/// ".NAME.app.probe", as long as a version is on trial, locked by whoever watches it: the helper, or the version itself
/// when a power cut has ended the helper. In it stands the build number of the version on trial, and in a second line
/// that it has begun a start which nobody watches.
/// The helper is this very program, started with `einbauschalter`.
class EinbauLinux final : public ports::Einbau {
public:
    /// `urspruenglich`: what the helper and the versions that it starts get in place of our own values.
    /// `eigeneProbe`: what selbstprobe() has returned.
    explicit EinbauLinux(Umgebungswerte urspruenglich = {}, Deskriptor eigeneProbe = {});
    [[nodiscard]] bool moeglich(std::string const& buendel) override;
    [[nodiscard]] std::string baustelle(std::string const& buendel) override;
    [[nodiscard]] ports::Hindernis bereiten(std::string const& buendel) override;
    [[nodiscard]] bool einbauenNachEnde(std::string const& buendel) override;
    void verwerfen(std::string const& buendel) override;
    void bestaetigen(std::string const& buendel) override;

private:
    Umgebungswerte const urspruenglich_;
    Deskriptor eigeneProbe_;
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

/// For a start of the bundle as a program with a window. A version on trial that no helper watches any more, since the
/// power failed or somebody ended it, watches itself: it leaves a mark and locks the probe file as long as it lives. Who
/// finds the mark of an earlier start unlocked is not the first to fail: the version before is put back, `zurueckgenommen`
/// is told, and the program there goes on in the place of this process, with `urspruenglich` put back in its environment.
/// The lock, to be handed to EinbauLinux; empty for a start that is no trial or is watched.
[[nodiscard]] Deskriptor selbstprobe(
    std::string const& buendel, Rueckmeldung const& zurueckgenommen,
    Umgebungswerte const& urspruenglich = {});

/// The helper's work: waits for the end of its parent `alterProzess`, exchanges, starts, watches, takes back.
[[nodiscard]] Einbauausgang einbauAbschliessen(
    pid_t alterProzess, std::string const& buendel, Rueckmeldung const& zurueckgenommen,
    Einbaufristen const& fristen = {});

/// Runs the helper when the command line asks for it; its exit code then. To be called before anything else in
/// main().
[[nodiscard]] std::optional<int> alsEinbauhelfer(
    std::span<char const* const> argumente, Rueckmeldung const& zurueckgenommen);

} // namespace quillmate::adapter::linux
