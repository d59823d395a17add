#pragma once

#include <span>
#include <string_view>

namespace quillmate::demo {

/// One file of the web page, as it lies in demo/seite.
struct Seitendatei {
    std::string_view name; ///< Without folder: "stil.css".
    std::string_view inhalt;
};

/// All files of the web page. They are part of the program, which therefore runs from any place.
[[nodiscard]] std::span<Seitendatei const> seitendateien();

} // namespace quillmate::demo
