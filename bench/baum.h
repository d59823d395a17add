#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

namespace quillmate::bench {

struct Baumauftrag {
    std::size_t ordner{20'000};
    std::size_t dateien{300'000};
    double anteilAusgeschlossen{1.0 / 3}; ///< Folders that lie below a name that the search does not enter.
    double anteilKandidaten{0.05};        ///< Files that a search for receipts wants.
    std::uint64_t saat{20'240'131};       ///< The same seed gives the same tree, on every machine.
};

/// Builds a folder tree of empty files like a grown home folder: documents, source trees, dependencies.
/// Errors: throws std::system_error.
void baumAnlegen(std::filesystem::path const& wurzel, Baumauftrag const& auftrag);

} // namespace quillmate::bench
