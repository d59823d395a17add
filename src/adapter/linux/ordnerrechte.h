#pragma once

#include "grundlage/ergebnis.h"

#include <string>

/// Who may write where. A folder in which others may write is no place for anything that steers the program or that it
/// starts: they could put in their own, or exchange it between a check and its use.
/// Threads: any, as long as nobody changes the process's user.
namespace quillmate::adapter::linux {

/// Fails with nichtErlaubt where somebody else but this user and root may make or rename entries in `ordner` (by owner,
/// mode, sticky bit, access list), or may put another folder in the place of one on the way to it. `wo` is that folder.
[[nodiscard]] Ergebnis<void> nurWirSchreiben(std::string const& ordner);

/// What to do with a folder of ours whose mode lets others in.
enum class ZuOffen { ablehnen, schliessen };

/// Makes the folder with mode 0700, with all that is missing above it, or takes the one that is there: no link, this
/// user's, open to nobody else. Fails otherwise.
[[nodiscard]] Ergebnis<void> eigenenOrdnerSichern(std::string const& pfad, ZuOffen zuOffen);

} // namespace quillmate::adapter::linux
