#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace quillmate::Ordner {

/// Wall-clock time as file systems keep it.
using Zeit = std::chrono::sys_time<std::chrono::nanoseconds>;

/// "Unknown": earlier than the time of any file.
inline constexpr Zeit ferneVergangenheit = Zeit::min();

/// One candidate file. Plain data, safe to copy between threads.
struct Fund {
    std::string pfad;                   ///< Full path, bytes as the file system has them.
    std::int64_t groesse{0};            ///< Bytes; 0 when the file system gives none.
    Zeit geaendert{ferneVergangenheit}; ///< Last change of the content.
    Zeit erstellt{ferneVergangenheit};  ///< Birth; not every file system records it.
    std::uint64_t geraet{0};  ///< With `inode`: which file this is, by whatever path it was reached.
    std::uint64_t inode{0};   ///< 0 when the file system gives none.
    bool ueberVerweis{false}; ///< `pfad` is a link to the file.

    [[nodiscard]] Zeit juengstes() const noexcept { return erstellt >= geaendert ? erstellt : geaendert; }
};

} // namespace quillmate::Ordner
