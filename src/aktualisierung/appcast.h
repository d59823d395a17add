#pragma once

#include "fassung.h"
#include "signatur.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::aktualisierung {

/// Sizes in bytes beyond which nothing of the kind is taken.
inline constexpr std::uint64_t hoechstgroesseAppcast = std::uint64_t{1} << 20U;
inline constexpr std::uint64_t hoechstgroesseArchiv = std::uint64_t{512} << 20U;

/// One version that the appcast offers.
struct Angebot {
    Fassungsnummer fassung;   ///< Compared; the bundle's CFBundleVersion.
    std::string fassungstext; ///< The same as it was written.
    std::string kurzfassung;  ///< For people.
    std::string architektur;  ///< As uname(2) says it.
    std::string url;          ///< Of the archive.
    std::uint64_t laenge{0};  ///< Of the archive, in bytes.
    std::vector<Signatur> signaturen;
    std::string notizen; ///< Plain text.
};

/// What the appcast says.
struct Appcast {
    std::string kennung;      ///< Identifier of the bundle that it is for.
    std::uint64_t ausgabe{0}; ///< Counts up with each appcast that is published.
    std::chrono::sys_seconds gueltigBis;
    std::vector<Angebot> angebote;
};

/// The appcast is signed as a whole: its last line is "<!-- signatur BASE64 [BASE64] -->", and what is signed is all
/// before that line. So nobody on the way can offer an old version anew, hold one back for ever, or change the notes.
/// The signed part; nothing when no key has signed it. Untrusted input; nothing in it is interpreted before.
[[nodiscard]] std::optional<std::string_view> signierterTeil(
    std::string_view bytes, std::span<Schluessel const> schluessel);

/// Decodes the signed part (RSS 2.0 with elements of the name space "urn:tandemwerk:quillmate:appcast:1", described in
/// packaging/README.md). Nothing unless all of it has its form: any document type declaration, a missing element, an
/// address that is not https (or http with `auchHttp`), a size beyond hoechstgroesseArchiv.
/// Threads: any. Pure.
[[nodiscard]] std::optional<Appcast> appcastLesen(std::string_view xml, bool auchHttp = false);

/// A point in time as "2026-01-31T12:00:00Z"; nothing for any other form.
[[nodiscard]] std::optional<std::chrono::sys_seconds> zeitLesen(std::string_view text);

/// The newest version for this machine that is newer than the own one; nothing when there is none.
[[nodiscard]] Angebot const* neuestes(
    Appcast const& appcast, Fassungsnummer const& eigene, std::string_view architektur);

} // namespace quillmate::aktualisierung
