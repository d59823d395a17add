// What a view asks people in the name of servers and pages beyond alert and confirm: names and passwords, files of certain
// extensions, passkeys.
#include "echte_webansicht.h"
#include "werkzeug/bildschirm.h"

#include <cstdlib>

namespace quillmate::adapter::gtk {
namespace {

struct Gefragt final : ports::Webansicht::Empfaenger {
    void geladen(ports::Webansicht&) override { ++fertig; }
    void zugangErfragen(
        ports::Webansicht&, ports::Zugangsfrage const& frage,
        std::function<void(std::optional<ports::Zugangsdaten>)> antwort) override {
        zugaenge.push_back(frage);
        antwort(zugaenge.size() > antworten.size() ? std::nullopt : antworten[zugaenge.size() - 1]);
    }
    void dateienWaehlen(
        ports::Webansicht&, ports::Dateiwahl const& wahl,
        std::function<void(std::optional<std::vector<std::string>>)> antwort) override {
        wahlen.push_back(wahl);
        antwort(std::nullopt);
    }
    void passkeyGewuenscht(ports::Webansicht&) override { ++passkeys; }
    ports::Webansicht* neuesFenster(
        ports::Webansicht& web, ports::Fensteranfrage const& anfrage, VerwandteAnsicht const&) override {
        gewaehrt.push_back(web.gesteVerbrauchen(anfrage.geste));
        return nullptr;
    }

    int fertig{0};
    int passkeys{0};
    std::vector<bool> gewaehrt;
    std::vector<ports::Zugangsfrage> zugaenge;
    std::vector<std::optional<ports::Zugangsdaten>> antworten;
    std::vector<ports::Dateiwahl> wahlen;
};

class Zugaenge : public EchteWebansicht {
protected:
    void oeffne(std::string const& rumpf, bool fremd = true) {
        seiten["/"] = html(
            "<title>Start</title><style>#da { position: fixed; inset: 0; width: 100%; height: 100%; "
            "}</style>" +
            rumpf);
        web = std::make_unique<adapter::gtk::WebansichtGtk>(
            weblager().sitzungen, ports::Webansicht::Einrichtung{.fremdeSeiten = fremd}, gefragt);
        fenster = gtk_window_new();
        gtk_window_set_title(GTK_WINDOW(fenster), "Zugangsprobe");
        gtk_window_set_default_size(GTK_WINDOW(fenster), 600, 400);
        gtk_window_set_child(GTK_WINDOW(fenster), web->widget());
        gtk_window_present(GTK_WINDOW(fenster));
        lade("/");
    }
    void lade(std::string const& pfad) {
        int const vorher = gefragt.fertig;
        web->laden(dienst.adresse() + pfad, std::chrono::seconds{60});
        ASSERT_TRUE(drehenBis([&] { return gefragt.fertig > vorher; }));
        EXPECT_EQ(
            wert("(await new Promise(a => requestAnimationFrame(() => requestAnimationFrame(a))), 1)"), "1");
    }
    void klicke() {
        std::optional<fenster_echt::XFenster> wo;
        ASSERT_TRUE(drehenBis([&] { return (wo = bildschirm.fensterMit("Zugangsprobe")).has_value(); }));
        bildschirm.klicke({.x = wo->x + wo->breite / 2, .y = wo->y + wo->hoehe / 2});
    }
    Gefragt gefragt;
    fenster_echt::Bildschirm bildschirm{std::getenv("DISPLAY")};
};

TEST_F(Zugaenge, ANameAndAPasswordAreAskedForAndAskedAgainWhenTheyWereWrong) {
    seiten["/innen"] = html("<title>Innen</title>");
    int gefragteAnfragen = 0;
    beantworten = [&](HttpAnfrage const& anfrage) -> std::optional<HttpAntwort> {
        if (anfrage.pfad != "/innen")
            return std::nullopt;
        ++gefragteAnfragen;
        auto const kopf = anfrage.koepfe.find("authorization");
        if (kopf != anfrage.koepfe.end() && kopf->second == "Basic aWNoOnJpY2h0aWc=") // ich:richtig
            return std::nullopt;
        return HttpAntwort{
            .status = 401,
            .koerper = "nein",
            .inhaltstyp = "text/plain",
            .weitererKopf = "WWW-Authenticate: Basic realm=\"Kunden\"\r\n"};
    };
    gefragt.antworten = {
        ports::Zugangsdaten{.name = "ich", .kennwort = "falsch"},
        ports::Zugangsdaten{.name = "ich", .kennwort = "richtig"}};
    oeffne("<p>Start");
    lade("/innen");
    EXPECT_EQ(wert("document.title"), "Innen");
    ASSERT_EQ(gefragt.zugaenge.size(), 2U);
    EXPECT_EQ(gefragt.zugaenge[0].wirt, "127.0.0.1");
    EXPECT_EQ(gefragt.zugaenge[0].bereich, "Kunden");
    EXPECT_FALSE(gefragt.zugaenge[0].wiederholt);
    EXPECT_TRUE(gefragt.zugaenge[1].wiederholt);
}

TEST_F(Zugaenge, AFileInputsExtensionsReachThePanel) {
    oeffne("<input id=da type=file multiple accept='.pdf, image/*,.XLSX,.bad*ext'>");
    klicke();
    ASSERT_TRUE(drehenBis([&] { return !gefragt.wahlen.empty(); }));
    EXPECT_EQ(gefragt.wahlen.front().endungen, (std::vector<std::string>{".pdf", ".XLSX"}));
    EXPECT_TRUE(gefragt.wahlen.front().mehrere);
}

TEST_F(Zugaenge, AClickOnAPasskeyButtonIsToldAndOtherClicksAreNot) {
    oeffne("<button id=da>Mit Passkey anmelden</button>");
    klicke();
    EXPECT_TRUE(drehenBis([&] { return gefragt.passkeys == 1; }));
    seiten["/anders"] = html("<style>button { position: fixed; inset: 0; }</style><button "
                             "onclick='window.geklickt = 1'>Mit Kennwort anmelden</button>");
    lade("/anders");
    klicke();
    ASSERT_TRUE(drehenBis([&] { return wert("window.geklickt || 0") == "1"; }));
    EXPECT_EQ(gefragt.passkeys, 1);
}

TEST_F(Zugaenge, InTheServicesPagesTooAWindowTwoSecondsAfterTheClickIsThePersonsAndOnlyOne) {
    oeffne(
        "<button id=da onclick=\"setTimeout(() => { window.open('https://rechnung.example/1'); "
        "window.open('https://rechnung.example/2'); }, 2000)\">Rechnung</button>",
        false);
    klicke();
    ASSERT_TRUE(drehenBis([&] { return gefragt.gewaehrt.size() == 2; }));
    EXPECT_EQ(gefragt.gewaehrt, (std::vector<bool>{true, false}));
}

} // namespace
} // namespace quillmate::adapter::gtk
