#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

/// SHA-256 (FIPS 180-4).
/// Threads: any.
namespace quillmate {

using Sha256 = std::array<unsigned char, 32>;

[[nodiscard]] Sha256 sha256(std::string_view bytes);

/// Digest of everything that can be read from `deskriptor` from its present offset on, in constant memory.
/// Nothing when reading fails or there are more than `hoechstens` bytes (also when the file grows meanwhile).
[[nodiscard]] std::optional<Sha256> sha256Datei(
    int deskriptor, std::uint64_t hoechstens = static_cast<std::uint64_t>(-1));

/// Two lower-case hexadecimal digits per byte, no separators.
[[nodiscard]] std::string hexadezimal(std::span<unsigned char const> bytes);

} // namespace quillmate
