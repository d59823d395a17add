#pragma once

#include "vorlagen.h"

#include <array>

/// Pictures in the formats that browsers, messengers and scanners store, through Leptonica's encoders.
namespace quillmate::vorlagen {

struct Bildformat {
    char const* name;
    int art;   ///< Leptonica's number.
    int tiefe; ///< Bits per point before encoding.
};

/// BMP, GIF, TIFF and WebP, each as it is found.
[[nodiscard]] std::array<Bildformat, 8> const& bildformate();

/// Empty when the encoder refuses.
[[nodiscard]] Bytes verpackt(leser::motoren::Graubild const& bild, Bildformat const& format);

} // namespace quillmate::vorlagen
