#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

/// The kinds of files that count as receipts: the one table, and how large they may be. Search, recognition, and both
/// uploads go by it; a new kind is one row here and one decoder in leser/motoren.
namespace quillmate {

/// Who reads a file of a kind.
enum class Dateiart {
    pdf,
    bild, ///< A picture; its first bytes decide on the decoder.
};

/// One extension, as files and the service know it.
struct Belegendung {
    std::string_view endung;  ///< Lower case, without the dot.
    std::string_view mimetyp; ///< As IANA registers it.
    Dateiart art;
};

inline constexpr std::array belegendungen{
    Belegendung{"pdf", "application/pdf", Dateiart::pdf}, // RFC 8118
    Belegendung{"jpg", "image/jpeg", Dateiart::bild},     // RFC 2046
    Belegendung{"jpeg", "image/jpeg", Dateiart::bild},
    Belegendung{"png", "image/png", Dateiart::bild},   // RFC 2083
    Belegendung{"heic", "image/heic", Dateiart::bild}, // ISO/IEC 23008-12
    Belegendung{"heif", "image/heif", Dateiart::bild},
};

/// The row of an extension (lower case); null for a file that is no receipt.
[[nodiscard]] constexpr Belegendung const* belegendung(std::string_view endung) noexcept {
    auto const* const zeile = std::ranges::find(belegendungen, endung, &Belegendung::endung);
    return zeile == belegendungen.end() ? nullptr : zeile;
}

/// Content type by extension (lower case); "application/octet-stream" for an unknown one.
[[nodiscard]] constexpr std::string_view mimetypNach(std::string_view endung) noexcept {
    auto const* const zeile = belegendung(endung);
    return zeile ? zeile->mimetyp : "application/octet-stream";
}

/// Largest file that a scan sends, in bytes: 512 MiB. It is held in memory as a whole while it is sent, and what is
/// larger could not pass an ordinary line (40 Mbit/s upward) within the 130 seconds of an attempt anyway.
inline constexpr std::uint64_t hoechsterScanbeleg = std::uint64_t{512} << 20U;
/// Largest file that is taken over from a portal, in bytes: 50 MiB, what the service takes there.
inline constexpr std::uint64_t hoechsterPortalbeleg = std::uint64_t{50} << 20U;

} // namespace quillmate
