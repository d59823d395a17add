#include "portalprobe.h"

namespace quillmate::portalprobe {
namespace {

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

TEST_F(PortalFensterTest, TitleAndBarNameTheHostOfTheCommittedPageAndTellALoadApart) {
    oeffnen();
    empfaenger().begonnen(web());
    EXPECT_EQ(leisten.adresse, "accounts.hetzner.example · lädt …") << "nothing is there yet";
    EXPECT_EQ(werk.buch->zeilen.back(), "fenster1 titel Belegportal — Hetzner · lädt …");
    EXPECT_TRUE(leisten.laedt);
    zeigt("https://Login.Portal.example:8443/a");
    EXPECT_EQ(leisten.adresse, "Sichere Verbindung · login.portal.example");
    EXPECT_EQ(werk.buch->zeilen.back(), "fenster1 titel Belegportal — Hetzner · login.portal.example");
    EXPECT_FALSE(leisten.laedt);
    web().setzeAdresse("https://bank.example/");
    empfaenger().begonnen(web());
    EXPECT_EQ(leisten.adresse, "Sichere Verbindung · login.portal.example · lädt …");
    EXPECT_EQ(
        werk.buch->zeilen.back(), "fenster1 titel Belegportal — Hetzner · login.portal.example · lädt …");
    empfaenger().geladen(web()); // of the page that is there
    EXPECT_EQ(leisten.adresse, "Sichere Verbindung · login.portal.example");
    zeigt("https://bank.example/");
    EXPECT_EQ(leisten.adresse, "Sichere Verbindung · bank.example");
    portal->hostZeigen("about:blank");
    EXPECT_EQ(leisten.adresse, "Sichere Verbindung · bank.example");
}

TEST_F(PortalFensterTest, AnEndedLoadLeavesTheShownPagesHost) {
    oeffnen();
    zeigt("https://portal.example/");
    web().setzeAdresse("https://bank.example/");
    empfaenger().begonnen(web());
    empfaenger().fehlgeschlagen(web(), {.bereich = "netz", .nummer = 302, .abgebrochen = true});
    EXPECT_EQ(leisten.adresse, "Sichere Verbindung · portal.example");
    EXPECT_EQ(werk.buch->zeilen.back(), "fenster1 titel Belegportal — Hetzner · portal.example");
}

TEST_F(PortalFensterTest, AHostThatCouldNotBeReachedIsNotCalledSecure) {
    oeffnen();
    zeigt("https://portal.example/");
    empfaenger().fehlgeschlagen(
        web(),
        {.bereich = "netz", .nummer = 3, .beschreibung = "Kein Netz.", .adresse = "https://bank.example/"});
    EXPECT_EQ(leisten.adresse, "Keine Verbindung · bank.example");
    // Our page takes the place of the one at that address.
    web().gesicherteSeiten = false;
    empfaenger().begonnen(web());
    zeigt("https://bank.example/");
    empfaenger().geladen(web());
    EXPECT_EQ(leisten.adresse, "Keine Verbindung · bank.example");
    EXPECT_EQ(werk.buch->zeilen.back(), "fenster1 titel Belegportal — Hetzner");
}

TEST_F(PortalFensterTest, APageWhoseServerHasProvenNothingIsNotCalledSecure) {
    oeffnen();
    web().gesicherteSeiten = false;
    zeigt("https://portal.example/");
    EXPECT_EQ(leisten.adresse, "Keine sichere Verbindung · portal.example");
}

TEST_F(PortalFensterTest, AHostOfForeignLettersStandsInItsAsciiForm) {
    oeffnen();
    zeigt("https://xn--pypal-4ve.example/");
    EXPECT_EQ(leisten.adresse, "Sichere Verbindung · xn--pypal-4ve.example");
    zeigt("https://xn--mller-kva.example/");
    EXPECT_EQ(leisten.adresse, "Sichere Verbindung · müller.example");
}

TEST_F(PortalFensterTest, TheBarsButtonsGoBackLoadAgainAndEndALoad) {
    oeffnen();
    EXPECT_FALSE(leisten.zurueckAktiv);
    web().verlauf = true;
    zeigt("https://portal.example/2");
    EXPECT_TRUE(leisten.zurueckAktiv);
    leisten.angaben.zurueck();
    EXPECT_EQ(werk.buch->zeilen.back(), "web1 zurueck");
    leisten.angaben.neuLaden();
    EXPECT_EQ(werk.buch->zeilen.back(), "web1 neuLaden");
    leisten.angaben.anhalten();
    EXPECT_EQ(werk.buch->zeilen.back(), "web1 anhalten");
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
        empfaenger().neuesFenster(web(), {.adresse = "https://portal.example/neu", .geste = 1}, verwandte),
        nullptr);
    EXPECT_EQ(werk.buch->zeilen.back(), "web1 anfrageUebernehmen") << "with method and body";
    EXPECT_EQ(leisten.status, "Downloads werden direkt in Quillmate übernommen.");
    auto const bisher = werk.buch->zeilen.size();
    EXPECT_EQ(empfaenger().neuesFenster(web(), {.adresse = "https://portal.example/neu"}, verwandte), nullptr)
        << "nobody has clicked";
    EXPECT_EQ(leisten.status, "Das Portal wollte ein eigenes Fenster öffnen. Das geht hier nicht.");
    for (auto const* const adresse :
         {"http://portal.example/", "about:blank", "blob:https://a/1", "mailto:a@b"})
        EXPECT_EQ(empfaenger().neuesFenster(web(), {.adresse = adresse, .geste = 1}, verwandte), nullptr);
    EXPECT_EQ(empfaenger().neuesFenster(web(), {.geste = 1}, verwandte), nullptr);
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
    web().gesicherteSeiten = false;
    empfaenger().begonnen(web());
    zeigt("https://boese.example/x?token=geheim");
    empfaenger().geladen(web());
    EXPECT_EQ(leisten.adresse, "Keine sichere Verbindung · boese.example");
    // The next page is.
    web().gesicherteSeiten = true;
    zeigt("https://portal.example/");
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
    EXPECT_EQ(leisten.ton, ports::Textton::laeuft);
    portal->melden(portal::Portalstatus::fehler, "B");
    EXPECT_EQ(leisten.ton, ports::Textton::fehler);
    portal->melden(portal::Portalstatus::importiert, "C");
    EXPECT_EQ(leisten.ton, ports::Textton::erfolg);
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

} // namespace
} // namespace quillmate::portalprobe
