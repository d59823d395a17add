// The overview page in the real web engine, on a display of the test's own, with the real service behind it and a
// stand-in for the program's window.quillmateApp.
#include "demo/dienstprozess.h"
#include "demo/hilfsordner.h"
#include "werkzeug/anzeige.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <webkit/webkit.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace quillmate::demo::test {
namespace {

using nlohmann::json;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// What the page finds in place of the program. `attrappe.stand` is the scan's report, `attrappe.antworten` what each
/// call is answered with (a text: the sentence it is rejected with), `attrappe.rufe` what was called.
constexpr char const* programmAttrappe = R"JS((() => {
  const attrappe = window.attrappe = {
    rufe: [],
    stand: {laeuft: false, art: '', sekunden: 0, schritte: []},
    antworten: {
      gemerkteOrdner: {ordner: [{ordner: 'Ablage', anzahl: 12, grenze_erreicht: false, kennung: '0123456789abcdef'}]},
      bilderZaehlen: {anzahl: 3},
      macScannen: {gestartet: true, gesamt: 4, zugriff: []},
      gezieltSuchen: {durchsucht: 5, gelesen: 2, abgebrochen: false, treffer: ['Treffer.pdf']},
      portalOeffnen: {geoeffnet: true},
      ordnerVergessen: {ordner: null},
      nachUpdatesSuchen: {},
    },
  };
  const app = window.quillmateApp = {fassung: 3, plattform: 'macos', version: '1.2.3', build: 7, ort: 'anderswo', aktualisierbar: false};
  for (const name of ['inProgrammeVerschieben', 'nachUpdatesSuchen', 'ordnerWaehlen', 'gemerkterOrdner', 'gemerkteOrdner',
                      'ordnerVergessen', 'portalOeffnen', 'macScannen', 'gezieltSuchen', 'bilderZaehlen', 'suchStand'])
    app[name] = (daten) => {
      attrappe.rufe.push([name, daten ?? null]);
      if (name === 'suchStand') return Promise.resolve(structuredClone(attrappe.stand));
      if (name === 'macScannen' && attrappe.beginn) attrappe.stand = attrappe.beginn;
      const antwort = attrappe.antworten[name];
      return typeof antwort === 'string' ? Promise.reject(new Error(antwort)) : Promise.resolve(structuredClone(antwort));
    };
  attrappe.liest = (anzahl, laeuft) => ({laeuft, art: 'suche', sekunden: 2.5, schritte: [
    {schluessel: 'vorgaben', name: 'Vorgaben', fertig: true, sekunden: 0.1},
    {schluessel: 'ordner', name: 'Ablage', fertig: true, sekunden: 0.2, anzahl: 4},
    {schluessel: 'lesen', name: 'Belege lesen', fertig: !laeuft, sekunden: 2, anzahl, gesamt: 4, zusatz: {hochladen: 2, hochgeladen: 2, keinBeleg: anzahl - 2}}]});
})();)JS";

class EchteSeite : public testing::Test {
protected:
    static void SetUpTestSuite() {
        // Until the end of the process: whoever still talks to a display that goes away ends the process.
        static werkzeug::Anzeige const anzeige;
        gtk_init();
    }

    EchteSeite()
        : fenster_(GTK_WINDOW(gtk_window_new())) {
        gtk_window_set_default_size(fenster_, 1200, 800);
    }
    ~EchteSeite() override {
        for (auto* const kind : kinder_)
            gtk_window_destroy(kind);
        gtk_window_destroy(fenster_);
        drehe(std::chrono::milliseconds{50});
    }

    /// Opens the overview in the program (its stand-in prepared by `vorbereitung`) and waits for its lists.
    void oeffneImProgramm(std::string const& frage = {}, std::string const& vorbereitung = {}) {
        oeffne(frage, std::string{programmAttrappe} + vorbereitung);
    }
    void oeffneImBrowser(std::string const& frage = {}) { oeffne(frage, {}); }

    /// The value of an expression in the page, as text.
    std::string js(std::string const& ausdruck) {
        struct Lage {
            bool da{false};
            std::string text;
        } lage;
        webkit_web_view_evaluate_javascript(
            web_, ausdruck.c_str(), -1, nullptr, nullptr, nullptr,
            +[](GObject* quelle, GAsyncResult* ergebnis, gpointer ziel) {
                auto& hier = *static_cast<Lage*>(ziel);
                GError* fehler = nullptr;
                if (auto* const wert = webkit_web_view_evaluate_javascript_finish(
                        WEBKIT_WEB_VIEW(quelle), ergebnis, &fehler)) {
                    char* const text = jsc_value_to_string(wert);
                    hier.text = text;
                    g_free(text);
                    g_object_unref(wert);
                } else {
                    hier.text = std::string{"Fehler: "} + fehler->message;
                    g_error_free(fehler);
                }
                hier.da = true;
            },
            &lage);
        while (!lage.da)
            g_main_context_iteration(nullptr, TRUE);
        return lage.text;
    }
    /// The text that another program would paste.
    static std::string zwischenablage() {
        struct Lage {
            bool da{false};
            std::string text;
        } lage;
        gdk_clipboard_read_text_async(
            gdk_display_get_clipboard(gdk_display_get_default()), nullptr,
            +[](GObject* quelle, GAsyncResult* ergebnis, gpointer ziel) {
                auto& hier = *static_cast<Lage*>(ziel);
                if (char* const text =
                        gdk_clipboard_read_text_finish(GDK_CLIPBOARD(quelle), ergebnis, nullptr)) {
                    hier.text = text;
                    g_free(text);
                }
                hier.da = true;
            },
            &lage);
        while (!lage.da)
            g_main_context_iteration(nullptr, TRUE);
        return lage.text;
    }
    [[nodiscard]] bool wird(std::string const& bedingung) {
        return wird([&] { return js("Boolean(" + bedingung + ")") == "true"; });
    }
    [[nodiscard]] static bool wird(std::function<bool()> const& bedingung) {
        auto const schluss = std::chrono::steady_clock::now() + std::chrono::seconds{30};
        while (!bedingung()) {
            if (std::chrono::steady_clock::now() > schluss)
                return false;
            drehe(std::chrono::milliseconds{20});
        }
        return true;
    }
    void klicke(std::string const& waehler) { js("document.querySelector('" + waehler + "').click()"); }
    std::string text(std::string const& waehler) {
        return js("document.querySelector('" + waehler + "').innerText");
    }
    std::string meldungen() { return text("#meldungen"); }
    bool sichtbar(std::string const& waehler) {
        return js("Boolean(document.querySelector('" + waehler + "')?.checkVisibility())") == "true";
    }
    json rufe(std::string const& name) {
        return json::parse(
            js("JSON.stringify(attrappe.rufe.filter((r) => r[0] === '" + name + "').map((r) => r[1]))"));
    }
    bool gestoppt() {
        return klient.hole(dienst.url("/clients/1/local-scan/progress")).json().at("gestoppt").get<bool>();
    }

    Hilfsordner ordner;
    Dienstprozess dienst{ordner.pfad("daten")};
    Klient klient;
    std::vector<std::string> dialoge;
    std::vector<std::pair<std::string, bool>> navigationen; ///< Address, whether by a clicked link.
    std::vector<std::string> neueFenster;                   ///< Addresses they were asked for with.

private:
    static void drehe(std::chrono::milliseconds dauer) {
        bool um = false;
        g_timeout_add(
            static_cast<guint>(dauer.count()),
            +[](gpointer ziel) -> gboolean {
                *static_cast<bool*>(ziel) = true;
                return G_SOURCE_REMOVE;
            },
            &um);
        while (!um)
            g_main_context_iteration(nullptr, TRUE);
    }
    void oeffne(std::string const& frage, std::string const& skript) {
        auto* const inhalte = webkit_user_content_manager_new();
        if (!skript.empty()) {
            auto* const einspielung = webkit_user_script_new(
                skript.c_str(), WEBKIT_USER_CONTENT_INJECT_TOP_FRAME,
                WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START, nullptr, nullptr);
            webkit_user_content_manager_add_script(inhalte, einspielung);
            webkit_user_script_unref(einspielung);
        }
        auto* const sitzung = webkit_network_session_new_ephemeral();
        web_ = WEBKIT_WEB_VIEW(g_object_new(
            WEBKIT_TYPE_WEB_VIEW, "user-content-manager", inhalte, "network-session", sitzung, nullptr));
        g_object_unref(inhalte);
        g_object_unref(sitzung);
        verbinde(web_);
        gtk_window_set_child(fenster_, GTK_WIDGET(web_));
        gtk_window_present(fenster_);
        webkit_web_view_load_uri(web_, dienst.url("/uebersicht", "&client=1" + frage).c_str());
        ASSERT_TRUE(wird("document.querySelector('#zahl-buchungen')?.textContent")) << meldungen();
    }
    void verbinde(WebKitWebView* web) {
        g_signal_connect(
            web, "script-dialog",
            G_CALLBACK(+[](WebKitWebView*, WebKitScriptDialog* dialog, EchteSeite* hier) -> gboolean {
                hier->dialoge.emplace_back(webkit_script_dialog_get_message(dialog));
                webkit_script_dialog_confirm_set_confirmed(dialog, TRUE);
                return TRUE;
            }),
            this);
        g_signal_connect(
            web, "decide-policy",
            G_CALLBACK(
                +[](WebKitWebView*, WebKitPolicyDecision* entscheidung, WebKitPolicyDecisionType art,
                    EchteSeite* hier) -> gboolean {
                    if (art == WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION) {
                        auto* const aktion = webkit_navigation_policy_decision_get_navigation_action(
                            WEBKIT_NAVIGATION_POLICY_DECISION(entscheidung));
                        hier->navigationen.emplace_back(
                            webkit_uri_request_get_uri(webkit_navigation_action_get_request(aktion)),
                            webkit_navigation_action_get_navigation_type(aktion) ==
                                WEBKIT_NAVIGATION_TYPE_LINK_CLICKED);
                    }
                    return FALSE;
                }),
            this);
        g_signal_connect(
            web, "create",
            G_CALLBACK(
                +[](WebKitWebView* von, WebKitNavigationAction* aktion, EchteSeite* hier) -> GtkWidget* {
                    hier->neueFenster.emplace_back(
                        webkit_uri_request_get_uri(webkit_navigation_action_get_request(aktion)));
                    auto* const kind =
                        WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "related-view", von, nullptr));
                    hier->verbinde(kind);
                    auto* const fenster = GTK_WINDOW(gtk_window_new());
                    gtk_window_set_child(fenster, GTK_WIDGET(kind));
                    gtk_window_present(fenster);
                    hier->kinder_.push_back(fenster);
                    return GTK_WIDGET(kind);
                }),
            this);
    }

    GtkWindow* fenster_;
    WebKitWebView* web_{nullptr};
    std::vector<GtkWindow*> kinder_;
};

TEST_F(EchteSeite, InABrowserItSaysWhatTheProgramAddsAndHidesWhatOnlyThatCanDo) {
    oeffneImBrowser();
    EXPECT_TRUE(sichtbar("#nur-browser"));
    for (auto const* const waehler :
         {"#suche-starten", "#ordner-hinzufuegen", "#reiter-portale", "#updates-suchen"})
        EXPECT_FALSE(sichtbar(waehler)) << waehler;
    klicke("#reiter-buchungen");
    EXPECT_TRUE(sichtbar("#buchungsliste li"));
    EXPECT_FALSE(sichtbar("#buchungsliste .suchen"));
    EXPECT_THAT(meldungen(), IsEmpty());
}

TEST_F(EchteSeite, FoldersAreShownWithTheirCountsAndForgottenOnlyAfterAQuestion) {
    oeffneImProgramm();
    ASSERT_TRUE(wird("document.querySelector('#ordnerliste li')"));
    EXPECT_THAT(text("#ordnerliste"), HasSubstr("12 Dateien"));
    EXPECT_TRUE(wird("document.querySelector('#bilder-anzahl').innerText.includes('3 Bilder')"));
    klicke("#ordnerliste button");
    EXPECT_TRUE(wird([&] { return rufe("ordnerVergessen") == json{{{"kennung", "0123456789abcdef"}}}; }));
    ASSERT_EQ(dialoge.size(), 1U);
    EXPECT_THAT(dialoge[0], HasSubstr("„Ablage“"));
}

TEST_F(EchteSeite, ScanShowsItsStepsAndEndsWithTheServicesReport) {
    oeffneImProgramm({}, "attrappe.beginn = attrappe.liest(3, true);");
    ASSERT_EQ(klient.sende(dienst.url("/clients/1/local-scan/stop"), "").status, 200); // from an earlier scan
    klicke("#suche-starten");
    ASSERT_TRUE(wird("document.querySelector('#suchlauf-balken').value === 3"));
    EXPECT_FALSE(gestoppt());
    EXPECT_THAT(text("#suchlauf-schritte"), HasSubstr("Ablage durchsehen"));
    EXPECT_EQ(rufe("macScannen").at(0).at("client_id"), 1);
    json const bericht{
        {"gestartet", true},
        {"gesamt", 4},
        {"zugriff", json::array()},
        {"gruende", {{"hochgeladen", 2}, {"keinBeleg", 2}, {"nichtLesbar", 0}}},
        {"orte", {{"Ablage", 4}}}};
    ASSERT_EQ(klient.sende(dienst.url("/clients/1/local-scan/progress-finish"), bericht.dump()).status, 200);
    js("attrappe.stand = attrappe.liest(4, false)");
    ASSERT_TRUE(wird("document.querySelector('#ergebnis-satz')"));
    EXPECT_EQ(text("#ergebnis-satz"), "2 Belege wurden übertragen. Gefunden: 4 Dateien.");
    EXPECT_EQ(text("[data-grund=keinBeleg]"), "2");
    EXPECT_EQ(js("document.querySelector('[data-grund=nichtLesbar]')"), "null");
    EXPECT_TRUE(sichtbar("#suche-starten"));
    EXPECT_FALSE(sichtbar("#suchlauf"));
}

TEST_F(EchteSeite, StopIsRepeatedUntilTheScanHasEnded) {
    oeffneImProgramm({}, "attrappe.beginn = attrappe.liest(2, true);");
    klicke("#suche-starten");
    ASSERT_TRUE(wird("document.querySelector('#suche-stoppen').checkVisibility()"));
    klicke("#suche-stoppen");
    ASSERT_TRUE(wird([&] { return gestoppt(); }));
    // As a scan does that begins to read without having seen the stop.
    ASSERT_EQ(
        klient.sende(dienst.url("/clients/1/local-scan/progress-start"), R"({"total_candidates":4})").status,
        200);
    ASSERT_TRUE(wird([&] { return gestoppt(); }));
    js("attrappe.stand = attrappe.liest(2, false)");
    ASSERT_TRUE(wird("document.querySelector('#ergebnis h3')"));
    EXPECT_EQ(text("#ergebnis h3"), "Gestoppt");
}

TEST_F(EchteSeite, RefusalsOfTheProgramAreShown) {
    oeffneImProgramm(
        {}, "attrappe.antworten.macScannen = 'Es läuft bereits ein Scan.';"
            "attrappe.antworten.gezieltSuchen = 'Es läuft bereits ein Scan - bitte kurz warten.';"
            "attrappe.antworten.bilderZaehlen = 'Der Ordner ist nicht mehr freigegeben.';"
            "attrappe.antworten.portalOeffnen = 'Unvollständige Portalanfrage.';"
            "attrappe.antworten.nachUpdatesSuchen = 'unbekannte Aktion';");
    klicke("#suche-starten");
    EXPECT_TRUE(wird([&] { return meldungen().find("Es läuft bereits ein Scan.") != std::string::npos; }));
    EXPECT_TRUE(wird(
        "document.querySelector('#bilder-anzahl').innerText === 'Der Ordner ist nicht mehr freigegeben.'"));
    klicke(".suchen");
    EXPECT_TRUE(wird([&] { return meldungen().find("bitte kurz warten") != std::string::npos; }));
    klicke(".kachel");
    EXPECT_TRUE(wird([&] { return meldungen().find("Unvollständige Portalanfrage.") != std::string::npos; }));
    klicke("#updates-suchen");
    EXPECT_TRUE(wird([&] { return meldungen().find("unbekannte Aktion") != std::string::npos; }));
}

TEST_F(EchteSeite, PageLoadedDuringAScanTakesItUp) {
    oeffneImProgramm({}, "attrappe.stand = attrappe.liest(1, true);");
    ASSERT_TRUE(wird("document.querySelector('#suchlauf-balken').value === 1"));
    EXPECT_TRUE(sichtbar("#suche-stoppen"));
    EXPECT_TRUE(rufe("macScannen").empty());
    js("attrappe.stand = attrappe.liest(4, false)");
    ASSERT_TRUE(wird("document.querySelector('#ergebnis-satz')"));
    EXPECT_THAT(text("#ergebnis-satz"), HasSubstr("2 Belege")); // from the steps: the service has no report
}

TEST_F(EchteSeite, SearchForABookingsReceiptSendsTheBookingAndTellsTheOutcome) {
    oeffneImProgramm();
    klicke("#reiter-buchungen");
    auto const nummer = js("document.querySelector('#buchungsliste li').dataset.buchung");
    klicke(".suchen");
    ASSERT_TRUE(wird([&] { return meldungen().find("„Treffer.pdf“ gefunden") != std::string::npos; }))
        << meldungen();
    auto const anfrage = rufe("gezieltSuchen").at(0);
    EXPECT_EQ(std::to_string(anfrage.at("transaction_id").get<int>()), nummer);
    EXPECT_EQ(anfrage.at("server"), dienst.meldung().at("adresse"));
    EXPECT_FALSE(anfrage.at("betrag_texte").empty());
}

TEST_F(EchteSeite, PortalIsOpenedForTheChosenBookingAndItsEventsAreListed) {
    oeffneImProgramm();
    ASSERT_TRUE(wird("document.querySelector('#portal-buchung').options.length > 1"));
    js("document.querySelector('#portal-buchung').selectedIndex = 1");
    klicke("[data-kennung=telekom]");
    ASSERT_TRUE(wird([&] { return rufe("portalOeffnen").size() == 1; }));
    EXPECT_EQ(rufe("portalOeffnen")[0].at("kennung"), "telekom");
    EXPECT_TRUE(rufe("portalOeffnen")[0].at("transaction_id").is_number_integer());
    js(R"(window.__quillmatePortalEreignis({kennung: 'telekom', status: 'fehler', nachricht: 'Import <b>fehlgeschlagen</b>'}))");
    klicke("#reiter-portale");
    EXPECT_THAT(text("#portalereignisse"), HasSubstr("Import <b>fehlgeschlagen</b>"));
    EXPECT_THAT(meldungen(), HasSubstr("Telekom: Import"));
}

TEST_F(EchteSeite, ThePortalsAddressIsCopiedForThePersonToTakeOver) {
    oeffneImProgramm();
    ASSERT_TRUE(wird("document.querySelector('#demoportal-adresse')?.textContent"));
    auto const adresse = js("document.querySelector('#demoportal-adresse').textContent");
    EXPECT_TRUE(adresse.starts_with("https://")) << adresse;
    klicke("#demoportal-kopieren");
    ASSERT_TRUE(wird([&] { return meldungen().find("Adresse kopiert.") != std::string::npos; }))
        << meldungen();
    EXPECT_TRUE(wird([&] { return zwischenablage() == adresse; })) << zwischenablage();
}

TEST_F(EchteSeite, ReceiptIsOpenedInAWindowOfItsOwnAndNeverByAClickedLink) {
    ASSERT_EQ(
        klient.ladeHoch(dienst.url("/clients/1/local-receipts/upload"), "/a.png", "a.png", "\x89PNG\r\n")
            .status,
        200);
    oeffneImProgramm();
    ASSERT_TRUE(wird("document.querySelector('.ansehen')"));
    klicke(".ansehen");
    auto const beleg = dienst.url("/belege/1");
    ASSERT_TRUE(wird(
        [&] { return std::ranges::any_of(navigationen, [&](auto const& n) { return n.first == beleg; }); }));
    EXPECT_THAT(neueFenster, testing::ElementsAre(""));
    klicke(".sichern");
    ASSERT_TRUE(wird([&] { return navigationen.back().first.find("anhang=1") != std::string::npos; }));
    for (auto const& [adresse, geklickt] : navigationen)
        EXPECT_FALSE(geklickt) << adresse;
}

TEST_F(EchteSeite, NamesOfReceiptsAreTextsAndNeverMarkup) {
    ASSERT_EQ(
        klient
            .ladeHoch(
                dienst.url("/clients/1/local-receipts/upload"), "/a", "<img src=x onerror=alert(1)>.pdf", "x")
            .status,
        200);
    oeffneImProgramm();
    klicke("#reiter-belege");
    ASSERT_TRUE(wird("document.querySelector('#belegliste li')"));
    EXPECT_THAT(text("#belegliste strong"), HasSubstr("<img"));
    EXPECT_EQ(js("document.querySelector('#belegliste img')"), "null");
    EXPECT_THAT(dialoge, IsEmpty());
}

TEST_F(EchteSeite, ArrowKeysMoveThroughTheTabs) {
    oeffneImProgramm();
    auto const taste = [&](std::string const& name) {
        js("document.activeElement.dispatchEvent(new KeyboardEvent('keydown', {key: '" + name +
           "', bubbles: true}))");
        return js("document.activeElement.id");
    };
    js("document.querySelector('#reiter-suche').focus()");
    EXPECT_EQ(taste("ArrowRight"), "reiter-buchungen");
    EXPECT_TRUE(sichtbar("#bereich-buchungen"));
    EXPECT_FALSE(sichtbar("#bereich-suche"));
    EXPECT_EQ(taste("End"), "reiter-konto");
    EXPECT_EQ(taste("ArrowRight"), "reiter-suche");
    EXPECT_EQ(taste("ArrowLeft"), "reiter-konto");
}

TEST_F(EchteSeite, SelfRunScansLoadsTheReceiptsAndReports) {
    oeffneImProgramm("&selbstlauf=1", "attrappe.beginn = attrappe.liest(4, false);");
    ASSERT_TRUE(wird([&] { return klient.hole(dienst.url("/demo/selbstlauf")).status == 200; }));
    auto const ergebnis = klient.hole(dienst.url("/demo/selbstlauf")).json();
    EXPECT_EQ(ergebnis.at("erfolg"), true) << ergebnis;
    EXPECT_EQ(ergebnis.at("ordner"), 1);
    EXPECT_EQ(ergebnis.at("dateien"), 4);
    EXPECT_EQ(ergebnis.at("hochgeladen"), 2);
    EXPECT_TRUE(sichtbar("#bereich-belege"));
    EXPECT_EQ(js("document.documentElement.dataset.selbstlauf"), "fertig");
    EXPECT_THAT(dienst.naechsteZeile(), HasSubstr("Selbstlauf: erfolgreich"));
}

TEST_F(EchteSeite, SelfRunReportsItsFailuresToo) {
    oeffneImProgramm("&selbstlauf=1&frist=1", "attrappe.beginn = attrappe.liest(1, true);");
    ASSERT_TRUE(wird([&] { return klient.hole(dienst.url("/demo/selbstlauf")).status == 200; }));
    auto const ergebnis = klient.hole(dienst.url("/demo/selbstlauf")).json();
    EXPECT_EQ(ergebnis.at("erfolg"), false);
    EXPECT_EQ(ergebnis.at("grund"), "Nach 1 s noch nicht fertig.");
}

TEST_F(EchteSeite, SelfRunInABrowserReportsThatThereIsNoProgram) {
    oeffneImBrowser("&selbstlauf=1");
    ASSERT_TRUE(wird([&] { return klient.hole(dienst.url("/demo/selbstlauf")).status == 200; }));
    EXPECT_EQ(
        klient.hole(dienst.url("/demo/selbstlauf")).json().at("grund"), "Die Seite läuft nicht im Programm.");
}

} // namespace
} // namespace quillmate::demo::test
