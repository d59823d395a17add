#include "leser/motoren/vorbereiten.h"

#include <gtest/gtest.h>
#include <leptonica/allheaders.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace quillmate::Texterkennung {
namespace {

leser::motoren::Graubild einfarbig(int breite, int hoehe, std::uint8_t grau) {
    return {
        breite, hoehe,
        std::vector<std::uint8_t>(static_cast<std::size_t>(breite) * static_cast<std::size_t>(hoehe), grau)};
}

TEST(Glaetten, APointSpreadsOverItsNeighbours) {
    auto bild = einfarbig(5, 5, 0);
    bild.punkte[12] = 160;
    leser::motoren::glaetten(bild);
    EXPECT_EQ(bild.punkte, (std::vector<std::uint8_t>{0, 0,  0,  0,  0, //
                                                      0, 10, 20, 10, 0, //
                                                      0, 20, 40, 20, 0, //
                                                      0, 10, 20, 10, 0, //
                                                      0, 0,  0,  0,  0}));
}

TEST(Glaetten, EvenGreyStaysAsItIsUpToTheEdges) {
    for (int const breite : {1, 2, 3, 7})
        for (int const hoehe : {1, 2, 3, 5})
            for (std::uint8_t const grau : std::initializer_list<std::uint8_t>{0, 1, 127, 255}) {
                auto bild = einfarbig(breite, hoehe, grau);
                leser::motoren::glaetten(bild);
                EXPECT_EQ(bild.punkte, einfarbig(breite, hoehe, grau).punkte) << breite << 'x' << hoehe;
            }
}

TEST(Glaetten, EveryPointIsTheMeanOfTheOriginalAndNotOfSmoothedNeighbours) {
    constexpr int breite = 23;
    constexpr int hoehe = 17;
    auto bild = einfarbig(breite, hoehe, 0);
    std::uint32_t zufall = 1;
    for (auto& punkt : bild.punkte)
        punkt = static_cast<std::uint8_t>((zufall = zufall * 1664525U + 1013904223U) >> 24U);
    auto const vorher = bild;
    leser::motoren::glaetten(bild);
    constexpr std::array gewichte{1, 2, 1};
    for (int y = 0; y < hoehe; ++y)
        for (int x = 0; x < breite; ++x) {
            int summe = 8;
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx)
                    summe += gewichte[static_cast<std::size_t>(dy + 1)] *
                             gewichte[static_cast<std::size_t>(dx + 1)] *
                             vorher.zeile(std::clamp(
                                 y + dy, 0,
                                 hoehe - 1))[static_cast<std::size_t>(std::clamp(x + dx, 0, breite - 1))];
            EXPECT_EQ(bild.zeile(y)[static_cast<std::size_t>(x)], summe / 16) << x << ',' << y;
        }
}

TEST(Glaetten, AnEmptyPictureIsLeftAlone) {
    leser::motoren::Graubild bild;
    leser::motoren::glaetten(bild);
    leser::motoren::vorbereiten(bild);
    EXPECT_TRUE(bild.punkte.empty());
}

TEST(Zeilenablage, ALineIsKeptUnpackedAndComesBackPointForPoint) {
    auto* const bild = pixCreate(37, 11, 8);
    for (int y = 0; y < 11; ++y)
        for (int x = 0; x < 37; ++x)
            pixSetPixel(bild, x, y, static_cast<l_uint32>((x * 7 + y * 31) % 256));
    l_uint8* daten = nullptr;
    std::size_t groesse = 0;
    ASSERT_EQ(pixWriteMem(&daten, &groesse, bild, IFF_PNG), 0);
    l_int32 format = 0;
    EXPECT_EQ(findFileFormatBuffer(daten, &format), 0);
    EXPECT_EQ(format, IFF_SPIX);
    auto* zurueck = pixReadMem(daten, groesse);
    ASSERT_NE(zurueck, nullptr);
    l_int32 gleich = 0;
    EXPECT_EQ(pixEqual(bild, zurueck, &gleich), 0);
    EXPECT_EQ(gleich, 1);
    lept_free(daten);
    daten = nullptr;
    // Any other format is written by the library itself.
    ASSERT_EQ(pixWriteMem(&daten, &groesse, bild, IFF_PNM), 0);
    EXPECT_EQ(findFileFormatBuffer(daten, &format), 0);
    EXPECT_EQ(format, IFF_PNM);
    lept_free(daten);
    pixDestroy(&zurueck);
    auto* weg = bild;
    pixDestroy(&weg);
}

} // namespace
} // namespace quillmate::Texterkennung
