// A stop is obeyed within three seconds wherever the scan is, and the search's end within five.
#include "suchwelt.h"
#include "werkzeug/zaehes_dateisystem.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

namespace quillmate::MacScan {
namespace {

using namespace std::chrono_literals;
using werkzeug::HttpAntwort;
using werkzeug::wartenBis;
namespace fs = std::filesystem;

constexpr char const* belegtext = "Rechnung Nr. 5 vom Hotel, Summe 12,50 EUR";

enum class Ende { angehalten, zerstoert };

class Anhalten : public ::testing::TestWithParam<Ende> {
protected:
    ~Anhalten() override {
        if (zaeh)
            zaeh->weiter();
    }
    /// The place Desktop lies on a slow file system; false where that cannot be had.
    [[nodiscard]] bool langsamerDesktop() {
        if (!werkzeug::ZaehesDateisystem::moeglich())
            return false;
        zaeh = std::make_unique<werkzeug::ZaehesDateisystem>(
            welt.heim.ordner("quelle"), welt.heim.pfad("Desktop"));
        return true;
    }
    void starte() {
        suche.emplace(welt.umgebungMit(uhr));
        suche->starten({.zugang = welt.zugang()}, welt.melder());
    }
    /// Whether the run is in this step.
    bool imSchritt(std::string const& schluessel) {
        auto const bericht = suche->stand.bericht();
        return !bericht["schritte"].empty() && bericht["schritte"].back()["schluessel"] == schluessel;
    }
    /// Stops it in the way of the parameter, and says how long that took.
    std::chrono::milliseconds stoppe() {
        EXPECT_TRUE(suche->laeuft()) << "over before it could be stopped";
        auto const beginn = std::chrono::steady_clock::now();
        if (GetParam() == Ende::angehalten) {
            suche->anhalten();
            EXPECT_TRUE(wartenBis([&] { return !suche->laeuft(); }));
        } else {
            suche.reset();
        }
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - beginn);
    }
    [[nodiscard]] static std::chrono::milliseconds erlaubt() {
        return GetParam() == Ende::angehalten ? 3000ms : 5000ms;
    }

    werkzeug::Suchwelt welt;
    ports::SystemUhr uhr;
    std::unique_ptr<werkzeug::ZaehesDateisystem> zaeh;
    std::optional<MacScan::Suche> suche;
};

INSTANTIATE_TEST_SUITE_P(
    Wie, Anhalten, ::testing::Values(Ende::angehalten, Ende::zerstoert),
    [](auto const& lauf) { return lauf.param == Ende::angehalten ? "Stop" : "Closing"; });

TEST_P(Anhalten, InTheWalkForPlaceholders) {
    for (int i = 0; i < 60; ++i)
        welt.heim.ordner("quelle/" + std::to_string(i));
    if (!langsamerDesktop())
        GTEST_SKIP() << "no FUSE here";
    zaeh->jeOrdner = 300ms;
    starte();
    ASSERT_TRUE(wartenBis([&] { return imSchritt("platzhalter") && zaeh->ordnerGelesen >= 2; }));
    EXPECT_LT(stoppe(), erlaubt());
    EXPECT_LT(zaeh->ordnerGelesen, 30);
}

TEST_P(Anhalten, InTheWalkForFiles) {
    for (int i = 0; i < 60; ++i)
        welt.heim.ordner("quelle/" + std::to_string(i));
    if (!langsamerDesktop())
        GTEST_SKIP() << "no FUSE here";
    starte();
    ASSERT_TRUE(wartenBis([&] {
        auto const bericht = suche->stand.bericht();
        if (bericht["schritte"].size() > 2)
            zaeh->jeOrdner = 300ms;
        return imSchritt("ordner") || !suche->laeuft();
    }));
    if (imSchritt("ordner")) {
        EXPECT_LT(stoppe(), erlaubt());
    }
}

TEST_P(Anhalten, WhereAPlaceDoesNotAnswerAnyMore) {
    welt.heim.ordner("quelle/a");
    if (!langsamerDesktop())
        GTEST_SKIP() << "no FUSE here";
    zaeh->haengen();
    starte();
    ASSERT_TRUE(wartenBis([&] { return imSchritt("bekannt") || imSchritt("platzhalter"); }));
    EXPECT_LT(stoppe(), erlaubt());
}

TEST_P(Anhalten, WhileItWaitsForTheCloud) {
    welt.wolkeVorhanden = true;
    welt.wolke.laedt = false;
    welt.heim.datei("Desktop/.a.pdf.icloud");
    starte();
    ASSERT_TRUE(wartenBis([&] { return imSchritt("icloud"); }));
    EXPECT_LT(stoppe(), erlaubt());
}

TEST_P(Anhalten, WhileALargeFileIsHashed) {
    auto const datei = welt.heim.datei("quelle/a.pdf");
    fs::resize_file(datei, 400U << 20U);
    if (!langsamerDesktop())
        GTEST_SKIP() << "no FUSE here";
    welt.service.antworte(
        "/seen-paths", R"({"paths":[")" + welt.heim.pfad("Desktop/a.pdf") + R"("],"path_hashes":{")" +
                           welt.heim.pfad("Desktop/a.pdf") + R"(":"00"}})");
    zaeh->jeLesung = 50ms;
    starte();
    ASSERT_TRUE(wartenBis([&] { return zaeh->portionenGelesen >= 3; }));
    EXPECT_LT(stoppe(), erlaubt());
}

TEST_P(Anhalten, WhileAFileIsRead) {
    welt.heim.datei("Desktop/a.pdf", belegtext);
    welt.leser.bisAbbruch = true;
    starte();
    ASSERT_TRUE(wartenBis([&] { return welt.leser.gelesen == 1; }));
    if (GetParam() == Ende::zerstoert)
        suche->anhalten(); // The program ends its readers beside; here nobody else would.
    EXPECT_LT(stoppe(), erlaubt());
}

/// A service that takes each request to this path and never answers.
class AnhaltenBeimDienst : public Anhalten {
protected:
    void stockt(std::string const& ende) {
        welt.heim.datei("Desktop/a.pdf", belegtext);
        welt.service.antworte(ende, HttpAntwort{.haengen = true});
        starte();
        ASSERT_TRUE(wartenBis([&] { return !welt.service.server().anfragenAn(ende).empty(); }));
        EXPECT_LT(stoppe(), erlaubt());
    }
};
INSTANTIATE_TEST_SUITE_P(
    Wie, AnhaltenBeimDienst, ::testing::Values(Ende::angehalten, Ende::zerstoert),
    [](auto const& lauf) { return lauf.param == Ende::angehalten ? "Stop" : "Closing"; });

TEST_P(AnhaltenBeimDienst, ThatDoesNotSayItsPreferences) {
    stockt("/local-scan-preference");
}
TEST_P(AnhaltenBeimDienst, ThatDoesNotSayWhatItHasSeen) {
    stockt("/seen-paths");
}
TEST_P(AnhaltenBeimDienst, ThatDoesNotSayWhetherToStop) {
    stockt("/progress");
}
TEST_P(AnhaltenBeimDienst, ThatDoesNotTakeTheStart) {
    stockt("/progress-start");
}
TEST_P(AnhaltenBeimDienst, ThatDoesNotTakeAnUpload) {
    stockt("/local-receipts/upload");
}
TEST_P(AnhaltenBeimDienst, ThatDoesNotTakeTheProgress) {
    stockt("/progress-update");
}
TEST_P(AnhaltenBeimDienst, ThatDoesNotTakeTheFinalReport) {
    stockt("/progress-finish");
}

TEST_P(AnhaltenBeimDienst, ThatIsNotThereAtAllAnyMore) {
    // The uploads, the progress and the final report all stall.
    for (auto const* const ende : {"/local-receipts/upload", "/progress-update", "/progress-finish"})
        welt.service.antworte(ende, HttpAntwort{.haengen = true});
    stockt("/local-receipts/upload");
}

} // namespace
} // namespace quillmate::MacScan
