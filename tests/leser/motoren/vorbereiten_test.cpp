#include "leser/motoren/licht.h"
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

/// A sheet of 600 x 800 in the middle of a table, its light fading to `unten` percent; black bars for lines of print.
leser::motoren::Graubild blattAufTisch(std::uint8_t tisch, int unten) {
    auto bild = einfarbig(1000, 1200, tisch);
    for (int y = 200; y < 1000; ++y)
        for (int x = 200; x < 800; ++x) {
            int const licht = 100 - (100 - unten) * (y - 200) / 800;
            bool const druck = y % 40 < 8 && x > 260 && x < 740;
            bild.punkte[static_cast<std::size_t>(y) * 1000 + static_cast<std::size_t>(x)] =
                static_cast<std::uint8_t>((druck ? 60 : 200) * licht / 100);
        }
    return bild;
}

TEST(Ausleuchten, PaperIsWhiteInTheLightAndInTheShade) {
    auto bild = blattAufTisch(40, 70);
    ASSERT_LT(bild.zeile(980)[500], 150);
    EXPECT_TRUE(leser::motoren::ausleuchten(bild));
    for (int const y : {262, 502, 742, 942}) // Between lines.
        EXPECT_GT(bild.zeile(y)[500], 250) << y;
    for (int const y : {283, 523, 763, 963}) // On lines.
        EXPECT_LT(bild.zeile(y)[500], 140) << y;
}

TEST(Ausleuchten, ATableStaysDark) {
    auto bild = blattAufTisch(40, 100);
    EXPECT_TRUE(leser::motoren::ausleuchten(bild));
    EXPECT_LT(bild.zeile(60)[60], 80);
    EXPECT_LT(bild.zeile(1150)[950], 80);
}

TEST(Ausleuchten, WhatIsLitEvenlyAndFillsThePictureStaysAsItIs) {
    auto bild = blattAufTisch(200, 100);
    auto const vorher = bild.punkte;
    EXPECT_FALSE(leser::motoren::ausleuchten(bild));
    EXPECT_EQ(bild.punkte, vorher);
}

TEST(Ausleuchten, PicturesOfAnySizeAndShadeAreTaken) {
    for (int const breite : {0, 1, 79, 80, 81, 119, 120, 161})
        for (int const hoehe : {0, 1, 80, 97, 200})
            for (std::uint8_t const grau : std::initializer_list<std::uint8_t>{0, 1, 128, 255}) {
                auto bild = einfarbig(breite, hoehe, grau);
                for (std::size_t i = 0; i < bild.punkte.size() / 3; ++i)
                    bild.punkte[i] = static_cast<std::uint8_t>(255 - grau);
                static_cast<void>(leser::motoren::ausleuchten(bild));
                EXPECT_EQ(
                    bild.punkte.size(), static_cast<std::size_t>(breite) * static_cast<std::size_t>(hoehe));
            }
}

TEST(Vorbereiten, OnlyWhatIsSmallerThanItIsReadIsSmoothed) {
    auto punkt = [](int breite, int hoehe) {
        auto bild = einfarbig(breite, hoehe, 255);
        auto const mitte = static_cast<std::size_t>(hoehe / 2) * static_cast<std::size_t>(breite) +
                           static_cast<std::size_t>(breite / 2);
        bild.punkte[mitte] = 0;
        leser::motoren::vorbereiten(bild);
        return *std::ranges::min_element(bild.punkte);
    };
    EXPECT_EQ(punkt(1500, 2000), 0);
    EXPECT_GT(punkt(1490, 1990), 100);
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
