// Menus and keys, with the keyboard in the page.
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

namespace quillmate::fenster_echt {
namespace {

using werkzeug::wartenBis;

class Tasten : public EchtesFenster {
protected:
    /// An open menu: a window that no window manager would touch.
    [[nodiscard]] bool menueOffen() const {
        auto const alle = bildschirm.fenster();
        return std::ranges::any_of(alle, [](auto const& fenster) { return fenster.aufgeklappt; });
    }
    /// The engine carries out commands at once, but clicks one after the other: wait for the click.
    void inDasFeld() {
        klicke("#feld");
        EXPECT_TRUE(wartenBis([&] { return dienst.rufe("return document.activeElement.id") == "feld"; }));
    }
    /// Opens the menu bar with the pointer out of the way: an entry that comes to lie under it would be the chosen one.
    [[nodiscard]] bool oeffneMenue() {
        bildschirm.bewege({.x = 1599, .y = 1199});
        bildschirm.taste("F10");
        return wartenBis([&] { return menueOffen(); });
    }
    [[nodiscard]] std::string feld() { return dienst.rufe("return document.getElementById('feld').value"); }
    [[nodiscard]] bool feldWird(std::string const& text) {
        return wartenBis([&] { return feld() == text; });
    }
};

TEST_F(Tasten, ControlRReloadsWhileThePageHasTheKeyboard) {
    dienst.inhalt("<input id=feld autofocus>");
    oeffne();
    inDasFeld();
    bildschirm.taste("ctrl+r");
    EXPECT_TRUE(dienst.warteAufDokument(2));
}

TEST_F(Tasten, ReloadingWhileTheFirstPageIsOnItsWayLoadsItAnew) {
    std::atomic<int> anfragen{0};
    dienst.antworte("/uebersicht", [&](werkzeug::HttpAnfrage const&) {
        ++anfragen;
        return werkzeug::HttpAntwort{.haengen = true};
    });
    programm = starte();
    ASSERT_TRUE(bildschirm.warteAufFenster("Quillmate"));
    tastaturAnHauptfenster();
    ASSERT_TRUE(wartenBis([&] { return anfragen == 1; }));
    dienst.vergiss("/uebersicht");
    bildschirm.taste("F5");
    EXPECT_TRUE(dienst.warteAufDokument(1));
}

TEST_F(Tasten, EditingCommandsReachThePagesField) {
    dienst.inhalt("<p><input id=feld value=abc>");
    oeffne();
    inDasFeld();
    bildschirm.taste("ctrl+a");
    bildschirm.taste("ctrl+c");
    EXPECT_TRUE(wartenBis([&] { return bildschirm.zwischenablage() == "abc"; }));
    bildschirm.taste("ctrl+x");
    EXPECT_TRUE(feldWird(""));
    bildschirm.taste("ctrl+v");
    bildschirm.taste("ctrl+v");
    EXPECT_TRUE(feldWird("abcabc"));
    bildschirm.taste("ctrl+z");
    EXPECT_TRUE(feldWird("abc"));
    bildschirm.taste("ctrl+shift+z");
    EXPECT_TRUE(feldWird("abcabc"));
    bildschirm.tippe("!");
    EXPECT_TRUE(feldWird("abcabc!"));
}

TEST_F(Tasten, ControlPlusMinusAndZeroChangeThePagesSize) {
    oeffne();
    auto const breite = [&] {
        return dienst.rufe("return innerWidth").get<int>();
    };
    int const anfangs = breite();
    bildschirm.taste("ctrl+plus");
    EXPECT_TRUE(wartenBis([&] { return breite() < anfangs; })) << "fewer of the page's pixels fit";
    bildschirm.taste("ctrl+0");
    EXPECT_TRUE(wartenBis([&] { return breite() == anfangs; }));
    bildschirm.taste("ctrl+minus");
    EXPECT_TRUE(wartenBis([&] { return breite() > anfangs; }));
    bildschirm.taste("ctrl+0");
    EXPECT_TRUE(wartenBis([&] { return breite() == anfangs; }));
}

TEST_F(Tasten, F10OpensTheMenuBarAndArrowsAndReturnUseIt) {
    dienst.inhalt("<input id=feld>");
    oeffne();
    inDasFeld();
    ASSERT_TRUE(oeffneMenue());
    bildschirm.bild("menue_quillmate");
    bildschirm.taste("Right");
    bildschirm.bild("menue_ablage");
    bildschirm.taste("Right");
    bildschirm.bild("menue_bearbeiten");
    bildschirm.taste("Left");
    bildschirm.taste("Return"); // The first entry, "Neu laden", is chosen already.
    EXPECT_TRUE(dienst.warteAufDokument(2));
    EXPECT_TRUE(wartenBis([&] { return !menueOffen(); }));
}

TEST_F(Tasten, EscapeLeavesTheMenuBarAndThePageHasTheKeyboardAgain) {
    dienst.inhalt("<p><input id=feld>");
    oeffne();
    inDasFeld();
    bildschirm.taste("F10"); // The pointer stays where the menu opens.
    ASSERT_TRUE(wartenBis([&] { return menueOffen(); }));
    bildschirm.taste("Escape");
    ASSERT_TRUE(wartenBis([&] { return !menueOffen(); }));
    EXPECT_TRUE(wartenBis([&] {
        bildschirm.tippe("x");
        return feld().find('x') != std::string::npos;
    }));
}

TEST_F(Tasten, ThePointerOverTheMenuBarLeavesTheKeyboardInThePage) {
    dienst.inhalt("<i id=ecke style='position: fixed; left: 0; top: 0; width: 2px; height: "
                  "2px'></i><p><input id=feld>");
    oeffne();
    auto const ecke = mitteVon("#ecke");
    inDasFeld();
    std::string erwartet;
    for (int const rechts : {40, 90, 140, 190, 90, 40}) {
        bildschirm.bewege({.x = ecke.x + rechts, .y = ecke.y - 24});
        bildschirm.tippe("x");
        erwartet += "x";
        ASSERT_TRUE(feldWird(erwartet)) << rechts;
    }
}

TEST_F(Tasten, TheAboutDialogTellsVersionLicenceAndCredits) {
    oeffne();
    ASSERT_TRUE(oeffneMenue());
    bildschirm.taste("Return"); // the first entry
    auto const dialog = warteAufDialog();
    ASSERT_TRUE(dialog);
    bildschirm.bild("ueber");
    bildschirm.taste("Escape");
    EXPECT_TRUE(warteBisDialogWeg());
}

TEST_F(Tasten, LookingForUpdatesWorksWhileThePageHasTheKeyboard) {
    dienst.inhalt("<input id=feld>");
    oeffne();
    inDasFeld();
    ASSERT_TRUE(oeffneMenue());
    bildschirm.taste("Down"); // The first entry is chosen already.
    bildschirm.taste("Return");
    // A build that nobody has released knows no place for updates, and says so.
    auto const meldung = warteAufDialog();
    ASSERT_TRUE(meldung);
    bildschirm.bild("updates");
    EXPECT_EQ(meldung->titel, "Quillmate aktualisieren");
    bildschirm.taste("Escape");
    EXPECT_TRUE(warteBisDialogWeg());
}

TEST_F(Tasten, ControlQEndsTheProgram) {
    oeffne();
    bildschirm.taste("ctrl+q");
    EXPECT_EQ(programm->warteAufEnde(), 0);
}

TEST_F(Tasten, ControlWOnTheMainWindowEndsTheProgram) {
    oeffne();
    bildschirm.taste("ctrl+w");
    EXPECT_EQ(programm->warteAufEnde(), 0);
}

TEST_F(Tasten, ThePageIsPrintedIntoAFileAmongTheUsersDocuments) {
    ordner.datei("home/.config/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"$HOME/Documents\"\n");
    oeffne();
    auto const gedruckt = [&] {
        std::vector<std::string> dateien;
        for (auto const& eintrag : std::filesystem::directory_iterator{ordner.pfad("home/Documents")})
            if (eintrag.path().extension() == ".pdf")
                dateien.push_back(eintrag.path().string());
        return dateien;
    };
    bildschirm.taste("ctrl+p");
    ASSERT_TRUE(wartenBis([&] { return bildschirm.fenster().size() == 2; }));
    auto const dialog = bildschirm.fenster().back();
    bildschirm.tastaturAn(dialog.nummer);
    // The only printer, "In Datei drucken", is found after the dialog is there. The button waits for it to be chosen.
    EXPECT_TRUE(wartenBis([&] {
        bildschirm.klicke({.x = dialog.x + 100, .y = dialog.y + 95});
        bildschirm.klicke({.x = dialog.x + dialog.breite - 55, .y = dialog.y + dialog.hoehe - 24});
        return wartenBis([&] { return bildschirm.fenster().size() == 1; }, std::chrono::seconds{1});
    }));
    ASSERT_TRUE(wartenBis([&] { return gedruckt().size() == 1; }));
    EXPECT_TRUE(wartenBis([&] { return werkzeug::inhaltVon(gedruckt().front()).ends_with("%%EOF\n"); }));
    EXPECT_EQ(programm->anzahlZeilen("Drucken fehlgeschlagen"), 0U);
}

TEST_F(Tasten, ControlPOpensThePrintDialog) {
    oeffne();
    bildschirm.taste("ctrl+p");
    // Its title differs between versions of GTK; it is the only other window.
    ASSERT_TRUE(wartenBis([&] { return bildschirm.fenster().size() == 2; }));
    bildschirm.bild("drucken");
    bildschirm.tastaturAn(bildschirm.fenster().back().nummer);
    bildschirm.taste("Escape");
    EXPECT_TRUE(warteBisDialogWeg());
}

TEST_F(Tasten, ControlFFindsInThePageAndEscapeGivesTheKeyboardBack) {
    oeffne();
    dienst.rufe("document.body.innerHTML = '<p>Rechnung eins</p><p>rechnung zwei</p><input id=feld>'; "
                "document.getElementById('feld').focus();");
    auto const hoehe = [&] {
        return dienst.rufe("return innerHeight").get<int>();
    };
    auto const vorher = hoehe();
    bildschirm.taste("ctrl+f");
    ASSERT_TRUE(wartenBis([&] { return hoehe() < vorher; })) << "no bar has come";
    bildschirm.tippe("rechnung");
    bildschirm.taste("Return");
    bildschirm.bild("suchzeile");
    EXPECT_EQ(dienst.rufe("return document.getElementById('feld').value"), "") << "typed into the page";
    bildschirm.taste("Escape");
    EXPECT_TRUE(wartenBis([&] { return hoehe() == vorher; }));
    EXPECT_TRUE(wartenBis([&] { return dienst.rufe("return document.hasFocus()") == true; }));
    // What was found last is the selection.
    EXPECT_EQ(dienst.rufe("return getSelection().toString().toLowerCase()"), "rechnung");
}

TEST_F(Tasten, TheSizeOfPagesIsKeptForTheNextStart) {
    oeffne();
    auto const breite = [&] {
        return dienst.rufe("return innerWidth").get<int>();
    };
    auto const vorher = breite();
    bildschirm.taste("ctrl+plus");
    EXPECT_TRUE(wartenBis([&] { return breite() < vorher; }));
    bildschirm.taste("ctrl+plus");
    EXPECT_TRUE(wartenBis([&] { return breite() < vorher * 9 / 10; }));
    auto const groesser = breite();
    beende();
    oeffne();
    EXPECT_TRUE(wartenBis([&] { return breite() == groesser; })) << breite();
    bildschirm.taste("ctrl+0");
    EXPECT_TRUE(wartenBis([&] { return breite() == vorher; }));
}

TEST_F(Tasten, F1ListsTheKeys) {
    oeffne();
    bildschirm.taste("F1");
    EXPECT_TRUE(bildschirm.warteAufFenster("Tasten"));
    bildschirm.bild("tastenfenster");
}

} // namespace
} // namespace quillmate::fenster_echt
