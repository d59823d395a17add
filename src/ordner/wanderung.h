#pragma once

#include "endungsfilter.h"
#include "fund.h"
#include "suchbilanz.h"
#include "suchorte.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace quillmate::Ordner {

/// What a walk takes from the folders that it reads.
enum class Ziel {
    funde,       ///< Files of wanted extension with their values.
    anzahl,      ///< Only their number.
    platzhalter, ///< Names ".NAME.icloud" where NAME has a wanted extension; hidden names are looked at.
};

struct Wanderauftrag {
    Ziel ziel{Ziel::funde};
    Endungsfilter const& filter;
    std::int64_t mindestgroesse{0}; ///< Bytes; only for Ziel::anzahl.
    unsigned faeden{1};             ///< Threads that read folders, the calling one included.
    /// No more candidates than this are passed on; then the walk ends. So values are not asked for of files
    /// that cannot be reached any more, however large their folder is.
    std::size_t hoechstens{std::numeric_limits<std::size_t>::max()};
    Suchorte const* orte{nullptr}; ///< Where links to files may lead; null: below the folder that is walked.
    int wurzel{-1};                ///< That folder; wandern() fills it in.
    Suchbilanz* bilanz{nullptr};   ///< Takes what is left out.
};

/// One thing found in the folder that the walk is passing.
struct Kandidat {
    std::string_view name;
    std::int64_t groesse{0};
    Zeit geaendert{ferneVergangenheit};
    Zeit erstellt{ferneVergangenheit};
    std::uint64_t geraet{0};
    std::uint64_t inode{0};
    bool ueberVerweis{false};
};

/// Receives what a walk meets, always on the thread that called wandern() and in enumeration order.
class Abnehmer {
public:
    virtual ~Abnehmer() = default;
    /// Asked between folders, between the portions of a large one, and while waiting; false ends the walk.
    virtual bool weiter() = 0;
    /// `ordner` ends without a slash. False ends the walk.
    virtual bool nimm(std::string_view ordner, Kandidat const& kandidat) = 0;
};

struct Wanderergebnis {
    /// False when `ordner` cannot be opened as a folder or there is no memory to begin; nothing was called
    /// then.
    bool begonnen{false};
    std::int64_t anzahl{0}; ///< With Ziel::anzahl.
};

/// Walks the tree below `ordner` depth first; the entries of each folder come in byte order of their names.
/// Other threads read ahead; their number changes nothing in what `abnehmer` sees. All of them have ended
/// when this returns or throws. It throws only what `abnehmer` throws, except std::bad_alloc: lack of memory
/// ends the walk, and what `abnehmer` has received until then is the beginning of what it would have
/// received.
Wanderergebnis wandern(std::string const& ordner, Wanderauftrag const& auftrag, Abnehmer& abnehmer);

} // namespace quillmate::Ordner
