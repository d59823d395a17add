#pragma once

#include <string>

/// The user's folders as freedesktop.org lays them down (XDG Base Directory); a variable that holds no absolute path counts
/// as unset.
/// Threads: any, as long as nobody changes the environment.
namespace quillmate::adapter::linux {

/// $HOME, else the home folder of the user database, else "/".
[[nodiscard]] std::string heimordner();
/// $XDG_CONFIG_HOME, else ~/.config.
[[nodiscard]] std::string konfigurationsordner();
/// $XDG_CACHE_HOME, else ~/.cache; the temporary folder for a user without home.
[[nodiscard]] std::string cacheordner();
/// $XDG_DATA_HOME, else ~/.local/share.
[[nodiscard]] std::string datenordner();
/// $TMPDIR, else $XDG_RUNTIME_DIR, else /tmp.
[[nodiscard]] std::string temporaererOrdner();
/// Where the texts of read files are kept, the same for every build of the program.
[[nodiscard]] std::string zwischenspeicherOrdner();

} // namespace quillmate::adapter::linux
