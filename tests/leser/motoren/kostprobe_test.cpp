#include "leser/motoren/kostprobe.h"
#include "texterkennung/heuristik.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillmate::leser::motoren {
namespace {

constexpr int abstandDerZeilen = 40;

/// As many lines of one word, each 30 high; the first one begins at row 10.
std::vector<leser::motoren::Textzeile> seite(
    std::size_t anzahl, std::string const& wort = "Kaffee", float zuversicht = 0.9F) {
    std::vector<leser::motoren::Textzeile> zeilen;
    for (std::size_t i = 0; i < anzahl; ++i) {
        int const oben = 10 + static_cast<int>(i) * abstandDerZeilen;
        zeilen.push_back({{{wort, {5, oben, 105, oben + 30}, zuversicht}}, zuversicht});
    }
    return zeilen;
}

TEST(Kostprobe, IsTakenWhereMostLettersAre) {
    auto zeilen = seite(30, "1");
    for (std::size_t i = 12; i < 12 + zeilenDerKostprobe; ++i)
        zeilen[i].woerter.front().text = "Kuchen";
    // Digits are no letters, however many.
    zeilen[2].woerter.front().text = std::string(1000, '7');
    zeilen[13].zuversicht = 0.6F;
    auto const probe = leser::motoren::kostprobe(zeilen);
    ASSERT_TRUE(probe);
    // With a little room, but not so much that other lines are in it.
    EXPECT_LT(probe->oben, 10 + 12 * abstandDerZeilen);
    EXPECT_GE(probe->oben, 10 + 11 * abstandDerZeilen + 30);
    EXPECT_GT(probe->unten, 10 + 17 * abstandDerZeilen + 30);
    EXPECT_LE(probe->unten, 10 + 18 * abstandDerZeilen);
    EXPECT_NEAR(probe->zuversicht, 0.85F, 0.001F);
}

TEST(Kostprobe, HoldsAllWordsOfItsLines) {
    auto zeilen = seite(2 * zeilenDerKostprobe);
    zeilen[0].woerter.push_back({"hochgestellt", {110, 2, 200, 20}, 0.9F});
    zeilen[zeilenDerKostprobe - 1].woerter.push_back({"tief", {110, 220, 200, 251}, 0.9F});
    auto const probe = leser::motoren::kostprobe(zeilen);
    ASSERT_TRUE(probe);
    EXPECT_LE(probe->oben, 2);
    EXPECT_GE(probe->unten, 251);
}

TEST(Kostprobe, AShortPageIsReadAsAWhole) {
    EXPECT_FALSE(leser::motoren::kostprobe(seite(2 * zeilenDerKostprobe - 1)));
    EXPECT_TRUE(leser::motoren::kostprobe(seite(2 * zeilenDerKostprobe)));
    EXPECT_FALSE(leser::motoren::kostprobe({}));
}

TEST(Kostprobe, APageThatIsHardlyLegibleThisWayHasNone) {
    EXPECT_FALSE(leser::motoren::kostprobe(seite(30, "Kaffee", Texterkennung::UNSICHER_GELESEN - 0.01F)));
    EXPECT_TRUE(leser::motoren::kostprobe(seite(30, "Kaffee", Texterkennung::UNSICHER_GELESEN)));
}

TEST(Kostprobe, APageOfFiguresHasNone) {
    EXPECT_FALSE(leser::motoren::kostprobe(seite(30, "12,50")));
}

TEST(Kostprobe, OnlyAReadingThatIsMuchWorseEndsTheTry) {
    leser::motoren::Streifen const streifen{.oben = 0, .unten = 100, .zuversicht = 0.8F};
    EXPECT_TRUE(leser::motoren::liegtRichtig(streifen, seite(3, "a", 0.45F)));
    EXPECT_FALSE(leser::motoren::liegtRichtig(streifen, seite(3, "a", 0.7F)));
    EXPECT_FALSE(leser::motoren::liegtRichtig(streifen, seite(3, "a", 0.95F)));
}

TEST(Kostprobe, NothingReadProvesNothing) {
    EXPECT_FALSE(leser::motoren::liegtRichtig({.oben = 0, .unten = 100, .zuversicht = 0.95F}, {}));
}

} // namespace
} // namespace quillmate::leser::motoren
