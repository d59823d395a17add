#include "portal/erfassung.h"
#include "portal/portalfenster.h"
#include "werkzeug/download.h"
#include "werkzeug/fehlerausgabe.h"
#include "werkzeug/fensterwerk.h"
#include "werkzeug/hauptschleife.h"
#include "werkzeug/http_attrappe.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/portalleiste.h"
#include "werkzeug/warten.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace quillmate;
using ports::Entscheidung;
using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::HttpAttrappe;

namespace {

namespace fs = std::filesystem;

constexpr char const* pdfAntwort =
    R"({"ok":true,"daten":"JVBERi0xLjQ=","name":"Rechnung 7","mime":"application/pdf"})";

class PortalFensterTest : public testing::Test {
protected:
    void oeffnen(std::optional<std::int64_t> buchung = {}) {
        portal = std::make_unique<portal::PortalFenster>(
            portal::PortalFenster::Umgebung{
                .werk = werk,
                .leisten = leisten,
                .schleife = schleife,
                .ablage = ablage,
                .versand = *versand},
            portal::PortalFenster::Auftrag{
                .ziel =
                    {.kennung = "hetzner",
                     .name = "Hetzner",
                     .adresse = Adresse::lesen("https://accounts.hetzner.example/invoice").value()},
                .clientId = 42,
                .token = "t",
                .basis = Adresse::lesen(server.adresse() + "/uebersicht").value(),
                .transaction = buchung,
                .ereignis = [this](Json const& ereignis) {
                    ereignisse.push_back(ereignis.dump());
                }});
    }
    [[nodiscard]] werkzeug::WebansichtAttrappe& web() const { return *werk.ansichten.at(0); }
    [[nodiscard]] ports::Webansicht::Empfaenger& empfaenger() const { return web().empfaenger(); }
    [[nodiscard]] werkzeug::ProgrammfensterAttrappe& fenster() const { return *werk.fensters.at(0); }

    Entscheidung navigiert(
        std::optional<std::string> adresse, bool alsDownload = false, bool hauptrahmen = true) const {
        return empfaenger().beiNavigation(
            web(), {.adresse = std::move(adresse), .alsDownload = alsDownload, .hauptrahmen = hauptrahmen});
    }
    Entscheidung antwortet(bool darstellbar, std::string contentDisposition = {}) const {
        return empfaenger().beiAntwort(
            web(), {.adresse = "https://portal.example/a",
                    .mimetyp = "application/pdf",
                    .contentDisposition = std::move(contentDisposition),
                    .darstellbar = darstellbar});
    }
    std::shared_ptr<werkzeug::DownloadAttrappe> download() const {
        auto neuer = std::make_shared<werkzeug::DownloadAttrappe>("https://portal.example/r.pdf");
        empfaenger().heruntergeladen(web(), neuer);
        return neuer;
    }
    /// Runs the main loop until something is so.
    template<typename Bedingung>
    [[nodiscard]] bool laeuftBis(Bedingung bedingung) {
        return werkzeug::wartenBis([&] {
            schleife.laufen();
            return bedingung();
        });
    }
    [[nodiscard]] bool leer() const { return fs::is_empty(tmp.pfad()); }
    [[nodiscard]] bool inZeilen(std::string const& zeile) const {
        return std::ranges::find(werk.buch->zeilen, zeile) != werk.buch->zeilen.end();
    }

    werkzeug::OrdnerAufZeit tmp;
    HttpAntwort antwort{.koerper = "{}"};
    HttpAttrappe server{[this](HttpAnfrage const&) {
        return antwort;
    }};
    werkzeug::FensterwerkAttrappe werk;
    werkzeug::PortalleistenwerkAttrappe leisten;
    werkzeug::HandSchleife schleife;
    portal::Portalablage ablage{tmp.pfad()};
    std::unique_ptr<portal::Belegversand> versand = std::make_unique<portal::Belegversand>(ablage);
    std::vector<std::string> ereignisse;
    std::unique_ptr<portal::PortalFenster> portal;
};

using Texte = std::vector<std::string>;

std::string ereignis(std::string const& status, std::string const& nachricht, std::string const& mehr = {}) {
    return R"({"kennung":"hetzner","status":")" + status + R"(","nachricht":")" + nachricht + "\"" + mehr +
           "}";
}

} // namespace

// ------------------------------------------------------------------------------------------- the window

TEST_F(PortalFensterTest, ItsViewHasThePortalsOwnDataAndNoBridge) {
    oeffnen();
    auto const& einrichtung = werk.einrichtungen.at(0);
    EXPECT_EQ(einrichtung.datenhaltung, ports::Webansicht::Einrichtung::Datenhaltung::portale);
    EXPECT_TRUE(einrichtung.skripte.empty());
    EXPECT_TRUE(einrichtung.nachrichtenname.empty());
    EXPECT_FALSE(einrichtung.nachrichten);
    EXPECT_TRUE(einrichtung.wischgesten);
}

TEST_F(PortalFensterTest, OpensWithTitleSizesBarAndTheStartPage) {
    oeffnen();
    EXPECT_EQ(fenster().masse.breite, 1120);
    EXPECT_EQ(fenster().masse.hoehe, 820);
    EXPECT_EQ(fenster().masse.mindestbreite, 560);
    EXPECT_EQ(fenster().masse.mindesthoehe, 480);
    EXPECT_EQ(
        werk.buch->zeilen, (Texte{
                               "web1 neu", "fenster1 neu", "fenster1 titel Belegportal — Hetzner",
                               "fenster1 inhalt", "web1 laden https://accounts.hetzner.example/invoice 60"}));
    EXPECT_EQ(leisten.angaben.adresse, "Sichere Verbindung · accounts.hetzner.example");
    EXPECT_EQ(leisten.angaben.status, "Downloads werden direkt in Quillmate übernommen.");
    EXPECT_EQ(leisten.angaben.knopf, "Aktuelle PDF übernehmen");
    EXPECT_EQ(leisten.angaben.knopfhinweis, "Übernimmt eine im Portal angezeigte PDF direkt in Quillmate");
    EXPECT_FALSE(portal->sichtbar());
    portal->zeigen();
    EXPECT_TRUE(portal->sichtbar());
    EXPECT_TRUE(ereignisse.empty());
}

TEST_F(PortalFensterTest, ForABookingTheStatusLineSaysSo) {
    oeffnen(7);
    EXPECT_EQ(
        leisten.angaben.status,
        "Downloads und „Aktuelle PDF übernehmen“ gehen direkt an die gewählte Buchung.");
}

TEST_F(PortalFensterTest, TheHostFollowsTheNavigation) {
    oeffnen();
    web().setzeAdresse("https://Login.Portal.example:8443/a");
    empfaenger().begonnen(web());
    EXPECT_EQ(leisten.adresse, "Sichere Verbindung · login.portal.example");
    EXPECT_EQ(werk.buch->zeilen.back(), "fenster1 titel Belegportal — Hetzner · login.portal.example");
    web().setzeAdresse(std::nullopt);
    empfaenger().geladen(web());
    EXPECT_EQ(leisten.adresse, "Sichere Verbindung · login.portal.example");
    web().setzeAdresse("https://b.example/");
    empfaenger().geladen(web());
    EXPECT_EQ(leisten.adresse, "Sichere Verbindung · b.example");
    portal->hostZeigen("about:blank");
    EXPECT_EQ(leisten.adresse, "Sichere Verbindung · b.example");
}

// ------------------------------------------------------------------------------------------- navigation

TEST_F(PortalFensterTest, OnlyHttpsIsLoadedInFramesAndAfterRedirectsToo) {
    oeffnen();
    EXPECT_EQ(navigiert("https://portal.example/"), Entscheidung::zulassen);
    EXPECT_EQ(navigiert("https://portal.example/", false, false), Entscheidung::zulassen);
    for (auto const* const adresse :
         {"http://portal.example/", "httpsx://a", "about:blank", "about:srcdoc", "file:///etc/passwd",
          "data:text/html,x", "blob:https://portal.example/1", "javascript:void(0)", "mailto:a@b.example",
          "quillmate://bank?client=1", "ftp://a/"})
        for (bool const hauptrahmen : {true, false})
            EXPECT_EQ(navigiert(adresse, false, hauptrahmen), Entscheidung::abbrechen) << adresse;
    EXPECT_EQ(navigiert(std::nullopt), Entscheidung::abbrechen);
    EXPECT_EQ(
        empfaenger().beiNavigation(web(), {.adresse = "http://portal.example/", .umgeleitet = true}),
        Entscheidung::abbrechen);
}

TEST_F(PortalFensterTest, ALinkThatAsksToBeSavedBecomesADownload) {
    oeffnen();
    EXPECT_EQ(navigiert("https://portal.example/r.pdf", true), Entscheidung::herunterladen);
    EXPECT_EQ(navigiert("blob:https://portal.example/1-2", true), Entscheidung::herunterladen);
    EXPECT_EQ(navigiert("data:application/pdf;base64,JVBERi0=", true), Entscheidung::herunterladen);
    for (auto const* const adresse :
         {"http://portal.example/r.pdf", "blob:http://portal.example/1", "file:///etc/passwd", "blob:null"})
        EXPECT_EQ(navigiert(adresse, true), Entscheidung::abbrechen) << adresse;
    EXPECT_EQ(navigiert(std::nullopt, true), Entscheidung::abbrechen);
}

TEST_F(PortalFensterTest, WhatCanBeShownIsShownUnlessItIsAnAttachment) {
    oeffnen();
    EXPECT_EQ(antwortet(true), Entscheidung::zulassen);
    EXPECT_EQ(antwortet(true, "inline; filename=r.pdf"), Entscheidung::zulassen);
    EXPECT_EQ(antwortet(true, "Attachment; filename=r.pdf"), Entscheidung::herunterladen);
    EXPECT_EQ(antwortet(false), Entscheidung::herunterladen);
    EXPECT_EQ(antwortet(false, "inline"), Entscheidung::herunterladen);
}

TEST_F(PortalFensterTest, ANewWindowIsLoadedInTheSameView) {
    oeffnen();
    int gemacht = 0;
    auto const verwandte = [&](ports::Webansicht::Empfaenger& wer) {
        ++gemacht;
        return werk.verwandte(wer);
    };
    EXPECT_EQ(
        empfaenger().neuesFenster(web(), {.adresse = "https://portal.example/neu"}, verwandte), nullptr);
    EXPECT_EQ(werk.buch->zeilen.back(), "web1 laden https://portal.example/neu 60");
    auto const bisher = werk.buch->zeilen.size();
    for (auto const* const adresse :
         {"http://portal.example/", "about:blank", "blob:https://a/1", "mailto:a@b"})
        EXPECT_EQ(empfaenger().neuesFenster(web(), {.adresse = adresse}, verwandte), nullptr);
    EXPECT_EQ(empfaenger().neuesFenster(web(), {}, verwandte), nullptr);
    EXPECT_EQ(werk.buch->zeilen.size(), bisher);
    EXPECT_EQ(gemacht, 0);
}

// ------------------------------------------------------------------------------------------- loads that fail

TEST_F(PortalFensterTest, AServerThatCannotProveWhoItIsGetsAPageWithoutAWayAround) {
    oeffnen();
    auto const protokoll = werkzeug::fehlerausgabe([&] {
        empfaenger().fehlgeschlagen(
            web(), {.bereich = "zertifikat",
                    .nummer = 1,
                    .beschreibung = "Das Zertifikat ist <abgelaufen>.",
                    .adresse = "https://boese.example/x?token=geheim",
                    .zertifikat = true});
    });
    EXPECT_EQ(protokoll, "[Quillmate] Portal hetzner: zertifikat 1: Das Zertifikat ist <abgelaufen>.\n");
    ASSERT_EQ(web().htmls.size(), 1U);
    auto const& html = web().htmls[0];
    EXPECT_NE(html.find("Die Verbindung zu boese.example ist nicht sicher."), std::string::npos);
    EXPECT_NE(html.find("Das Zertifikat ist &lt;abgelaufen>."), std::string::npos);
    EXPECT_EQ(html.find("<a "), std::string::npos);
    EXPECT_EQ(html.find("<script"), std::string::npos);
    EXPECT_EQ(leisten.adresse, "Keine sichere Verbindung · boese.example");
    // Our own page is no page of that host.
    empfaenger().begonnen(web());
    empfaenger().geladen(web());
    EXPECT_EQ(leisten.adresse, "Keine sichere Verbindung · boese.example");
    // The next page is.
    EXPECT_EQ(navigiert("https://portal.example/"), Entscheidung::zulassen);
    web().setzeAdresse("https://portal.example/");
    empfaenger().begonnen(web());
    EXPECT_EQ(leisten.adresse, "Sichere Verbindung · portal.example");
}

TEST_F(PortalFensterTest, APageThatCannotBeReachedSaysSoAndOffersToTryAgain) {
    oeffnen();
    web().setzeAdresse("https://portal.example/?a=1&b=\"2");
    empfaenger().fehlgeschlagen(web(), {.bereich = "netz", .nummer = 3, .beschreibung = "Kein Netz."});
    ASSERT_EQ(web().htmls.size(), 1U);
    EXPECT_NE(web().htmls[0].find("Die Seite konnte nicht geladen werden."), std::string::npos);
    EXPECT_NE(web().htmls[0].find("Kein Netz."), std::string::npos);
    EXPECT_NE(
        web().htmls[0].find("<a href=\"https://portal.example/?a=1&amp;b=&quot;2\">Erneut versuchen</a>"),
        std::string::npos);
    EXPECT_TRUE(ereignisse.empty());
}

TEST_F(PortalFensterTest, ALoadThatWasEndedOnPurposeIsNoFailure) {
    oeffnen();
    empfaenger().fehlgeschlagen(
        web(), {.bereich = "netz", .nummer = 302, .beschreibung = "x", .abgebrochen = true});
    EXPECT_TRUE(web().htmls.empty());
}

TEST_F(PortalFensterTest, AfterACrashThePageCanBeLoadedAgain) {
    oeffnen();
    web().setzeAdresse("https://portal.example/a");
    empfaenger().prozessGestorben(web(), "Der Anzeigeprozess ist abgestürzt");
    ASSERT_EQ(web().htmls.size(), 1U);
    EXPECT_NE(web().htmls[0].find("<a href=\"https://portal.example/a\">"), std::string::npos);
}

// ------------------------------------------------------------------------------------------- reports

TEST_F(PortalFensterTest, AReportIsShownAndSentAsAnEvent) {
    oeffnen();
    portal->melden(portal::Portalstatus::wird_importiert, "A");
    EXPECT_EQ(leisten.status, "A");
    EXPECT_EQ(leisten.ton, ports::Textton::ruhig);
    portal->melden(portal::Portalstatus::fehler, "B");
    EXPECT_EQ(leisten.ton, ports::Textton::fehler);
    portal->melden(portal::Portalstatus::importiert, "C");
    EXPECT_EQ(leisten.ton, ports::Textton::ruhig);
    EXPECT_EQ(
        ereignisse,
        (Texte{ereignis("wird_importiert", "A"), ereignis("fehler", "B"), ereignis("importiert", "C")}));
}

TEST_F(PortalFensterTest, WithABookingEventsNameItButTheLastOneDoesNot) {
    oeffnen(4711);
    portal->zeigen();
    portal->melden(portal::Portalstatus::importiert, "A");
    fenster().schliessen();
    EXPECT_EQ(
        ereignisse,
        (Texte{ereignis("importiert", "A", ",\"transaction_id\":4711"), ereignis("geschlossen", "A")}));
}

TEST_F(PortalFensterTest, AReportFromAnotherThreadComesByTheMainLoop) {
    oeffnen();
    std::thread{[&] {
        portal->melden(portal::Portalstatus::importiert, "A");
    }}.join();
    EXPECT_TRUE(ereignisse.empty());
    schleife.laufen();
    EXPECT_EQ(ereignisse, Texte{ereignis("importiert", "A")});
    std::thread{[&] {
        portal->melden(portal::Portalstatus::importiert, "zu spät");
    }}.join();
    portal.reset();
    schleife.laufen();
    EXPECT_EQ(ereignisse.size(), 1U);
}

TEST_F(PortalFensterTest, ClosingRightAfterOpeningSaysThatThePortalIsClosed) {
    oeffnen();
    portal->zeigen();
    fenster().schliessen();
    EXPECT_EQ(ereignisse, Texte{ereignis("geschlossen", "Portal geschlossen")});
    EXPECT_FALSE(portal->sichtbar());
}

TEST_F(PortalFensterTest, AfterClosingNothingIsReportedAndThePageIsLetGo) {
    oeffnen();
    portal->zeigen();
    portal->melden(portal::Portalstatus::fehler, "letzte");
    fenster().schliessen();
    portal->melden(portal::Portalstatus::importiert, "danach");
    portal->aktuellePDFUebernehmen();
    EXPECT_EQ(ereignisse.back(), ereignis("geschlossen", "letzte"));
    EXPECT_EQ(ereignisse.size(), 2U);
    schleife.laufen();
    EXPECT_TRUE(inZeilen("web1 weg"));
    EXPECT_TRUE(inZeilen("fenster1 weg"));
    EXPECT_EQ(leisten.offen, 0);
    portal->zeigen();
    EXPECT_FALSE(portal->sichtbar());
}

TEST_F(PortalFensterTest, TheWindowGoesBeforeItsView) {
    oeffnen();
    portal.reset();
    auto const& zeilen = werk.buch->zeilen;
    EXPECT_LT(
        std::ranges::find(zeilen, "fenster1 weg") - zeilen.begin(),
        std::ranges::find(zeilen, "web1 weg") - zeilen.begin());
}

// ------------------------------------------------------------------------------------------- downloads

TEST_F(PortalFensterTest, AFinishedDownloadIsUploadedAndItsFolderRemoved) {
    oeffnen();
    auto const d = download();
    auto const ziel = d->fragt("rechnungen/2026/R-7.pdf");
    ASSERT_TRUE(ziel);
    EXPECT_EQ(fs::path{*ziel}.filename(), "R-7.pdf");
    EXPECT_EQ(fs::path{*ziel}.parent_path().parent_path().string(), tmp.pfad());
    EXPECT_TRUE(fs::path{*ziel}.parent_path().filename().string().starts_with("quillmate-portal-"));
    std::ofstream{*ziel} << "%PDF-1.4";
    d->fertig();
    ASSERT_TRUE(laeuftBis([&] { return ereignisse.size() == 2 && leer(); }));
    EXPECT_EQ(
        ereignisse,
        (Texte{
            ereignis("wird_importiert", "PDF geladen · Quillmate prüft und ordnet es jetzt zu …"),
            ereignis(
                "importiert", "Beleg importiert und automatisch zugeordnet, wenn eine Buchung passt.")}));
    EXPECT_EQ(server.anfragen().at(0).pfad, "/clients/42/local-receipts/upload");
}

TEST_F(PortalFensterTest, ADownloadWithoutANameIsAnInvoice) {
    oeffnen();
    for (auto const* const vorschlag : {"", "..", "/"})
        EXPECT_EQ(fs::path{download()->fragt(vorschlag).value_or("")}.filename(), "rechnung.pdf")
            << vorschlag;
}

TEST_F(PortalFensterTest, ADownloadThatIsNoReceiptIsRefused) {
    oeffnen();
    auto const d = download();
    std::ofstream{d->fragt("scan.tiff").value()} << "II*";
    d->fertig();
    ASSERT_TRUE(laeuftBis([&] { return !ereignisse.empty() && leer(); }));
    EXPECT_EQ(
        ereignisse, Texte{ereignis("fehler", "Nur PDF- und Bildbelege werden automatisch übernommen.")});
}

TEST_F(PortalFensterTest, AFailedDownloadIsToldAndItsFolderRemoved) {
    oeffnen();
    auto const d = download();
    std::ofstream{d->fragt("r.pdf").value()} << "%PDF-1.4 halb";
    d->scheitert("Die Verbindung ist vor dem Ende der Datei abgebrochen.");
    EXPECT_EQ(
        ereignisse,
        Texte{ereignis(
            "fehler", "Download fehlgeschlagen: Die Verbindung ist vor dem Ende der Datei abgebrochen.")});
    EXPECT_TRUE(leer());
}

TEST_F(PortalFensterTest, ADownloadThatFailsBeforeItHasAPlaceIsTold) {
    oeffnen();
    download()->scheitert("HTTP 404");
    EXPECT_EQ(ereignisse, Texte{ereignis("fehler", "Download fehlgeschlagen: HTTP 404")});
}

TEST_F(PortalFensterTest, WithoutATemporaryFolderADownloadCannotBePrepared) {
    oeffnen();
    fs::remove_all(tmp.pfad());
    std::ofstream{tmp.pfad()} << "eine Datei an seiner Stelle";
    EXPECT_FALSE(download()->fragt("r.pdf"));
    EXPECT_EQ(ereignisse, Texte{ereignis("fehler", "Download konnte nicht vorbereitet werden.")});
    fs::remove(tmp.pfad());
}

TEST_F(PortalFensterTest, APageCannotStartDownloadsWithoutEnd) {
    oeffnen();
    std::vector<std::shared_ptr<werkzeug::DownloadAttrappe>> alle;
    for (std::size_t i = 0; i < portal::PortalFenster::hoechsteDownloads; ++i) {
        alle.push_back(download());
        EXPECT_TRUE(alle.back()->fragt("r.pdf"));
    }
    EXPECT_FALSE(download()->fragt("r.pdf"));
    EXPECT_EQ(ereignisse, Texte{ereignis("fehler", "Download konnte nicht vorbereitet werden.")});
    alle[0]->scheitert("x");
    EXPECT_TRUE(download()->fragt("r.pdf"));
}

TEST_F(PortalFensterTest, ADownloadThatFinishesAfterClosingIsStillUploadedButNotTold) {
    oeffnen();
    portal->zeigen();
    auto const d = download();
    std::ofstream{d->fragt("r.pdf").value()} << "%PDF-1.4";
    fenster().schliessen();
    schleife.laufen();
    d->fertig();
    ASSERT_TRUE(laeuftBis([&] { return leer() && schleife.wartende() == 0; }));
    EXPECT_EQ(server.anfragen().size(), 1U);
    EXPECT_EQ(ereignisse, Texte{ereignis("geschlossen", "Portal geschlossen")});
}

TEST_F(PortalFensterTest, ADownloadThatEndsAfterTheObjectLeavesNoFolder) {
    oeffnen();
    auto const a = download();
    auto const b = download();
    auto const c = download();
    std::ofstream{a->fragt("r.pdf").value()} << "%PDF-1.4";
    std::ofstream{b->fragt("r.pdf").value()} << "%PDF-1.4";
    portal.reset();
    a->fertig();
    b->scheitert("x");
    EXPECT_FALSE(c->fragt("r.pdf"));
    EXPECT_TRUE(leer());
    EXPECT_TRUE(server.anfragen().empty());
}

// ------------------------------------------------------------------------------------------- capture

TEST_F(PortalFensterTest, WithoutAPageThereIsNothingToCapture) {
    oeffnen();
    web().setzeAdresse(std::nullopt);
    leisten.angaben.gedrueckt();
    EXPECT_EQ(ereignisse, Texte{ereignis("fehler", "Im Portal ist noch keine Seite geöffnet.")});
    EXPECT_TRUE(leisten.knopfAktiv);
    EXPECT_TRUE(web().rufe.empty());
}

TEST_F(PortalFensterTest, TheButtonAsksThePageOnceAndRestsUntilItAnswers) {
    oeffnen();
    leisten.angaben.gedrueckt();
    EXPECT_FALSE(leisten.knopfAktiv);
    EXPECT_EQ(leisten.status, "Aktuelle PDF wird direkt aus dem Portal übernommen …");
    ASSERT_EQ(web().rufe.size(), 1U);
    EXPECT_EQ(web().rufe[0].rumpf, portal::erfassungsskript);
    EXPECT_TRUE(web().rufe[0].werte.empty());
    leisten.angaben.gedrueckt(); // a second click on its way
    EXPECT_EQ(web().rufe.size(), 1U);
    web().rufe[0].antwort(R"({"ok":false,"fehler":"Portal antwortet mit 403."})", {});
    EXPECT_TRUE(leisten.knopfAktiv);
    EXPECT_EQ(
        ereignisse, (Texte{
                        ereignis("wird_importiert", "Aktuelle PDF wird direkt aus dem Portal übernommen …"),
                        ereignis("fehler", "Portal antwortet mit 403.")}));
    leisten.angaben.gedrueckt();
    EXPECT_EQ(web().rufe.size(), 2U);
}

TEST_F(PortalFensterTest, AScriptThatFailsIsTold) {
    oeffnen();
    leisten.angaben.gedrueckt();
    web().rufe[0].antwort(std::nullopt, "Die Seite ist weg.\nGanz weg.");
    EXPECT_TRUE(leisten.knopfAktiv);
    EXPECT_EQ(
        ereignisse.back(),
        ereignis("fehler", "Die aktuelle PDF konnte nicht gelesen werden: Die Seite ist weg. Ganz weg."));
    EXPECT_EQ(leisten.ton, ports::Textton::fehler);
}

TEST_F(PortalFensterTest, APageThatIsNoPdfIsTold) {
    oeffnen();
    leisten.angaben.gedrueckt();
    web().rufe[0].antwort(R"({"ok":true,"daten":"PGh0bWw+","name":"invoice","mime":"text/html"})", {});
    EXPECT_EQ(
        ereignisse.back(),
        ereignis(
            "fehler",
            "Die aktuelle Seite ist keine PDF. Öffne zuerst die Rechnung oder nutze ihren Download-Knopf."));
    EXPECT_TRUE(leer());
}

TEST_F(PortalFensterTest, ACapturedPdfIsUploadedUnderANameThatEndsInPdf) {
    antwort = {.koerper = R"({"status":"Matched"})"};
    oeffnen(4711);
    leisten.angaben.gedrueckt();
    web().rufe[0].antwort(pdfAntwort, {});
    ASSERT_TRUE(laeuftBis([&] { return ereignisse.size() == 3 && leer(); }));
    EXPECT_EQ(
        ereignisse.back(), ereignis(
                               "importiert", "Beleg aus dem Portal übernommen und dieser Buchung zugeordnet.",
                               ",\"transaction_id\":4711"));
    auto const anfrage = server.anfragen().at(0);
    EXPECT_EQ(anfrage.pfad, "/transactions/4711/attach-receipt");
    EXPECT_NE(anfrage.koerper.find("filename=\"Rechnung 7.pdf\""), std::string::npos);
    EXPECT_NE(anfrage.koerper.find("\r\n\r\n%PDF-1.4\r\n"), std::string::npos);
}

TEST_F(PortalFensterTest, ACaptureThatCannotBeWrittenIsTold) {
    oeffnen();
    fs::remove_all(tmp.pfad());
    std::ofstream{tmp.pfad()} << "eine Datei an seiner Stelle";
    leisten.angaben.gedrueckt();
    web().rufe[0].antwort(pdfAntwort, {});
    EXPECT_EQ(
        ereignisse.back(),
        ereignis("fehler", "Die aktuelle PDF konnte nicht für den Import vorbereitet werden."));
    fs::remove(tmp.pfad());
}

TEST_F(PortalFensterTest, AnAnswerAfterClosingOrAfterTheEndDoesNothing) {
    oeffnen();
    portal->zeigen();
    leisten.angaben.gedrueckt();
    auto const spaet = web().rufe[0].antwort;
    fenster().schliessen();
    spaet(pdfAntwort, {});
    portal.reset();
    spaet(pdfAntwort, {});
    EXPECT_TRUE(leer());
    EXPECT_EQ(
        ereignisse.back(), ereignis("geschlossen", "Aktuelle PDF wird direkt aus dem Portal übernommen …"));
}

TEST_F(PortalFensterTest, AnUploadWhoseWindowClosesMeanwhileOnlyCleansUp) {
    antwort = {.haengen = true};
    oeffnen();
    portal->zeigen();
    auto const d = download();
    std::ofstream{d->fragt("r.pdf").value()} << "%PDF-1.4";
    d->fertig();
    ASSERT_TRUE(laeuftBis([&] { return server.anfragen().size() == 1 && ereignisse.size() == 1; }));
    fenster().schliessen();
    auto const bisher = ereignisse.size();
    versand.reset(); // ends the upload
    schleife.laufen();
    EXPECT_EQ(ereignisse.size(), bisher);
    EXPECT_TRUE(leer());
}
