// What becomes of the files that a portal sends.
#include "portalprobe.h"

namespace quillmate::portalprobe {
namespace {

// ------------------------------------------------------------------------------------------- downloads

TEST_F(PortalFensterTest, AFinishedDownloadIsUploadedAndItsFolderRemoved) {
    oeffnen();
    auto const d = download();
    auto const ziel = d->fragt("rechnungen/2026/R-7.pdf");
    ASSERT_TRUE(ziel);
    EXPECT_EQ(fs::path{*ziel}.filename(), "R-7.pdf");
    EXPECT_EQ(fs::path{*ziel}.parent_path().parent_path().string(), tmp.pfad());
    EXPECT_TRUE(fs::path{*ziel}.parent_path().filename().string().starts_with("quillmate-portal-"));
    std::ofstream{*ziel} << "%PDF-1.4";
    d->fertig();
    ASSERT_TRUE(laeuftBis([&] { return ereignisse.size() == 2 && leer(); }));
    EXPECT_EQ(
        ereignisse,
        (Texte{
            ereignis("wird_importiert", "PDF geladen · Quillmate prüft und ordnet es jetzt zu …"),
            ereignis(
                "importiert", "Beleg importiert und automatisch zugeordnet, wenn eine Buchung passt.")}));
    EXPECT_EQ(server.anfragen().at(0).pfad, "/clients/42/local-receipts/upload");
}

TEST_F(PortalFensterTest, ADownloadWithoutANameIsAnInvoice) {
    oeffnen();
    for (auto const* const vorschlag : {"", "..", "/"})
        EXPECT_EQ(fs::path{download()->fragt(vorschlag).value_or("")}.filename(), "rechnung.pdf")
            << vorschlag;
}

TEST_F(PortalFensterTest, ADownloadThatIsNoReceiptIsRefused) {
    oeffnen();
    auto const d = download();
    std::ofstream{d->fragt("scan.tiff").value()} << "II*";
    d->fertig();
    ASSERT_TRUE(laeuftBis([&] { return !ereignisse.empty() && leer(); }));
    EXPECT_EQ(
        ereignisse, Texte{ereignis("fehler", "Nur PDF- und Bildbelege werden automatisch übernommen.")});
}

TEST_F(PortalFensterTest, AFailedDownloadIsToldAndItsFolderRemoved) {
    oeffnen();
    auto const d = download();
    std::ofstream{d->fragt("r.pdf").value()} << "%PDF-1.4 halb";
    d->scheitert("Die Verbindung ist vor dem Ende der Datei abgebrochen.");
    EXPECT_EQ(
        ereignisse,
        Texte{ereignis(
            "fehler", "Download fehlgeschlagen: Die Verbindung ist vor dem Ende der Datei abgebrochen.")});
    EXPECT_TRUE(leer());
}

TEST_F(PortalFensterTest, ADownloadThatFailsBeforeItHasAPlaceIsTold) {
    oeffnen();
    download()->scheitert("HTTP 404");
    EXPECT_EQ(ereignisse, Texte{ereignis("fehler", "Download fehlgeschlagen: HTTP 404")});
}

TEST_F(PortalFensterTest, WithoutATemporaryFolderADownloadCannotBePrepared) {
    oeffnen();
    fs::remove_all(tmp.pfad());
    std::ofstream{tmp.pfad()} << "eine Datei an seiner Stelle";
    EXPECT_FALSE(download()->fragt("r.pdf"));
    EXPECT_EQ(ereignisse, Texte{ereignis("fehler", "Download konnte nicht vorbereitet werden.")});
    fs::remove(tmp.pfad());
}

TEST_F(PortalFensterTest, APageCannotStartDownloadsWithoutEnd) {
    oeffnen();
    std::vector<std::shared_ptr<werkzeug::DownloadAttrappe>> alle;
    for (std::size_t i = 0; i < portal::PortalFenster::hoechsteDownloads; ++i) {
        alle.push_back(download());
        EXPECT_TRUE(alle.back()->fragt("r.pdf"));
    }
    EXPECT_FALSE(download()->fragt("r.pdf"));
    EXPECT_EQ(ereignisse, Texte{ereignis("fehler", "Download konnte nicht vorbereitet werden.")});
    alle[0]->scheitert("x");
    EXPECT_TRUE(download()->fragt("r.pdf"));
}

TEST_F(PortalFensterTest, ADownloadOfMoreThanFiftyMebibytesEndsWithAMessage) {
    oeffnen();
    auto const genau = download();
    ASSERT_TRUE(genau->fragt("r.pdf"));
    EXPECT_TRUE(genau->erhaelt(52'428'800));
    auto const laenger = download();
    ASSERT_TRUE(laenger->fragt("r.pdf"));
    EXPECT_FALSE(laenger->erhaelt(52'428'801));
    EXPECT_EQ(
        ereignisse, Texte{ereignis("fehler", "Download fehlgeschlagen: Die Datei ist größer als 50 MB.")});
    auto const angekuendigt = download();
    ASSERT_TRUE(angekuendigt->fragt("r.pdf"));
    EXPECT_FALSE(angekuendigt->erhaelt(0, 52'428'801)) << "before its first byte";
}

TEST_F(PortalFensterTest, AllCapturedFilesTogetherHaveALimitWithAMessage) {
    oeffnen();
    std::vector<std::shared_ptr<werkzeug::DownloadAttrappe>> alle;
    for (int i = 0; i < 10; ++i) {
        alle.push_back(download());
        ASSERT_TRUE(alle.back()->fragt("r.pdf"));
        EXPECT_TRUE(alle.back()->erhaelt(52'428'800)) << i;
    }
    auto const elfter = download();
    ASSERT_TRUE(elfter->fragt("r.pdf"));
    EXPECT_FALSE(elfter->erhaelt(1));
    EXPECT_EQ(
        ereignisse, Texte{ereignis(
                        "fehler", "Download fehlgeschlagen: Es warten schon 500 MB an Dateien auf ihre "
                                  "Übergabe. Versuche es danach "
                                  "noch einmal.")});
    leisten.angaben.gedrueckt();
    web().rufe[0].antwort(pdfAntwort, {});
    EXPECT_EQ(
        ereignisse.back(),
        ereignis("fehler", "Die aktuelle PDF konnte nicht für den Import vorbereitet werden."));
    alle[0]->scheitert("x");
    auto const danach = download();
    ASSERT_TRUE(danach->fragt("r.pdf"));
    EXPECT_TRUE(danach->erhaelt(1)) << "there is room again";
}

TEST_F(PortalFensterTest, TheStatusLineSaysHowFarADownloadIs) {
    oeffnen();
    auto const d = download();
    ASSERT_TRUE(d->fragt("r.pdf"));
    EXPECT_TRUE(d->erhaelt(250, 1000));
    EXPECT_EQ(fenster().fuss->text, "Download läuft … 25 %");
    EXPECT_TRUE(d->erhaelt(2'500'000));
    EXPECT_EQ(fenster().fuss->text, "Download läuft … 2,5 MB");
    EXPECT_TRUE(ereignisse.empty());
}

TEST_F(PortalFensterTest, ADownloadThatFinishesAfterClosingIsStillUploadedButNotTold) {
    oeffnen();
    portal->zeigen();
    auto const d = download();
    std::ofstream{d->fragt("r.pdf").value()} << "%PDF-1.4";
    fenster().schliessen();
    schleife.laufen();
    d->fertig();
    ASSERT_TRUE(laeuftBis([&] { return leer() && schleife.wartende() == 0; }));
    EXPECT_EQ(server.anfragen().size(), 1U);
    EXPECT_EQ(ereignisse, Texte{ereignis("geschlossen", "Portal geschlossen")});
}

TEST_F(PortalFensterTest, ADownloadThatEndsAfterTheObjectLeavesNoFolder) {
    oeffnen();
    auto const a = download();
    auto const b = download();
    auto const c = download();
    std::ofstream{a->fragt("r.pdf").value()} << "%PDF-1.4";
    std::ofstream{b->fragt("r.pdf").value()} << "%PDF-1.4";
    portal.reset();
    a->fertig();
    b->scheitert("x");
    EXPECT_FALSE(c->fragt("r.pdf"));
    EXPECT_TRUE(leer());
    EXPECT_TRUE(server.anfragen().empty());
}

} // namespace
} // namespace quillmate::portalprobe
