#pragma once

#include "ports/standardorte.h"

#include <mutex>
#include <string>
#include <string_view>

namespace quillmate::adapter::linux {

/// Desktop, Documents and Downloads below the home folder; where the user's XDG configuration
/// ($XDG_CONFIG_HOME/user-dirs.dirs) names another folder, that one. Read anew by each call, so that a folder
/// that the user renames while the program runs is found.
/// Threads: any.
class StandardorteXdg final : public ports::Standardorte {
public:
    [[nodiscard]] Pfade pfade() override;

private:
    std::mutex sperre_;   ///< Guards what follows.
    std::string zuletzt_; ///< What user-dirs.dirs held when it could last be read.
    int gemeldet_{0};     ///< errno of the last failure; said once.
};

/// The rule behind it. `benutzerordner` is the content of user-dirs.dirs: lines such as
/// XDG_DESKTOP_DIR="$HOME/Schreibtisch" with an absolute path or one below $HOME (user-dirs.dirs(5)).
/// An entry that names the home folder itself means "none" there and leaves the default.
[[nodiscard]] ports::Standardorte::Pfade standardorteAus(
    std::string const& heim, std::string_view benutzerordner);

} // namespace quillmate::adapter::linux
