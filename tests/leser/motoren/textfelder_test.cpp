#include "leser/motoren/lage.h"
#include "leser/motoren/textfelder.h"
#include "leser/motoren/vergroessern.h"
#include "leser/motoren/vorbereiten.h"
#include "texterkennung/heuristik.h"
#include "werkzeug/vorlagen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace quillmate::Texterkennung {
namespace {

using vorlagen::beleg;
using vorlagen::schriftbild;

/// Points that have nothing to do with each other, in clumps of several points as leaves have them.
leser::motoren::Graubild laub(int breite, int hoehe) {
    std::mt19937 wuerfel{7};
    leser::motoren::Graubild bild{breite, hoehe, {}};
    for (int i = 0; i < breite * hoehe; ++i)
        bild.punkte.push_back(static_cast<std::uint8_t>(wuerfel() & 0xFFU));
    for (int i = 0; i < 4; ++i)
        leser::motoren::glaetten(bild);
    for (auto& punkt : bild.punkte)
        punkt = punkt < 126 ? 30 : 200;
    return bild;
}

int felder(leser::motoren::Graubild const& bild) {
    return leser::motoren::brauchbare(leser::motoren::textblick(bild).felder());
}

leser::motoren::Wort wort(std::string text, float zuversicht) {
    return {std::move(text), {}, zuversicht};
}

TEST(Textfelder, EachLineOfPrintIsOne) {
    EXPECT_EQ(felder(schriftbild(beleg())), static_cast<int>(beleg().size()));
    EXPECT_EQ(felder(schriftbild({"Eine Zeile Text", "und noch eine"})), 2);
}

TEST(Textfelder, BlankAndEmptyPicturesHaveNone) {
    EXPECT_EQ(felder({}), 0);
    EXPECT_EQ(felder({1, 5000, std::vector<std::uint8_t>(5000, 0)}), 0);
    EXPECT_EQ(felder({2000, 1500, std::vector<std::uint8_t>(2000U * 1500U, 255)}), 0);
    EXPECT_EQ(felder({2000, 1500, std::vector<std::uint8_t>(2000U * 1500U, 0)}), 0);
}

TEST(Textfelder, ClumpsThatStandNowhereInLineAreFewForTheirNumber) {
    // A page so full of print would have a hundred lines and more.
    EXPECT_LT(felder(laub(2000, 1500)), 40);
}

TEST(Textfelder, LinesThatRunDownAreTold) {
    auto const bild = schriftbild(beleg());
    EXPECT_FALSE(leser::motoren::textblick(bild).liegtQuer());
    EXPECT_FALSE(leser::motoren::textblick(leser::motoren::ausgerichtet(bild, 3)).liegtQuer());
    EXPECT_TRUE(leser::motoren::textblick(leser::motoren::ausgerichtet(bild, 6)).liegtQuer());
    EXPECT_TRUE(leser::motoren::textblick(leser::motoren::ausgerichtet(bild, 8)).liegtQuer());
}

TEST(Textfelder, TheSlopeOfALineIsFound) {
    auto const schief = leser::motoren::begradigt(schriftbild(beleg()), -0.15);
    auto const blick = leser::motoren::textblick(schief);
    ASSERT_GE(leser::motoren::brauchbare(blick.quer), Texterkennung::MINDEST_TEXTFELDER);
    EXPECT_NEAR(blick.quer.front().neigung, 0.15, 0.02);
}

std::vector<leser::motoren::Textfeld> zeilenfelder(int anzahl, double neigungsschritt, double hoehenfaktor) {
    std::vector<leser::motoren::Textfeld> felder;
    double hoehe = 16;
    for (int i = 0; i < anzahl; ++i, hoehe *= hoehenfaktor)
        felder.push_back(
            {.kasten = {0, 40 * i, 200, 40 * i + 16},
             .zeichen = 12,
             .neigung = i * neigungsschritt,
             .guete = 0.8,
             .hoehe = hoehe,
             .probe = {0, 40 * i, 100, 40 * i + 16},
             .probezeichen = 8});
    return felder;
}

TEST(Textfelder, SixLinesOfOneSlopeAndHeightAgree) {
    EXPECT_TRUE(leser::motoren::sindEinig(zeilenfelder(6, 0, 1)));
    EXPECT_FALSE(leser::motoren::sindEinig({}));
    EXPECT_FALSE(leser::motoren::sindEinig(zeilenfelder(5, 0, 1)));
    EXPECT_FALSE(
        leser::motoren::sindEinig(zeilenfelder(8, 0.02, 1))); // Three of them are of about one slope.
    EXPECT_FALSE(leser::motoren::sindEinig(zeilenfelder(8, 0, 1.4)));
}

TEST(Textfelder, LinesThatAgreeAreAThirdOfAll) {
    auto felder = zeilenfelder(18, 0, 1);
    for (std::size_t i = 0; i < 11; ++i)
        felder[i].neigung = i % 2 == 0 ? 0.3 + 0.01 * static_cast<double>(i) : -0.3;
    EXPECT_TRUE(leser::motoren::sindEinig(felder));
    auto mehr = zeilenfelder(40, 0, 1);
    for (std::size_t i = 0; i < 33; ++i)
        mehr[i].hoehe = 100.0 + 40.0 * static_cast<double>(i);
    EXPECT_FALSE(leser::motoren::sindEinig(mehr));
}

TEST(Lage, LinesThatAgreeAreReadWholeWhateverTheirPiecesHold) {
    leser::motoren::Graubild const bild{300, 800, std::vector<std::uint8_t>(300U * 800U, 255)};
    auto nichts = [](leser::motoren::Graubild const&) {
        return std::vector<leser::motoren::Wort>{};
    };
    leser::motoren::Textblick const seite{.quer = zeilenfelder(8, 0, 1), .hoch = {}};
    EXPECT_TRUE(leser::motoren::lage(bild, seite, nichts).druck);
    EXPECT_EQ(leser::motoren::lage(bild, seite, nichts).drehung, 1);
    leser::motoren::Textblick const laub{.quer = zeilenfelder(8, 0.05, 1.4), .hoch = {}};
    EXPECT_FALSE(leser::motoren::lage(bild, laub, nichts).druck);
}

TEST(Lage, NoiseEndsAfterAFewPieces) {
    auto const bild = schriftbild(beleg());
    int proben = 0;
    auto const gefunden = leser::motoren::lage(
        bild, leser::motoren::textblick(bild),
        [&](leser::motoren::Graubild const&) -> std::vector<leser::motoren::Wort> {
            ++proben;
            return {wort("/~x", 0.4F), wort("a", 0.9F)};
        });
    EXPECT_FALSE(gefunden.druck);
    EXPECT_LE(proben, 24);
}

TEST(Lage, ClearPrintCostsOnePiece) {
    auto const bild = schriftbild(beleg());
    int proben = 0;
    auto const gefunden = leser::motoren::lage(
        bild, leser::motoren::textblick(bild),
        [&](leser::motoren::Graubild const&) -> std::vector<leser::motoren::Wort> {
            ++proben;
            return {wort("Rechnungsnummer", 0.9F)};
        });
    EXPECT_TRUE(gefunden.druck);
    EXPECT_EQ(gefunden.drehung, 1);
    EXPECT_EQ(proben, 1);
}

TEST(Lage, OnlyWordsThatTheEngineIsSureOfCount) {
    EXPECT_EQ(leser::motoren::gehalt({wort("Summe", 0.59F), wort("ab", 0.9F), wort("-:;.", 0.9F)}), 0);
    EXPECT_NEAR(leser::motoren::gehalt({wort("Summe", 0.8F)}), 4.0, 0.01);
    EXPECT_NEAR(leser::motoren::gehalt({wort("äöü", 0.8F)}), 2.4, 0.01);
}

TEST(Lage, StraighteningUndoesASlope) {
    auto const bild = schriftbild(beleg());
    auto const gerade = leser::motoren::begradigt(leser::motoren::begradigt(bild, -0.15), 0.15);
    auto const blick = leser::motoren::textblick(gerade);
    ASSERT_FALSE(blick.quer.empty());
    EXPECT_NEAR(blick.quer.front().neigung, 0.0, 0.01);
}

TEST(Vergroessern, FlatStaysFlatAndAnEdgeStaysBetweenItsSides) {
    leser::motoren::Graubild bild{10, 6, std::vector<std::uint8_t>(60, 77)};
    auto const flach = leser::motoren::vergroessert(bild, 43, 25);
    EXPECT_EQ(flach.breite, 43);
    EXPECT_EQ(flach.hoehe, 25);
    EXPECT_TRUE(std::ranges::all_of(flach.punkte, [](auto p) { return std::abs(p - 77) <= 1; }));
    for (int y = 0; y < 6; ++y)
        std::fill_n(bild.punkte.begin() + y * 10, 5, std::uint8_t{20});
    auto const kante = leser::motoren::vergroessert(bild, 40, 24);
    EXPECT_LT(kante.zeile(12)[17], 25);
    EXPECT_GT(kante.zeile(12)[22], 72);
}

TEST(Vergroessern, BothSidesReachWhatTheScaleRuleSays) {
    auto const bild = leser::motoren::aufLesegroesse({500, 400, std::vector<std::uint8_t>(500U * 400U, 9)});
    EXPECT_EQ(bild.breite, 2000);
    EXPECT_EQ(bild.hoehe, 1600);
    auto const winzig = leser::motoren::aufLesegroesse({100, 50, std::vector<std::uint8_t>(5000, 9)});
    EXPECT_EQ(winzig.breite, 500);
    EXPECT_EQ(
        leser::motoren::aufLesegroesse({4000, 3000, std::vector<std::uint8_t>(12'000'000, 9)}).breite, 4000);
    EXPECT_EQ(leser::motoren::aufLesegroesse({}).breite, 0);
}

TEST(Vorbereiten, SmallPrintIsEnlargedAndLargePrintIsNot) {
    auto const gross = schriftbild(beleg());
    leser::motoren::Verkleinerer klein{gross.breite, gross.hoehe, 200, 150};
    for (int y = 0; y < gross.hoehe; ++y)
        klein.zeile(gross.zeile(y));
    auto kleines = std::move(klein).fertig();
    leser::motoren::vorbereiten(kleines);
    EXPECT_EQ(kleines.breite, 1000);
    leser::motoren::Verkleinerer mittel{gross.breite, gross.hoehe, 1200, 900};
    for (int y = 0; y < gross.hoehe; ++y)
        mittel.zeile(gross.zeile(y));
    auto mittleres = std::move(mittel).fertig();
    leser::motoren::vorbereiten(mittleres);
    EXPECT_EQ(mittleres.breite, 1200);
}

} // namespace
} // namespace quillmate::Texterkennung
