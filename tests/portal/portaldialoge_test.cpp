// What a portal's page asks the person in front of it.
#include "portalprobe.h"

namespace quillmate::portalprobe {
namespace {

class Portalfragen : public PortalFensterTest {
protected:
    Portalfragen() {
        oeffnen();
        portal->zeigen();
        zeigt("https://portal.example/a");
    }
    void meldet(std::string const& text) {
        empfaenger().hinweis(web(), text, [this] { ++fertig; });
    }
    int fertig{0};
};

TEST_F(Portalfragen, AlertConfirmAndPromptNameTheShownPagesHostAndStandOnThePortal) {
    meldet("Bitte warten.");
    bool ja = false;
    empfaenger().bestaetigung(web(), "Wirklich?", [&](bool wert) { ja = wert; });
    std::optional<std::string> name;
    empfaenger().eingabe(web(), "Name?", "Max", [&](std::optional<std::string> text) { name = text; });
    ASSERT_EQ(dialoge.gefragt.size(), 3U);
    EXPECT_EQ(dialoge.gefragt[0].frage.meldung, "Das Portal portal.example meldet:");
    EXPECT_EQ(dialoge.gefragt[0].frage.erklaerung, "Bitte warten.");
    EXPECT_EQ(dialoge.gefragt[0].frage.knoepfe, Texte{"OK"});
    EXPECT_EQ(dialoge.gefragt[1].frage.meldung, "Das Portal portal.example fragt:");
    EXPECT_EQ(dialoge.gefragt[1].frage.knoepfe, (Texte{"OK", "Abbrechen"}));
    EXPECT_EQ(dialoge.gefragt[2].vorgabe, "Max");
    for (auto const& gefragt : dialoge.gefragt)
        EXPECT_EQ(gefragt.fenster, &fenster());
    dialoge.gefragt[0].antwort({.knopf = 0});
    EXPECT_EQ(fertig, 1);
    dialoge.gefragt[1].antwort({.knopf = 0});
    EXPECT_TRUE(ja);
    dialoge.gefragt[2].eingabe("Moritz");
    EXPECT_EQ(name, "Moritz");
}

TEST_F(Portalfragen, WhileAnotherPageLoadsTheQuestionIsStillTheShownPages) {
    web().setzeAdresse("https://bank.example/");
    empfaenger().begonnen(web());
    meldet("Dein Kennwort ist falsch.");
    EXPECT_EQ(dialoge.gefragt.at(0).frage.meldung, "Das Portal portal.example meldet:");
}

TEST_F(Portalfragen, AlertsWithoutEndAreLeftWithOneClick) {
    meldet("1");
    EXPECT_FALSE(dialoge.gefragt.at(0).frage.zusatz);
    dialoge.gefragt[0].antwort({.knopf = 0});
    meldet("2");
    auto const& zweite = dialoge.gefragt.at(1);
    ASSERT_TRUE(zweite.frage.zusatz);
    EXPECT_EQ(zweite.frage.zusatz->titel, "Portal schließen");
    zweite.antwort({.knopf = 0});
    zweite.frage.zusatz->gedrueckt();
    EXPECT_FALSE(portal->sichtbar());
    EXPECT_EQ(ereignisse.back(), ereignis("geschlossen", "Portal geschlossen"));
    meldet("3");
    EXPECT_EQ(dialoge.gefragt.size(), 2U) << "nobody is asked any more";
    EXPECT_EQ(fertig, 3) << "and the page does not wait";
}

TEST_F(Portalfragen, AnotherPagesFirstQuestionIsItsFirst) {
    meldet("1");
    zeigt("https://portal.example/b");
    meldet("2");
    EXPECT_FALSE(dialoge.gefragt.at(1).frage.zusatz);
}

TEST_F(Portalfragen, TextsAreBounded) {
    meldet(std::string(100'000, 'x'));
    EXPECT_EQ(dialoge.gefragt.at(0).frage.erklaerung, std::string(4000, 'x') + "…");
}

TEST_F(Portalfragen, AFileInputGetsAPanelOverThePortal) {
    std::optional<std::vector<std::string>> pfade;
    empfaenger().dateienWaehlen(
        web(), {.mehrere = true, .mimetypen = {"application/pdf"}},
        [&](std::optional<std::vector<std::string>> gewaehlte) { pfade = std::move(gewaehlte); });
    ASSERT_EQ(dialoge.dateifragen.size(), 1U);
    EXPECT_EQ(dialoge.dateifragen[0].wahl.ueber, &fenster());
    EXPECT_TRUE(dialoge.dateifragen[0].wahl.mehrere);
    EXPECT_EQ(dialoge.dateifragen[0].wahl.mimetypen, Texte{"application/pdf"});
    dialoge.dateifragen[0].antwort(Texte{"/a.pdf"});
    EXPECT_EQ(pfade, Texte{"/a.pdf"});
}

TEST_F(Portalfragen, AfterClosingEveryQuestionIsAnsweredNo) {
    fenster().schliessen();
    bool ja = true;
    empfaenger().bestaetigung(web(), "?", [&](bool wert) { ja = wert; });
    EXPECT_FALSE(ja);
    std::optional<std::string> text{"x"};
    empfaenger().eingabe(web(), "?", "", [&](std::optional<std::string> wert) { text = wert; });
    EXPECT_EQ(text, std::nullopt);
    EXPECT_TRUE(dialoge.gefragt.empty());
}

TEST_F(Portalfragen, OnAPageOfOursThereIsNothingToCapture) {
    empfaenger().fehlgeschlagen(web(), {.bereich = "netz", .nummer = 3, .beschreibung = "Kein Netz."});
    web().gesicherteSeiten = false;
    zeigt("https://portal.example/a");
    leisten.angaben.gedrueckt();
    EXPECT_EQ(ereignisse, Texte{ereignis("fehler", "Im Portal ist noch keine Seite geöffnet.")});
}

} // namespace
} // namespace quillmate::portalprobe
