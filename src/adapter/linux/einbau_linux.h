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

/// Beside "NAME.app" stands, hidden, ".NAME.app.neu": first the version to be put in, after the exchange the one before.
/// What is to be done with it says the mark (einbaumarke.h) and nothing else. Whoever puts in or watches holds the mark's
/// lock: the program that prepares, then the helper, or the version on trial itself when a power cut has ended the helper.
/// The helper is this very program, started with `einbauschalter`.
class EinbauLinux final : public ports::Einbau {
public:
    /// `marken`: folder of the marks. `urspruenglich`: what the helper and the versions that it starts get in place of our
    /// own values. `eigeneProbe`: what selbstprobe() has returned.
    explicit EinbauLinux(std::string marken, Umgebungswerte urspruenglich = {}, Deskriptor eigeneProbe = {});
    [[nodiscard]] std::optional<ports::Einbauhindernis> hindernis(std::string const& buendel) override;
    [[nodiscard]] Ergebnis<std::string> baustelle(std::string const& buendel) override;
    [[nodiscard]] ports::Hindernis bereiten(std::string const& buendel) override;
    [[nodiscard]] Ergebnis<void> einbauenNachEnde(std::string const& buendel) override;
    void verwerfen(std::string const& buendel) override;
    void bestaetigen(std::string const& buendel) override;

private:
    std::string const marken_;
    Umgebungswerte const urspruenglich_;
    Deskriptor eigeneProbe_;
    Deskriptor vorbereitung_; ///< The mark's lock, from baustelle() on.
};

/// "--einbau-abschliessen PROCESS BUNDLE": the program's command line as the helper.
inline constexpr char const* einbauschalter = "--einbau-abschliessen";

struct Einbaufristen {
    std::chrono::milliseconds ende{std::chrono::seconds{30}};  ///< For the old process to end.
    std::chrono::milliseconds luecke{std::chrono::seconds{5}}; ///< For a start in between to end.
    std::chrono::milliseconds anlauf{std::chrono::minutes{2}}; ///< For the new version to confirm.
};

/// What the helper did.
enum class Einbauausgang {
    eingebaut,
    nichtEingebaut,  ///< The old version is where it was; started again unless it still runs.
    zurueckgenommen, ///< The new version did not start; the old one is back and started.
    offen, ///< The new version is in its place, but has neither come up nor failed; its next start watches itself.
};

/// What putting in needs of the program.
struct Einbauhilfen {
    std::string marken; ///< Folder of the marks.
    /// Told the build number of a version that did not start, before the old one starts again.
    std::function<void(std::string const& buildnummer)> zurueckgenommen;
    /// The lock that keeps the program to one run at a time, not waited for; empty while somebody else has it. Nobody may
    /// start while bundles are exchanged, and none is taken back that runs.
    std::function<Deskriptor()> einzelinstanz;
};

/// For a start of the bundle as a program with a window, once it holds its lock. A version on trial that no helper watches
/// any more, since the power failed or somebody ended it, watches itself: it says in the mark that it has begun. Who finds
/// an earlier start begun is not the first to fail: the version before is put back, `zurueckgenommen` is told, and the
/// program there goes on in the place of this process, with `urspruenglich` put back in its environment.
/// The mark's lock, to be handed to EinbauLinux; empty for a start that is no trial or is watched.
[[nodiscard]] Deskriptor selbstprobe(
    std::string const& buendel, Einbauhilfen const& hilfen, Umgebungswerte const& urspruenglich = {});

/// The helper's work: waits for the end of its parent `alterProzess`, exchanges, starts, watches, takes back.
[[nodiscard]] Einbauausgang einbauAbschliessen(
    pid_t alterProzess, std::string const& buendel, Einbauhilfen const& hilfen,
    Einbaufristen const& fristen = {});

/// Runs the helper when the command line asks for it; its exit code then. To be called before anything else in
/// main().
[[nodiscard]] std::optional<int> alsEinbauhelfer(
    std::span<char const* const> argumente, Einbauhilfen const& hilfen);

} // namespace quillmate::adapter::linux
