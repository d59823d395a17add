#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quillmate::aktualisierung {

/// What became of unpacking.
enum class Auspacken {
    gelungen,
    falscheForm, ///< Not an archive of one bundle, or with an entry that no bundle needs or that leads out of it.
    zuGross,
    nichtAbgelegt, ///< The disk does not take it.
};

struct Auspackgrenzen {
    std::uint64_t bytes{std::uint64_t{2} << 30U}; ///< Of all files together.
    std::uint64_t eintraege{20'000};
};

/// Unpacks a tar archive (plain, gzip, xz or zstd) that holds one folder "NAME.app" and nothing beside it; that
/// folder's content ends up directly in `ziel`, an empty folder. Only folders, regular files and links that stay
/// within the bundle are taken, each name once; nothing is ever written through a link, since links come last.
/// Permissions are reduced to what a program needs: owner may write, all may read, executable or not.
/// On failure a part may be left in `ziel`, never anything outside of it.
/// Untrusted input. Threads: any.
[[nodiscard]] Auspacken auspacken(
    std::string_view archiv, std::string const& ziel, Auspackgrenzen const& grenzen = {});

} // namespace quillmate::aktualisierung
