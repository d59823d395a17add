#include "macscan/suchstand.h"
#include "werkzeug/stell_uhr.h"

#include <gtest/gtest.h>

#include <thread>

using namespace quillmate;
using namespace std::chrono_literals;

namespace {

class SuchStand : public testing::Test {
protected:
    werkzeug::StellUhr uhr;
    MacScan::SuchStand stand{uhr};
};

} // namespace

TEST_F(SuchStand, BeforeAnyRunTheReportIsEmptyAndSecondsAreAnInteger) {
    auto const bericht = stand.bericht();
    EXPECT_EQ(bericht.dump(), R"({"laeuft":false,"art":"","sekunden":0,"schritte":[]})");
    EXPECT_TRUE(bericht["sekunden"].is_number_integer());
}

TEST_F(SuchStand, ARunHasKindAndSecondsAsFloatingPoint) {
    stand.neu("suche");
    uhr.vor(1500ms);
    auto const bericht = stand.bericht();
    EXPECT_EQ(bericht["laeuft"], true);
    EXPECT_EQ(bericht["art"], "suche");
    EXPECT_TRUE(bericht["sekunden"].is_number_float());
    EXPECT_DOUBLE_EQ(bericht["sekunden"].get<double>(), 1.5);
}

TEST_F(SuchStand, AStepWithoutCountsHasNoKeysForThem) {
    stand.neu("suche");
    auto const schritt = stand.beginne("vorgaben");
    auto const offen = stand.bericht()["schritte"][0];
    EXPECT_FALSE(
        offen.contains("anzahl") || offen.contains("gesamt") || offen.contains("name") ||
        offen.contains("zusatz"));
    EXPECT_EQ(offen["fertig"], false);
    uhr.vor(2s);
    stand.fertig(schritt, 5);
    uhr.vor(100s);
    auto const fertig = stand.bericht()["schritte"][0];
    EXPECT_EQ(fertig["anzahl"], 5);
    EXPECT_EQ(fertig["fertig"], true);
    EXPECT_DOUBLE_EQ(fertig["sekunden"].get<double>(), 2.0); // no longer grows
}

TEST_F(SuchStand, SettingReplacesCountsAndMergesExtras) {
    stand.neu("suche");
    auto const schritt = stand.beginne("lesen", "Belege lesen", 10);
    EXPECT_EQ(schritt, 0);
    stand.setze(schritt, 3, 12, {{"a", 1}, {"b", 2}});
    stand.setze(schritt, {}, {}, {{"b", 3}, {"c", 4}});
    auto const s = stand.bericht()["schritte"][0];
    EXPECT_EQ(s["name"], "Belege lesen");
    EXPECT_EQ(s["anzahl"], 3);
    EXPECT_EQ(s["gesamt"], 12);
    EXPECT_EQ(s["zusatz"].dump(), R"({"a":1,"b":3,"c":4})");
}

TEST_F(SuchStand, AnUnknownIndexChangesNothing) {
    stand.neu("suche");
    stand.beginne("a");
    auto const vorher = stand.bericht();
    stand.setze(-1, 1, 1, {{"x", 1}});
    stand.setze(1, 1, 1, {{"x", 1}});
    stand.fertig(-1, 1);
    stand.fertig(7, 1);
    EXPECT_EQ(stand.bericht(), vorher);
}

TEST_F(SuchStand, AfterTheEndTheStepsStayReadableUntilTheNextRun) {
    stand.neu("suche");
    stand.beginne("a");
    stand.ende();
    EXPECT_EQ(stand.bericht()["laeuft"], false);
    EXPECT_EQ(stand.bericht()["schritte"].size(), 1U);
    stand.neu("bildersuche");
    EXPECT_EQ(stand.bericht()["schritte"].size(), 0U);
    EXPECT_EQ(stand.bericht()["art"], "bildersuche");
}

TEST_F(SuchStand, ServesReadersAndWritersAtOnce) {
    stand.neu("suche");
    auto const schritt = stand.beginne("lesen");
    {
        std::jthread const schreiber{[&] {
            for (int i = 0; i < 1000; ++i)
                stand.setze(schritt, i, {}, {{"x", i}});
        }};
        for (int i = 0; i < 200; ++i)
            EXPECT_EQ(stand.bericht()["schritte"].size(), 1U);
    }
    EXPECT_EQ(stand.bericht()["schritte"][0]["anzahl"], 999);
}
