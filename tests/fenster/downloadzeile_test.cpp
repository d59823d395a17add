// What a window's lower edge says of downloads.
#include "fenster/downloadzeile.h"
#include "fensterprobe.h"

namespace quillmate::fenstertest {
namespace {

class Zeilen : public testing::Test {
protected:
    [[nodiscard]] std::string text() const { return jetzt ? jetzt->text : "(nichts)"; }
    std::optional<ports::Fusszeile> jetzt;
    fenster::Downloadzeile zeile{[this](std::optional<ports::Fusszeile> neue) {
        jetzt = std::move(neue);
    }};
    int abgebrochen{0};
};

TEST_F(Zeilen, ADownloadOfKnownSizeSaysHowFarItIs) {
    zeile.begonnen(1, "rechnung.pdf", [] {});
    zeile.fortschritt(1, 12'345'678, 27'000'000);
    EXPECT_EQ(text(), "„rechnung.pdf“ wird heruntergeladen … 45 % (12,3 von 27,0 MB)");
    ASSERT_TRUE(jetzt->anteil);
    EXPECT_NEAR(*jetzt->anteil, 0.457, 0.001);
    EXPECT_TRUE(jetzt->laeuft);
    EXPECT_EQ(jetzt->knopf, "Abbrechen");
    zeile.beendet(1, std::nullopt);
    EXPECT_EQ(text(), "(nichts)");
}

TEST_F(Zeilen, WithoutAnAnnouncedSizeOnlyWhatHasComeIsSaid) {
    zeile.begonnen(1, "export", [] {});
    zeile.fortschritt(1, 1'500'000, 0);
    EXPECT_EQ(text(), "„export“ wird heruntergeladen … 1,5 MB");
    EXPECT_FALSE(jetzt->anteil);
}

TEST_F(Zeilen, AServerThatSendsMoreThanItAnnouncedDoesNotMakeMoreThanAll) {
    zeile.begonnen(1, "x", [] {});
    zeile.fortschritt(1, 3'000'000, 1'000'000);
    EXPECT_EQ(text(), "„x“ wird heruntergeladen … 100 % (3,0 von 1,0 MB)");
    EXPECT_EQ(jetzt->anteil, 1.0);
}

TEST_F(Zeilen, SeveralDownloadsShareTheLineAndItsButtonEndsAllOfThem) {
    for (std::uint64_t i = 1; i <= 3; ++i)
        zeile.begonnen(i, "x", [this, i] {
            ++abgebrochen;
            zeile.beendet(i, std::nullopt);
        });
    EXPECT_TRUE(text().starts_with("3 Dateien werden heruntergeladen …")) << text();
    auto const druecken = jetzt->gedrueckt;
    druecken();
    EXPECT_EQ(abgebrochen, 3);
    EXPECT_EQ(text(), "(nichts)");
}

TEST_F(Zeilen, AnOutcomeStaysUntilTheNextDownloadOrUntilItIsClosed) {
    zeile.begonnen(1, "a.pdf", [] {});
    zeile.beendet(1, "Gespeichert: „a.pdf“");
    EXPECT_EQ(text(), "Gespeichert: „a.pdf“");
    EXPECT_FALSE(jetzt->laeuft);
    auto const schliessen = jetzt->gedrueckt;
    schliessen();
    EXPECT_EQ(text(), "(nichts)");
    zeile.begonnen(2, "b.pdf", [] {});
    zeile.beendet(2, "Gespeichert: „b.pdf“");
    zeile.begonnen(3, "c.pdf", [] {});
    EXPECT_TRUE(text().starts_with("„c.pdf“")) << text();
}

TEST_F(FensterTest, TheMainWindowsDownloadIsShownAtItsEdgeAndCanBeStoppedThere) {
    baue();
    auto const datei = download();
    auto& fuss = werk.fensters.front()->fuss;
    EXPECT_FALSE(fuss) << "before it has a name";
    (void)fehlerausgabe([&] { (void)datei->fragt("a.pdf"); });
    EXPECT_TRUE(datei->erhaelt(1'000'000, 4'000'000));
    ASSERT_TRUE(fuss);
    EXPECT_EQ(fuss->text, "„a.pdf“ wird heruntergeladen … 25 % (1,0 von 4,0 MB)");
    auto const stopp = fuss->gedrueckt;
    EXPECT_EQ(
        fehlerausgabe([&] { stopp(); }), "[Quillmate] Download fehlgeschlagen: Vom Nutzer abgebrochen.\n");
    EXPECT_EQ(datei->abgebrochen, 1);
    EXPECT_FALSE(fuss);
    EXPECT_FALSE(std::filesystem::exists(welt.heim.pfad("Downloads/a.pdf")));
}

TEST_F(FensterTest, AChildWindowsDownloadIsToldInItAndInTheMainPage) {
    baue();
    auto* const neben = neuesFenster("https://quillmate.example/belege");
    auto const datei = std::make_shared<werkzeug::DownloadAttrappe>();
    engine().heruntergeladen(*neben, datei);
    (void)fehlerausgabe([&] {
        (void)datei->fragt("a.pdf");
        datei->fertig();
    });
    schleife.laufen();
    EXPECT_FALSE(werk.fensters.front()->fuss);
    ASSERT_TRUE(werk.fensters.back()->fuss);
    EXPECT_EQ(werk.fensters.back()->fuss->text, "Gespeichert: „a.pdf“ im Ordner „Downloads“.");
    EXPECT_THAT(
        meldungen(), ElementsAre(fenster::meldeskript("Gespeichert: „a.pdf“ im Ordner „Downloads“.", true)));
}

TEST_F(FensterTest, AClosedWindowsNewDownloadIsNobodys) {
    baue();
    auto* const neben = neuesFenster("https://quillmate.example/belege");
    werk.fensters.back()->schliessen();
    auto const datei = std::make_shared<werkzeug::DownloadAttrappe>();
    engine().heruntergeladen(*neben, datei);
    EXPECT_FALSE(datei->hatEmpfaenger()) << "the engine's one ends then";
}

} // namespace
} // namespace quillmate::fenstertest
