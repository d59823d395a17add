#include "bildformate.h"

#include <leptonica/allheaders.h>

#include <cstddef>
#include <cstdlib>
#include <memory>

namespace quillmate::vorlagen {

std::array<Bildformat, 8> const& bildformate() {
    static constexpr std::array alle{
        Bildformat{"BMP", IFF_BMP, 8},
        Bildformat{"BMP in colours", IFF_BMP, 32},
        Bildformat{"GIF", IFF_GIF, 8},
        Bildformat{"TIFF", IFF_TIFF, 8},
        Bildformat{"TIFF, LZW", IFF_TIFF_LZW, 32},
        Bildformat{"TIFF, fax", IFF_TIFF_G4, 1},
        Bildformat{"TIFF, 16 bits", IFF_TIFF_ZIP, 16},
        Bildformat{"WebP", IFF_WEBP, 32},
    };
    return alle;
}

Bytes verpackt(leser::motoren::Graubild const& bild, Bildformat const& format) {
    auto frei = [](Pix* p) {
        pixDestroy(&p);
    };
    using Besitz = std::unique_ptr<Pix, decltype(frei)>;
    Besitz pix{pixCreate(bild.breite, bild.hoehe, 8), frei};
    for (int y = 0; y < bild.hoehe; ++y)
        for (int x = 0; x < bild.breite; ++x)
            pixSetPixel(pix.get(), x, y, bild.zeile(y)[static_cast<std::size_t>(x)]);
    if (format.tiefe == 32)
        pix.reset(pixConvertTo32(pix.get()));
    else if (format.tiefe == 16)
        pix.reset(pixConvert8To16(pix.get(), 8));
    else if (format.tiefe == 1)
        pix.reset(pixConvertTo1(pix.get(), 128));
    l_uint8* daten = nullptr;
    std::size_t groesse = 0;
    if (pixWriteMem(&daten, &groesse, pix.get(), format.art) != 0)
        return {};
    Bytes bytes{reinterpret_cast<char const*>(daten), groesse};
    std::free(daten); // NOLINT(cppcoreguidelines-no-malloc): the library's allocator
    return bytes;
}

} // namespace quillmate::vorlagen
