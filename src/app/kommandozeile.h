#pragma once

#include <optional>
#include <span>
#include <string>

/// What the command line asks for besides the window: help, version, and an answer to what is not known. Needs no
/// display, no lock and no session.
namespace quillmate::app::kommandozeile {

/// What to say, and the exit status.
struct Antwort {
    std::string text;
    int status{0}; ///< 0: to standard output; 2, a wrong call: to standard error.
};

/// Nothing when the program is to start. `argumente` begin with the program's name; the diagnostic modes with a value
/// have been looked for before. The first option that is asked for or unknown decides. Pure.
[[nodiscard]] std::optional<Antwort> antwort(
    std::span<char const* const> argumente, std::string const& buildnummer);

} // namespace quillmate::app::kommandozeile
