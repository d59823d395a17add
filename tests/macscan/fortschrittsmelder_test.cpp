#include "macscan/fortschrittsmelder.h"
#include "werkzeug/http_attrappe.h"
#include "werkzeug/warten.h"

#include <gtest/gtest.h>

#include <latch>
#include <semaphore>

using namespace quillmate;
using namespace quillmate::MacScan;
using werkzeug::HttpAntwort;
using werkzeug::HttpAttrappe;

namespace {

/// A service that answers each report only when the test lets it.
struct Langsam {
    std::counting_semaphore<> erlaubt{0};
    HttpAttrappe server{[this](werkzeug::HttpAnfrage const&) {
        erlaubt.acquire();
        return HttpAntwort{};
    }};
    dienst::Dienst dienst;
    dienst::Zugang zugang{.server = server.adresse(), .clientId = 1, .token = "t"};

    std::vector<std::string> koerper() const {
        std::vector<std::string> texte;
        for (auto const& anfrage : server.anfragenAn("/progress-update"))
            texte.push_back(anfrage.koerper);
        return texte;
    }
};

} // namespace

TEST(Fortschrittsmelder, ReportsThatArriveWhileOneIsOnItsWayAreDropped) {
    Langsam l;
    MacScan::Fortschrittsmelder melder{l.dienst, l.zugang};
    melder.melden(1, 10);
    ASSERT_TRUE(werkzeug::wartenBis([&] { return l.koerper().size() == 1; }));
    melder.melden(2, 10);
    melder.melden(3, 10);
    l.erlaubt.release(2);
    melder.zuletzt(10, 10);
    EXPECT_EQ(
        l.koerper(),
        (std::vector<std::string>{R"({"processed":1,"total":10})", R"({"processed":10,"total":10})"}));
}

TEST(Fortschrittsmelder, TheFinalReportIsSentAfterTheOneOnItsWayAndWaitedFor) {
    Langsam l;
    MacScan::Fortschrittsmelder melder{l.dienst, l.zugang};
    melder.melden(1, 10);
    ASSERT_TRUE(werkzeug::wartenBis([&] { return l.koerper().size() == 1; }));
    std::atomic<bool> zurueck{false};
    std::jthread ende{[&] {
        melder.zuletzt(10, 10);
        zurueck = true;
    }};
    EXPECT_EQ(l.koerper().size(), 1U);
    l.erlaubt.release();
    ASSERT_TRUE(werkzeug::wartenBis([&] { return l.koerper().size() == 2; }));
    EXPECT_FALSE(zurueck);
    l.erlaubt.release();
    ende.join();
    EXPECT_TRUE(zurueck);
}

TEST(Fortschrittsmelder, AfterAFailedReportTheNextOneIsSent) {
    dienst::Dienst dienst;
    HttpAttrappe server{[](werkzeug::HttpAnfrage const&) {
        return HttpAntwort{.ohneAntwort = true};
    }};
    MacScan::Fortschrittsmelder melder{dienst, {.server = server.adresse(), .clientId = 1, .token = "t"}};
    melder.zuletzt(1, 2);
    melder.zuletzt(2, 2);
    EXPECT_EQ(server.anfragenAn("/progress-update").size(), 2U);
}
