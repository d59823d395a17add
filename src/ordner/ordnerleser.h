#pragma once

#include "suchbilanz.h"
#include "verzeichnisleser.h"
#include "wanderung.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::Ordner {

/// What matters of one folder: candidates and subfolders to be entered, in byte order of their names.
struct Ordnerinhalt {
    static constexpr std::size_t keinOrdner = std::numeric_limits<std::size_t>::max();

    struct Eintrag {
        Kandidat kandidat;                   ///< Of a subfolder only the name.
        std::size_t unterordner{keinOrdner}; ///< Which one of the subfolders this is.
    };

    std::unique_ptr<char[]>
        namen; ///< What the entries' names point into; a zero byte follows a subfolder's name.
    std::vector<Eintrag> eintraege;
    std::size_t unterordner{0}; ///< How many of the entries are subfolders.
    std::int64_t gezaehlt{0};   ///< With Ziel::anzahl; then candidates are no entries.

    /// What was left out here; nothing in nearly every folder.
    struct Ausgelassenes {
        std::int64_t pakete{0};
        std::vector<std::string>
            paketnamen; ///< The first in byte order, at most Suchbilanz::hoechstensNamen.
        std::int64_t verweiseHinaus{0};
        int lesefehler{0}; ///< errno of opening or reading the folder.
    };
    std::unique_ptr<Ausgelassenes> ausgelassen;

    [[nodiscard]] Ausgelassenes& auslassen() {
        if (!ausgelassen)
            ausgelassen = std::make_unique<Ausgelassenes>();
        return *ausgelassen;
    }
};

/// Reads single folders by the rules of a search. Knows nothing of the tree around them.
/// Ownership: borrows the order. Threads: one at a time per object.
class Ordnerleser {
public:
    explicit Ordnerleser(Wanderauftrag const& auftrag)
        : auftrag_(auftrag) {}

    /// Reads the folder once, and asks for the values of its candidates only; with the candidate of number
    /// `hoechstens` the result ends, subfolders behind it included. `aufhoeren()` is asked now and
    /// then in a large folder; true leaves it, and the result is incomplete. Errors: a folder that cannot be
    /// read is empty, or ends where that began, and says so in `ausgelassen`. Throws std::bad_alloc and what `aufhoeren` throws.
    [[nodiscard]] Ordnerinhalt lesen(
        int ordner, std::size_t hoechstens, std::function<bool()> const& aufhoeren);

private:
    enum class Rolle : std::uint8_t { kandidat, ordner };

    /// A name that matters, before the folder has been sorted.
    struct Rohname {
        std::size_t anfang; ///< In `namen_`.
        std::size_t laenge;
        unsigned char art; ///< DT_*
        Rolle rolle;
    };

    void beurteilen(int ordner, std::string_view name, unsigned char art, Ordnerinhalt& inhalt);
    void beurteilenFuerPlatzhalter(
        int ordner, std::string_view name, unsigned char art, Ordnerinhalt& inhalt);
    /// Whether a search passes a folder of this name over.
    [[nodiscard]] static bool auszulassen(int ordner, std::string_view name, Ordnerinhalt& inhalt);
    void merken(std::string_view name, unsigned char art, Rolle rolle);
    void sortieren();
    void uebernehmen(
        int ordner, std::size_t hoechstens, Ordnerinhalt& inhalt, std::function<bool()> const& aufhoeren);
    /// Fills in what becomes of a candidate: an entry (true), a number, or nothing.
    bool kandidatUebernehmen(int ordner, unsigned char art, Kandidat& kandidat, Ordnerinhalt& inhalt) const;

    Wanderauftrag const& auftrag_;
    Verzeichnisleser verzeichnisleser_;
    // Used again for each folder.
    std::vector<Rohname> rohnamen_;
    std::string namen_; ///< Each followed by a zero byte.
};

} // namespace quillmate::Ordner
