#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quillmate::bruecke {

/// What the page is told about the program; fixed for the life of a web view.
struct Programmangaben {
    std::optional<std::string> kurzfassung; ///< The bundle's CFBundleShortVersionString.
    std::optional<std::string> buildnummer; ///< The bundle's CFBundleVersion.
    std::string ort;                        ///< Where the program lies, as reports to the page say it.
    bool umzugNoetig{false};                ///< It should lie elsewhere.
};

/// Source of the script that gives pages `window.quillmateApp`. Pure.
[[nodiscard]] std::string einspielungsskript(Programmangaben const& angaben);

/// The number that the text says, in base 10 with an optional sign; 0 for anything else.
[[nodiscard]] std::int64_t ganzzahlAus(std::string_view text) noexcept;

} // namespace quillmate::bruecke
