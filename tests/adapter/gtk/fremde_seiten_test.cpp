// What a view grants to strangers' pages: windows for a person's click, and nothing that fills the screen.
#include "echte_webansicht.h"
#include "werkzeug/bildschirm.h"

#include <cstdlib>
#include <string>
#include <string_view>

namespace quillmate::adapter::gtk {
namespace {

class FremdeSeiten : public EchteWebansicht {
protected:
    void SetUp() override {
        fremdeSeiten = true;
        mitschrift.fensterErlaubt = false;
    }
    void zeige(std::string const& rumpf) {
        seiten["/"] = html(
            "<title>Start</title><style>* { margin: 0; } #flaeche { position: fixed; inset: 0; "
            "width: 100%; height: 100%; }</style>" +
            rumpf);
        oeffnen();
        gtk_window_set_title(GTK_WINDOW(fenster), titel);
        laden("/");
        EXPECT_EQ(
            wert("(await new Promise(a => requestAnimationFrame(() => requestAnimationFrame(a))), 1)"), "1");
    }
    /// A person's click into the middle of the page, which has it when this returns.
    void klicke() {
        std::optional<fenster_echt::XFenster> wo;
        ASSERT_TRUE(drehenBis([&] { return (wo = bildschirm.fensterMit(titel)).has_value(); }));
        bildschirm.klicke({.x = wo->x + wo->breite / 2, .y = wo->y + wo->hoehe / 2});
        ASSERT_TRUE(drehenBis([&] { return wert("window.geklickt || 0") != "0"; }));
    }
    [[nodiscard]] bool fragtNachFenstern(std::size_t anzahl) {
        return drehenBis([&] { return mitschrift.fenster.size() >= anzahl; });
    }

    static constexpr char const* titel = "Fremde Seite";
    fenster_echt::Bildschirm bildschirm{std::getenv("DISPLAY")};
};

TEST_F(FremdeSeiten, AWindowTwoSecondsAfterTheClickIsStillThePersons) {
    zeige(
        "<button id=flaeche onclick=\"geklickt = 1; setTimeout(() => window.open('/x'), 2000)\">x</button>");
    klicke();
    ASSERT_TRUE(fragtNachFenstern(1));
    EXPECT_TRUE(mitschrift.gewaehrt[0]);
}

TEST_F(FremdeSeiten, AWindowMoreThanFiveSecondsAfterTheClickIsThePages) {
    zeige(
        "<button id=flaeche onclick=\"geklickt = 1; setTimeout(() => window.open('/x'), 6000)\">x</button>");
    klicke();
    ASSERT_TRUE(fragtNachFenstern(1));
    EXPECT_FALSE(mitschrift.gewaehrt[0]);
}

TEST_F(FremdeSeiten, OneClickOpensOneWindow) {
    zeige("<button id=flaeche onclick=\"geklickt = 1; for (let i = 0; i < 5; ++i) window.open('/' + "
          "i)\">x</button>");
    klicke();
    ASSERT_TRUE(fragtNachFenstern(5));
    EXPECT_TRUE(mitschrift.gewaehrt[0]);
    for (std::size_t i = 1; i < 5; ++i)
        EXPECT_FALSE(mitschrift.gewaehrt[i]) << i;
}

TEST_F(FremdeSeiten, AWindowWithoutAnyClickIsThePages) {
    zeige("<script>setTimeout(() => window.open('/x'), 100)</script>");
    ASSERT_TRUE(fragtNachFenstern(1));
    EXPECT_FALSE(mitschrift.gewaehrt[0]);
}

TEST_F(FremdeSeiten, AFormForANewWindowIsSentFromTheSameViewWithItsBodyAndReferrer) {
    seiten["/rechnung"] = html("<title>Rechnung</title>");
    mitschrift.beimFenster = [](ports::Webansicht& ansicht) {
        EXPECT_TRUE(ansicht.anfrageUebernehmen());
    };
    zeige("<form method=post action='/rechnung' target=_blank><input type=hidden name=nummer value='47 11'>"
          "<button id=flaeche onclick='geklickt = 1'>x</button></form>");
    klicke();
    ASSERT_TRUE(drehenBis([&] { return mitschrift.zuletzt.ends_with("/rechnung"); }));
    std::vector<HttpAnfrage> gesendet;
    for (auto const& anfrage : dienst.anfragen())
        if (anfrage.pfad == "/rechnung")
            gesendet.push_back(anfrage);
    ASSERT_EQ(gesendet.size(), 1U);
    EXPECT_EQ(gesendet[0].methode, "POST");
    EXPECT_EQ(gesendet[0].koerper, "nummer=47+11");
    EXPECT_TRUE(gesendet[0].koepfe.at("referer").starts_with(dienst.adresse()));
}

TEST_F(FremdeSeiten, NoPageFillsTheScreen) {
    zeige("<button id=flaeche onclick=\"geklickt = 1; document.body.requestFullscreen?.()\">x</button>");
    klicke();
    EXPECT_EQ(wert("Boolean(document.fullscreenEnabled)"), "false");
    EXPECT_EQ(wert("Boolean(document.fullscreenElement)"), "false");
    EXPECT_FALSE(gtk_window_is_fullscreen(GTK_WINDOW(fenster)));
}

TEST_F(FremdeSeiten, APageThatWantsToStayIsLeft) {
    seiten["/danach"] = html("<title>Danach</title>");
    zeige("<button id=flaeche onclick='geklickt = 1'>x</button>"
          "<script>onbeforeunload = e => { e.preventDefault(); e.returnValue = 'x'; return 'x'; }</script>");
    klicke();
    laden("/danach");
    EXPECT_TRUE(mitschrift.zuletzt.ends_with("/danach"));
}

TEST_F(FremdeSeiten, APortThatTheEngineBlocksIsAFailedLoad) {
    zeige("");
    web->laden("http://127.0.0.1:25/", std::chrono::seconds{60});
    ASSERT_TRUE(drehenBis([&] { return !mitschrift.fehlschlaege.empty(); }));
    EXPECT_FALSE(mitschrift.fehlschlaege[0].abgebrochen);
    EXPECT_EQ(mitschrift.fehlschlaege[0].adresse, "http://127.0.0.1:25/");
    EXPECT_EQ(mitschrift.fehlschlaege[0].beschreibung, "Der Port in der Adresse ist für Webseiten gesperrt.");
}

TEST_F(FremdeSeiten, APageOverPlainHttpIsNotSecured) {
    zeige("");
    EXPECT_FALSE(web->gesichert());
}

} // namespace
} // namespace quillmate::adapter::gtk
