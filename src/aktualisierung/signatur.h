#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Ed25519 (RFC 8032).
/// Threads: any.
namespace quillmate::aktualisierung {

using Schluessel = std::array<unsigned char, 32>;
using Signatur = std::array<unsigned char, 64>;

/// Base64 (RFC 4648, with padding) of exactly that many bytes; nothing for anything else.
[[nodiscard]] std::optional<Schluessel> schluesselLesen(std::string_view base64);
[[nodiscard]] std::optional<Signatur> signaturLesen(std::string_view base64);
/// Signatures with white space between them; nothing when there is none, one is broken, or there are more than four.
[[nodiscard]] std::optional<std::vector<Signatur>> signaturenLesen(std::string_view text);

/// Whether one of the signatures over `bytes` is of one of the keys. There may be two keys, so that a lost one can be
/// replaced by an update that the other one signs.
[[nodiscard]] bool istSigniert(
    std::string_view bytes, std::span<Signatur const> signaturen, std::span<Schluessel const> schluessel);

} // namespace quillmate::aktualisierung
