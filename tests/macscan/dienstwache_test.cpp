#include "macscan/dienstwache.h"
#include "werkzeug/fehlerausgabe.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace quillmate;
using MacScan::Dienstwache;
using namespace std::chrono_literals;

namespace {

/// Time passes by sleeping alone.
class Schlafuhr final : public ports::Uhr {
public:
    [[nodiscard]] Zeitpunkt jetzt() const override { return jetzt_; }
    void schlafen(std::chrono::duration<double> dauer) override {
        jetzt_ += std::chrono::duration_cast<std::chrono::nanoseconds>(dauer);
    }

private:
    Zeitpunkt jetzt_;
};

class DienstwacheTest : public testing::Test {
protected:
    [[nodiscard]] std::chrono::seconds vergangen() const {
        return std::chrono::duration_cast<std::chrono::seconds>(uhr.jetzt() - beginn);
    }

    Schlafuhr uhr;
    ports::Uhr::Zeitpunkt const beginn{uhr.jetzt()};
    int ohneAntwort{0};
    std::vector<std::chrono::seconds> gefragt;
    std::chrono::seconds zurueckNach{1h};
    std::chrono::seconds gestopptNach{1h};
    Dienstwache wache{
        uhr,
        {.ohneAntwort = [this] { return ohneAntwort; },
         .antwortet =
             [this] {
                 gefragt.push_back(vergangen());
                 return vergangen() >= zurueckNach;
             },
         .gestoppt =
             [this] {
                 return vergangen() >= gestopptNach;
             }}};
};

} // namespace

TEST_F(DienstwacheTest, NineteenFilesWithoutAnAnswerChangeNothing) {
    ohneAntwort = 19;
    EXPECT_TRUE(wache.bereit());
    EXPECT_TRUE(gefragt.empty());
    EXPECT_EQ(vergangen(), 0s);
}

TEST_F(DienstwacheTest, AfterTwentyOneQuestionEveryTenSecondsAsksWhetherItIsBack) {
    ohneAntwort = 20;
    zurueckNach = 35s;
    auto const gesagt = werkzeug::fehlerausgabe([&] { EXPECT_TRUE(wache.bereit()); });
    EXPECT_EQ(gefragt, (std::vector{10s, 20s, 30s, 40s}));
    EXPECT_EQ(
        gesagt, "[Quillmate] MacScan: der Dienst antwortet nicht mehr, die Übertragung wartet bis zu zwei "
                "Minuten auf "
                "ihn\n[Quillmate] MacScan: der Dienst antwortet wieder\n");
    EXPECT_TRUE(wache.bereit()); // the count starts anew from here
    EXPECT_EQ(gefragt.size(), 4U);
}

TEST_F(DienstwacheTest, AfterTwoMinutesTheRestIsLeftAndNobodyWaitsAgain) {
    ohneAntwort = 20;
    EXPECT_FALSE(wache.bereit());
    EXPECT_EQ(vergangen(), 120s);
    EXPECT_EQ(gefragt.size(), 12U);
    for (int i = 0; i < 10'000; ++i)
        EXPECT_FALSE(wache.bereit());
    EXPECT_EQ(vergangen(), 120s);
    EXPECT_EQ(gefragt.size(), 12U);
}

TEST_F(DienstwacheTest, AStopEndsTheWaitingWithinASecond) {
    ohneAntwort = 20;
    gestopptNach = 13s;
    EXPECT_FALSE(wache.bereit());
    EXPECT_EQ(vergangen(), 13s);
}

TEST_F(DienstwacheTest, AServiceThatIsBackAndGoneAgainIsWaitedForAgain) {
    ohneAntwort = 20;
    zurueckNach = 5s;
    EXPECT_TRUE(wache.bereit());
    ohneAntwort = 39;
    EXPECT_TRUE(wache.bereit());
    EXPECT_EQ(gefragt.size(), 1U);
    zurueckNach = 1h;
    ohneAntwort = 40;
    EXPECT_FALSE(wache.bereit());
}

TEST_F(DienstwacheTest, AnAnsweredFileBeginsTheCountAnew) {
    ohneAntwort = 20;
    zurueckNach = 5s;
    EXPECT_TRUE(wache.bereit());
    ohneAntwort = 0;
    EXPECT_TRUE(wache.bereit());
    ohneAntwort = 20;
    EXPECT_TRUE(wache.bereit());
    EXPECT_EQ(gefragt.size(), 2U);
}
