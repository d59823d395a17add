// Where navigations of the main window may go. The test's service is on no host of the product's own, so of the rules
// for own pages only their "no" is seen here; fenster/ has the others.
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

namespace quillmate::fenster_echt {
namespace {

using werkzeug::HttpAntwort;
using werkzeug::wartenBis;

class Navigationen : public EchtesFenster {
protected:
    /// A second service under another name: another host for the program.
    [[nodiscard]] std::string fremdeSeite(std::string const& name) const {
        auto adresse = fremd.adresse("/seite/" + name);
        return adresse.replace(adresse.find("127.0.0.1"), 9, "localhost");
    }

    Seitendienst fremd;
};

TEST_F(Navigationen, AClickedLinkToAForeignHostOpensTheBrowserAndLeavesThePage) {
    browserEinrichten();
    dienst.inhalt("<p><a id=link href='https://fremd.example/seite?a=1#b'>weg</a>");
    oeffne();
    klicke("#link");
    EXPECT_TRUE(warteAufBrowser("https://fremd.example/seite?a=1#b"));
    EXPECT_EQ(dienst.rufe("return location.pathname"), "/uebersicht");
    EXPECT_EQ(dienst.dokumente(), 1);
    EXPECT_EQ(imBrowser().size(), 1U);
}

TEST_F(Navigationen, AClickedLinkToAnAddressThatIsNoOwnPageOpensTheBrowserEvenOnTheServiceItself) {
    browserEinrichten();
    dienst.inhalt("<p><a id=link href='/seite/andere'>weg</a>");
    oeffne();
    klicke("#link");
    EXPECT_TRUE(warteAufBrowser(dienst.adresse("/seite/andere")));
    EXPECT_EQ(dienst.dokumente("andere"), 0);
}

TEST_F(Navigationen, AClickedLinkToAMailAddressOpensTheMailProgram) {
    browserEinrichten({"mailto"});
    dienst.inhalt("<p><a id=link href='mailto:hilfe@quillmate.example'>Hilfe</a>");
    oeffne();
    klicke("#link");
    EXPECT_TRUE(warteAufBrowser("mailto:hilfe@quillmate.example"));
    EXPECT_EQ(dienst.rufe("return location.pathname"), "/uebersicht");
    EXPECT_EQ(programm->anzahlZeilen("FEHLER"), 0U);
}

TEST_F(Navigationen, AScriptsNavigationToAForeignHostStaysInTheWindow) {
    browserEinrichten();
    oeffne();
    dienst.rufe("setTimeout(() => location.href = '" + fremdeSeite("bezahlen") + "')");
    EXPECT_TRUE(fremd.warteAufDokument(1, "bezahlen"));
    EXPECT_EQ(fremd.rufe("return location.hostname", "bezahlen"), "localhost");
    EXPECT_TRUE(programm->warteAufZeile("geladen: " + fremdeSeite("bezahlen")));
    EXPECT_TRUE(imBrowser().empty());
}

TEST_F(Navigationen, AFormToAForeignHostStaysInTheWindow) {
    browserEinrichten();
    dienst.inhalt(
        "<form method=post action='" + fremdeSeite("formular") + "'><button id=ab>ab</button></form>");
    oeffne();
    klicke("#ab");
    EXPECT_TRUE(fremd.warteAufDokument(1, "formular"));
    EXPECT_EQ(fremd.anfragenAn("/seite/formular").at(0).methode, "POST");
    EXPECT_TRUE(imBrowser().empty());
}

TEST_F(Navigationen, ARedirectToAForeignHostStaysInTheWindow) {
    browserEinrichten();
    dienst.antworte("/weiter", {.status = 302, .weitererKopf = "Location: " + fremdeSeite("ziel") + "\r\n"});
    oeffne();
    dienst.rufe("setTimeout(() => location.href = '/weiter')");
    EXPECT_TRUE(fremd.warteAufDokument(1, "ziel"));
    EXPECT_TRUE(imBrowser().empty());
}

TEST_F(Navigationen, TheSignInAddressNeverLoadsWhateverLeadsThere) {
    constexpr char const* pfad = "/auth/google/login";
    dienst.antworte("/weiter", {.status = 302, .weitererKopf = "Location: /auth/google/login\r\n"});
    dienst.inhalt("<p><a id=link href='/auth/google/login?x=1'>anmelden</a>");
    browserEinrichten();
    oeffne();
    std::size_t versuche = 0;
    auto const abgewiesen = [&] {
        ++versuche;
        bool const begonnen =
            wartenBis([&] { return programm->anzahlZeilen("Anmeldung startet") >= versuche; }) &&
            warteAufDialog().has_value();
        bildschirm.taste("Escape"); // The sheet that waits for the browser.
        return warteBisDialogWeg() && begonnen;
    };
    klicke("#link");
    EXPECT_TRUE(abgewiesen()) << "clicked";
    dienst.rufe("setTimeout(() => location.href = '/auth/google/login')");
    EXPECT_TRUE(abgewiesen()) << "script";
    dienst.rufe("setTimeout(() => location.href = '" + fremd.adresse(pfad) + "')");
    ASSERT_TRUE(warteAufDialog()) << "another host";
    bildschirm.taste("Escape");
    EXPECT_TRUE(warteBisDialogWeg());
    dienst.rufe(
        "const f = document.createElement('form'); f.method = 'post'; f.action = '/auth/google/login';"
        "document.body.append(f); f.submit();");
    EXPECT_TRUE(abgewiesen()) << "form";
    dienst.rufe("setTimeout(() => location.href = '/weiter')");
    EXPECT_TRUE(abgewiesen()) << "redirect";
    EXPECT_TRUE(dienst.anfragenAn(pfad).empty());
    EXPECT_TRUE(fremd.anfragenAn(pfad).empty());
    EXPECT_EQ(dienst.rufe("return location.pathname"), "/uebersicht");
    EXPECT_EQ(programm->anzahlZeilen("FEHLER"), 0U) << "a cancelled navigation is silent";
}

TEST_F(Navigationen, BackAndForwardFollowTheHistoryAndDoNothingAtItsEnds) {
    oeffne();
    // A document speaks before the engine has put it into the history, and a key at that moment still means the last
    // one. Pressed once more it does no harm: there are only two.
    auto const druecke = [this](char const* taste, std::string const& seite) {
        int const bisher = dienst.dokumente(seite);
        auto const angekommen = [&] {
            return dienst.dokumente(seite) > bisher;
        };
        for (int mal = 0; mal < 5 && !angekommen(); ++mal) {
            bildschirm.taste(taste);
            (void)wartenBis(angekommen, std::chrono::seconds{5});
        }
        return angekommen();
    };
    bildschirm.taste("ctrl+bracketleft");
    bildschirm.taste("ctrl+bracketright");
    EXPECT_EQ(dienst.rufe("return location.pathname"), "/uebersicht");
    dienst.rufe("setTimeout(() => location.href = '/seite/zwei')");
    ASSERT_TRUE(dienst.warteAufDokument(1, "zwei"));
    EXPECT_TRUE(druecke("ctrl+bracketleft", "haupt"));
    EXPECT_TRUE(druecke("ctrl+bracketright", "zwei"));
    // The keys of browsers, too: a German keyboard has brackets only with AltGr.
    EXPECT_TRUE(druecke("alt+Left", "haupt"));
    EXPECT_TRUE(druecke("alt+Right", "zwei"));
    EXPECT_TRUE(druecke("F5", "zwei"));
    EXPECT_EQ(programm->anzahlZeilen("FEHLER"), 0U);
}

} // namespace
} // namespace quillmate::fenster_echt
