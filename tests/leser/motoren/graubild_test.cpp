#include "leser/motoren/graubild.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace quillmate::Texterkennung {
namespace {

/// Letters as pixels, so that a turned picture can be read.
leser::motoren::Graubild ausZeilen(std::vector<std::string> const& zeilen) {
    leser::motoren::Graubild bild{
        static_cast<int>(zeilen.front().size()), static_cast<int>(zeilen.size()), {}};
    for (auto const& zeile : zeilen)
        bild.punkte.insert(bild.punkte.end(), zeile.begin(), zeile.end());
    return bild;
}

std::vector<std::string> alsZeilen(leser::motoren::Graubild const& bild) {
    std::vector<std::string> zeilen;
    for (int y = 0; y < bild.hoehe; ++y)
        zeilen.emplace_back(bild.zeile(y).begin(), bild.zeile(y).end());
    return zeilen;
}

TEST(Ausrichten, EveryExifCodeIsUndone) {
    auto const bild = ausZeilen({"abc", "def"});
    using Zeilen = std::vector<std::string>;
    EXPECT_EQ(alsZeilen(leser::motoren::ausgerichtet(bild, 1)), (Zeilen{"abc", "def"}));
    EXPECT_EQ(alsZeilen(leser::motoren::ausgerichtet(bild, 2)), (Zeilen{"cba", "fed"}));
    EXPECT_EQ(alsZeilen(leser::motoren::ausgerichtet(bild, 3)), (Zeilen{"fed", "cba"}));
    EXPECT_EQ(alsZeilen(leser::motoren::ausgerichtet(bild, 4)), (Zeilen{"def", "abc"}));
    EXPECT_EQ(alsZeilen(leser::motoren::ausgerichtet(bild, 5)), (Zeilen{"ad", "be", "cf"}));
    EXPECT_EQ(alsZeilen(leser::motoren::ausgerichtet(bild, 6)), (Zeilen{"da", "eb", "fc"}));
    EXPECT_EQ(alsZeilen(leser::motoren::ausgerichtet(bild, 7)), (Zeilen{"fc", "eb", "da"}));
    EXPECT_EQ(alsZeilen(leser::motoren::ausgerichtet(bild, 8)), (Zeilen{"cf", "be", "ad"}));
}

TEST(Querstreifen, HoldsTheRowsBetweenAsFarAsThereAreAny) {
    auto const bild = ausZeilen({"abc", "def", "ghi"});
    using Zeilen = std::vector<std::string>;
    EXPECT_EQ(alsZeilen(leser::motoren::querstreifen(bild, 1, 2)), (Zeilen{"def"}));
    EXPECT_EQ(alsZeilen(leser::motoren::querstreifen(bild, -5, 99)), (Zeilen{"abc", "def", "ghi"}));
    EXPECT_EQ(alsZeilen(leser::motoren::querstreifen(bild, 2, 1)), (Zeilen{}));
    EXPECT_EQ(alsZeilen(leser::motoren::querstreifen(bild, 7, 9)), (Zeilen{}));
}

TEST(Ausrichten, UnknownCodeLeavesThePicture) {
    auto const bild = ausZeilen({"abc", "def"});
    for (int const code : {-1, 0, 9, 1000})
        EXPECT_EQ(alsZeilen(leser::motoren::ausgerichtet(bild, code)), alsZeilen(bild));
}

leser::motoren::Graubild verkleinert(leser::motoren::Graubild const& bild, int breite, int hoehe) {
    leser::motoren::Verkleinerer v{bild.breite, bild.hoehe, breite, hoehe};
    for (int y = 0; y < bild.hoehe; ++y)
        v.zeile(bild.zeile(y));
    return std::move(v).fertig();
}

TEST(Verkleinern, EvenAreaKeepsItsValueAtAnyRatio) {
    for (auto const& [breite, hoehe, zielBreite, zielHoehe] : std::vector<std::array<int, 4>>{
             {100, 80, 100, 80},
             {100, 80, 99, 79},
             {100, 80, 37, 29},
             {7, 5, 1, 1},
             {1000, 3, 999, 1},
             {4032, 10, 2000, 5}}) {
        leser::motoren::Graubild const bild{
            breite, hoehe, std::vector<std::uint8_t>(static_cast<std::size_t>(breite * hoehe), 137)};
        auto const klein = verkleinert(bild, zielBreite, zielHoehe);
        ASSERT_EQ(klein.breite, zielBreite);
        ASSERT_EQ(klein.hoehe, zielHoehe);
        for (auto const punkt : klein.punkte)
            ASSERT_NEAR(punkt, 137, 1) << zielBreite << "x" << zielHoehe;
    }
}

TEST(Verkleinern, PixelsAreAveragedByArea) {
    leser::motoren::Graubild const bild{4, 2, {0, 100, 200, 200, 100, 0, 0, 200}};
    EXPECT_EQ(verkleinert(bild, 2, 1).punkte, (std::vector<std::uint8_t>{50, 150}));
    // Three columns into two: the middle one counts half on either side.
    leser::motoren::Graubild const schmal{3, 1, {0, 90, 240}};
    EXPECT_EQ(verkleinert(schmal, 2, 1).punkte, (std::vector<std::uint8_t>{30, 190}));
    // The same in height.
    leser::motoren::Graubild const hoch{1, 3, {0, 90, 240}};
    EXPECT_EQ(verkleinert(hoch, 1, 2).punkte, (std::vector<std::uint8_t>{30, 190}));
}

TEST(Verkleinern, RowsThatNeverArriveAreWhite) {
    leser::motoren::Verkleinerer v{2, 4, 1, 2};
    std::vector<std::uint8_t> const schwarz{0, 0};
    v.zeile(schwarz);
    v.zeile(schwarz);
    EXPECT_EQ(std::move(v).fertig().punkte, (std::vector<std::uint8_t>{0, 255}));
}

TEST(Verkleinern, SurplusRowsAreIgnored) {
    leser::motoren::Verkleinerer v{2, 2, 1, 1};
    std::vector<std::uint8_t> const grau{80, 80};
    for (int i = 0; i < 10; ++i)
        v.zeile(grau);
    EXPECT_EQ(std::move(v).fertig().punkte, (std::vector<std::uint8_t>{80}));
}

} // namespace
} // namespace quillmate::Texterkennung
