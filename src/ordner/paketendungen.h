#pragma once

#include <string_view>

namespace quillmate::Ordner {

/// Packages are folders that a Mac shows as one document or program and whose contents are no files of the user's own.
/// They reach other systems on shared drives and in backups.

/// Whether a folder of this name may be a package. Many of the suffixes are ordinary words ("Ersatz.key").
[[nodiscard]] bool heisstWiePaket(std::string_view ordnername);

/// Whether the folder's inside says that it is a package: it holds at its top what only packages hold there. Asked only
/// of folders that heisstWiePaket() names. `name` is followed by a zero byte. False for a folder that cannot be read.
[[nodiscard]] bool istPaketVonInnen(int eltern, std::string_view name);

} // namespace quillmate::Ordner
