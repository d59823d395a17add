// The whole road of a receipt out of a portal: from the page's request over the portal's window to the upload and the
// event in the page. The portal is the demo service's, over https, with a certificate that only the demo trusts.
#include "demo/portal.h"
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

#include <algorithm>
#include <csignal>
#include <filesystem>

namespace quillmate::fenster_echt {
namespace {

using nlohmann::json;
using werkzeug::HttpAnfrage;
using werkzeug::wartenBis;

class Portale : public EchtesFenster {
protected:
    Portale() {
        std::signal(SIGPIPE, SIG_IGN); // The portal's listener lives in this process.
        std::string grund;
        portal = demo::Portal::oeffnen(ordner.ordner("portal"), grund);
        if (!portal)
            throw std::runtime_error{grund};
        dienst.antworte(annahme, {.koerper = R"({"status": "matched"})"});
    }

    [[nodiscard]] Programm::Umgebung vertrauen() const {
        return {{"QUILLMATE_DEMO_ZERTIFIKAT", ordner.pfad("portal/") + demo::Portal::zertifikatsdatei}};
    }
    /// Lets the page ask for a portal for a booking, and types the portal's address into the dialog as a person would.
    void oeffnePortal() { oeffnePortal(portal->adresse(), "127.0.0.1"); }
    /// `wirt`: that the title names once its page is there; empty when none comes.
    void oeffnePortal(std::string const& adresse, std::string const& wirt) {
        dienst.rufe(
            "window.__ereignisse = []; window.__quillmatePortalEreignis = e => __ereignisse.push(e);");
        int const nummer = dienst.beginne("return await window.quillmateApp.portalOeffnen({kennung: "
                                          "'weiteres', client_id: 1, token: 'geheim', "
                                          "name: 'Demoportal', transaction_id: 12})");
        ASSERT_TRUE(warteAufDialog());
        bildschirm.tippe(adresse);
        bildschirm.bild("portal_adresse");
        bildschirm.taste("Return");
        EXPECT_EQ(dienst.ergebnis(nummer), (json{{"geoeffnet", true}}));
        auto const offen =
            bildschirm.warteAufFenster("Belegportal — Demoportal" + (wirt.empty() ? "" : " · " + wirt));
        ASSERT_TRUE(offen);
        fenster = *offen;
        tastaturAnPortal();
        bildschirm.klicke({.x = fenster.x + 200, .y = fenster.y + fenster.hoehe - 80}); // Nothing is there.
    }
    void tastaturAnPortal() {
        EXPECT_TRUE(wartenBis([&] {
            if (bildschirm.tastaturBei() != fenster.nummer)
                bildschirm.tastaturAn(fenster.nummer);
            return bildschirm.tastaturBei() == fenster.nummer;
        }));
    }
    /// Waits until the portal's page holds these texts. The copy that shows them has been made when this returns: its
    /// keys do not mix with the next ones.
    [[nodiscard]] testing::AssertionResult warteAufText(
        std::string_view text, std::string_view undText = {}) {
        std::optional<std::string> kopie;
        bool const gefunden = wartenBis([&] {
            bildschirm.zwischenablageLeeren();
            bildschirm.taste("ctrl+a");
            bildschirm.taste("ctrl+c");
            (void)wartenBis(
                [&] { return (kopie = bildschirm.zwischenablage()).has_value(); }, std::chrono::seconds{2});
            return kopie && kopie->contains(text) && kopie->contains(undText);
        });
        if (gefunden)
            return testing::AssertionSuccess();
        return testing::AssertionFailure()
               << "the last copy is " << (kopie ? '"' + *kopie + '"' : "missing") << ", the keyboard is at "
               << (bildschirm.tastaturBei() == fenster.nummer ? "the portal" : "another window");
    }
    /// The engine loses keys pressed before a page has its style, also where its text can be copied already.
    [[nodiscard]] testing::AssertionResult warteAufSeite(std::string_view text) {
        return warteAufText(text, "Die Seite ist bereit.");
    }
    void meldeAn() {
        ASSERT_TRUE(warteAufSeite("Kundennummer und Kennwort"));
        bildschirm.taste("alt+k");
        bildschirm.taste("Return"); // The demo's password stands there.
        ASSERT_TRUE(warteAufSeite("Deine Rechnungen"));
    }
    void oeffneAngemeldet() {
        oeffne(vertrauen(), QUILLMATE_DEMOPROGRAMM);
        ASSERT_NO_FATAL_FAILURE(oeffnePortal());
        ASSERT_NO_FATAL_FAILURE(meldeAn());
    }

    [[nodiscard]] json ereignisse() { return dienst.rufe("return window.__ereignisse"); }
    /// Waits until the page has this many, and gives them back.
    [[nodiscard]] json warteAufEreignisse(std::size_t anzahl) {
        EXPECT_TRUE(wartenBis([&] { return ereignisse().size() >= anzahl; }));
        return ereignisse();
    }
    [[nodiscard]] static json ereignis(std::string const& status, std::string const& nachricht) {
        return {
            {"kennung", "weiteres"}, {"status", status}, {"nachricht", nachricht}, {"transaction_id", 12}};
    }
    [[nodiscard]] std::vector<HttpAnfrage> uebergeben() const { return dienst.anfragenAn(annahme); }
    /// The n-th upload is the first invoice, whole, for the booking.
    void pruefeUebergabe(std::size_t n) const {
        auto const alle = uebergeben();
        ASSERT_EQ(alle.size(), n);
        auto const& letzte = alle.back();
        using Posten = std::vector<std::pair<std::string, std::string>>;
        EXPECT_EQ(letzte.abfrage, (Posten{{"token", "geheim"}, {"merge", "false"}, {"portal", "weiteres"}}));
        EXPECT_TRUE(
            letzte.koerper.contains("\r\nContent-Type: application/pdf\r\n\r\n" + rechnung.pdf + "\r\n--"));
        EXPECT_TRUE(letzte.koerper.contains(
            "Content-Disposition: form-data; name=\"files\"; filename=\"" + rechnung.nummer + ".pdf\"\r\n"));
    }
    [[nodiscard]] bool nichtsLiegtHerum() const {
        return wartenBis([&] {
            auto const eintraege = std::filesystem::directory_iterator{ordner.pfad("tmp")};
            return std::ranges::none_of(eintraege, [](auto const& eintrag) {
                return eintrag.path().filename().string().starts_with("quillmate-portal-");
            });
        });
    }
    void erwarteAbweisung(std::string const& bild, std::string const& wirt = "127.0.0.1") {
        EXPECT_TRUE(warteAufText("Die Verbindung zu " + wirt + " ist nicht sicher."));
        bildschirm.bild(bild);
        EXPECT_EQ(programm->anzahlZeilen("Portal weiteres: "), 1U);
    }

    static constexpr char const* annahme = "/transactions/12/attach-receipt";
    demo::Portalrechnung const rechnung{demo::portalrechnungen().front()};
    std::unique_ptr<demo::Portal> portal;
    XFenster fenster; ///< The portal's.
};

TEST_F(Portale, EveryKindOfDownloadArrivesAtTheServiceWithItsBookingAndIsToldInThePage) {
    ASSERT_NO_FATAL_FAILURE(oeffneAngemeldet());
    bildschirm.bild("portal_rechnungen");
    std::size_t uebergaben = 0;
    // The attachment, the one that the page puts together, and the one of a wrong type.
    for (auto const* const taste : {"alt+2", "alt+3", "alt+4"}) {
        bildschirm.taste(taste);
        auto const alle = warteAufEreignisse(++uebergaben * 2);
        ASSERT_EQ(alle.size(), uebergaben * 2) << taste << alle;
        EXPECT_EQ(
            alle[alle.size() - 2],
            ereignis("wird_importiert", "PDF geladen · Quillmate prüft und ordnet es jetzt zu …"));
        EXPECT_EQ(
            alle.back(),
            ereignis("importiert", "Beleg aus dem Portal übernommen und dieser Buchung zugeordnet."));
        ASSERT_NO_FATAL_FAILURE(pruefeUebergabe(uebergaben)) << taste;
    }
    bildschirm.bild("portal_uebernommen");
    EXPECT_TRUE(nichtsLiegtHerum());

    bildschirm.schliessen(fenster.nummer);
    EXPECT_EQ(
        warteAufEreignisse(uebergaben * 2 + 1).back(),
        (json{
            {"kennung", "weiteres"},
            {"status", "geschlossen"},
            {"nachricht", "Beleg aus dem Portal übernommen und dieser Buchung zugeordnet."}}));
    EXPECT_TRUE(warteBisDialogWeg());
}

TEST_F(Portale, AnInvoiceThatBreaksOffIsToldAndNotHandedOver) {
    ASSERT_NO_FATAL_FAILURE(oeffneAngemeldet());
    bildschirm.bild(
        "portal_rechnungen"); // Waits for the picture: a link followed before ends the loading of the style.
    bildschirm.taste("alt+5");
    auto const alle = warteAufEreignisse(1);
    ASSERT_EQ(alle.size(), 1U);
    EXPECT_EQ(alle[0]["status"], "fehler");
    EXPECT_EQ(alle[0]["transaction_id"], 12);
    EXPECT_TRUE(alle[0]["nachricht"].get<std::string>().starts_with("Download fehlgeschlagen: "));
    bildschirm.bild("portal_abgebrochen");
    EXPECT_TRUE(uebergeben().empty());
    EXPECT_TRUE(nichtsLiegtHerum());
}

TEST_F(Portale, TheShownPdfIsTakenWithTheButtonAndAPageIsNot) {
    ASSERT_NO_FATAL_FAILURE(oeffneAngemeldet());
    Punkt const knopf{.x = fenster.x + fenster.breite - 120, .y = fenster.y + 76};
    bildschirm.klicke(knopf);
    auto alle = warteAufEreignisse(2);
    EXPECT_EQ(alle[0], ereignis("wird_importiert", "Aktuelle PDF wird direkt aus dem Portal übernommen …"));
    EXPECT_EQ(
        alle[1],
        ereignis(
            "fehler",
            "Die aktuelle Seite ist keine PDF. Öffne zuerst die Rechnung oder nutze ihren Download-Knopf."));
    EXPECT_TRUE(uebergeben().empty());

    Punkt const leer{.x = fenster.x + 40, .y = fenster.y + fenster.hoehe - 100};
    bildschirm.klicke(leer);
    auto const papier = bildschirm.farbe(leer);
    bildschirm.taste("alt+1");
    EXPECT_TRUE(wartenBis([&] { return bildschirm.farbe(leer) != papier; })) << "no viewer";
    // The viewer shows before the file has come to its end; until then taking it over fails, and one presses again.
    constexpr int versuche = 5;
    for (int i = 0; i < versuche; ++i) {
        auto const bisher = alle.size();
        bildschirm.klicke(knopf);
        ASSERT_TRUE(wartenBis([&] {
            alle = ereignisse();
            return alle.size() > bisher && alle.back().at("status") != "wird_importiert";
        }));
        if (alle.back().at("status") == "importiert")
            break;
    }
    EXPECT_EQ(
        alle.back(),
        ereignis("importiert", "Beleg aus dem Portal übernommen und dieser Buchung zugeordnet."));
    bildschirm.bild("portal_pdf");
    ASSERT_NO_FATAL_FAILURE(pruefeUebergabe(1));
    EXPECT_TRUE(nichtsLiegtHerum());
}

TEST_F(Portale, ControlWClosesThePortalsWindowAndNotTheMainOne) {
    ASSERT_NO_FATAL_FAILURE(oeffneAngemeldet());
    tastaturAnPortal();
    bildschirm.taste("ctrl+w");
    EXPECT_EQ(
        warteAufEreignisse(1).back(),
        (json{{"kennung", "weiteres"}, {"status", "geschlossen"}, {"nachricht", "Portal geschlossen"}}));
    EXPECT_TRUE(warteBisDialogWeg());
    EXPECT_TRUE(programm->laeuft());
    EXPECT_EQ(dienst.rufe("return 1"), 1);
}

TEST_F(Portale, KeysPressedInAPortalActOnIt) {
    ASSERT_NO_FATAL_FAILURE(oeffneAngemeldet());
    bildschirm.taste("F5");
    EXPECT_TRUE(warteAufSeite("Deine Rechnungen"));
    EXPECT_EQ(dienst.dokumente("haupt"), 1) << "the main window stayed as it was";
}

TEST_F(Portale, TheMainProgramIgnoresTheDemosCertificate) {
    oeffne(vertrauen());
    ASSERT_NO_FATAL_FAILURE(oeffnePortal(portal->adresse(), ""));
    erwarteAbweisung("portal_unsicher");
}

TEST_F(Portale, AVeryLongHostIsShownInTheBarAndNamedWholeInThePage) {
    std::string wirt;
    for (int i = 0; i < 4; ++i)
        wirt += "rechnungen-und-belege-fuer-geschaeftskunden-der-holding-" + std::to_string(i) + ".";
    wirt += "localhost"; // Leads here, but the certificate is not good for it.
    auto adresse = portal->adresse();
    oeffne(vertrauen(), QUILLMATE_DEMOPROGRAMM);
    ASSERT_NO_FATAL_FAILURE(
        oeffnePortal(adresse.replace(adresse.find("127.0.0.1"), std::string{"127.0.0.1"}.size(), wirt), ""));
    bildschirm.groesse(fenster.nummer, 700, 600);
    erwarteAbweisung("portal_langer_wirt", wirt);
}

TEST_F(Portale, TheDemoTrustsNoOtherCertificate) {
    std::string grund;
    auto const anderes = demo::Portal::oeffnen(ordner.ordner("anderes"), grund);
    ASSERT_TRUE(anderes) << grund;
    oeffne(
        {{"QUILLMATE_DEMO_ZERTIFIKAT", ordner.pfad("anderes/") + demo::Portal::zertifikatsdatei}},
        QUILLMATE_DEMOPROGRAMM);
    ASSERT_NO_FATAL_FAILURE(oeffnePortal(portal->adresse(), ""));
    erwarteAbweisung("portal_fremdes_zertifikat");
}

TEST_F(Portale, AfterTheDeathOfItsProcessAPortalShowsThePageThatSaysSo) {
    ASSERT_NO_FATAL_FAILURE(oeffneAngemeldet());
    auto const prozesse = programm->kinder("WebKitWebProcess");
    ASSERT_GE(prozesse.size(), 2U);
    ::kill(std::ranges::max(prozesse), SIGKILL); // The portal's is the younger one.
    ASSERT_TRUE(programm->warteAufZeile("Portal weiteres: Der Anzeigeprozess ist abgestürzt"));
    // Before anybody touches the window: its text stands in the middle, and nothing else is as dark there.
    auto const dunkel = [](std::uint32_t farbe) {
        return (farbe & 0xFF) + (farbe >> 8 & 0xFF) + (farbe >> 16 & 0xFF) < 3 * 100;
    };
    EXPECT_TRUE(wartenBis([&] {
        int dunkle = 0;
        for (int y = -40; y < 40; y += 2)
            for (int x = -120; x < 120; x += 3)
                dunkle += dunkel(bildschirm.farbe(
                    {.x = fenster.x + fenster.breite / 2 + x, .y = fenster.y + fenster.hoehe / 2 + 40 + y}));
        return dunkle > 20;
    }));
    bildschirm.bild("portal_abgestuerzt");
    EXPECT_TRUE(warteAufText("Die Anzeige des Portals ist abgestürzt."));
    EXPECT_EQ(dienst.dokumente(), 1) << "the main page has nothing to do with it";
}

} // namespace
} // namespace quillmate::fenster_echt
