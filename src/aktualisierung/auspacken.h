#pragma once

#include "grundlage/ergebnis.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace quillmate::aktualisierung {

struct Auspackgrenzen {
    std::uint64_t bytes{std::uint64_t{2} << 30U}; ///< Of all files together.
    std::uint64_t eintraege{20'000};
};

/// Unpacks a tar archive (plain, gzip, xz or zstd) that holds one folder "NAME.app" and nothing beside it; that
/// folder's content ends up directly in `ziel`, an empty folder. Only folders, regular files and links that stay
/// within the bundle are taken, each name once; nothing is ever written through a link, since links come last.
/// Permissions are reduced to what a program needs: owner may write, all may read, executable or not.
/// On failure a part may be left in `ziel`, never anything outside of it.
/// Errors: falscheForm and zuGross without an errno (the archive is not one of a bundle, or has an entry that no bundle
/// needs or that leads out of it); with an errno whatever the disk said.
/// Untrusted input. Threads: any.
[[nodiscard]] Ergebnis<void> auspacken(
    std::string_view archiv, std::string const& ziel, Auspackgrenzen const& grenzen = {});

} // namespace quillmate::aktualisierung
