// Bombs in the formats that browsers, messengers and scanners store.
#include "bomben.h"

#include <leptonica/allheaders.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace quillmate::vorlagen {

namespace {

/// A picture of one colour through Leptonica's encoder; a few kB whatever its size, but for BMP.
Bytes einfarbig(int breite, int hoehe, int tiefe, int art) {
    auto frei = [](Pix* p) {
        pixDestroy(&p);
    };
    std::unique_ptr<Pix, decltype(frei)> const pix{pixCreate(breite, hoehe, tiefe), frei};
    l_uint8* daten = nullptr;
    std::size_t groesse = 0;
    if (!pix || pixWriteMem(&daten, &groesse, pix.get(), art) != 0)
        return {};
    Bytes bytes{reinterpret_cast<char const*>(daten), groesse};
    std::free(daten); // NOLINT(cppcoreguidelines-no-malloc): the library's allocator
    return bytes;
}

/// 4,294,836,225 points and nothing in them.
Bytes gifRiese() {
    return Bytes{
        "GIF89a\xFF\xFF\xFF\xFF\x80\0\0\0\0\0\xFF\xFF\xFF,\0\0\0\0\xFF\xFF\xFF\xFF\0\x02\x02\x4C\x01\0;", 35};
}

/// Picture after picture without an end mark.
Bytes gifOhneEnde() {
    auto const eins = einfarbig(2, 2, 8, IFF_GIF);
    auto bytes = eins.substr(0, eins.size() - 1);
    auto const bild = bytes.find(',', 13);
    auto const stueck = bild == Bytes::npos ? Bytes{} : bytes.substr(bild);
    for (int i = 0; i < 20'000; ++i)
        bytes += stueck;
    return bytes;
}

Bytes webpRiese() {
    return {"RIFF\x16\0\0\0WEBPVP8L\x0A\0\0\0\x2F\xFF\xFF\xFF\x0F\0\0\0\0\0", 30};
}

/// A directory that names itself as the next one.
Bytes tiffImKreis() {
    Bytes t{"II*\0\x08\0\0\0\x01\0\0\x01\x04\0\x01\0\0\0\0\x10\0\0\x08\0\0\0", 26};
    return t;
}

Bytes bmpRiese() {
    auto bytes = einfarbig(8, 8, 8, IFF_BMP);
    return bytes.replace(18, 8, std::string_view{"\xFF\xFF\xFF\x7F\xFF\xFF\xFF\x7F", 8});
}

/// The size that its container states is 2,147,483,647 either way.
Bytes avifRiese() {
    auto bytes = avif(eckbild());
    if (auto const ispe = bytes.find("ispe"); ispe != Bytes::npos)
        bytes.replace(ispe + 8, 8, std::string_view{"\x7F\xFF\xFF\xFF\x7F\xFF\xFF\xFF", 8});
    return bytes;
}

} // namespace

std::vector<Bombe> formatbomben() {
    constexpr int million = 1'000'000;
    auto mit = [](int breite, int hoehe, int tiefe, int art) {
        return [=] {
            return einfarbig(breite, hoehe, tiefe, art);
        };
    };
    return {
        {"GifGiant", false, gifRiese},
        {"GifPictureAfterPicture", false, gifOhneEnde},
        {"GifBomb", false, mit(9'000, 9'000, 8, IFF_GIF)},
        {"WebpGiant", false, webpRiese},
        {"WebpBomb", false, mit(5'000, 5'000, 32, IFF_WEBP)},
        {"TiffFaxBomb", false, mit(16'000, 15'000, 1, IFF_TIFF_G4)},
        {"TiffDeflateBomb", false, mit(10'000, 10'000, 8, IFF_TIFF_ZIP)},
        {"TiffDirectoryInACircle", false, tiffImKreis},
        {"BmpGiant", false, bmpRiese},
        {"AvifGiant", false, avifRiese},
        {"TiffAMillionByOne", false, mit(million, 1, 8, IFF_TIFF_ZIP)},
        {"TiffOneByAMillion", false, mit(1, million, 1, IFF_TIFF_G4)},
        {"BmpAMillionByOne", false, mit(million, 1, 8, IFF_BMP)},
        {"BmpOneByAMillion", false, mit(1, million, 8, IFF_BMP)},
        {"PngAMillionByOne", false, mit(million, 1, 8, IFF_PNG)},
        {"GifAsWideAsItGoes", false, mit(65'535, 1, 8, IFF_GIF)},
        {"WebpAsWideAsItGoes", false, mit(16'383, 1, 32, IFF_WEBP)},
        {"JpegAsWideAsItGoes", false, mit(65'500, 1, 8, IFF_JFIF_JPEG)},
    };
}

} // namespace quillmate::vorlagen
