// A share whose server is gone: the scan goes on with the next place and says so.
#include "grundlage/frist.h"
#include "suchwelt.h"
#include "werkzeug/fehlerausgabe.h"
#include "werkzeug/zaehes_dateisystem.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>

namespace quillmate::MacScan {
namespace {

using namespace std::chrono_literals;
using werkzeug::wartenBis;
using Namen = std::multiset<std::string>;

constexpr char const* belegtext = "Rechnung Nr. 5 vom Hotel, Summe 12,50 EUR";

class HaengenderOrt : public ::testing::Test {
protected:
    void SetUp() override {
        if (!werkzeug::ZaehesDateisystem::moeglich())
            GTEST_SKIP() << "no FUSE here";
        zaeh = std::make_unique<werkzeug::ZaehesDateisystem>(
            welt.heim.ordner("quelle"), welt.heim.pfad("Desktop"));
        welt.ortsfrist = 400ms;
        welt.heim.datei("quelle/a.pdf", std::string{belegtext} + "a");
        welt.heim.datei("Documents/b.pdf", std::string{belegtext} + "b");
    }
    void TearDown() override {
        if (zaeh)
            zaeh->weiter();
    }
    Json laufe() {
        welt.meldungenVergessen();
        if (!suche)
            suche.emplace(welt.umgebung());
        log = werkzeug::fehlerausgabe([&] {
            suche->starten({.zugang = welt.zugang()}, welt.melder());
            EXPECT_TRUE(wartenBis([&] { return !suche->laeuft(); }));
        });
        return welt.alleMeldungen().back();
    }

    werkzeug::Suchwelt welt;
    std::unique_ptr<werkzeug::ZaehesDateisystem> zaeh;
    std::optional<MacScan::Suche> suche;
    std::string log;
};

TEST_F(HaengenderOrt, AnswersAsAnyOtherWhileItDoes) {
    EXPECT_EQ(laufe()["gruende"]["hochgeladen"], 2);
    EXPECT_EQ(welt.service.hochgeladen(), (Namen{"a.pdf", "b.pdf"}));
}

TEST_F(HaengenderOrt, IsLeftOutAndSaidSoAndTheOthersAreSearched) {
    zaeh->haengen();
    auto const beginn = std::chrono::steady_clock::now();
    EXPECT_EQ(laufe()["gruende"]["hochgeladen"], 1);
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"b.pdf"});
    EXPECT_NE(log.find("Desktop antwortet nicht und wird ausgelassen"), std::string::npos) << log;
    EXPECT_LT(std::chrono::steady_clock::now() - beginn, 15s);
}

TEST_F(HaengenderOrt, IsSearchedAgainWhenItIsBack) {
    zaeh->haengen();
    EXPECT_EQ(laufe()["gruende"]["hochgeladen"], 1);
    zaeh->weiter();
    EXPECT_TRUE(wartenBis([&] { return !haengt(welt.heim.pfad("Desktop")); }));
    EXPECT_EQ(laufe()["orte"]["Desktop"], 1);
    EXPECT_TRUE(welt.service.hochgeladen().contains("a.pdf"));
}

TEST_F(HaengenderOrt, ThatHangsWhenItsFilesAreOpenedCostsOnlyThese) {
    for (int i = 0; i < 20; ++i)
        welt.heim.datei("quelle/" + std::to_string(i) + ".pdf", belegtext + std::to_string(i));
    welt.leserzahl = 1;
    // The places are found; the first file that is read makes the share hang.
    std::once_flag einmal;
    welt.leser.vorher = [&] {
        std::call_once(einmal, [&] { zaeh->haengen(); });
    };
    auto const beginn = std::chrono::steady_clock::now();
    auto const ende = laufe();
    EXPECT_TRUE(welt.service.hochgeladen().contains("b.pdf"));
    EXPECT_EQ(ende["gruende"]["keinBeleg"], 0);
    EXPECT_GE(ende["gruende"]["nichtLesbar"], 20);
    EXPECT_NE(log.find("antwortet nicht"), std::string::npos) << log;
    EXPECT_LT(std::chrono::steady_clock::now() - beginn, 15s) << "waited for each file";
}

TEST_F(HaengenderOrt, ThatHangsBeforeAnUploadHoldsUpNoSender) {
    std::once_flag einmal;
    welt.service.beimHochladen = [&] {
        std::call_once(einmal, [&] {
            EXPECT_TRUE(wartenBis([&] { return welt.leser.gelesen >= 6; }));
            zaeh->haengen();
        });
    };
    for (int i = 0; i < 4; ++i)
        welt.heim.datei("quelle/" + std::to_string(i) + ".pdf", belegtext + std::to_string(i));
    auto const ende = laufe();
    EXPECT_GE(ende["gruende"]["nichtLesbar"], 1);
    EXPECT_EQ(ende["gruende"]["hochgeladen"].get<int>() + ende["gruende"]["nichtLesbar"].get<int>(), 6);
}

TEST_F(HaengenderOrt, HoldsUpNoTargetedSearch) {
    zaeh->haengen();
    suche.emplace(welt.umgebung());
    suche->gezieltSuchen(
        {.zugang = welt.zugang(), .transactionId = 7, .betragTexte = {"12,50"}}, welt.melder());
    ASSERT_TRUE(wartenBis([&] { return !suche->laeuft(); }));
    EXPECT_EQ(welt.alleMeldungen().back()["treffer"], Json::array({"b.pdf"}));
}

} // namespace
} // namespace quillmate::MacScan
