#pragma once

#include <dirent.h>
#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

namespace quillmate::Ordner {

/// Reads the names of folders, many per system call, into one buffer that is used again for each folder.
/// Threads: one at a time per object.
class Verzeichnisleser {
public:
    Verzeichnisleser()
        : puffer_(std::make_unique_for_overwrite<std::uint64_t[]>(groesse / sizeof(std::uint64_t))) {}

    /// Calls `nimm(name, art)` for each entry in the order of the file system, "." and ".." included. `name`
    /// is followed by a zero byte and lives until `nimm` returns; `art` is one of DT_*, also DT_UNKNOWN.
    /// Before each portion `weiter()` is asked; false ends the reading. A folder that fails half-way ends
    /// there: 0, or the errno of that.
    template<typename Nimm, typename Weiter>
    int lesen(int ordner, Nimm&& nimm, Weiter&& weiter) {
        for (;;) {
            if (!weiter())
                return 0;
            auto const anzahl = ::getdents64(ordner, puffer_.get(), groesse);
            if (anzahl <= 0)
                return anzahl == 0 ? 0 : errno;
            auto const* stelle = reinterpret_cast<char const*>(puffer_.get());
            auto const* const ende = stelle + anzahl;
            while (stelle < ende) {
                std::uint16_t laenge = 0;
                std::memcpy(&laenge, stelle + offsetof(dirent64, d_reclen), sizeof laenge);
                auto const art = static_cast<unsigned char>(stelle[offsetof(dirent64, d_type)]);
                nimm(std::string_view{stelle + offsetof(dirent64, d_name)}, art);
                stelle += laenge;
            }
        }
    }

private:
    // Large enough that a folder of ordinary size needs one call; a folder of 100,000 entries needs about
    // fifty.
    static constexpr std::size_t groesse = std::size_t{128} * 1024;

    std::unique_ptr<std::uint64_t[]> puffer_; ///< The kernel aligns its records to eight bytes.
};

} // namespace quillmate::Ordner
