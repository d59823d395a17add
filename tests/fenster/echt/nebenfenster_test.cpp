// Windows that pages ask for.
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>

namespace quillmate::fenster_echt {
namespace {

using werkzeug::wartenBis;

class Nebenfenster : public EchtesFenster {
protected:
    /// A button whose click runs a script: the engine opens windows only for people.
    void knopf(std::string const& skript) {
        dienst.inhalt("<p><button id=knopf onclick=\"" + skript + "\">auf</button>");
    }
    [[nodiscard]] std::size_t fensterzahl() const {
        auto const alle = bildschirm.fenster();
        return static_cast<std::size_t>(
            std::ranges::count_if(alle, [](auto const& fenster) { return fenster.titel == "Quillmate"; }));
    }
    [[nodiscard]] bool warteAufFensterzahl(std::size_t anzahl) const {
        return wartenBis([&] { return fensterzahl() == anzahl; });
    }
};

TEST_F(Nebenfenster, ALinkWithATargetToAForeignHostOpensTheBrowserAndNoWindow) {
    browserEinrichten();
    dienst.inhalt("<p><a id=link target=_blank href='https://fremd.example/neu'>neu</a>");
    oeffne();
    klicke("#link");
    EXPECT_TRUE(warteAufBrowser("https://fremd.example/neu"));
    EXPECT_EQ(fensterzahl(), 1U);
    EXPECT_EQ(imBrowser().size(), 1U);
}

TEST_F(Nebenfenster, AScriptsWindowForAForeignHostOpensTheBrowserAndIsNull) {
    browserEinrichten();
    knopf("window.offen = window.open('https://fremd.example/skript') === null");
    oeffne();
    klicke("#knopf");
    EXPECT_TRUE(warteAufBrowser("https://fremd.example/skript"));
    EXPECT_EQ(dienst.rufe("return window.offen"), true);
    EXPECT_EQ(fensterzahl(), 1U);
}

TEST_F(Nebenfenster, AWindowWithoutAnAddressIsAChildWindowThatFollowsTheSameRules) {
    browserEinrichten();
    knopf("window.neben = window.open('')");
    oeffne();
    klicke("#knopf");
    ASSERT_TRUE(warteAufFensterzahl(2));
    dienst.rufe("window.neben.location.href = '/seite/neben'");
    ASSERT_TRUE(dienst.warteAufDokument(1, "neben"));
    bildschirm.bild("nebenfenster");
    auto const vorher = programm->anzahlZeilen("Anmeldung ");
    dienst.rufe("setTimeout(() => location.href = '/auth/google/login')", "neben");
    EXPECT_TRUE(wartenBis([&] { return programm->anzahlZeilen("Anmeldung ") > vorher; }));
    EXPECT_TRUE(dienst.anfragenAn("/auth/google/login").empty());
}

TEST_F(Nebenfenster, WhatAScriptWritesIntoAnEmptyWindowIsSeen) {
    dienst.inhalt("<button id=knopf onclick=\"window.neben = window.open('')\">auf</button>");
    oeffne();
    klicke("#knopf");
    ASSERT_TRUE(warteAufFensterzahl(2));
    dienst.rufe("window.neben.document.write('<body style=\"background: #f00\">Seite')");
    auto const wo = bildschirm.fenster().back();
    EXPECT_TRUE(wartenBis(
        [&] { return bildschirm.farbe({.x = wo.x + wo.breite / 2, .y = wo.y + wo.hoehe / 2}) == 0xFF0000; }));
}

TEST_F(Nebenfenster, AClickedLinkInAChildWindowOpensTheBrowser) {
    browserEinrichten();
    dienst.inhalt("<button id=knopf onclick=\"window.neben = window.open('')\">auf</button>"
                  "<p style='margin-top:4em'><a id=link href='https://fremd.example/von-neben'>weg</a>");
    oeffne();
    klicke("#knopf");
    ASSERT_TRUE(warteAufFensterzahl(2));
    dienst.rufe("window.neben.location.href = '/seite/neben'");
    ASSERT_TRUE(dienst.warteAufDokument(1, "neben"));
    klicke("#link", "neben");
    EXPECT_TRUE(warteAufBrowser("https://fremd.example/von-neben"));
}

TEST_F(Nebenfenster, AScriptsWindowForAMailAddressIsAChildWindow) {
    browserEinrichten({"http", "https", "mailto"});
    knopf("window.open('mailto:hilfe@quillmate.example')");
    oeffne();
    klicke("#knopf");
    EXPECT_TRUE(warteAufFensterzahl(2));
    EXPECT_TRUE(imBrowser().empty());
}

TEST_F(Nebenfenster, AWindowThatNobodyClickedForIsNotOpened) {
    oeffne();
    EXPECT_EQ(
        dienst.rufe("return await new Promise(auf => setTimeout(() => auf(window.open('') === null), 3000))"),
        true);
    EXPECT_EQ(fensterzahl(), 1U);
}

TEST_F(Nebenfenster, ControlWClosesTheChildWindowAndNotTheMainOne) {
    knopf("window.neben = window.open('')");
    oeffne();
    auto const haupt = hauptfenster().nummer;
    klicke("#knopf");
    ASSERT_TRUE(warteAufFensterzahl(2));
    ASSERT_TRUE(
        wartenBis([&] { return bildschirm.tastaturBei() != haupt && bildschirm.tastaturBei() != 0; }));
    bildschirm.taste("ctrl+w");
    EXPECT_TRUE(warteAufFensterzahl(1));
    EXPECT_EQ(hauptfenster().nummer, haupt);
    EXPECT_EQ(dienst.rufe("return window.quillmateApp.fassung"), 3);
}

TEST_F(Nebenfenster, KeysPressedInAChildWindowActOnIt) {
    knopf("window.neben = window.open('')");
    oeffne();
    klicke("#knopf");
    ASSERT_TRUE(warteAufFensterzahl(2));
    dienst.rufe("window.neben.location.href = '/seite/neben'");
    ASSERT_TRUE(dienst.warteAufDokument(1, "neben"));
    auto const kind = bildschirm.fensterMit("Quillmate");
    ASSERT_TRUE(kind);
    bildschirm.tastaturAn(kind->nummer);
    bildschirm.taste("F5");
    EXPECT_TRUE(dienst.warteAufDokument(2, "neben"));
    bildschirm.taste("ctrl+r");
    EXPECT_TRUE(dienst.warteAufDokument(3, "neben"));
    dienst.rufe("setTimeout(() => location.href = '/seite/danach')", "neben");
    EXPECT_TRUE(dienst.warteAufDokument(1, "danach"));
    bildschirm.taste("alt+Left");
    EXPECT_TRUE(dienst.warteAufDokument(4, "neben"));
    bildschirm.taste("alt+Right");
    EXPECT_TRUE(dienst.warteAufDokument(2, "danach"));
    EXPECT_EQ(dienst.dokumente("haupt"), 1) << "the main window stayed as it was";
}

TEST_F(Nebenfenster, AFailedLoadOfAChildWindowIsToldInItAndNotInTheMainPage) {
    knopf("window.neben = window.open('')");
    oeffne();
    klicke("#knopf");
    ASSERT_TRUE(warteAufFensterzahl(2));
    dienst.rufe("window.neben.location.href = '/seite/neben'");
    ASSERT_TRUE(dienst.warteAufDokument(1, "neben"));
    dienst.antworte("/seite/kaputt", werkzeug::HttpAntwort{.ohneAntwort = true});
    dienst.rufe("setTimeout(() => location.href = '/seite/kaputt')", "neben");
    EXPECT_TRUE(programm->warteAufZeile("FEHLER "));
    bildschirm.bild("nebenfenster_fehler");
    EXPECT_EQ(dienst.rufe("return 1"), 1) << "the main page is still there";
}

TEST_F(Nebenfenster, ALoadThatBreaksOffAfterItsWindowHasClosedLeavesTheMainPageAlone) {
    knopf("window.neben = window.open('')");
    oeffne();
    klicke("#knopf");
    ASSERT_TRUE(warteAufFensterzahl(2));
    dienst.rufe("window.neben.location.href = '/seite/neben'");
    ASSERT_TRUE(dienst.warteAufDokument(1, "neben"));
    std::promise<void> los;
    auto const warten = los.get_future().share();
    std::atomic<bool> fertig{false};
    dienst.antworte("/seite/spaet", [&, warten](werkzeug::HttpAnfrage const&) {
        (void)warten.wait_for(std::chrono::seconds{30});
        fertig = true;
        return werkzeug::HttpAntwort{.ohneAntwort = true};
    });
    dienst.rufe("setTimeout(() => location.href = '/seite/spaet')", "neben");
    ASSERT_TRUE(wartenBis([&] { return dienst.anfragenAn("/seite/spaet").size() == 1; }));
    auto const kind = bildschirm.fensterMit("Quillmate");
    ASSERT_TRUE(kind);
    bildschirm.schliessen(kind->nummer);
    ASSERT_TRUE(warteAufFensterzahl(1));
    los.set_value();
    ASSERT_TRUE(wartenBis([&] { return fertig.load(); }));
    // Whatever comes of it has come once the main page has gone to and fro.
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(dienst.rufe("await fetch('/seite/neben'); return 1"), 1);
    EXPECT_EQ(programm->anzahlZeilen("FEHLER "), 0U);
    EXPECT_EQ(dienst.dokumente("haupt"), 1);
}

TEST_F(Nebenfenster, WithoutABrowserALinkToAForeignHostSaysSoAndShowsTheAddress) {
    dienst.inhalt("<p><a id=link href='https://fremd.example/neu'>neu</a>");
    oeffne();
    klicke("#link");
    ASSERT_TRUE(warteAufDialog());
    bildschirm.bild("kein_browser");
    bildschirm.taste("Tab");
    bildschirm.taste("Escape");
    EXPECT_TRUE(warteBisDialogWeg());
}

TEST_F(Nebenfenster, APageClosesTheWindowThatItOpened) {
    knopf("window.neben = window.open('')");
    oeffne();
    klicke("#knopf");
    ASSERT_TRUE(warteAufFensterzahl(2));
    dienst.rufe("window.neben.close()");
    EXPECT_TRUE(warteAufFensterzahl(1));
    tastaturAnHauptfenster();
    EXPECT_EQ(dienst.rufe("return window.quillmateApp.fassung"), 3);
}

TEST_F(Nebenfenster, ClosingTheMainWindowEndsTheProgramWhateverElseIsOpen) {
    knopf("window.neben = window.open('')");
    oeffne();
    klicke("#knopf");
    ASSERT_TRUE(warteAufFensterzahl(2));
    beende();
}

} // namespace
} // namespace quillmate::fenster_echt
