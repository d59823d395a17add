#include "leser/motoren/exif.h"
#include "werkzeug/vorlagen.h"

#include <gtest/gtest.h>

#include <span>
#include <string>

namespace quillmate::Texterkennung {
namespace {

int lies(std::string const& bytes) {
    return leser::motoren::exifAusrichtung(
        {reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size()});
}

TEST(Exif, OrientationIsReadInBothByteOrders) {
    for (int wert = 1; wert <= 8; ++wert) {
        EXPECT_EQ(lies(vorlagen::exifDaten(wert, true)), wert);
        EXPECT_EQ(lies(vorlagen::exifDaten(wert, false)), wert);
    }
}

TEST(Exif, UnknownOrientationCountsAsUpright) {
    EXPECT_EQ(lies(vorlagen::exifDaten(0, true)), 1);
    EXPECT_EQ(lies(vorlagen::exifDaten(9, false)), 1);
}

TEST(Exif, CutOffDataCountsAsUpright) {
    for (bool const niedrigesZuerst : {true, false}) {
        auto const ganz = vorlagen::exifDaten(6, niedrigesZuerst);
        // The value ends after its two bytes, at offset 20.
        for (std::size_t laenge = 0; laenge < 20; ++laenge)
            EXPECT_EQ(lies(ganz.substr(0, laenge)), 1) << laenge;
    }
}

TEST(Exif, DirectoryBeyondTheEndCountsAsUpright) {
    auto daten = vorlagen::exifDaten(6, true);
    daten[4] = daten[5] = daten[6] = daten[7] = '\xFF';
    EXPECT_EQ(lies(daten), 1);
}

TEST(Exif, OversizedDataCountsAsUpright) {
    EXPECT_EQ(lies(vorlagen::exifDaten(6, true) + std::string(60'000, '\0')), 6);
    EXPECT_EQ(lies(vorlagen::exifDaten(6, true) + std::string(70'000, '\0')), 1);
}

TEST(Exif, DamagedDataNeverFails) {
    unsigned zufall = 99;
    for (bool const niedrigesZuerst : {true, false})
        for (int lauf = 0; lauf < 2000; ++lauf) {
            auto daten = vorlagen::exifDaten(6, niedrigesZuerst) + std::string(200, '\0');
            for (int i = 0; i < 4; ++i) {
                zufall = zufall * 1103515245U + 12345U;
                daten[(zufall >> 8U) % daten.size()] = static_cast<char>(zufall >> 16U);
            }
            auto const wert = lies(daten);
            EXPECT_TRUE(wert >= 1 && wert <= 8) << wert;
        }
}

TEST(Exif, ForeignBytesCountAsUpright) {
    EXPECT_EQ(lies(""), 1);
    EXPECT_EQ(lies(std::string(64, '\xFF')), 1);
    EXPECT_EQ(lies("IIxx" + std::string(60, 'I')), 1);
}

} // namespace
} // namespace quillmate::Texterkennung
