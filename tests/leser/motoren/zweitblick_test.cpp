#include "leser/motoren/zweitblick.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace quillmate::Texterkennung {
namespace {

using ::testing::ElementsAre;

leser::motoren::Graubild weiss(int breite, int hoehe) {
    return {
        breite, hoehe,
        std::vector<std::uint8_t>(static_cast<std::size_t>(breite) * static_cast<std::size_t>(hoehe), 255)};
}

void schwaerzen(leser::motoren::Graubild& bild, leser::motoren::Kasten k) {
    for (int y = k.oben; y < k.unten; ++y)
        for (int x = k.links; x < k.rechts; ++x)
            bild.punkte
                [static_cast<std::size_t>(y) * static_cast<std::size_t>(bild.breite) +
                 static_cast<std::size_t>(x)] = 0;
}

/// Upright bars like letters, standing on one line, from `links` on; each 6 wide, 4 apart.
void buchstaben(leser::motoren::Graubild& bild, int links, int grundlinie, std::vector<int> const& hoehen) {
    for (int const hoehe : hoehen) {
        schwaerzen(bild, {links, grundlinie - hoehe, links + 6, grundlinie});
        links += 10;
    }
}

leser::motoren::Wort wort(std::string text, int links, int rechts, float zuversicht) {
    return {std::move(text), {links, 100, rechts, 130}, zuversicht};
}

std::vector<std::string> texte(leser::motoren::Textzeile const& zeile) {
    std::vector<std::string> alle;
    for (auto const& w : zeile.woerter)
        alle.push_back(w.text);
    return alle;
}

TEST(Zweitblick, ALineIsPartedAtGapsWiderThanItIsHigh) {
    leser::motoren::Textzeile const zeile{
        {wort("SUMME", 10, 100, 0.9F), wort("EUR", 110, 160, 0.9F), wort("12,50", 190, 260, 0.9F),
         wort("A", 289, 300, 0.9F)},
        0.9F};
    EXPECT_THAT(
        leser::motoren::stuecke(zeile),
        ElementsAre(leser::motoren::Stueck{0, 2}, leser::motoren::Stueck{2, 4}));
    EXPECT_TRUE(leser::motoren::stuecke(leser::motoren::Textzeile{}).empty());
}

TEST(Zweitblick, OnlyDoubtfulFiguresAreWorthIt) {
    using Woerter = std::vector<leser::motoren::Wort>;
    EXPECT_TRUE(leser::motoren::zweifelhaft(Woerter{wort("12,5O", 0, 9, 0.69F)}));
    EXPECT_FALSE(leser::motoren::zweifelhaft(Woerter{wort("12,50", 0, 9, 0.7F)}));
    EXPECT_FALSE(leser::motoren::zweifelhaft(Woerter{wort("Kuchen", 0, 9, 0.1F)}));
    // Not the words beside a figure: half of a page's addresses would be read twice.
    EXPECT_FALSE(leser::motoren::zweifelhaft(Woerter{wort("RM", 0, 9, 0.3F), wort("39.00", 0, 9, 0.95F)}));
    EXPECT_TRUE(leser::motoren::zweifelhaft(Woerter{wort("RM", 0, 9, 0.9F), wort("39.0D", 0, 9, 0.65F)}));
    EXPECT_FALSE(leser::motoren::zweifelhaft({}));
}

TEST(Zweitblick, CentsWithoutEurosAreDoubtfulHoweverCertain) {
    using Woerter = std::vector<leser::motoren::Wort>;
    EXPECT_TRUE(leser::motoren::zweifelhaft(
        Woerter{wort("rag", 0, 9, 0.9F), wort(".", 0, 9, 0.9F), wort("00", 0, 9, 0.9F)}));
    EXPECT_TRUE(leser::motoren::zweifelhaft(Woerter{wort("39", 0, 9, 0.9F), wort(",00", 0, 9, 0.9F)}));
    EXPECT_TRUE(leser::motoren::zweifelhaft(Woerter{wort("39,", 0, 9, 0.9F), wort("00", 0, 9, 0.9F)}));
    EXPECT_FALSE(leser::motoren::zweifelhaft(Woerter{wort("39,00", 0, 9, 0.9F)}));
    EXPECT_FALSE(leser::motoren::zweifelhaft(
        Woerter{wort("39,00", 0, 9, 0.9F), wort(",", 0, 9, 0.9F), wort("19", 0, 9, 0.9F)}));
    // The end of a word or of an abbreviation is no comma between euros and cents.
    EXPECT_FALSE(leser::motoren::zweifelhaft(Woerter{wort("Nr.", 0, 9, 0.9F), wort("12", 0, 9, 0.9F)}));
    EXPECT_FALSE(leser::motoren::zweifelhaft(Woerter{wort("39,", 0, 9, 0.9F), wort("000", 0, 9, 0.9F)}));
    EXPECT_FALSE(leser::motoren::zweifelhaft(Woerter{wort("00", 0, 9, 0.9F)}));
    EXPECT_FALSE(leser::motoren::zweifelhaft(Woerter{wort(".", 0, 9, 0.9F)}));
}

TEST(Zweitblick, EurosWithoutCentsAreDoubtfulHoweverCertain) {
    using Woerter = std::vector<leser::motoren::Wort>;
    EXPECT_TRUE(leser::motoren::zweifelhaft(Woerter{wort("127€", 0, 9, 0.96F)}));
    EXPECT_TRUE(leser::motoren::zweifelhaft(Woerter{wort("127", 0, 9, 0.96F), wort("€", 0, 9, 0.96F)}));
    EXPECT_FALSE(leser::motoren::zweifelhaft(Woerter{wort("1,27", 0, 9, 0.96F), wort("€", 0, 9, 0.96F)}));
    EXPECT_FALSE(leser::motoren::zweifelhaft(Woerter{wort("127", 0, 9, 0.96F)}));
    EXPECT_FALSE(leser::motoren::zweifelhaft(Woerter{wort("€", 0, 9, 0.96F)}));
}

TEST(Zweitblick, TheBetterReadingStaysAndItsNeighboursAreLeftAlone) {
    auto const bild = weiss(600, 200);
    std::vector<leser::motoren::Textzeile> zeilen{
        {{wort("Kaffee", 10, 100, 0.9F)}, 0.9F},
        {{wort("SUMME", 10, 100, 0.9F), wort("1Z", 300, 340, 0.3F), wort("so", 345, 400, 0.4F)}, 0.5F}};
    std::vector<leser::motoren::Kasten> gefragt;
    auto const anzahl = leser::motoren::zweiterBlick(zeilen, bild, [&](leser::motoren::Kasten k) {
        gefragt.push_back(k);
        return std::vector<leser::motoren::Wort>{wort("12,50", 300, 400, 0.8F)};
    });
    EXPECT_EQ(anzahl, 1U);
    // The words' own box with room around it.
    EXPECT_THAT(gefragt, ElementsAre(leser::motoren::Kasten{287, 94, 413, 136}));
    EXPECT_THAT(texte(zeilen[0]), ElementsAre("Kaffee"));
    EXPECT_THAT(texte(zeilen[1]), ElementsAre("SUMME", "12,50"));
    EXPECT_FLOAT_EQ(zeilen[1].zuversicht, 0.85F);
    EXPECT_FLOAT_EQ(zeilen[0].zuversicht, 0.9F);
}

TEST(Zweitblick, TheFirstReadingStaysWhenTheSecondIsNoBetter) {
    auto const bild = weiss(600, 200);
    std::vector<leser::motoren::Textzeile> const vorher{{{wort("1250", 300, 400, 0.6F)}, 0.6F}};
    for (auto const& neu :
         {std::vector<leser::motoren::Wort>{},
          std::vector<leser::motoren::Wort>{wort("I25O", 300, 400, 0.6F)},
          std::vector<leser::motoren::Wort>{wort("12", 300, 340, 0.9F), wort("5O", 345, 400, 0.2F)}}) {
        auto zeilen = vorher;
        EXPECT_EQ(
            leser::motoren::zweiterBlick(zeilen, bild, [&](leser::motoren::Kasten) { return neu; }), 1U);
        EXPECT_THAT(texte(zeilen[0]), ElementsAre("1250"));
        EXPECT_FLOAT_EQ(zeilen[0].zuversicht, 0.6F);
    }
}

TEST(Zweitblick, AReadingThatLeavesWordsOutIsNotBetter) {
    leser::motoren::Graubild const bild = weiss(600, 200);
    auto const mit = [&](std::vector<leser::motoren::Wort> alt, std::vector<leser::motoren::Wort> neu) {
        std::vector<leser::motoren::Textzeile> zeilen{{std::move(alt), 0.8F}};
        EXPECT_EQ(
            leser::motoren::zweiterBlick(zeilen, bild, [&](leser::motoren::Kasten) { return neu; }), 1U);
        return texte(zeilen.front());
    };
    EXPECT_THAT(
        mit({wort("Gesamtbetrag", 10, 200, 0.9F), wort("12,5O", 210, 260, 0.6F)},
            {wort("12,50", 210, 260, 0.95F)}),
        ElementsAre("Gesamtbetrag", "12,5O"));
    EXPECT_THAT(
        mit({wort("12,50", 10, 80, 0.9F), wort("3,OO", 90, 150, 0.6F)}, {wort("12,50", 10, 80, 0.95F)}),
        ElementsAre("12,50", "3,OO"));
    EXPECT_THAT(
        mit({wort("Gesamtbetrag", 10, 200, 0.9F), wort("12,5O", 210, 260, 0.6F)},
            {wort("Gesamtbetrag", 10, 200, 0.9F), wort("12,50", 210, 260, 0.9F)}),
        ElementsAre("Gesamtbetrag", "12,50"));
}

TEST(Zweitblick, AnAmountHasAFifthInAdvance) {
    auto const bild = weiss(600, 200);
    auto nach = [&](std::string const& alt, std::string const& neu, float zuversicht) {
        std::vector<leser::motoren::Textzeile> zeilen{{{wort(alt, 300, 400, 0.5F)}, 0.5F}};
        leser::motoren::zweiterBlick(zeilen, bild, [&](leser::motoren::Kasten) {
            return std::vector<leser::motoren::Wort>{wort(neu, 300, 400, zuversicht)};
        });
        return zeilen[0].woerter[0].text;
    };
    EXPECT_EQ(nach("1250", "12,50", 0.31F), "12,50");
    EXPECT_EQ(nach("1250", "12,50", 0.29F), "1250");
    EXPECT_EQ(nach("12,50", "1250", 0.69F), "12,50");
    EXPECT_EQ(nach("12,50", "1250", 0.71F), "1250");
}

TEST(Zweitblick, SeveralPiecesOfALineAreReplacedEachInItsPlace) {
    auto const bild = weiss(900, 200);
    std::vector<leser::motoren::Textzeile> zeilen{
        {{wort("1", 10, 30, 0.2F), wort("Stueck", 35, 80, 0.9F), wort("Tee", 200, 260, 0.9F),
          wort("4.", 500, 520, 0.3F), wort("2O", 525, 560, 0.3F)},
         0.5F}};
    auto const anzahl = leser::motoren::zweiterBlick(zeilen, bild, [&](leser::motoren::Kasten k) {
        if (k.links < 100)
            return std::vector<leser::motoren::Wort>{
                wort("2", 10, 20, 0.9F), wort("x", 22, 30, 0.9F), wort("Stueck", 35, 80, 0.9F)};
        return std::vector<leser::motoren::Wort>{wort("4,20", 500, 560, 0.9F)};
    });
    EXPECT_EQ(anzahl, 2U);
    EXPECT_THAT(texte(zeilen[0]), ElementsAre("2", "x", "Stueck", "Tee", "4,20"));
}

TEST(Zweitblick, APageOfDoubtsCostsABoundedNumberOfReadings) {
    auto const bild = weiss(600, 200);
    std::vector<leser::motoren::Textzeile> zeilen(
        500, leser::motoren::Textzeile{{wort("1Z", 300, 340, 0.1F)}, 0.1F});
    std::size_t gefragt = 0;
    EXPECT_EQ(
        leser::motoren::zweiterBlick(
            zeilen, bild,
            [&](leser::motoren::Kasten) {
                ++gefragt;
                return std::vector<leser::motoren::Wort>{};
            }),
        leser::motoren::hoechstensStuecke);
    EXPECT_EQ(gefragt, leser::motoren::hoechstensStuecke);
}

TEST(Zweitblick, BoxesBeyondThePictureAndSpecksAreHarmless) {
    auto const bild = weiss(50, 40);
    std::vector<leser::motoren::Textzeile> zeilen{
        {{{"1", {-20, -5, 70, 60}, 0.1F}}, 0.1F},
        {{{"2", {100, 100, 150, 130}, 0.1F}}, 0.1F},
        {{{"3", {10, 10, 14, 14}, 0.1F}}, 0.1F},
        {{{"4", {30, 30, 20, 20}, 0.1F}}, 0.1F}};
    std::vector<leser::motoren::Kasten> gefragt;
    leser::motoren::zweiterBlick(zeilen, bild, [&](leser::motoren::Kasten k) {
        gefragt.push_back(k);
        return std::vector<leser::motoren::Wort>{};
    });
    EXPECT_THAT(gefragt, ElementsAre(leser::motoren::Kasten{0, 0, 50, 40}));
}

TEST(Groessenwechsel, LargePrintAfterSmallIsFound) {
    auto bild = weiss(300, 100);
    buchstaben(bild, 20, 80, {20, 14, 14, 20, 20});
    buchstaben(bild, 100, 80, {40, 40, 6, 40, 40});
    EXPECT_EQ(leser::motoren::groessenwechsel(bild, {10, 30, 200, 90}), 100);
}

TEST(Groessenwechsel, SmallPrintAfterLargeIsFound) {
    auto bild = weiss(300, 100);
    buchstaben(bild, 20, 80, {40, 40, 40});
    buchstaben(bild, 80, 80, {20, 14, 20, 14});
    EXPECT_EQ(leser::motoren::groessenwechsel(bild, {10, 30, 200, 90}), 80);
}

TEST(Groessenwechsel, CapitalsAndSmallLettersAreOneSize) {
    auto bild = weiss(300, 100);
    buchstaben(bild, 20, 80, {20, 14, 14, 20, 14, 14, 20, 20, 4, 20, 20});
    EXPECT_EQ(leser::motoren::groessenwechsel(bild, {10, 30, 200, 90}), std::nullopt);
}

TEST(Groessenwechsel, FewLettersAndAnEmptyPieceHaveNone) {
    auto bild = weiss(300, 100);
    EXPECT_EQ(leser::motoren::groessenwechsel(bild, {10, 30, 200, 90}), std::nullopt);
    EXPECT_EQ(leser::motoren::groessenwechsel(bild, {200, 90, 10, 30}), std::nullopt);
    EXPECT_EQ(leser::motoren::groessenwechsel(leser::motoren::Graubild{}, {0, 0, 10, 10}), std::nullopt);
    buchstaben(bild, 20, 80, {20, 20, 40, 40});
    EXPECT_EQ(leser::motoren::groessenwechsel(bild, {10, 30, 200, 90}), std::nullopt);
}

TEST(Groessenwechsel, BothSizesAreReadByThemselvesAndTogetherAreOneReading) {
    auto bild = weiss(400, 150);
    buchstaben(bild, 20, 120, {20, 14, 14, 20, 20});
    buchstaben(bild, 100, 120, {40, 40, 6, 40, 40});
    std::vector<leser::motoren::Textzeile> zeilen{
        {{{"Total", {20, 80, 66, 120}, 0.9F}, {"39", {100, 80, 146, 120}, 0.2F}}, 0.5F}};
    std::vector<leser::motoren::Kasten> gefragt;
    leser::motoren::zweiterBlick(zeilen, bild, [&](leser::motoren::Kasten k) {
        gefragt.push_back(k);
        return gefragt.size() == 1 ? std::vector<leser::motoren::Wort>{{"Total", k, 0.9F}}
                                   : std::vector<leser::motoren::Wort>{{"39,00", k, 0.9F}};
    });
    // Each as high as its own letters, and not into the other.
    ASSERT_EQ(gefragt.size(), 2U);
    EXPECT_EQ(gefragt[0].oben, 95);
    EXPECT_LE(gefragt[0].rechts, 100);
    EXPECT_EQ(gefragt[1].oben, 72);
    EXPECT_GE(gefragt[1].links, 99);
    EXPECT_THAT(texte(zeilen[0]), ElementsAre("Total", "39,00"));
}

} // namespace
} // namespace quillmate::Texterkennung
