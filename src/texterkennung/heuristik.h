#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>

/// What a text says about its document. Pure functions.
/// Threads: any; the compiled patterns are made once, on first use.
namespace quillmate::Texterkennung {

inline constexpr std::size_t hoechstensZeichen = 6000; ///< Longest text that is returned, in characters.
inline constexpr int MINDEST_TEXTFELDER = 3; ///< An image with fewer text regions is not read at all.
inline constexpr float UNSICHER_GELESEN =
    0.5F; ///< Average OCR confidence (0 to 1) below which a reading is uncertain.

/// Extensions of the images that are read, lower case.
extern std::set<std::string, std::less<>> const bildEndungen;

/// Whether a receipt word ("rechnung", "mwst", ...) stands anywhere, also inside a longer word.
[[nodiscard]] bool hatBelegwort(std::string_view text);
/// Whether an amount of money stands anywhere: up to three digits, groups of three, exactly two decimals.
[[nodiscard]] bool hatBetrag(std::string_view text);
/// Receipt word or amount.
[[nodiscard]] bool siehtNachBelegAus(std::string_view text);
/// The text without the separators between groups of thousands: "1.234,56" becomes "1234,56".
[[nodiscard]] std::string betragNormalisiert(std::string_view text);

/// Whether a text layer can be trusted: at least 20 characters, and next to no control characters, which are
/// what a font without a Unicode map leaves behind.
[[nodiscard]] bool istVerlaesslich(std::string_view text);

/// Scale factor for OCR: brings the long side to at least 2000 and the short side to at least 1200 units, the
/// long side never beyond 8000. 1 unless both sides are above 1.
[[nodiscard]] double lesefaktor(double breite, double hoehe);

} // namespace quillmate::Texterkennung
