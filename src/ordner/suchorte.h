#pragma once

#include "fund.h"
#include "grundlage/belegdatei.h"
#include "grundlage/datei.h"
#include "grundlage/ergebnis.h"

#include <string>
#include <string_view>
#include <vector>

namespace quillmate::Ordner {

/// The folders that one search may look into, held open, so that they stay the same ones whatever their paths lead to
/// meanwhile. They decide whether a file that was reached by a link, or that lies at a path where another one was
/// found, is one that the search would have found itself.
/// Threads: any number at once, after the last hinzufuegen().
class Suchorte {
public:
    /// Adds a place. One that cannot be opened is none.
    void hinzufuegen(std::string const& ort);
    /// The same for a place that is open already; only its identity is used.
    void hinzufuegen(Deskriptor ort);

    /// Whether the open file lies in one of the places, links on the way resolved, and in no folder of it that a search
    /// passes over (hidden ones, ueberspringen()). One file system call where openat2(2) exists, else one per level.
    [[nodiscard]] bool enthaelt(int datei) const;

    /// Opens a find for reading, as the file that was found or another one that lies in the places as well.
    /// Errors: those of Belegdatei::oeffnen(), and nichtErlaubt when the path leads out of all places now.
    [[nodiscard]] Ergebnis<Belegdatei> oeffnen(Fund const& fund) const;

    /// enthaelt() for the one place that is open as `ort`.
    [[nodiscard]] static bool liegtUnter(int ort, int datei);

private:
    std::vector<Deskriptor> orte_;
};

} // namespace quillmate::Ordner
