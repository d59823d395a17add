// Files that a cloud drive keeps on its servers.

#include "hilfen.h"
#include "ports/uhr.h"
#include "ports/wolke.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>

namespace quillmate {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using werkzeug::OrdnerAufZeit;
using Sekunden = std::chrono::duration<double>;

/// Stands still until somebody sleeps; then `beimSchlafen` may change the world.
class Stelluhr final : public ports::Uhr {
public:
    [[nodiscard]] Zeitpunkt jetzt() const override { return jetzt_; }
    void schlafen(std::chrono::duration<double> dauer) override {
        geschlafen.push_back(dauer.count());
        if (beimSchlafen)
            beimSchlafen();
        jetzt_ += std::chrono::duration_cast<Zeitpunkt::duration>(dauer);
    }
    std::vector<double> geschlafen;
    std::function<void()> beimSchlafen;

private:
    Zeitpunkt jetzt_{std::chrono::hours{1000}};
};

class Merkwolke final : public ports::Wolke {
public:
    [[nodiscard]] bool vorhanden() const override { return true; }
    void anfordern(std::string const& pfad) override { angefordert.push_back(pfad); }
    std::vector<std::string> angefordert;
};

struct AusDerCloud : testing::Test {
    std::int64_t laden(std::vector<std::string> const& dateien, double sekunden) {
        return Ordner::ausDerCloudLaden(
            dateien, Sekunden{sekunden}, [this](std::int64_t anzahl) { gemeldet.push_back(anzahl); }, wolke,
            uhr);
    }
    OrdnerAufZeit ordner;
    Stelluhr uhr;
    Merkwolke wolke;
    std::vector<std::int64_t> gemeldet;
};

TEST(Platzhalter, StandForTheRealNameInTheSameFolder) {
    OrdnerAufZeit const ordner;
    ordner.datei(".scan.pdf.icloud");
    ordner.datei("2024/Mai/.Foto.HEIC.icloud");
    ordner.datei("2024/.brief.docx.icloud");
    ordner.datei("da.pdf");
    EXPECT_THAT(
        Ordner::platzhalter(ordner.pfad()),
        ElementsAre(ordner.pfad("scan.pdf"), ordner.pfad("2024/Mai/Foto.HEIC")));
}

TEST(Platzhalter, NeedTheLeadingDotTheEndingAndARealName) {
    OrdnerAufZeit const ordner;
    for (auto const* name :
         {"scan.pdf.icloud", ".scan.pdf.icloud2", ".scan.pdf", ".icloud", "..icloud", ".pdf.icloud",
          ".scan.pdf.ICLOUD"})
        ordner.datei(name);
    EXPECT_THAT(Ordner::platzhalter(ordner.pfad()), IsEmpty());
}

TEST(Platzhalter, AreNotLookedForInExcludedFoldersAndPackages) {
    OrdnerAufZeit const ordner;
    for (auto const* name : {".versteckt", "Library", "Programm.app", "Brief.pages", ".git", ".ablage.pdf"})
        ordner.datei(std::string{name} + "/.scan.pdf.icloud");
    ordner.datei("Brief.pages/Index.zip");
    ordner.datei("Belege/.scan.pdf.icloud");
    EXPECT_THAT(Ordner::platzhalter(ordner.pfad()), ElementsAre(ordner.pfad("Belege/scan.pdf")));
}

TEST(Platzhalter, FoldersNamedLikePlaceholdersAreEnteredEvenWithoutARealName) {
    OrdnerAufZeit const ordner;
    for (auto const* name : {".icloud", "..icloud", ".x.icloud"})
        ordner.datei(std::string{name} + "/.scan.pdf.icloud");
    ordner.datei(".scan.pdf.icloud/.innen.pdf.icloud");
    EXPECT_THAT(
        Ordner::platzhalter(ordner.pfad()),
        ElementsAre(
            ordner.pfad("..icloud/scan.pdf"), ordner.pfad(".icloud/scan.pdf"), ordner.pfad("scan.pdf"),
            ordner.pfad(".scan.pdf.icloud/innen.pdf"), ordner.pfad(".x.icloud/scan.pdf")));
}

TEST(Platzhalter, AreAtMostTwentyThousandUnlessAskedOtherwise) {
    OrdnerAufZeit const ordner;
    int const hier = ::open(ordner.pfad().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int i = 0; i <= 20'000; ++i)
        test::leereDatei(hier, ("." + std::to_string(100'000 + i) + ".pdf.icloud").c_str());
    ::close(hier);
    auto const liste = Ordner::platzhalter(ordner.pfad());
    ASSERT_EQ(liste.size(), 20'000U);
    EXPECT_EQ(liste.back(), ordner.pfad("119999.pdf"));
    EXPECT_EQ(Ordner::platzhalter(ordner.pfad(), 20'001).size(), 20'001U);
}

TEST(Platzhalter, StopAtTheLimitInEnumerationOrder) {
    OrdnerAufZeit const ordner;
    for (auto const* name : {"a/.1.pdf.icloud", "b/.2.pdf.icloud", "c/.3.pdf.icloud"})
        ordner.datei(name);
    EXPECT_THAT(
        Ordner::platzhalter(ordner.pfad(), 2), ElementsAre(ordner.pfad("a/1.pdf"), ordner.pfad("b/2.pdf")));
    EXPECT_THAT(Ordner::platzhalter(ordner.pfad(), 0), IsEmpty());
    EXPECT_THAT(Ordner::platzhalter(ordner.pfad("fehlt")), IsEmpty());
}

TEST_F(AusDerCloud, EmptyListReturnsAfterTheFirstRoundWithoutSleeping) {
    EXPECT_EQ(laden({}, 90), 0);
    EXPECT_THAT(gemeldet, ElementsAre(0));
    EXPECT_THAT(uhr.geschlafen, IsEmpty());
}

TEST_F(AusDerCloud, NoTimeMeansNoCounting) {
    auto const datei = ordner.datei("da.pdf");
    for (double const sekunden : {0.0, -1.0, std::nan(""), -std::numeric_limits<double>::infinity()})
        EXPECT_EQ(laden({datei}, sekunden), 0) << sekunden;
    EXPECT_THAT(gemeldet, IsEmpty());
    EXPECT_THAT(wolke.angefordert, ElementsAre(datei, datei, datei, datei)); // asked for all the same
}

TEST_F(AusDerCloud, WaitsInStepsOfTwoSecondsUntilAllHaveArrived) {
    auto const erste = ordner.pfad("erste.pdf");
    auto const zweite = ordner.pfad("zweite.pdf");
    uhr.beimSchlafen = [&] {
        ordner.datei(uhr.geschlafen.size() == 1 ? "zweite.pdf" : "erste.pdf");
    };
    EXPECT_EQ(laden({erste, zweite}, 90), 2);
    EXPECT_THAT(wolke.angefordert, ElementsAre(erste, zweite));
    EXPECT_THAT(gemeldet, ElementsAre(0, 1, 2));
    EXPECT_THAT(uhr.geschlafen, ElementsAre(2.0, 2.0));
}

TEST_F(AusDerCloud, ReturnsTheCountOfTheLastRoundWhenTheTimeIsOver) {
    auto const da = ordner.datei("da.pdf");
    // It arrives during the last sleep, too late to be counted.
    uhr.beimSchlafen = [&] {
        if (uhr.geschlafen.size() == 3)
            ordner.datei("spaet.pdf");
    };
    EXPECT_EQ(laden({da, ordner.pfad("spaet.pdf")}, 5), 1);
    EXPECT_THAT(gemeldet, ElementsAre(1, 1, 1));
    EXPECT_THAT(uhr.geschlafen, ElementsAre(2.0, 2.0, 2.0));
}

TEST_F(AusDerCloud, EndlessTimeIsNoOverflow) {
    uhr.beimSchlafen = [&] {
        ordner.datei("da.pdf");
    };
    EXPECT_EQ(laden({ordner.pfad("da.pdf")}, std::numeric_limits<double>::infinity()), 1);
    EXPECT_EQ(laden({ordner.pfad("da.pdf")}, 1e300), 1);
}

TEST_F(AusDerCloud, WorksWithoutAnybodyListening) {
    auto const datei = ordner.datei("da.pdf");
    EXPECT_EQ(Ordner::ausDerCloudLaden({datei}, Sekunden{1}, nullptr, wolke, uhr), 1);
}

} // namespace
} // namespace quillmate
