// Dialogs of pages and panels for files and folders, answered with the keyboard.
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

namespace quillmate::fenster_echt {
namespace {

using nlohmann::json;
using werkzeug::wartenBis;

class Dialoge : public EchtesFenster {
protected:
    /// Lets the page open a dialog; the call's number, whose result comes with the answer.
    int oeffneDialog(std::string const& rumpf, std::string const& bild) {
        int const nummer = dienst.beginne(rumpf);
        EXPECT_TRUE(warteAufDialog()) << rumpf;
        if (!bild.empty())
            bildschirm.bild(bild);
        EXPECT_FALSE(dienst.fertig(nummer));
        return nummer;
    }
    json antwort(int nummer) {
        auto const wert = dienst.ergebnis(nummer);
        EXPECT_TRUE(warteBisDialogWeg());
        return wert;
    }
    /// Types a path into the file panel, which takes a slash as the beginning of one, and takes it.
    void waehle(std::string const& pfad) {
        bildschirm.tippe(pfad);
        bildschirm.taste("Return");
    }
};

TEST_F(Dialoge, ThePageWaitsForAnAlert) {
    oeffne();
    auto const nummer = oeffneDialog("alert('Gespeichert.\\nAlles gut.'); return 'weiter'", "alert");
    bildschirm.taste("Return");
    EXPECT_EQ(antwort(nummer), "weiter");
}

TEST_F(Dialoge, AConfirmationIsTrueOnlyForOk) {
    oeffne();
    auto nummer = oeffneDialog("return confirm('Wirklich löschen?')", "confirm");
    bildschirm.taste("Return");
    EXPECT_EQ(antwort(nummer), true);
    nummer = oeffneDialog("return confirm('Wirklich löschen?')", "");
    bildschirm.taste("Escape");
    EXPECT_EQ(antwort(nummer), false);
    nummer = oeffneDialog("return confirm('Wirklich löschen?')", "");
    bildschirm.taste("Tab"); // from "OK" round to the other button
    bildschirm.taste("space");
    EXPECT_EQ(antwort(nummer), false);
}

TEST_F(Dialoge, APromptAnswersWithTheFieldAndNullWhenCancelled) {
    oeffne();
    auto nummer = oeffneDialog("return prompt('Name der Rechnung?', 'Vorgabe')", "prompt");
    bildschirm.taste("Return");
    EXPECT_EQ(antwort(nummer), "Vorgabe");
    nummer = oeffneDialog("return prompt('Name?', 'Vorgabe')", "");
    bildschirm.taste("ctrl+a");
    bildschirm.tippe("Neu 4711");
    bildschirm.taste("Return");
    EXPECT_EQ(antwort(nummer), "Neu 4711");
    nummer = oeffneDialog("return prompt('Name?', 'Vorgabe')", "");
    bildschirm.taste("Escape");
    EXPECT_EQ(antwort(nummer), nullptr);
    nummer = oeffneDialog("return prompt('Name?', '')", "");
    bildschirm.taste("Return");
    EXPECT_EQ(antwort(nummer), "") << "empty is not cancelled";
}

TEST_F(Dialoge, LeavingAPageIsNotHeldUpByTheOldOne) {
    oeffne();
    dienst.rufe("addEventListener('beforeunload', e => { e.preventDefault(); e.returnValue = 'x'; })");
    dienst.rufe("setTimeout(() => location.href = '/seite/zwei')");
    EXPECT_TRUE(dienst.warteAufDokument(1, "zwei"));
}

TEST_F(Dialoge, AFileInputGetsTheChosenFile) {
    auto const datei = ordner.datei("home/Documents/beleg.txt", "Inhalt");
    dienst.inhalt("<p><input id=feld type=file>");
    oeffne();
    klicke("#feld");
    ASSERT_TRUE(bildschirm.warteAufFenster("Datei auswählen"));
    ASSERT_TRUE(warteAufDialog());
    bildschirm.bild("dateitafel");
    waehle(datei);
    EXPECT_TRUE(
        wartenBis([&] { return dienst.rufe("return document.getElementById('feld').files.length") == 1; }));
    EXPECT_EQ(dienst.rufe("return await document.getElementById('feld').files[0].text()"), "Inhalt");
}

TEST_F(Dialoge, ACancelledFileInputKeepsItsFileAndAsksAgain) {
    auto const datei = ordner.datei("home/Documents/beleg.txt", "Inhalt");
    dienst.inhalt("<p><input id=feld type=file multiple>");
    oeffne();
    klicke("#feld");
    ASSERT_TRUE(bildschirm.warteAufFenster("Dateien auswählen"));
    ASSERT_TRUE(warteAufDialog());
    waehle(datei);
    EXPECT_TRUE(
        wartenBis([&] { return dienst.rufe("return document.getElementById('feld').files.length") == 1; }));
    ASSERT_TRUE(warteBisDialogWeg());
    for (int mal = 0; mal < 2; ++mal) {
        klicke("#feld");
        ASSERT_TRUE(warteAufDialog()) << mal;
        bildschirm.taste("Escape");
        ASSERT_TRUE(warteBisDialogWeg());
    }
    EXPECT_EQ(dienst.rufe("return document.getElementById('feld').files[0].name"), "beleg.txt");
}

TEST_F(Dialoge, TheFolderPanelRemembersTheChosenFolderAndReportsItsFiles) {
    ordner.datei("home/Belege/eins.pdf", "x");
    ordner.datei("home/Belege/zwei.jpg", "x");
    ordner.datei("home/Belege/drei.txt", "x");
    oeffne();
    int const nummer = dienst.beginne("return await window.quillmateApp.ordnerWaehlen()");
    ASSERT_TRUE(bildschirm.warteAufFenster("Ordner mit Belegen auswählen"));
    ASSERT_TRUE(warteAufDialog());
    bildschirm.bild("ordnertafel");
    waehle(ordner.pfad("home/Belege"));
    auto const antwortDerTafel = dienst.ergebnis(nummer);
    EXPECT_EQ(antwortDerTafel["ordner"], "Belege");
    EXPECT_EQ(antwortDerTafel["anzahl"], 2);
    EXPECT_EQ(antwortDerTafel["grenze_erreicht"], false);
    EXPECT_EQ(antwortDerTafel["kennung"].get<std::string>().size(), 16U);
    ASSERT_TRUE(warteBisDialogWeg());
    auto const gemerkt = dienst.rufe("return await window.quillmateApp.gemerkteOrdner()");
    EXPECT_EQ(gemerkt["ordner"].size(), 1U);
    EXPECT_EQ(gemerkt["ordner"][0], antwortDerTafel);
    beende();
    oeffne();
    EXPECT_EQ(dienst.rufe("return await window.quillmateApp.gemerkteOrdner()"), gemerkt) << "after a restart";
    EXPECT_EQ(
        dienst.rufe(
            "return await window.quillmateApp.ordnerVergessen({kennung: '" +
            antwortDerTafel["kennung"].get<std::string>() + "'})"),
        (json{{"ordner", nullptr}}));
    EXPECT_EQ(
        dienst.rufe("return await window.quillmateApp.gemerkteOrdner()"), (json{{"ordner", json::array()}}));
}

TEST_F(Dialoge, WhereNothingIsChosenTheFolderPanelStaysAndTheHomeIsNotTaken) {
    oeffne();
    int const nummer = dienst.beginne("return await window.quillmateApp.ordnerWaehlen()");
    auto const tafel = bildschirm.warteAufFenster("Ordner mit Belegen auswählen");
    ASSERT_TRUE(tafel && warteAufDialog());
    // It gets its size on its way to the screen; the button is the header bar's last one.
    EXPECT_TRUE(wartenBis([&] {
        auto const jetzt = bildschirm.fensterMit("Ordner mit Belegen auswählen");
        if (!jetzt)
            return true;
        bildschirm.klicke({.x = jetzt->x + jetzt->breite - 120, .y = jetzt->y + 28});
        return programm->warteAufZeile("Ordnertafel: nichts gewählt", std::chrono::seconds{1});
    })) << "the button was not hit";
    EXPECT_GE(bildschirm.fensterMit("Ordner mit Belegen auswählen").value_or(XFenster{}).breite, 820)
        << "GTK makes it as small as its list";
    bildschirm.bild("ordnertafel_nichts_gewaehlt");
    EXPECT_TRUE(bildschirm.fensterMit("Ordner mit Belegen auswählen"));
    EXPECT_FALSE(dienst.fertig(nummer));
    bildschirm.taste("Escape");
    EXPECT_EQ(dienst.ergebnis(nummer), (json{{"abgebrochen", true}}));
}

TEST_F(Dialoge, ACancelledFolderPanelSaysSoAndRemembersNothing) {
    oeffne();
    for (int mal = 0; mal < 2; ++mal) {
        int const nummer = dienst.beginne("return await window.quillmateApp.ordnerWaehlen()");
        ASSERT_TRUE(warteAufDialog());
        bildschirm.taste("Escape");
        EXPECT_EQ(dienst.ergebnis(nummer), (json{{"abgebrochen", true}}));
        ASSERT_TRUE(warteBisDialogWeg());
    }
    EXPECT_EQ(dienst.rufe("return await window.quillmateApp.gemerkterOrdner()"), (json{{"ordner", nullptr}}));
}

} // namespace
} // namespace quillmate::fenster_echt
