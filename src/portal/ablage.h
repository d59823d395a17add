#pragma once

#include "grundlage/datei.h"
#include "grundlage/ergebnis.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace quillmate::portal {

/// The temporary folders of portal downloads and captures, one per file: "quillmate-portal-" and a UUID, mode 0700,
/// below the user's temporary folder. Each is locked by the process that works in it, so that a folder whose process
/// died can be told from one in use.
/// Threads: any.
/// Errors: removing is best effort.
class Portalablage {
public:
    /// `temporaererOrdner`: absolute path; made when it is missing.
    explicit Portalablage(std::string temporaererOrdner);
    /// Removes what is left of this object's folders.
    ~Portalablage();
    Portalablage(Portalablage const&) = delete;
    Portalablage& operator=(Portalablage const&) = delete;

    /// Path of a new empty folder. Errors: zuGross when `hoechstensOffen` are in use; otherwise why it cannot be made.
    [[nodiscard]] Ergebnis<std::string> neuerOrdner();
    /// Notes that so many bytes lie in the folder or are about to. False, and noted as before, when all folders together
    /// would hold more than `hoechstensBytes`, or the folder is none of this object's.
    [[nodiscard]] bool vermerken(std::string const& ordner, std::uint64_t bytes);
    /// Removes one of this object's folders with all that is in it; other paths are left alone.
    void entfernen(std::string const& ordner);
    /// Removes folders of this kind that an earlier run left behind: the user's own, no links, and no folder in which a
    /// process still works, be it another instance of this program.
    void aufraeumen();

    static constexpr std::string_view vorsatz = "quillmate-portal-";
    /// Each folder in use costs a descriptor, and a page can start downloads faster than they can be sent on.
    static constexpr std::size_t hoechstensOffen = 256;
    static constexpr std::uint64_t hoechstensBytes = std::uint64_t{500} * 1024 * 1024;

private:
    std::string const temporaererOrdner_;
    struct Ordner {
        Deskriptor griff; ///< Holds the folder's lock.
        std::uint64_t bytes{0};
    };
    std::mutex sperre_;
    std::map<std::string, Ordner> offen_; ///< Guarded by sperre_.
    std::uint64_t bytes_{0};              ///< Of all folders. Guarded by sperre_.
};

/// A file name for what a portal calls its file: the last component without control characters, of at most 200 bytes,
/// its extension kept. Empty when nothing is left that could be a name.
[[nodiscard]] std::string belegname(std::string_view vorschlag);

} // namespace quillmate::portal
