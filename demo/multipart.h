#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Bodies of the kind multipart/form-data (RFC 7578), as browsers, curl and the desktop program write them.
/// Pure functions over foreign bytes: any input, never a crash, time linear in its length.
/// Threads: any.
namespace quillmate::demo {

/// One part. `inhalt` points into the body that was taken apart and lives as long as that does.
struct Formularteil {
    std::string name; ///< Bytes as sent.
    std::optional<std::string>
        dateiname;   ///< Bytes as sent: any encoding, never fit to be a path. Absent for plain fields.
    std::string typ; ///< Content type; empty when the part names none.
    std::string_view inhalt;
};

inline constexpr std::size_t hoechstensTeile = 16;
inline constexpr std::size_t hoechstensKopf_byte = std::size_t{16} * 1024; ///< All header lines of one part.

/// The boundary that a Content-Type header names. Nothing for another type, or without a boundary of 1 to 200
/// characters.
[[nodiscard]] std::optional<std::string> grenzeAusTyp(std::string_view inhaltstyp);

/// The parts in order. Nothing for a body that is not closed, has no part or more than hoechstensTeile, or a
/// part without a form-data name. File names are written by some senders without escaping:
/// `filename="a"b.pdf"` names `a"b.pdf`, and a line end within the quotes belongs to the name.
[[nodiscard]] std::optional<std::vector<Formularteil>> zerlege(
    std::string_view koerper, std::string_view grenze);

} // namespace quillmate::demo
