#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// UTF-8 texts. A "character" is a user-perceived one: an extended grapheme cluster (Unicode UAX #29).
/// Broken UTF-8 is never an error: each ill-formed sequence counts and behaves as U+FFFD.
/// Threads: any.
namespace quillmate {

/// The text with every ill-formed sequence replaced by U+FFFD (as WHATWG's decoder does). Needed wherever a
/// file name, which on Linux is any bytes, becomes part of a JSON text or of the comparison with one.
[[nodiscard]] std::string alsUtf8(std::string_view bytes);

/// Number of characters, but no more than `hoechstens` are counted; the cost is bounded by that.
[[nodiscard]] std::size_t zeichenzahl(
    std::string_view text, std::size_t hoechstens = static_cast<std::size_t>(-1));

/// The first `anzahl` characters.
[[nodiscard]] std::string ersteZeichen(std::string_view text, std::size_t anzahl);

/// Lower case by Unicode's rules, independent of the user's locale.
[[nodiscard]] std::string kleingeschrieben(std::string_view text);

/// Canonical composition (NFC). A Mac's file names are decomposed, everyone else's are not; texts that people
/// cannot tell apart must compare equal.
[[nodiscard]] std::string zusammengesetzt(std::string_view text);

/// Whether nothing but white space and line ends is in the text.
[[nodiscard]] bool nurLeerraum(std::string_view text);

/// For one line of log or one label: control characters, line ends among them, become blanks, and of a longer text
/// only the first `hoechstens` characters are kept, with "…" behind them.
[[nodiscard]] std::string einzeilig(std::string_view text, std::size_t hoechstens);

/// The text without white space and line ends at its two ends.
[[nodiscard]] std::string ohneRandleerraum(std::string_view text);

/// Whether there is a control or format character in the text (Unicode general categories Cc and Cf): tab and
/// line end, but also those that show nothing or turn the direction of what follows.
[[nodiscard]] bool hatSteuerzeichen(std::string_view text);
/// The text without such characters.
[[nodiscard]] std::string ohneSteuerzeichen(std::string_view text);

/// What follows the last dot of a file name, in lower case; empty without one, and for ".name" and "name.".
[[nodiscard]] std::string dateiendung(std::string_view dateiname);

} // namespace quillmate
