#pragma once

#include "ports/dateiwerk.h"

#include <string>

/// Whole folder trees. Links are never followed, and nothing but folders, files and links is touched.
/// Threads: any.
namespace quillmate::adapter::linux {

/// A German sentence for `grund` (errno) met at `pfad`, after `was`, the beginning of the sentence.
[[nodiscard]] std::string hindernissatz(std::string const& was, std::string const& pfad, int grund);

/// Copies a folder to `nach`, which must not exist, with permissions, times of change and links. Set-user-ID bits
/// and extended attributes stay behind. Content and names are on the disk on return, but not `nach`'s own name.
/// On failure a part may be left at `nach`.
[[nodiscard]] ports::Hindernis baumKopieren(std::string const& von, std::string const& nach);

/// Lets content and names of all in the tree reach the disk.
[[nodiscard]] ports::Hindernis baumSichern(std::string const& pfad);
/// Lets the names in one folder reach the disk.
[[nodiscard]] bool ordnerSichern(std::string const& pfad);

/// Removes the tree, or the file or link at `pfad`. True when nothing is there on return.
bool baumLoeschen(std::string const& pfad);

/// Removes the marks that browsers put on downloads (extended attributes user.xdg.*) in the whole tree.
void downloadmarkenLoeschen(std::string const& pfad);

} // namespace quillmate::adapter::linux
