#pragma once

#include <string>

namespace quillmate::demo {

/// Makes the sample folders Desktop, Documents and Downloads below `wurzel`, some 200 files, and then
/// "beispiele.json", an object with "dateien": one object for each file,
///   pfad          relative to `wurzel`
///   art           rechnung, scan, foto, doppelt, brief, anleitung, urlaubsfoto, bildschirmfoto, kaputt,
///   leer, text,
///                 koeder (lies where a search does not look)
///   entscheidung  what a full scan without keywords decides: hochladen, keinBeleg, keinBelegtext;
///   nichtGefunden for
///                 files that are no candidates
///   and for receipts: haendler, nummer, betrag ("1.234,56"), betrag_cent, datum (ISO), gebucht (whether the
///   demo service has a booking of this amount)
/// The same bytes on every run. Existing files of the same names are replaced.
/// Returns the number of files; on failure 0, and `grund` says why, in German.
[[nodiscard]] int legeSammlungAn(std::string const& wurzel, std::string& grund);

} // namespace quillmate::demo
