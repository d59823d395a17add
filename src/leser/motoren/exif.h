#pragma once

#include <cstdint>
#include <span>

namespace quillmate::leser::motoren {

/// The orientation (1 to 8) in EXIF data, which begins with its TIFF header; 1 when there is none or the data
/// is broken or has more than 64 KiB, the most that a JPEG can hold. Pure function for untrusted bytes.
/// Threads: any.
[[nodiscard]] int exifAusrichtung(std::span<std::uint8_t const> tiff);

} // namespace quillmate::leser::motoren
