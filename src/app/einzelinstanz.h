#pragma once

#include "grundlage/datei.h"
#include "ports/laufende_programme.h"

#include <optional>
#include <string>

namespace quillmate::app {

/// Identifier of the main build. All others are demo builds.
inline constexpr char const* hauptbau = "de.tandemwerk.quillmate";

/// Keeps the program to one run at a time, the main build and the demo builds apart from each other.
/// Ownership: holds the lock as long as it lives; the system gives it back when the process dies, however that is.
class AppEinzelinstanz {
public:
    /// Takes the lock in `ordner`. `kennung` is the own bundle's identifier; without one this is the main
    /// build. Nothing when it cannot be taken: then the running instance has been brought to the front, if there is
    /// one, and the reason has been logged.
    /// Threads: main thread.
    [[nodiscard]] static std::optional<AppEinzelinstanz> belegen(
        std::optional<std::string> const& kennung, std::string const& ordner,
        ports::LaufendeProgramme& programme);

    /// The lock alone, for whoever must be sure that nobody runs: the file, or nothing, at once and silently.
    /// Threads: any.
    [[nodiscard]] static Deskriptor nurSperren(
        std::optional<std::string> const& kennung, std::string const& ordner);

private:
    explicit AppEinzelinstanz(Deskriptor sperrdatei) noexcept;
    Deskriptor sperrdatei_;
};

} // namespace quillmate::app
