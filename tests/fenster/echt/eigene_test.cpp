// The rules for the product's own hosts. Requests for them go to the test's service as a proxy, so that they can be
// told from foreign ones without any network.
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

namespace quillmate::fenster_echt {
namespace {

using werkzeug::HttpAntwort;
using werkzeug::wartenBis;

class EigeneSeiten : public EchtesFenster {
protected:
    void oeffneEigene(std::string const& html) {
        browserEinrichten({"http", "https"});
        dienst.inhalt(html);
        oeffne(
            {{"http_proxy", dienst.adresse()},
             {"no_proxy", ""},
             {"QUILLMATE_URL", "http://quillmate.example/uebersicht"}});
    }
    /// The page that an own address shows.
    void seite(std::string const& pfad, std::string const& name) { dienst.alsSeite(pfad, name); }
};

TEST_F(EigeneSeiten, AClickedLinkToAnOwnPageStaysInTheWindowWithAnySlashAtItsEnd) {
    seite("/belege/", "belege");
    oeffneEigene("<p><a id=link href='/belege/'>Belege</a>");
    klicke("#link");
    EXPECT_TRUE(dienst.warteAufDokument(1, "belege"));
    EXPECT_TRUE(imBrowser().empty());
}

TEST_F(EigeneSeiten, AClickedLinkToAnotherPathOfAnOwnHostOpensTheBrowser) {
    oeffneEigene("<p><a id=link href='/datenschutz'>Datenschutz</a>");
    klicke("#link");
    EXPECT_TRUE(warteAufBrowser("http://quillmate.example/datenschutz"));
    EXPECT_TRUE(dienst.anfragenAn("/datenschutz").empty());
}

TEST_F(EigeneSeiten, TheRootIsOwnOnlyWithClientAndToken) {
    seite("/", "wurzel");
    oeffneEigene("<p><a id=ohne href='/'>ohne</a> <a id=leer href='/?client=5&token='>leer</a> "
                 "<a id=mit href='/?x=1&token=t&client=5'>mit</a>");
    klicke("#ohne");
    EXPECT_TRUE(warteAufBrowser("http://quillmate.example/"));
    klicke("#leer");
    EXPECT_TRUE(warteAufBrowser("http://quillmate.example/?client=5&token="));
    EXPECT_EQ(dienst.dokumente("wurzel"), 0);
    klicke("#mit");
    EXPECT_TRUE(dienst.warteAufDokument(1, "wurzel"));
}

TEST_F(EigeneSeiten, ALinkWithATargetToAnOwnPageIsAChildWindowWithThatPage) {
    seite("/rechnung", "rechnung");
    seite("/belege", "belege");
    oeffneEigene("<p><a id=link target=_blank href='/belege'>neu</a>");
    klicke("#link");
    EXPECT_TRUE(dienst.warteAufDokument(1, "belege"));
    EXPECT_TRUE(wartenBis([&] { return bildschirm.fenster().size() == 2; }));
    EXPECT_TRUE(imBrowser().empty());
}

TEST_F(EigeneSeiten, AScriptsWindowForAnotherPathOfAnOwnHostIsAChildWindow) {
    seite("/agb", "agb");
    oeffneEigene("<p><button id=knopf onclick=\"window.open('/agb')\">AGB</button>");
    klicke("#knopf");
    EXPECT_TRUE(dienst.warteAufDokument(1, "agb"));
    EXPECT_TRUE(wartenBis([&] { return bildschirm.fenster().size() == 2; }));
    EXPECT_TRUE(imBrowser().empty());
}

TEST_F(EigeneSeiten, TheBridgeObeysAllPagesOfTheStartPagesHostAndNoOwnHostOverPlainHttp) {
    seite("/agb", "agb");
    seite("/impressum", "impressum");
    oeffneEigene("");
    dienst.rufe("setTimeout(() => location.href = 'http://quillmate.example/agb')");
    ASSERT_TRUE(dienst.warteAufDokument(1, "agb"));
    EXPECT_TRUE(dienst.rufe("return await window.quillmateApp.suchStand()", "agb").contains("laeuft"));
    dienst.rufe("setTimeout(() => location.href = 'http://www.quillmate.example/impressum')", "agb");
    ASSERT_TRUE(dienst.warteAufDokument(1, "impressum"));
    dienst.rufe("window.quillmateApp.suchStand();", "impressum");
    EXPECT_TRUE(programm->warteAufZeile(
        "Bruecke: Nachrichten von http://www.quillmate.example werden nicht beachtet"));
}

} // namespace
} // namespace quillmate::fenster_echt
