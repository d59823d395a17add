#include "umzug/lage.h"
#include "werkzeug/buendelkunde.h"

#include <gtest/gtest.h>

using namespace quillmate;
using Umzug::Ort;

namespace {

Umzug::Ordner const ordner{.downloads = "/home/anna/Downloads", .zuhause = "/home/anna"};

Ort ortVon(std::string_view pfad) {
    return Umzug::ortFuer(pfad, ordner);
}

Umzug::Lage lageAn(Ort ort, bool versetzt = false, bool ausgeliefert = false) {
    return {
        .laufend = "/x", .original = "/x", .ort = ort, .versetzt = versetzt, .ausgeliefert = ausgeliefert};
}

} // namespace

TEST(Ort, OnAMountedVolumeIsADiskImage) {
    EXPECT_EQ(ortVon("/Volumes/Quillmate/Quillmate.app"), Ort::dmg);
    EXPECT_EQ(ortVon("/Volumes/X/AppTranslocation/Quillmate.app"), Ort::dmg) << "the first rule wins";
    EXPECT_EQ(ortVon("/volumes/Quillmate/Quillmate.app"), Ort::anderswo) << "case counts";
    EXPECT_EQ(ortVon("/Volumes"), Ort::anderswo);
    EXPECT_EQ(ortVon("/mnt/Volumes/Quillmate.app"), Ort::anderswo) << "a prefix, not a part";
}

TEST(Ort, InATemporaryCopyCountsAsDownloads) {
    EXPECT_EQ(ortVon("/private/var/folders/zz/AppTranslocation/1/d/Quillmate.app"), Ort::downloads);
    EXPECT_EQ(ortVon("/Applications/AppTranslocation/Quillmate.app"), Ort::downloads)
        << "before Applications";
    EXPECT_EQ(ortVon("/tmp/AppTranslocationen/Quillmate.app"), Ort::anderswo);
}

TEST(Ort, BelowTheDownloadsFolderIsDownloads) {
    EXPECT_EQ(ortVon("/home/anna/Downloads/Quillmate.app"), Ort::downloads);
    EXPECT_EQ(ortVon("/home/anna/Downloads/neu/Quillmate.app"), Ort::downloads);
}

TEST(Ort, BesideTheDownloadsFolderFallsThroughToTheLaterRules) {
    EXPECT_EQ(ortVon("/home/anna/Downloads"), Ort::anderswo);
    EXPECT_EQ(ortVon("/home/anna/Downloads2/Quillmate.app"), Ort::anderswo);
    EXPECT_EQ(ortVon("/home/anna/Applications/Downloads/Quillmate.app"), Ort::programme);
}

TEST(Ort, WithoutAKnownDownloadsFolderNothingIsInIt) {
    Umzug::Ordner const ohne{.downloads = std::nullopt, .zuhause = "/home/anna"};
    EXPECT_EQ(Umzug::ortFuer("/home/anna/Downloads/Quillmate.app", ohne), Ort::anderswo);
    EXPECT_EQ(Umzug::ortFuer("/Quillmate.app", ohne), Ort::anderswo);
}

TEST(Ort, InEitherApplicationsFolderIsProgramme) {
    EXPECT_EQ(ortVon("/Applications/Quillmate.app"), Ort::programme);
    EXPECT_EQ(ortVon("/home/anna/Applications/Quillmate.app"), Ort::programme);
    EXPECT_EQ(ortVon("/home/anna/Applications/Buero/Quillmate.app"), Ort::programme);
}

TEST(Ort, TheBareApplicationsFolderIsNotProgramme) {
    EXPECT_EQ(ortVon("/Applications"), Ort::anderswo);
    EXPECT_EQ(ortVon("/home/anna/Applications"), Ort::anderswo);
    EXPECT_EQ(ortVon("/Applications2/Quillmate.app"), Ort::anderswo);
    EXPECT_EQ(ortVon("/home/bernd/Applications/Quillmate.app"), Ort::anderswo);
    EXPECT_EQ(ortVon("/home/annabel/Applications/Quillmate.app"), Ort::anderswo);
}

TEST(Ort, HasTheRawValuesThatThePageKnows) {
    EXPECT_EQ(Umzug::rohwert(Ort::programme), "programme");
    EXPECT_EQ(Umzug::rohwert(Ort::downloads), "downloads");
    EXPECT_EQ(Umzug::rohwert(Ort::dmg), "dmg");
    EXPECT_EQ(Umzug::rohwert(Ort::anderswo), "anderswo");
}

TEST(Lage, NeedsAMoveFromDownloadsDiskImageAndTemporaryCopyOnly) {
    EXPECT_FALSE(lageAn(Ort::programme).umzugNoetig());
    EXPECT_TRUE(lageAn(Ort::downloads).umzugNoetig());
    EXPECT_TRUE(lageAn(Ort::dmg).umzugNoetig());
    EXPECT_FALSE(lageAn(Ort::anderswo).umzugNoetig());
    EXPECT_TRUE(lageAn(Ort::programme, true).umzugNoetig());
    EXPECT_TRUE(lageAn(Ort::anderswo, true).umzugNoetig());
}

TEST(Lage, OfADevelopersBuildNeedsNoMoveAndOfAShippedOneDoes) {
    werkzeug::FesteBuendelkunde kunde;
    auto const pfad = std::string{"/home/anna/quellen/build/Quillmate.app"};
    auto const eigener = Umzug::lage(pfad, kunde, ordner);
    EXPECT_EQ(eigener.ort, Ort::anderswo);
    EXPECT_FALSE(eigener.ausgeliefert);
    EXPECT_FALSE(eigener.umzugNoetig());
    kunde.signiert.insert(pfad);
    auto const ausgeliefert = Umzug::lage(pfad, kunde, ordner);
    EXPECT_TRUE(ausgeliefert.ausgeliefert);
    EXPECT_TRUE(ausgeliefert.umzugNoetig());
}

TEST(Lage, AsksForASignatureOnlyWhereThePlaceIsNoneOfTheKnown) {
    werkzeug::FesteBuendelkunde kunde;
    kunde.signiert = {
        "/Applications/Quillmate.app", "/home/anna/Downloads/Quillmate.app", "/Volumes/Q/Q.app"};
    for (auto const& pfad : kunde.signiert)
        EXPECT_FALSE(Umzug::lage(pfad, kunde, ordner).ausgeliefert) << pfad;
}

TEST(Lage, OfATemporaryCopyIsThatOfItsOriginal) {
    werkzeug::FesteBuendelkunde kunde;
    kunde.laufendes = "/tmp/AppTranslocation/1/Quillmate.app";
    kunde.originale[kunde.laufendes] = "/home/anna/Schreibtisch/Quillmate.app";
    auto const lage = Umzug::lage(kunde, ordner);
    EXPECT_TRUE(lage.versetzt);
    EXPECT_EQ(lage.laufend, "/tmp/AppTranslocation/1/Quillmate.app");
    EXPECT_EQ(lage.original, "/home/anna/Schreibtisch/Quillmate.app");
    EXPECT_EQ(lage.ort, Ort::anderswo);
    EXPECT_TRUE(lage.umzugNoetig());
}

TEST(Lage, OfATemporaryCopyWithoutKnownOriginalKeepsItsOwnPathAndIsDownloads) {
    werkzeug::FesteBuendelkunde kunde;
    kunde.laufendes = "/tmp/AppTranslocation/1/Quillmate.app";
    auto const lage = Umzug::lage(kunde, ordner);
    EXPECT_TRUE(lage.versetzt);
    EXPECT_EQ(lage.original, kunde.laufendes);
    EXPECT_EQ(lage.ort, Ort::downloads);
}

TEST(Lage, WithoutTemporaryCopyTheOriginalIsTheRunningBundle) {
    werkzeug::FesteBuendelkunde kunde;
    kunde.laufendes = "/home/anna/Downloads/Quillmate.app";
    kunde.originale[kunde.laufendes] = "/anders";
    EXPECT_EQ(
        Umzug::lage(kunde, ordner), (Umzug::Lage{
                                        .laufend = "/home/anna/Downloads/Quillmate.app",
                                        .original = "/home/anna/Downloads/Quillmate.app",
                                        .ort = Ort::downloads}));
}

TEST(Lage, TellsPeopleWhereTheProgramRuns) {
    EXPECT_EQ(lageAn(Ort::dmg).beschreibung(), "direkt aus dem Installationsabbild (DMG)");
    EXPECT_EQ(lageAn(Ort::dmg, true).beschreibung(), "direkt aus dem Installationsabbild (DMG)");
    EXPECT_EQ(lageAn(Ort::downloads).beschreibung(), "aus dem Downloads-Ordner");
    EXPECT_EQ(lageAn(Ort::anderswo).beschreibung(), "außerhalb des Ordners „Programme“");
    constexpr auto wegwerfort = "von einem Wegwerf-Ort, den macOS für frisch geladene Apps anlegt";
    EXPECT_EQ(lageAn(Ort::anderswo, true).beschreibung(), wegwerfort);
    EXPECT_EQ(lageAn(Ort::programme, true).beschreibung(), wegwerfort);
    EXPECT_EQ(lageAn(Ort::programme).beschreibung(), wegwerfort);
}

TEST(Lage, TellsPeopleWhatIsBadAboutIt) {
    EXPECT_EQ(
        lageAn(Ort::anderswo).folge(), "Dort taucht es nicht im Launchpad auf und ist schnell verlegt.");
    constexpr auto sonst =
        "Von dort kann es sich nicht aktualisieren und ist nach dem Beenden nicht mehr zu finden.";
    EXPECT_EQ(lageAn(Ort::anderswo, true).folge(), sonst);
    EXPECT_EQ(lageAn(Ort::downloads).folge(), sonst);
    EXPECT_EQ(lageAn(Ort::dmg).folge(), sonst);
}

TEST(Grund, IsNamedForDownloadsAndDiskImagesOnly) {
    EXPECT_EQ(Umzug::grund("/home/anna/Downloads/Quillmate.app", ordner), "aus dem Downloads-Ordner");
    EXPECT_EQ(Umzug::grund("/Volumes/Q/Quillmate.app", ordner), "direkt aus dem Installationsabbild (DMG)");
    EXPECT_EQ(Umzug::grund("/Applications/Quillmate.app", ordner), std::nullopt);
    EXPECT_EQ(Umzug::grund("/opt/Quillmate.app", ordner), std::nullopt);
}

TEST(ZielName, IsTheBundlesNameWithTheEndingApp) {
    werkzeug::FesteBuendelkunde kunde;
    kunde.buendel["/a/Datei.app"] = {.pfad = "/a/Datei.app", .name = "Quillmate Demo"};
    EXPECT_EQ(Umzug::zielName("/a/Datei.app", kunde), "Quillmate Demo.app");
}

TEST(ZielName, WithoutUsableNameIsQuillmate) {
    werkzeug::FesteBuendelkunde kunde;
    kunde.buendel["/leer.app"] = {.pfad = "/leer.app", .name = ""};
    kunde.buendel["/ohne.app"] = {.pfad = "/ohne.app"};
    kunde.buendel["/pfad.app"] = {.pfad = "/pfad.app", .name = "../../etc/x"};
    for (auto const* pfad : {"/leer.app", "/ohne.app", "/pfad.app", "/kein.app"})
        EXPECT_EQ(Umzug::zielName(pfad, kunde), "Quillmate.app") << pfad;
}
