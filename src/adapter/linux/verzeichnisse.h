#pragma once

#include "grundlage/ergebnis.h"

#include <string>

/// The user's folders as freedesktop.org lays them down (XDG Base Directory); a variable that holds no absolute path counts
/// as unset.
/// Threads: any, as long as nobody changes the environment.
namespace quillmate::adapter::linux {

/// A path below which nothing can be made, for where there is no folder.
inline constexpr char const* keinOrdner = "/dev/null";

/// $HOME, else the home folder of the user database, else "/".
[[nodiscard]] std::string heimordner();
/// $XDG_CONFIG_HOME, else ~/.config.
[[nodiscard]] std::string konfigurationsordner();
/// $XDG_CACHE_HOME, else ~/.cache; the temporary folder for a user without home, keinOrdner where there is
/// none either.
[[nodiscard]] std::string cacheordner();
/// $XDG_DATA_HOME, else ~/.local/share.
[[nodiscard]] std::string datenordner();
/// $XDG_STATE_HOME, else ~/.local/state.
[[nodiscard]] std::string zustandsordner();
/// For temporary files, nobody else's: $TMPDIR where it belongs to the user and nobody else may write there; else the
/// folder "quillmate-UID" in $TMPDIR or /tmp, which is made where it is missing. Fails where that is a link, another
/// user's, or open to others.
[[nodiscard]] Ergebnis<std::string> temporaererOrdner();
/// For the lock and for sockets: $XDG_RUNTIME_DIR where it belongs to the user and nobody else may write there, else the
/// temporary folder.
[[nodiscard]] Ergebnis<std::string> laufzeitordner();
/// Where the texts of read files are kept, the same for every build of the program.
[[nodiscard]] std::string zwischenspeicherOrdner();

} // namespace quillmate::adapter::linux
