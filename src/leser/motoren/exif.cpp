#include "exif.h"

#include <libexif/exif-data.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace quillmate::leser::motoren {

namespace {

constexpr std::size_t hoechstensBytes = 64U << 10U; // What a JPEG segment can hold.
constexpr std::array<std::uint8_t, 6> kennung{'E', 'x', 'i', 'f', 0, 0};

struct Freigabe {
    void operator()(ExifData* daten) const { exif_data_unref(daten); }
};

} // namespace

int exifAusrichtung(std::span<std::uint8_t const> tiff) {
    if (tiff.empty() || tiff.size() > hoechstensBytes)
        return 1;
    // The library wants the data with the identifier that a JPEG segment begins with.
    std::vector<std::uint8_t> segment(kennung.begin(), kennung.end());
    segment.insert(segment.end(), tiff.begin(), tiff.end());
    std::unique_ptr<ExifData, Freigabe> const daten{
        exif_data_new_from_data(segment.data(), static_cast<unsigned>(segment.size()))};
    if (!daten)
        return 1;
    // Of the main picture; a thumbnail has an orientation of its own.
    auto const* eintrag = exif_content_get_entry(daten->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION);
    if (eintrag == nullptr || eintrag->format != EXIF_FORMAT_SHORT || eintrag->data == nullptr ||
        eintrag->size < 2)
        return 1;
    int const wert = exif_get_short(eintrag->data, exif_data_get_byte_order(daten.get()));
    return wert >= 1 && wert <= 8 ? wert : 1;
}

} // namespace quillmate::leser::motoren
