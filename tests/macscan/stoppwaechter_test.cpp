#include "macscan/stoppwaechter.h"
#include "werkzeug/http_attrappe.h"
#include "werkzeug/stell_uhr.h"
#include "werkzeug/warten.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <mutex>

using namespace quillmate;
using namespace quillmate::MacScan;
using werkzeug::HttpAntwort;
using werkzeug::HttpAttrappe;
using werkzeug::wartenBis;
using namespace std::chrono_literals;

namespace {

class Waechter : public testing::Test {
protected:
    void antworte(std::string text) {
        std::lock_guard const schutz{sperre};
        antwort = std::move(text);
    }
    int fragen() const { return static_cast<int>(server.anfragen().size()); }

    std::mutex sperre;
    std::string antwort{R"({"gestoppt":false})"};
    HttpAttrappe server{[this](werkzeug::HttpAnfrage const&) {
        std::lock_guard const schutz{sperre};
        return HttpAntwort{.koerper = antwort};
    }};
    dienst::Zugang zugang{.server = server.adresse(), .clientId = 1, .token = "t"};
    dienst::Dienst dienst;
    werkzeug::StellUhr uhr;
};

} // namespace

TEST_F(Waechter, FirstQuestionOfARunIsAskedAtOnce) {
    MacScan::StoppWaechter waechter{dienst, uhr};
    waechter.neuerLauf();
    EXPECT_FALSE(waechter.gestoppt(zugang));
    EXPECT_EQ(fragen(), 1);
    EXPECT_EQ(server.anfragen()[0].pfad, "/clients/1/local-scan/progress");
}

TEST_F(Waechter, TwoQuestionsWithinTwoSecondsMakeOneRequest) {
    MacScan::StoppWaechter waechter{dienst, uhr};
    waechter.neuerLauf();
    (void)waechter.gestoppt(zugang);
    uhr.vor(1999ms);
    (void)waechter.gestoppt(zugang);
    EXPECT_EQ(fragen(), 1);
    uhr.vor(1ms);
    (void)waechter.gestoppt(zugang);
    EXPECT_EQ(fragen(), 2);
    waechter.neuerLauf();
    (void)waechter.gestoppt(zugang);
    EXPECT_EQ(fragen(), 3);
}

TEST_F(Waechter, AnAnswerWithoutABooleanLeavesTheState) {
    MacScan::StoppWaechter waechter{dienst, uhr};
    waechter.neuerLauf();
    for (auto const* const text : {"{}", R"({"gestoppt":"true"})", R"({"gestoppt":1})", "<html>", "[]"}) {
        antworte(text);
        EXPECT_FALSE(waechter.fragen(zugang)) << text;
    }
    antworte(R"({"gestoppt":true})");
    EXPECT_TRUE(waechter.fragen(zugang));
    antworte(R"({"gestoppt":"false"})");
    EXPECT_TRUE(waechter.fragen(zugang));
}

TEST_F(Waechter, AFailedQuestionWaitsTheFullTwoSecondsToo) {
    MacScan::StoppWaechter waechter{dienst, uhr};
    waechter.neuerLauf();
    dienst::Zugang const tot{.server = werkzeug::toteAdresse(), .clientId = 1, .token = "t"};
    EXPECT_FALSE(waechter.gestoppt(tot));
    EXPECT_FALSE(waechter.gestoppt(zugang));
    EXPECT_EQ(fragen(), 0);
}

TEST_F(Waechter, OnceStoppedNobodyIsAskedAgainButAskingItselfStoresWhatTheServiceSays) {
    MacScan::StoppWaechter waechter{dienst, uhr};
    waechter.neuerLauf();
    antworte(R"({"gestoppt":true})");
    EXPECT_TRUE(waechter.gestoppt(zugang));
    uhr.vor(10s);
    EXPECT_TRUE(waechter.gestoppt(zugang));
    EXPECT_EQ(fragen(), 1);
    antworte(R"({"gestoppt":false})");
    EXPECT_FALSE(waechter.fragen(zugang));
}

TEST_F(Waechter, PollerAsksAtOnceAndSparesTheCallersTheirRequests) {
    MacScan::StoppWaechter waechter{dienst, uhr, 1h};
    waechter.neuerLauf();
    waechter.hintergrund(zugang);
    EXPECT_EQ(fragen(), 1);
    uhr.vor(100s);
    EXPECT_FALSE(waechter.gestoppt(zugang));
    EXPECT_EQ(fragen(), 1);
}

TEST_F(Waechter, PollerFindsTheStopAndEnds) {
    MacScan::StoppWaechter waechter{dienst, uhr, 5ms};
    waechter.neuerLauf();
    waechter.hintergrund(zugang);
    antworte(R"({"gestoppt":true})");
    ASSERT_TRUE(wartenBis([&] { return waechter.gestoppt(zugang); }));
    auto const danach = fragen();
    // Ten of its intervals later it still has not asked.
    ASSERT_TRUE(wartenBis([beginn = std::chrono::steady_clock::now()] {
        return std::chrono::steady_clock::now() - beginn > 50ms;
    }));
    EXPECT_EQ(fragen(), danach);
}

TEST_F(Waechter, StartingThePollerTwiceStartsOne) {
    MacScan::StoppWaechter waechter{dienst, uhr, 1h};
    waechter.neuerLauf();
    waechter.hintergrund(zugang);
    waechter.hintergrund(zugang);
    EXPECT_EQ(fragen(), 1);
}

TEST_F(Waechter, EndingThePollerLetsTheCallersAskAgain) {
    MacScan::StoppWaechter waechter{dienst, uhr, 5ms};
    waechter.neuerLauf();
    waechter.hintergrund(zugang);
    ASSERT_TRUE(wartenBis([&] { return fragen() >= 3; }));
    waechter.hintergrundBeenden();
    // It asks no more: over twenty of its intervals, at most the question that was under way arrives.
    auto const vorher = fragen();
    ASSERT_TRUE(wartenBis([beginn = std::chrono::steady_clock::now()] {
        return std::chrono::steady_clock::now() - beginn > 100ms;
    }));
    EXPECT_LE(fragen(), vorher + 1);
    uhr.vor(10s);
    antworte(R"({"gestoppt":true})");
    EXPECT_TRUE(waechter.gestoppt(zugang));
    waechter.neuerLauf();
    antworte(R"({"gestoppt":false})");
    waechter.hintergrund(zugang); // and it can be started again
    auto const neu = fragen();
    EXPECT_TRUE(wartenBis([&] { return fragen() > neu + 2; }));
}

TEST_F(Waechter, AStopFromThisSideHoldsAgainstTheServicesNoUntilTheNextRun) {
    MacScan::StoppWaechter waechter{dienst, uhr};
    waechter.neuerLauf();
    waechter.anhalten();
    EXPECT_TRUE(waechter.gestoppt(zugang));
    EXPECT_TRUE(waechter.fragen(zugang));
    waechter.neuerLauf();
    EXPECT_FALSE(waechter.gestoppt(zugang));
}

TEST_F(Waechter, AnAnswerToTheLastRunsQuestionDoesNotStopTheNextRun) {
    std::latch unterwegs{1};
    std::latch weiter{1};
    HttpAttrappe langsam{[&](werkzeug::HttpAnfrage const&) {
        unterwegs.count_down();
        weiter.wait();
        return HttpAntwort{.koerper = R"({"gestoppt":true})"};
    }};
    MacScan::StoppWaechter waechter{dienst, uhr, 1h};
    waechter.neuerLauf();
    std::jthread alteFrage{[&] {
        (void)waechter.fragen({.server = langsam.adresse(), .clientId = 1, .token = "t"});
    }};
    unterwegs.wait();
    waechter.neuerLauf();
    weiter.count_down();
    alteFrage.join();
    EXPECT_FALSE(waechter.gestoppt(zugang));
}
