#pragma once

#include "messung.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

/// The pictures on which recognition is measured, as files. Threads: one at a time.
namespace quillmate::bench {

enum class Soll {
    beleg,  ///< Is to be judged a receipt.
    keiner, ///< Is not.
};

struct Art {
    std::string_view name;
    Soll soll;
    std::string_view woraus;
};

/// One picture and what is known about it.
struct Probe {
    Art const* art;
    std::string name; ///< By which its half is told.
    std::filesystem::path datei;
    std::string text{};  ///< Empty when it is not known.
    std::string summe{}; ///< The total, likewise.
};

/// All kinds, in the table's order.
[[nodiscard]] std::vector<Art> const& arten();

/// Those of one kind; made ones are stored below the folder of generated data. Empty when the corpus has none of what they
/// are made from.
[[nodiscard]] std::vector<Probe> proben(Art const& art, Umgebung const& umgebung);

} // namespace quillmate::bench
