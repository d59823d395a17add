#include "bruecke/hintergrund.h"
#include "werkzeug/stell_uhr.h"
#include "werkzeug/warten.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <optional>
#include <set>
#include <thread>
#include <vector>

using namespace quillmate;

TEST(Hintergrund, WorkRunsInOrderOnOneThreadOfLowPriority) {
    werkzeug::ZaehlenderArbeitsfaden arbeitsfaden;
    std::vector<int> reihenfolge;
    std::vector<std::thread::id> faeden;
    std::atomic<int> fertig{0};
    bruecke::Hintergrund hintergrund{arbeitsfaden};
    EXPECT_EQ(arbeitsfaden.anzahl, 0); // no thread before the first work
    for (int i = 0; i < 100; ++i)
        hintergrund.ausfuehren([&, i](std::stop_token const&) {
            reihenfolge.push_back(i);
            faeden.push_back(std::this_thread::get_id());
            ++fertig;
        });
    ASSERT_TRUE(werkzeug::wartenBis([&] { return fertig == 100; }));
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(reihenfolge[static_cast<std::size_t>(i)], i);
    EXPECT_EQ(std::set<std::thread::id>(faeden.begin(), faeden.end()).size(), 1U);
    EXPECT_NE(faeden.front(), std::this_thread::get_id());
    EXPECT_EQ(arbeitsfaden.anzahl, 1);
}

TEST(Hintergrund, EndWaitsForTheWorkUnderWay) {
    werkzeug::ZaehlenderArbeitsfaden arbeitsfaden;
    std::latch begonnen{1};
    std::latch weiter{1};
    std::atomic<bool> fertig{false};
    std::optional<bruecke::Hintergrund> hintergrund{std::in_place, arbeitsfaden};
    hintergrund->ausfuehren([&](std::stop_token const&) {
        begonnen.count_down();
        weiter.wait();
        fertig = true;
    });
    begonnen.wait();
    std::thread ende{[&] {
        hintergrund.reset();
        EXPECT_TRUE(fertig);
    }};
    weiter.count_down();
    ende.join();
}

TEST(Hintergrund, EndAsksTheWorkUnderWayToStopAndDropsTheRest) {
    werkzeug::ZaehlenderArbeitsfaden arbeitsfaden;
    std::latch begonnen{1};
    bool gebeten = false;
    bool weitergemacht = false;
    std::optional<bruecke::Hintergrund> hintergrund{std::in_place, arbeitsfaden};
    hintergrund->ausfuehren([&](std::stop_token const& ende) {
        begonnen.count_down();
        gebeten = werkzeug::wartenBis([&] { return ende.stop_requested(); });
    });
    hintergrund->ausfuehren([&](std::stop_token const&) { weitergemacht = true; });
    begonnen.wait();
    hintergrund.reset();
    EXPECT_TRUE(gebeten);
    EXPECT_FALSE(weitergemacht);
}

TEST(Hintergrund, EndWithoutWorkDoesNotWait) {
    werkzeug::ZaehlenderArbeitsfaden arbeitsfaden;
    { bruecke::Hintergrund const nie{arbeitsfaden}; }
    std::atomic<bool> fertig{false};
    {
        bruecke::Hintergrund einmal{arbeitsfaden};
        einmal.ausfuehren([&](std::stop_token const&) { fertig = true; });
        ASSERT_TRUE(werkzeug::wartenBis([&] { return fertig.load(); }));
    }
}
