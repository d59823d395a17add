#include "leser/motoren/erkennen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace quillmate::Texterkennung {
namespace {

/// Answers as told and notes what it was asked.
class GesagterErkenner final : public leser::motoren::Schrifterkenner {
public:
    std::optional<int> felder{30};
    Gelesen aufrecht;
    Gelesen kopfueber;
    std::vector<leser::motoren::Ausrichtung> gelesen;
    std::vector<leser::motoren::Erkennungsende> enden;

    void auflegen(leser::motoren::Graubild /*bild*/) override {}
    std::optional<int> textfelder() override { return felder; }
    Gelesen lesen(leser::motoren::Ausrichtung ausrichtung, leser::motoren::Erkennungsende ende) override {
        enden.push_back(ende);
        gelesen.push_back(ausrichtung);
        return ausrichtung == leser::motoren::Ausrichtung::aufrecht ? aufrecht : kopfueber;
    }
    void vergessen() noexcept override {}
};

class Erkennen : public ::testing::Test {
protected:
    std::optional<std::string> lies() {
        return erkennen(erkenner, leser::motoren::Graubild{1, 1, {255}}, ende);
    }
    leser::motoren::Erkennungsende const ende = leser::motoren::Rechenuhr::now() + std::chrono::seconds{7};
    GesagterErkenner erkenner;
    std::vector<leser::motoren::Ausrichtung> const nurAufrecht{leser::motoren::Ausrichtung::aufrecht};
    std::vector<leser::motoren::Ausrichtung> const beide{
        leser::motoren::Ausrichtung::aufrecht, leser::motoren::Ausrichtung::kopfueber};
};

TEST_F(Erkennen, PictureWithTwoTextRegionsIsNeverRead) {
    erkenner.felder = 2;
    erkenner.aufrecht = {"Rechnung", 0.9F};
    EXPECT_EQ(lies(), std::nullopt);
    EXPECT_TRUE(erkenner.gelesen.empty());
}

TEST_F(Erkennen, PictureWithThreeTextRegionsIsRead) {
    erkenner.felder = 3;
    erkenner.aufrecht = {"Rechnung", 0.9F};
    EXPECT_EQ(lies(), "Rechnung");
}

TEST_F(Erkennen, PictureIsReadWhenDetectionFails) {
    erkenner.felder = std::nullopt;
    erkenner.aufrecht = {"Rechnung", 0.9F};
    EXPECT_EQ(lies(), "Rechnung");
}

TEST_F(Erkennen, BothPassesShareOneDeadline) {
    erkenner.aufrecht = {"12,50", 0.9F};
    erkenner.kopfueber = {"Rechnung 12,50", 0.9F};
    EXPECT_EQ(lies(), "Rechnung 12,50");
    EXPECT_EQ(erkenner.enden, (std::vector<leser::motoren::Erkennungsende>{ende, ende}));
}

TEST_F(Erkennen, NoUprightTextEndsWithoutASecondPass) {
    erkenner.kopfueber = {"Rechnung 1,00", 0.9F};
    EXPECT_EQ(lies(), std::nullopt);
    EXPECT_EQ(erkenner.gelesen, nurAufrecht);
}

TEST_F(Erkennen, ReceiptWordIsEnoughHoweverUncertain) {
    erkenner.aufrecht = {"Quittung", 0.01F};
    EXPECT_EQ(lies(), "Quittung");
    EXPECT_EQ(erkenner.gelesen, nurAufrecht);
}

TEST_F(Erkennen, CertainTextWithoutAmountIsReturnedAtOnce) {
    erkenner.aufrecht = {"Urlaubsfoto", 0.5F};
    EXPECT_EQ(lies(), "Urlaubsfoto");
    EXPECT_EQ(erkenner.gelesen, nurAufrecht);
}

TEST_F(Erkennen, UncertainTextIsReadUpsideDownAndReplacedByABetterOne) {
    erkenner.aufrecht = {"Bunuyoay", 0.49F};
    erkenner.kopfueber = {"Rechnung", 0.1F};
    EXPECT_EQ(lies(), "Rechnung");
    EXPECT_EQ(erkenner.gelesen, beide);
}

TEST_F(Erkennen, ConfidenceJustBelowTheLimitIsUncertain) {
    erkenner.aufrecht = {"Bunuyoay", std::nextafter(0.5F, 0.0F)};
    static_cast<void>(lies());
    EXPECT_EQ(erkenner.gelesen, beide);
}

TEST_F(Erkennen, UncertainTextStaysWhenTheTurnedOneIsNoBetter) {
    erkenner.aufrecht = {"Urlaubsfoto", 0.49F};
    erkenner.kopfueber = {"ojojsqneljn", 0.99F};
    EXPECT_EQ(lies(), "Urlaubsfoto");
    EXPECT_EQ(erkenner.gelesen, beide);
}

TEST_F(Erkennen, AmountWithoutReceiptWordIsReadUpsideDownHoweverCertain) {
    erkenner.aufrecht = {"Summe 12,50", 0.99F};
    erkenner.kopfueber = {"nichts", 0.99F};
    EXPECT_EQ(lies(), "Summe 12,50");
    EXPECT_EQ(erkenner.gelesen, beide);
}

TEST_F(Erkennen, EqualScoresKeepTheUprightText) {
    erkenner.aufrecht = {"aufrecht 12,50", 0.3F};
    erkenner.kopfueber = {"gedreht 05,21", 0.9F};
    EXPECT_EQ(lies(), "aufrecht 12,50");
}

TEST_F(Erkennen, TurnedReceiptWordBeatsAnUprightAmount) {
    erkenner.aufrecht = {"05,21", 0.9F};
    erkenner.kopfueber = {"Beleg", 0.2F};
    EXPECT_EQ(lies(), "Beleg");
}

TEST_F(Erkennen, TurnedAmountBeatsAnUprightTextWithNothing) {
    erkenner.aufrecht = {"qwertz", 0.2F};
    erkenner.kopfueber = {"7,99", 0.2F};
    EXPECT_EQ(lies(), "7,99");
}

TEST_F(Erkennen, UprightTextStaysWhenNothingIsReadUpsideDown) {
    erkenner.aufrecht = {"Summe 12,50", 0.9F};
    erkenner.kopfueber = {};
    EXPECT_EQ(lies(), "Summe 12,50");
    EXPECT_EQ(erkenner.gelesen, beide);
}

} // namespace
} // namespace quillmate::Texterkennung
