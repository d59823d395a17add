// What pages download: where it goes, under which name, and what is said of it.
#include "fensterprobe.h"

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace quillmate::fenstertest {
namespace {

TEST_F(FensterTest, ADownloadGoesToTheDownloadsFolderAndIsAnnounced) {
    auto& fenster = baue();
    auto const datei = download();
    auto const pfad = welt.heim.pfad("Downloads/rechnung.pdf");
    EXPECT_EQ(
        fehlerausgabe([&] { EXPECT_EQ(datei->fragt("rechnung.pdf"), pfad); }),
        "[Quillmate] Download nach rechnung.pdf\n");
    EXPECT_EQ(fenster.letzterDownload(), pfad);
    welt.heim.datei("Downloads/rechnung.pdf", "Inhalt");
    EXPECT_EQ(fehlerausgabe([&] { datei->fertig(); }), "[Quillmate] Download fertig: " + pfad + "\n");
    EXPECT_THAT(meldungen(), IsEmpty()); // later
    schleife.laufen();
    EXPECT_THAT(
        meldungen(),
        ElementsAre(fenster::meldeskript("Gespeichert: „rechnung.pdf“ im Ordner „Downloads“.", true)));
    EXPECT_TRUE(std::filesystem::exists(pfad));
}

TEST_F(FensterTest, ADownloadNeverOverwrites) {
    baue();
    welt.heim.datei("Downloads/rechnung.pdf", "alt");
    (void)fehlerausgabe(
        [&] { EXPECT_EQ(download()->fragt("rechnung.pdf"), welt.heim.pfad("Downloads/rechnung 2.pdf")); });
    EXPECT_EQ(werkzeug::inhaltVon(welt.heim.pfad("Downloads/rechnung.pdf")), "alt");
}

TEST_F(FensterTest, DownloadsAtTheSameTimeGetDifferentNames) {
    baue();
    std::vector<std::shared_ptr<werkzeug::DownloadAttrappe>> alle;
    std::set<std::string> pfade;
    (void)fehlerausgabe([&] {
        for (int i = 0; i < 20; ++i) {
            alle.push_back(download());
            pfade.insert(alle.back()->fragt("export").value());
        }
    });
    EXPECT_EQ(pfade.size(), 20U);
    EXPECT_TRUE(pfade.contains(welt.heim.pfad("Downloads/export 20")));
}

TEST_F(FensterTest, ANameFromTheNetworkCannotLeaveTheFolder) {
    baue();
    (void)fehlerausgabe([&] {
        EXPECT_EQ(download()->fragt("../../.bashrc"), welt.heim.pfad("Downloads/_bashrc"));
        EXPECT_EQ(download()->fragt(""), welt.heim.pfad("Downloads/Download"));
        EXPECT_EQ(
            download()->fragt(std::string(5000, 'x') + ".pdf")->size(),
            welt.heim.pfad("Downloads/").size() + 200);
    });
}

TEST_F(FensterTest, AFailedDownloadIsAnnouncedAndGivesItsNameBack) {
    baue();
    auto const datei = download();
    (void)fehlerausgabe([&] { (void)datei->fragt("rechnung.pdf"); });
    EXPECT_FALSE(std::filesystem::exists(welt.heim.pfad("Downloads/rechnung.pdf")))
        << "visible before it is whole";
    EXPECT_EQ(
        fehlerausgabe([&] { datei->scheitert("Die Verbindung ist \"weg\"\n."); }),
        "[Quillmate] Download fehlgeschlagen: Die Verbindung ist \"weg\" .\n");
    schleife.laufen();
    EXPECT_THAT(
        meldungen(), ElementsAre(fenster::meldeskript(
                         "Das Herunterladen hat nicht geklappt: Die Verbindung ist \"weg\" .", false)));
    EXPECT_FALSE(std::filesystem::exists(welt.heim.pfad("Downloads/rechnung.pdf")));
}

TEST_F(FensterTest, ADownloadWhoseNameSomebodyTookMeanwhileIsAnnouncedUnderItsNextName) {
    auto& fenster = baue();
    auto const datei = download();
    auto const zweiter = welt.heim.pfad("Downloads/rechnung 2.pdf");
    (void)fehlerausgabe([&] { (void)datei->fragt("rechnung.pdf"); });
    std::filesystem::rename(welt.heim.datei("fremd.pdf", "fremd"), welt.heim.pfad("Downloads/rechnung.pdf"));
    EXPECT_EQ(
        fehlerausgabe([&] { EXPECT_EQ(datei->fragt("rechnung.pdf"), zweiter); }),
        "[Quillmate] Download nach rechnung 2.pdf\n");
    EXPECT_EQ(fenster.letzterDownload(), zweiter);
    EXPECT_EQ(werkzeug::inhaltVon(welt.heim.pfad("Downloads/rechnung.pdf")), "fremd");
    EXPECT_EQ(fehlerausgabe([&] { datei->fertig(); }), "[Quillmate] Download fertig: " + zweiter + "\n");
}

TEST_F(FensterTest, ADownloadThatFailsBeforeItHasANameIsAnnounced) {
    baue();
    auto const datei = download();
    EXPECT_THAT(fehlerausgabe([&] { datei->scheitert("weg"); }), HasSubstr("Download fehlgeschlagen: weg"));
    schleife.laufen();
    EXPECT_EQ(meldungen().size(), 1U);
}

TEST_F(FensterTest, ADownloadThatIsFinishedWithoutADestinationShowsNothing) {
    baue();
    EXPECT_EQ(fehlerausgabe([&] { download()->fertig(); }), "");
    EXPECT_EQ(schleife.laufen(), 0U);
}

TEST_F(FensterTest, EachFinishedDownloadIsAnnouncedUnderItsOwnName) {
    auto& fenster = baue();
    auto const erster = download();
    auto const zweiter = download();
    (void)fehlerausgabe([&] {
        (void)erster->fragt("a.pdf");
        (void)zweiter->fragt("b.pdf");
        erster->fertig();
        zweiter->fertig();
    });
    EXPECT_EQ(fenster.letzterDownload(), welt.heim.pfad("Downloads/b.pdf"));
    schleife.laufen();
    EXPECT_THAT(
        meldungen(), ElementsAre(
                         fenster::meldeskript("Gespeichert: „a.pdf“ im Ordner „Downloads“.", true),
                         fenster::meldeskript("Gespeichert: „b.pdf“ im Ordner „Downloads“.", true)));
}

TEST_F(FensterTest, AMissingDownloadsFolderIsMade) {
    orte.downloads = welt.heim.pfad("neu/Downloads");
    baue();
    (void)fehlerausgabe(
        [&] { EXPECT_EQ(download()->fragt("a.pdf"), welt.heim.pfad("neu/Downloads/a.pdf")); });
}

TEST_F(FensterTest, WhereTheSystemNamesNoDownloadsFolderTheTemporaryOneIsTaken) {
    baue();
    (void)fehlerausgabe([&] {
        orte.downloads = "";
        auto const datei = download();
        EXPECT_EQ(datei->fragt("a.pdf"), welt.heim.pfad("tmp/a.pdf"));
        datei->fertig();
    });
    schleife.laufen();
    EXPECT_THAT(meldungen().back(), HasSubstr("im Ordner „Downloads“."));
}

TEST_F(FensterTest, ADownloadsFolderThatTakesNoFilesIsAFailureAndNoOtherFolderIsTaken) {
    baue();
    orte.downloads = welt.heim.datei("eineDatei") + "/Downloads";
    EXPECT_THAT(
        fehlerausgabe([&] { EXPECT_FALSE(download()->fragt("b.pdf")); }),
        HasSubstr("Der Ordner „Downloads“ ist nicht beschreibbar"));
    EXPECT_FALSE(std::filesystem::exists(welt.heim.pfad("tmp/b.pdf")));
    schleife.laufen();
    EXPECT_THAT(meldungen(), ElementsAre(HasSubstr("Das Herunterladen hat nicht geklappt: ")));
}

TEST_F(FensterTest, ADownloadsFolderThatTakesNothingFailsTheDownloadAndSaysWhy) {
    baue();
    orte.downloads = welt.heim.datei("eineDatei") + "/Downloads";
    EXPECT_THAT(
        fehlerausgabe([&] { EXPECT_FALSE(download()->fragt("a.pdf")); }),
        HasSubstr("[Quillmate] Download fehlgeschlagen: Der Ordner „Downloads“ ist nicht beschreibbar ("));
    schleife.laufen();
    EXPECT_THAT(
        meldungen(),
        ElementsAre(HasSubstr("Das Herunterladen hat nicht geklappt: Der Ordner „Downloads“ ist nicht")));
    EXPECT_TRUE(std::filesystem::is_empty(welt.heim.pfad("tmp"))) << "kept where nobody looks for it";
}

TEST_F(FensterTest, WhereNoFileCanBeMadeTheDownloadIsCancelledWithANotice) {
    baue();
    orte.downloads = "";
    std::filesystem::remove(welt.heim.pfad("tmp"));
    EXPECT_THAT(
        fehlerausgabe([&] { EXPECT_FALSE(download()->fragt("a.pdf")); }),
        HasSubstr("[Quillmate] Download fehlgeschlagen: "));
    schleife.laufen();
    EXPECT_THAT(meldungen(), ElementsAre(HasSubstr("Das Herunterladen hat nicht geklappt: ")));
}

TEST_F(FensterTest, ADownloadMayOutliveTheWindow) {
    baue();
    auto const vorher = download();
    auto const nachher = download();
    (void)fehlerausgabe([&] {
        (void)vorher->fragt("a.pdf");
        haupt.reset();
        welt.heim.datei("Downloads/a.pdf", "Inhalt");
        vorher->fertig();
        EXPECT_FALSE(nachher->fragt("b.pdf"));
        nachher->scheitert("weg");
    });
    EXPECT_EQ(schleife.laufen(), 0U);
    EXPECT_TRUE(std::filesystem::exists(welt.heim.pfad("Downloads/a.pdf")));
}

TEST_F(FensterTest, ANoticeAfterTheEndIsDropped) {
    baue().meldeImFenster("Text", false);
    haupt.reset();
    EXPECT_EQ(schleife.laufen(), 1U);
}

} // namespace
} // namespace quillmate::fenstertest
