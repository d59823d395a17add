#pragma once

#include <map>
#include <optional>
#include <string>

/// The process's environment as the window needs it.
/// Threads: before any other thread, and before GTK reads it.
namespace quillmate::app::umgebung {

/// Variables that were changed, with their values before (nothing: unset).
using Vorher = std::map<std::string, std::optional<std::string>>;

/// Makes the desktop's libraries speak German, also where the session's language is another or none, and keeps variables
/// that open the web engine to other programs away from it. Without a graphics processor the toolkit need not look for its
/// library, which takes a good part of the start; what the user has set stays. What programs outside are started with
/// must be put back.
[[nodiscard]] Vorher einrichten(bool grafikprozessor);

} // namespace quillmate::app::umgebung
