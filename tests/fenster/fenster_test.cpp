#include "fensterprobe.h"

using namespace quillmate;
using namespace quillmate::fenstertest;

// --- construction ---------------------------------------------------------------------------------------------------

TEST_F(FensterTest, ConstructionShowsTheLoadingPageAndLoadsTheStartPage) {
    baue();
    EXPECT_THAT(
        buch(), ElementsAre(
                    "web1 neu", "fenster1 neu", "fenster1 titel Quillmate", "fenster1 inhalt",
                    "fenster1 groesseMerken QuillmateHauptfenster", "web1 ladenHtml",
                    "web1 laden https://quillmate.example/uebersicht 60"));
    EXPECT_THAT(web().htmls, ElementsAre(fenster::ladeseite()));
    EXPECT_EQ(aufbau, "[Quillmate] lade https://quillmate.example/uebersicht\n");
}

TEST_F(FensterTest, WindowHasItsSizeAndTheWebViewAsContent) {
    auto& fenster = baue();
    auto const& masse = werk.fensters.front()->masse;
    EXPECT_EQ(masse.breite, 1280);
    EXPECT_EQ(masse.hoehe, 860);
    EXPECT_EQ(masse.mindestbreite, 380);
    EXPECT_EQ(masse.mindesthoehe, 480);
    EXPECT_EQ(werk.fensters.front()->ansicht, &web());
    EXPECT_EQ(&fenster.web(), &web());
    EXPECT_EQ(&fenster.fenster(), werk.fensters.front());
    EXPECT_FALSE(werk.fensters.front()->sichtbar());
    fenster.zeigen();
    EXPECT_TRUE(werk.fensters.front()->sichtbar());
}

TEST_F(FensterTest, WebViewKeepsItsDataAndHasBridgeScriptHandlerAndGestures) {
    baue();
    auto const& einrichtung = werk.einrichtungen.front();
    EXPECT_EQ(einrichtung.datenhaltung, ports::Webansicht::Einrichtung::Datenhaltung::hauptfenster);
    ASSERT_EQ(einrichtung.skripte.size(), 1U);
    EXPECT_EQ(
        einrichtung.skripte.front().quelltext,
        bruecke::einspielungsskript(
            {.kurzfassung = "1.2", .buildnummer = "3", .ort = "programme", .umzugNoetig = false}));
    EXPECT_TRUE(einrichtung.skripte.front().nurHauptrahmen);
    EXPECT_EQ(einrichtung.nachrichtenname, "quillmate");
    EXPECT_TRUE(einrichtung.wischgesten);
}

TEST_F(FensterTest, MessagesReachTheBridgeWhichAnswersInTheMainView) {
    baue();
    auto const& nachrichten = werk.einrichtungen.front().nachrichten;
    nachrichten(R"({"aktion":"suchStand","id":7})", seite);
    schleife.laufen();
    ASSERT_EQ(web().zustellungen.size(), 1U);
    EXPECT_EQ(web().zustellungen.front().funktion, "__quillmateAntwort");
    EXPECT_THAT(web().zustellungen.front().werte, HasSubstr("[7,{\"laeuft\":false"));
}

TEST_F(FensterTest, MessagesAfterTheEndReachNobody) {
    baue();
    auto const nachrichten = werk.einrichtungen.front().nachrichten;
    haupt.reset();
    nachrichten(R"({"aktion":"suchStand","id":7})", seite);
    EXPECT_EQ(schleife.laufen(), 0U);
}

TEST_F(FensterTest, TheStartPageMayBeOnAForeignHost) {
    start = "http://127.0.0.1:8080/uebersicht";
    baue();
    EXPECT_EQ(buch().back(), "web1 laden http://127.0.0.1:8080/uebersicht 60");
    EXPECT_EQ(aufbau, "[Quillmate] lade http://127.0.0.1:8080/uebersicht\n");
}

TEST_F(FensterTest, EachWindowEndsBeforeTheViewInIt) {
    baue();
    neuesFenster("https://quillmate.example/belege");
    buch().clear();
    haupt.reset();
    EXPECT_THAT(buch(), ElementsAre("fenster2 weg", "web2 weg", "fenster1 weg", "web1 weg"));
}

// --- the menu's commands --------------------------------------------------------------------------------------------

TEST_F(FensterTest, ReloadReloadsThePageOrLoadsTheStartPageWhereThereIsNone) {
    auto& fenster = baue();
    fenster.neuLaden();
    EXPECT_EQ(buch().back(), "web1 neuLaden");
    web().setzeAdresse(std::nullopt);
    fenster.neuLaden();
    EXPECT_EQ(buch().back(), "web1 laden https://quillmate.example/uebersicht 60");
}

TEST_F(FensterTest, ReloadWithTheErrorPageTriesThePageThatFailed) {
    auto& fenster = baue();
    web().setzeAdresse("https://quillmate.example/belege");
    auto fehler = netzfehler();
    fehler.adresse = "https://quillmate.example/bank";
    (void)fehlerausgabe([&] { engine().fehlgeschlagen(web(), fehler); });
    EXPECT_EQ(buch().back(), "web1 ladenErsatz https://quillmate.example/bank");
    fenster.neuLaden();
    EXPECT_EQ(buch().back(), "web1 neuLaden");
}

TEST_F(FensterTest, TheErrorPageNeverStandsForAnAddressThatNoViewCanLoad) {
    baue();
    for (auto const* const adresse : {"mailto:a@b.test", "", "about:blank"}) {
        auto fehler = netzfehler();
        fehler.adresse = adresse;
        web().setzeAdresse("https://quillmate.example/belege");
        (void)fehlerausgabe([&] { engine().fehlgeschlagen(web(), fehler); });
        EXPECT_EQ(buch().back(), "web1 ladenErsatz https://quillmate.example/belege") << adresse;
        web().setzeAdresse(adresse);
        (void)fehlerausgabe([&] { engine().fehlgeschlagen(web(), fehler); });
        EXPECT_EQ(buch().back(), "web1 ladenErsatz https://quillmate.example/uebersicht") << adresse;
    }
}

TEST_F(FensterTest, BackForwardAndPrintGoToTheMainView) {
    auto& fenster = baue();
    neuesFenster("https://quillmate.example/belege");
    fenster.zurueck();
    EXPECT_EQ(buch().back(), "web1 zurueck");
    fenster.vorwaerts();
    EXPECT_EQ(buch().back(), "web1 vorwaerts");
    fenster.drucken();
    EXPECT_EQ(buch().back(), "web1 drucken");
    EXPECT_EQ(web().druckfenster, werk.fensters.front());
}

TEST_F(FensterTest, AFailureOfPrintingIsLoggedAndAnnounced) {
    baue();
    EXPECT_EQ(
        fehlerausgabe([&] { engine().druckGescheitert(web(), "Der Drucker wurde nicht gefunden."); }),
        "[Quillmate] Drucken fehlgeschlagen: Der Drucker wurde nicht gefunden.\n");
    schleife.laufen();
    EXPECT_EQ(
        meldungen().back(),
        fenster::meldeskript("Das Drucken hat nicht geklappt: Der Drucker wurde nicht gefunden.", false));
}

// --- where navigations may go ---------------------------------------------------------------------------------------

TEST_F(FensterTest, ALinkWithTheAttributeDownloadIsDownloaded) {
    baue();
    for (auto const* const adresse : {"https://fremd.test/a.pdf", "https://fremd.test/auth/google/login"})
        EXPECT_EQ(
            engine().beiNavigation(
                web(),
                {.adresse = adresse, .art = Navigationsart::link, .alsDownload = true, .geste = geste()}),
            Entscheidung::herunterladen);
    EXPECT_THAT(browser.geoeffnet, IsEmpty());
}

TEST_F(FensterTest, SignInAddressesNeverLoadWhateverLeadsToThem) {
    std::vector<std::string> google;
    std::vector<std::string> bank;
    anmeldung = {
        .anmeldenMitGoogle = [&](std::string const& adresse) { google.push_back(adresse); },
        .bankVerbinden =
            [&](std::string const& adresse) {
                bank.push_back(adresse);
            }};
    baue();
    for (auto const art :
         {Navigationsart::link, Navigationsart::formular, Navigationsart::verlauf, Navigationsart::neuladen,
          Navigationsart::anderes})
        for (bool const umgeleitet : {false, true})
            for (auto const* const wirt : {"https://quillmate.example", "https://evil.test"}) {
                EXPECT_EQ(
                    navigation(std::string{wirt} + "/auth/google/login?a=b", art, umgeleitet),
                    Entscheidung::abbrechen);
                EXPECT_EQ(
                    navigation(std::string{wirt} + "/auth/enable-banking/start", art, umgeleitet),
                    Entscheidung::abbrechen);
            }
    EXPECT_EQ(google.size(), 10U) << "those of others are asked about";
    EXPECT_EQ(google.front(), "https://quillmate.example/auth/google/login?a=b");
    EXPECT_EQ(bank.size(), 10U);
    EXPECT_EQ(bank.front(), "https://quillmate.example/auth/enable-banking/start");
    EXPECT_THAT(browser.geoeffnet, IsEmpty());
}

TEST_F(FensterTest, WithoutSignInTheAddressIsStillNotLoaded) {
    baue();
    auto const zeilen = fehlerausgabe([&] {
        EXPECT_EQ(navigation("https://quillmate.example/auth/google/login"), Entscheidung::abbrechen);
    });
    EXPECT_THAT(zeilen, HasSubstr("nicht verfügbar"));
}

TEST_F(FensterTest, ClickedLinksToOwnPagesStay) {
    baue();
    EXPECT_EQ(navigation("https://quillmate.example/belege/"), Entscheidung::zulassen);
    EXPECT_EQ(navigation("https://www.quillmate.example/?token=a&client=7"), Entscheidung::zulassen);
    EXPECT_THAT(browser.geoeffnet, IsEmpty());
}

TEST_F(FensterTest, ClickedLinksToOtherPagesGoToTheBrowser) {
    baue();
    std::vector<std::string> const fremde{
        "https://quillmate.example/",
        "https://quillmate.example/?client=&token=a",
        "https://quillmate.example/datenschutz",
        "https://sub.quillmate.example/belege",
        "https://fremd.test/belege",
        "mailto:hilfe@quillmate.example",
        "tel:+49123"};
    for (auto const& adresse : fremde)
        EXPECT_EQ(navigation(adresse), Entscheidung::abbrechen) << adresse;
    EXPECT_EQ(browser.geoeffnet, fremde);
}

TEST_F(FensterTest, ALinkWithoutAddressIsAllowed) {
    baue();
    EXPECT_EQ(navigation(std::nullopt), Entscheidung::zulassen);
    EXPECT_THAT(browser.geoeffnet, IsEmpty());
}

TEST_F(FensterTest, WhatIsNoClickStaysWhereverItLeads) {
    baue();
    for (auto const art :
         {Navigationsart::formular, Navigationsart::verlauf, Navigationsart::neuladen,
          Navigationsart::anderes})
        for (auto const* const adresse :
             {"https://fremd.test/x", "https://quillmate.example/datenschutz", "about:blank"})
            EXPECT_EQ(navigation(adresse, art), Entscheidung::zulassen) << adresse;
    EXPECT_THAT(browser.geoeffnet, IsEmpty());
}

TEST_F(FensterTest, WhereAServerRedirectsAClickedLinkToIsNoClick) {
    baue();
    EXPECT_EQ(
        navigation("https://bezahlen.test/kasse", Navigationsart::link, /*umgeleitet=*/true),
        Entscheidung::zulassen);
    EXPECT_THAT(browser.geoeffnet, IsEmpty());
}

TEST_F(FensterTest, AnswersThatTheViewCanShowAreShown) {
    baue();
    for (auto const* const kopf : {"", "inline", "inline; filename=\"x.pdf\"", "form-data"})
        EXPECT_EQ(antwort(kopf), Entscheidung::zulassen) << kopf;
}

TEST_F(FensterTest, AttachmentsAreDownloadedAlsoWhenTheViewCouldShowThem) {
    baue();
    for (auto const* const kopf :
         {"attachment", "Attachment; filename=x.pdf", "ATTACHMENT", "inline; x=attachment",
          "\xFF attachment"})
        EXPECT_EQ(antwort(kopf), Entscheidung::herunterladen) << kopf;
}

TEST_F(FensterTest, TypesThatTheViewCannotShowAreDownloadedWithoutHeader) {
    baue();
    EXPECT_EQ(antwort("", /*darstellbar=*/false), Entscheidung::herunterladen);
    EXPECT_EQ(antwort("inline", /*darstellbar=*/false), Entscheidung::herunterladen);
}

// --- loads ----------------------------------------------------------------------------------------------------------

TEST_F(FensterTest, AFinishedLoadIsLoggedWithItsAddress) {
    baue();
    EXPECT_EQ(
        fehlerausgabe([&] { engine().geladen(web()); }),
        "[Quillmate] geladen: https://quillmate.example/uebersicht\n");
    web().setzeAdresse(std::nullopt);
    EXPECT_EQ(fehlerausgabe([&] { engine().geladen(web()); }), "[Quillmate] geladen: -\n");
}

TEST_F(FensterTest, ACancelledLoadIsSilent) {
    baue();
    auto const vorher = buch().size();
    auto fehler = netzfehler();
    fehler.abgebrochen = true;
    EXPECT_EQ(fehlerausgabe([&] { engine().fehlgeschlagen(web(), fehler); }), "");
    EXPECT_EQ(fehlerausgabe([&] { haupt->zeigeHinweis(fehler); }), "");
    EXPECT_EQ(buch().size(), vorher);
}

TEST_F(FensterTest, AFailedLoadIsLoggedAndShown) {
    baue();
    web().setzeAdresse(std::nullopt);
    EXPECT_EQ(
        fehlerausgabe([&] { engine().fehlgeschlagen(web(), netzfehler("a<b & c>")); }),
        "[Quillmate] FEHLER netz -1009: a<b & c>\n");
    EXPECT_EQ(web().htmls.back(), fenster::fehlerseite("a<b & c>"));
    EXPECT_THAT(web().htmls.back(), HasSubstr("a&lt;b &amp; c>"));
    EXPECT_EQ(buch().back(), "web1 ladenErsatz https://quillmate.example/uebersicht");
}

TEST_F(FensterTest, AFailureInAChildWindowIsToldInItAndNotInTheMainView) {
    baue();
    auto* const neben = neuesFenster("https://quillmate.example/belege");
    web().setzeAdresse("https://quillmate.example/bank");
    auto fehler = netzfehler("a<b");
    fehler.adresse = "https://quillmate.example/kaputt";
    EXPECT_EQ(
        fehlerausgabe([&] { engine().fehlgeschlagen(*neben, fehler); }),
        "[Quillmate] FEHLER netz -1009: a<b\n");
    EXPECT_EQ(buch().back(), "web2 ladenErsatz https://quillmate.example/kaputt");
    EXPECT_EQ(werk.ansichten.back()->htmls.back(), fenster::fehlerseite("a<b"));
    EXPECT_EQ(web().htmls.size(), 1U) << "the loading page";
}

TEST_F(FensterTest, ALateFailureOfAClosedChildWindowIsNobodysBusiness) {
    baue();
    auto* const neben = neuesFenster("https://quillmate.example/belege");
    werk.fensters.back()->schliessen();
    auto const vorher = buch().size();
    EXPECT_EQ(fehlerausgabe([&] { engine().fehlgeschlagen(*neben, netzfehler()); }), "");
    EXPECT_EQ(buch().size(), vorher);
}

TEST_F(FensterTest, ADescriptionCannotForgeLogLines) {
    baue();
    auto const zeile = fehlerausgabe(
        [&] { engine().fehlgeschlagen(web(), netzfehler("a\n[Quillmate] b" + std::string(100'000, 'x'))); });
    EXPECT_EQ(std::ranges::count(zeile, '\n'), 1);
    EXPECT_LT(zeile.size(), 2000U);
}

// --- the web process ------------------------------------------------------------------------------------------------

TEST_F(FensterTest, AfterTheFirstDeathThePageIsLoadedAgain) {
    baue();
    EXPECT_EQ(
        fehlerausgabe([&] { engine().prozessGestorben(web(), "abgestürzt"); }),
        "[Quillmate] Webprozess beendet (abgestürzt): die Seite wird neu geladen\n");
    EXPECT_EQ(buch().back(), "web1 neuLaden");
}

TEST_F(FensterTest, WithoutPageTheStartPageIsLoadedAfterADeath) {
    baue();
    web().setzeAdresse(std::nullopt);
    (void)fehlerausgabe([&] { engine().prozessGestorben(web(), "abgestürzt"); });
    EXPECT_EQ(buch().back(), "web1 laden https://quillmate.example/uebersicht 60");
}

TEST_F(FensterTest, ASecondDeathWithinAMinuteShowsTheErrorPage) {
    baue();
    (void)fehlerausgabe([&] { engine().prozessGestorben(web(), "abgestürzt"); });
    welt.uhr.vor(std::chrono::seconds{59});
    EXPECT_EQ(
        fehlerausgabe([&] { engine().prozessGestorben(web(), "abgestürzt"); }),
        "[Quillmate] Webprozess erneut beendet (abgestürzt): die Fehlerseite wird gezeigt\n");
    EXPECT_EQ(buch().back(), "web1 ladenErsatz https://quillmate.example/uebersicht");
    EXPECT_EQ(web().htmls.back(), fenster::absturzseite("abgestürzt"));
}

TEST_F(FensterTest, ADeathLongAfterTheReloadGetsAReloadOfItsOwn) {
    baue();
    for (int i = 0; i < 5; ++i) {
        EXPECT_THAT(
            fehlerausgabe([&] { engine().prozessGestorben(web(), "abgestürzt"); }), HasSubstr("neu geladen"));
        EXPECT_EQ(buch().back(), "web1 neuLaden");
        welt.uhr.vor(std::chrono::seconds{60});
    }
    EXPECT_EQ(web().htmls.size(), 1U); // the loading page
}

TEST_F(FensterTest, WhereNoProcessCanLiveThereIsNoEndlessLoop) {
    baue();
    auto const zeilen = fehlerausgabe([&] {
        for (int i = 0; i < 100; ++i)
            engine().prozessGestorben(web(), "abgestürzt");
    });
    EXPECT_EQ(std::ranges::count(buch(), "web1 neuLaden"), 1);
    EXPECT_EQ(web().htmls.size(), 1U + 3U);
    EXPECT_THAT(zeilen, HasSubstr("die Ansicht bleibt leer"));
}

TEST_F(FensterTest, AChildWindowsDeathIsItsOwn) {
    baue();
    auto* const neben = neuesFenster("https://quillmate.example/belege");
    (void)fehlerausgabe([&] {
        engine().prozessGestorben(web(), "abgestürzt");
        EXPECT_EQ(buch().back(), "web1 neuLaden");
        engine().prozessGestorben(*neben, "abgestürzt");
        EXPECT_EQ(buch().back(), "web2 neuLaden");
        engine().prozessGestorben(*neben, "abgestürzt");
        EXPECT_EQ(buch().back(), "web2 ladenErsatz https://quillmate.example/uebersicht");
    });
    EXPECT_EQ(web().htmls.size(), 1U);
}

TEST_F(FensterTest, NobodyLoadsAClosedWindowAgain) {
    baue();
    auto* const neben = neuesFenster("https://quillmate.example/belege");
    werk.fensters.back()->schliessen();
    auto const vorher = buch().size();
    EXPECT_EQ(fehlerausgabe([&] { engine().prozessGestorben(*neben, "abgestürzt"); }), "");
    EXPECT_EQ(buch().size(), vorher);
}

// --- child windows --------------------------------------------------------------------------------------------------

TEST_F(FensterTest, AnOwnPageGetsAChildWindow) {
    auto& fenster = baue();
    buch().clear();
    auto* const neben = neuesFenster("https://quillmate.example/belege");
    ASSERT_EQ(neben, werk.ansichten.back());
    EXPECT_THAT(
        buch(),
        ElementsAre(
            "web2 neu", "fenster2 neu", "fenster2 titel Quillmate", "fenster2 inhalt", "fenster2 zeigen"));
    EXPECT_EQ(werk.fensters.back()->masse.breite, 900);
    EXPECT_EQ(werk.fensters.back()->masse.hoehe, 1000);
    EXPECT_EQ(werk.fensters.back()->ansicht, neben);
    EXPECT_EQ(fenster.nebenfensterzahl(), 1U);
    EXPECT_THAT(browser.geoeffnet, IsEmpty());
}

TEST_F(FensterTest, AForeignWebPageOpensTheBrowserAndNoWindow) {
    auto& fenster = baue();
    for (auto const* const adresse : {"https://fremd.test/x", "http://sub.quillmate.example/belege"})
        EXPECT_EQ(neuesFenster(adresse), nullptr) << adresse;
    EXPECT_EQ(browser.geoeffnet.size(), 2U);
    EXPECT_EQ(neuesFenster("httpx://quillmate.test/"), nullptr) << "asked about";
    EXPECT_EQ(dialoge.gefragt.size(), 1U);
    EXPECT_EQ(fenster.nebenfensterzahl(), 0U);
    EXPECT_EQ(werk.fensters.size(), 1U);
}

TEST_F(FensterTest, AnyPageOfAnOwnHostGetsAChildWindow) {
    auto& fenster = baue();
    EXPECT_NE(neuesFenster("https://quillmate.example/datenschutz"), nullptr);
    EXPECT_NE(neuesFenster("https://quillmate.example/"), nullptr);
    EXPECT_EQ(fenster.nebenfensterzahl(), 2U);
    EXPECT_THAT(browser.geoeffnet, IsEmpty());
}

TEST_F(FensterTest, WhatIsNoWebAddressGetsAChildWindow) {
    baue();
    EXPECT_NE(neuesFenster(std::nullopt), nullptr);
    EXPECT_NE(neuesFenster("about:blank"), nullptr);
    EXPECT_NE(neuesFenster("mailto:a@b.test"), nullptr);
    EXPECT_NE(neuesFenster("blob:https://quillmate.example/1"), nullptr);
    EXPECT_THAT(browser.geoeffnet, IsEmpty());
}

TEST_F(FensterTest, ARequestForAnExistingFrameGetsAChildWindowWhereverItLeads) {
    baue();
    EXPECT_NE(neuesFenster("https://fremd.test/", /*zielrahmen=*/true), nullptr);
    EXPECT_THAT(browser.geoeffnet, IsEmpty());
}

TEST_F(FensterTest, TheSameRulesHoldInAChildWindow) {
    baue();
    neuesFenster("https://quillmate.example/belege");
    auto& neben = *werk.ansichten.back();
    EXPECT_EQ(&neben.empfaenger(), &engine());
    EXPECT_EQ(
        neben.empfaenger().beiNavigation(
            neben, {.adresse = "https://fremd.test/", .art = Navigationsart::link, .geste = geste()}),
        Entscheidung::abbrechen);
    EXPECT_THAT(browser.geoeffnet, ElementsAre("https://fremd.test/"));
}

TEST_F(FensterTest, ClosedChildWindowsStayUntilTheEnd) {
    auto& fenster = baue();
    for (int i = 0; i < 3; ++i)
        neuesFenster("https://quillmate.example/belege");
    werk.fensters[1]->schliessen();
    neuesFenster("https://quillmate.example/belege");
    EXPECT_EQ(fenster.nebenfensterzahl(), 4U);
    EXPECT_THAT(buch(), Not(testing::Contains("web2 weg")));
}

TEST_F(FensterTest, AScriptClosesItsChildWindowButNotTheMainWindow) {
    auto& fenster = baue();
    fenster.zeigen();
    auto* const neben = neuesFenster("https://quillmate.example/belege");
    engine().schliessen(*neben);
    EXPECT_FALSE(werk.fensters.back()->sichtbar());
    engine().schliessen(web());
    EXPECT_TRUE(werk.fensters.front()->sichtbar());
}

TEST_F(FensterTest, WhereNoViewCanBeMadeThereIsNoWindow) {
    auto& fenster = baue();
    EXPECT_EQ(
        engine().neuesFenster(
            web(), {.adresse = "https://quillmate.example/belege"},
            [](ports::Webansicht::Empfaenger&) { return nullptr; }),
        nullptr);
    EXPECT_EQ(fenster.nebenfensterzahl(), 0U);
}

// --- dialogs --------------------------------------------------------------------------------------------------------

TEST_F(FensterTest, AlertIsASheetOfTheMainWindowWithOneButton) {
    baue();
    int fertig = 0;
    engine().hinweis(web(), "Achtung", [&] { ++fertig; });
    ASSERT_EQ(dialoge.gefragt.size(), 1U);
    auto const& gefragt = dialoge.gefragt.front();
    EXPECT_EQ(gefragt.fenster, werk.fensters.front());
    EXPECT_EQ(gefragt.frage.meldung, "Quillmate");
    EXPECT_EQ(gefragt.frage.erklaerung, "Achtung");
    EXPECT_THAT(gefragt.frage.knoepfe, ElementsAre("OK"));
    EXPECT_EQ(fertig, 0);
    gefragt.antwort({.knopf = 0});
    EXPECT_EQ(fertig, 1);
}

TEST_F(FensterTest, ConfirmIsTrueOnlyForTheFirstButton) {
    baue();
    std::vector<bool> antworten;
    for (int i = 0; i < 2; ++i)
        engine().bestaetigung(web(), "Sicher?", [&](bool ja) { antworten.push_back(ja); });
    ASSERT_EQ(dialoge.gefragt.size(), 2U);
    EXPECT_EQ(dialoge.gefragt.front().frage.meldung, "Quillmate");
    EXPECT_EQ(dialoge.gefragt.front().frage.erklaerung, "Sicher?");
    EXPECT_THAT(dialoge.gefragt.front().frage.knoepfe, ElementsAre("OK", "Abbrechen"));
    dialoge.gefragt[0].antwort({.knopf = 0});
    dialoge.gefragt[1].antwort({.knopf = 1});
    EXPECT_THAT(antworten, ElementsAre(true, false));
}

TEST_F(FensterTest, PromptAnswersTheFieldsTextOrNothing) {
    baue();
    std::vector<std::optional<std::string>> antworten;
    for (int i = 0; i < 3; ++i)
        engine().eingabe(web(), "Name?", "Vorgabe", [&](std::optional<std::string> const& text) {
            antworten.push_back(text);
        });
    ASSERT_EQ(dialoge.gefragt.size(), 3U);
    EXPECT_EQ(dialoge.gefragt.front().fenster, werk.fensters.front());
    EXPECT_EQ(dialoge.gefragt.front().frage.meldung, "Quillmate");
    EXPECT_EQ(dialoge.gefragt.front().frage.erklaerung, "Name?");
    EXPECT_THAT(dialoge.gefragt.front().frage.knoepfe, ElementsAre("OK", "Abbrechen"));
    EXPECT_EQ(dialoge.gefragt.front().vorgabe, "Vorgabe");
    dialoge.gefragt[0].eingabe("Anna");
    dialoge.gefragt[1].eingabe("");
    dialoge.gefragt[2].eingabe(std::nullopt);
    EXPECT_THAT(antworten, ElementsAre("Anna", "", std::nullopt));
}

TEST_F(FensterTest, AChildWindowsDialogsAreSheetsOfTheMainWindow) {
    baue();
    auto* const neben = neuesFenster("https://quillmate.example/belege");
    engine().hinweis(*neben, "a", [] {});
    engine().bestaetigung(*neben, "b", [](bool) {});
    engine().eingabe(*neben, "c", "", [](std::optional<std::string> const&) {});
    for (auto const& gefragt : dialoge.gefragt)
        EXPECT_EQ(gefragt.fenster, werk.fensters.front());
}

TEST_F(FensterTest, APagesEndlessTextIsCutInADialog) {
    baue();
    engine().hinweis(web(), std::string(10'000'000, 'x') + "\xFF", [] {});
    EXPECT_LT(dialoge.gefragt.front().frage.erklaerung.size(), 10'000U);
    engine().hinweis(web(), "Zeile 1\nZeile 2 \xFF", [] {});
    EXPECT_EQ(dialoge.gefragt.back().frage.erklaerung, "Zeile 1\nZeile 2 \xEF\xBF\xBD");
}

TEST_F(FensterTest, AFileInputIsAnsweredWithTheChosenFilesOrNothing) {
    baue();
    std::vector<std::optional<std::vector<std::string>>> antworten;
    auto const sammle = [&](std::optional<std::vector<std::string>> const& pfade) {
        antworten.push_back(pfade);
    };
    engine().dateienWaehlen(
        web(), {.ordner = false, .mehrere = true, .mimetypen = {"application/pdf"}}, sammle);
    engine().dateienWaehlen(web(), {.ordner = true, .mehrere = false, .mimetypen = {}}, sammle);
    ASSERT_EQ(dialoge.dateifragen.size(), 2U);
    EXPECT_EQ(dialoge.dateifragen[0].wahl.ueber, werk.fensters.front()) << "it would slip behind the window";
    EXPECT_FALSE(dialoge.dateifragen[0].wahl.ordner);
    EXPECT_TRUE(dialoge.dateifragen[0].wahl.mehrere);
    EXPECT_THAT(dialoge.dateifragen[0].wahl.mimetypen, ElementsAre("application/pdf"));
    EXPECT_TRUE(dialoge.dateifragen[1].wahl.ordner);
    EXPECT_FALSE(dialoge.dateifragen[1].wahl.mehrere);
    dialoge.dateifragen[0].antwort(std::vector<std::string>{"/a.pdf", "/b.pdf"});
    dialoge.dateifragen[1].antwort(std::nullopt);
    ASSERT_EQ(antworten.size(), 2U);
    EXPECT_THAT(antworten[0].value(), ElementsAre("/a.pdf", "/b.pdf"));
    EXPECT_FALSE(antworten[1]);
}

// --- portals --------------------------------------------------------------------------------------------------------

class PortalTest : public FensterTest {
protected:
    PortalTest() {
        portale.nachschlagen = [](std::string_view kennung) -> std::optional<fenster::Portaleintrag> {
            if (kennung != "laden")
                return std::nullopt;
            return fenster::Portaleintrag{
                .kennung = "laden", .name = "Laden", .adresse = "https://laden.test/"};
        };
        portale.erfragen = [this](std::optional<std::string> const& name) {
            gefragt.push_back(name);
            if (waehrenddessen)
                waehrenddessen();
            return eingegeben;
        };
        portale.fenster = [this](fenster::Portalauftrag auftrag) -> std::unique_ptr<fenster::Portalansicht> {
            auftraege.push_back(std::move(auftrag));
            sichtbarkeiten.push_back(std::make_unique<bool>(false));
            return std::make_unique<PortalAttrappe>(*sichtbarkeiten.back());
        };
    }
    Json oeffne(std::string const& kennung) {
        return haupt->portalOeffnen({.kennung = kennung, .clientId = 5, .token = "t"});
    }

    std::vector<std::optional<std::string>> gefragt;
    std::function<void()> waehrenddessen;
    std::optional<fenster::Portaleintrag> eingegeben;
    std::vector<fenster::Portalauftrag> auftraege;
    std::vector<std::unique_ptr<bool>> sichtbarkeiten;
};

TEST_F(PortalTest, AnIncompleteAccessIsRefusedBeforeThePortalIsLookedUp) {
    portale.nachschlagen = [](std::string_view) -> std::optional<fenster::Portaleintrag> {
        ADD_FAILURE();
        return std::nullopt;
    };
    auto& fenster = baue();
    Json const erwartet{{"fehler", "Der Projektzugang ist unvollständig."}};
    EXPECT_EQ(fenster.portalOeffnen({.kennung = "laden", .clientId = 0, .token = "t"}), erwartet);
    EXPECT_EQ(fenster.portalOeffnen({.kennung = "laden", .clientId = -1, .token = "t"}), erwartet);
    EXPECT_EQ(fenster.portalOeffnen({.kennung = "laden", .clientId = 5, .token = ""}), erwartet);
}

TEST_F(PortalTest, AKnownPortalIsOpenedWithAllThatItNeeds) {
    auto& fenster = baue();
    EXPECT_EQ(
        fenster.portalOeffnen(
            {.kennung = "laden", .clientId = 5, .token = "t", .name = "egal", .transactionId = 9}),
        (Json{{"geoeffnet", true}}));
    ASSERT_EQ(auftraege.size(), 1U);
    EXPECT_EQ(auftraege.front().portal.name, "Laden");
    EXPECT_EQ(auftraege.front().clientId, 5);
    EXPECT_EQ(auftraege.front().token, "t");
    EXPECT_EQ(auftraege.front().basis.text(), startseite);
    EXPECT_EQ(auftraege.front().transactionId, 9);
    EXPECT_TRUE(*sichtbarkeiten.front());
    EXPECT_THAT(gefragt, IsEmpty());
}

TEST_F(PortalTest, AnUnknownPortalIsLoggedAndRefused) {
    baue();
    Json antwort;
    EXPECT_EQ(
        fehlerausgabe([&] { antwort = oeffne("boese\nzeile"); }),
        "[Quillmate] unbekanntes Portal 'boese zeile' abgewiesen\n");
    EXPECT_EQ(antwort, (Json{{"fehler", "Dieses Portal wird von dieser App-Fassung nicht unterstützt."}}));
    EXPECT_THAT(gefragt, IsEmpty());
}

TEST_F(PortalTest, AnotherPortalsAddressIsAskedFor) {
    auto& fenster = baue();
    eingegeben = {.kennung = "weiteres", .name = "Mein Laden", .adresse = "https://mein.test/"};
    EXPECT_EQ(
        fenster.portalOeffnen({.kennung = "weiteres", .clientId = 5, .token = "t", .name = "Laden"}),
        (Json{{"geoeffnet", true}}));
    EXPECT_THAT(gefragt, ElementsAre("Laden"));
    EXPECT_EQ(auftraege.front().portal.adresse, "https://mein.test/");
}

TEST_F(PortalTest, CancelledEntryOpensNothing) {
    auto& fenster = baue();
    EXPECT_EQ(oeffne("weiteres"), (Json{{"abgebrochen", true}}));
    EXPECT_THAT(gefragt, ElementsAre(std::nullopt));
    EXPECT_EQ(fenster.portalfensterzahl(), 0U);
}

TEST_F(PortalTest, WhileAnAddressIsAskedForNoSecondQuestionComes) {
    baue();
    waehrenddessen = [&] {
        EXPECT_EQ(oeffne("weiteres"), (Json{{"abgebrochen", true}}));
    };
    EXPECT_EQ(oeffne("weiteres"), (Json{{"abgebrochen", true}}));
    EXPECT_EQ(gefragt.size(), 1U);
    waehrenddessen = {};
    (void)oeffne("weiteres");
    EXPECT_EQ(gefragt.size(), 2U);
}

TEST_F(PortalTest, TheWindowMayEndWhileAnAddressIsAskedFor) {
    baue();
    auto const nachrichten = werk.einrichtungen.front().nachrichten;
    eingegeben = {.kennung = "weiteres", .name = "Laden", .adresse = "https://laden.test/"};
    waehrenddessen = [&] {
        haupt.reset();
    };
    EXPECT_EQ(oeffne("weiteres"), (Json{{"fehler", "Das Hauptfenster ist nicht mehr verfügbar."}}));
    EXPECT_THAT(auftraege, IsEmpty());
}

TEST_F(PortalTest, EveryCallOpensAWindowAndClosedOnesAreLetGo) {
    auto& fenster = baue();
    for (int i = 0; i < 3; ++i)
        (void)oeffne("laden");
    EXPECT_EQ(fenster.portalfensterzahl(), 3U);
    *sichtbarkeiten[1] = false;
    EXPECT_EQ(fenster.portalfensterzahl(), 3U); // only the next opening looks
    (void)oeffne("laden");
    EXPECT_EQ(fenster.portalfensterzahl(), 3U);
    *sichtbarkeiten[0] = false;
    (void)fehlerausgabe([&] { (void)oeffne("fremd"); });
    EXPECT_EQ(fenster.portalfensterzahl(), 3U);
}

TEST_F(PortalTest, ThePageOpensPortalsThroughTheBridge) {
    baue();
    werk.einrichtungen.front().nachrichten(
        R"({"aktion":"portalOeffnen","id":1,"kennung":"laden","client_id":5,"token":"t"})", seite);
    schleife.laufen();
    EXPECT_THAT(
        web().zustellungen, ElementsAre(Zustellung{"__quillmateAntwort", R"([1,{"geoeffnet":true}])"}));
}

TEST_F(PortalTest, TheWindowMayEndWhileThePageWaitsForAPortal) {
    baue();
    auto const nachrichten = werk.einrichtungen.front().nachrichten;
    eingegeben = {.kennung = "weiteres", .name = "Laden", .adresse = "https://laden.test/"};
    waehrenddessen = [&] {
        haupt.reset();
    };
    nachrichten(R"({"aktion":"portalOeffnen","id":1,"kennung":"weiteres","client_id":5,"token":"t"})", seite);
    EXPECT_EQ(gefragt.size(), 1U);
    EXPECT_THAT(auftraege, IsEmpty()) << "a portal's window without a main window";
    EXPECT_EQ(schleife.laufen(), 0U);
}

TEST_F(FensterTest, WithoutPortalWindowsThePageIsToldSo) {
    baue();
    werk.einrichtungen.front().nachrichten(
        R"({"aktion":"portalOeffnen","id":1,"kennung":"laden","client_id":5,"token":"t"})", seite);
    schleife.laufen();
    ASSERT_EQ(web().zustellungen.size(), 1U);
    EXPECT_THAT(
        web().zustellungen.front().werte,
        HasSubstr("Portalmodus ist in dieser App-Fassung nicht verfügbar."));
}

TEST_F(PortalTest, WhatHappensInAPortalIsPassedOnToThePageLater) {
    baue();
    web().zeige(startseite);
    (void)oeffne("laden");
    auftraege.front().ereignis({{"kennung", "laden"}, {"status", "importiert"}, {"nachricht", "„a“ \"b\""}});
    EXPECT_THAT(web().zustellungen, IsEmpty());
    schleife.laufen();
    EXPECT_THAT(
        web().zustellungen, ElementsAre(Zustellung{
                                "__quillmatePortalEreignis",
                                R"([{"kennung":"laden","status":"importiert","nachricht":"„a“ \"b\""}])"}));
}

TEST_F(PortalTest, OnlyAPageThatMayUseTheBridgeLearnsOfPortals) {
    auto& fenster = baue();
    for (auto const* const fremd :
         {"", "about:blank", "https://evil.test/", "https://quillmate.example.evil.test/"}) {
        web().zeige(fremd);
        fenster.portalEreignis({{"status", "importiert"}});
        schleife.laufen();
        EXPECT_THAT(web().zustellungen, IsEmpty()) << fremd;
    }
}

TEST_F(PortalTest, AnEventIsJudgedByThePageThatIsThereWhenItIsDelivered) {
    auto& fenster = baue();
    web().zeige(startseite);
    fenster.portalEreignis({{"status", "importiert"}});
    web().zeige("https://evil.test/");
    schleife.laufen();
    EXPECT_THAT(web().zustellungen, IsEmpty());
    web().zeige(startseite);
    schleife.laufen();
    EXPECT_THAT(web().zustellungen, IsEmpty()) << "it does not wait for the next page";
    fenster.portalEreignis({{"status", "importiert"}});
    web().zeige("https://quillmate.example/belege"); // another page of the service
    schleife.laufen();
    EXPECT_EQ(web().zustellungen.size(), 1U);
    web().stirb();
    fenster.portalEreignis({{"status", "geschlossen"}});
    schleife.laufen();
    EXPECT_EQ(web().zustellungen.size(), 1U);
}

TEST_F(PortalTest, WhatIsNoJsonObjectIsDropped) {
    auto& fenster = baue();
    web().zeige(startseite);
    for (auto const& ereignis :
         {Json(nullptr), Json("text"), Json::array({1}), Json{{"a", "\xFF"}}, Json{{"a", Json::binary({1})}},
          Json{{"a", std::numeric_limits<double>::infinity()}}})
        EXPECT_EQ(fehlerausgabe([&] { fenster.portalEreignis(ereignis); }), "");
    EXPECT_EQ(schleife.laufen(), 0U);
    fenster.portalEreignis(Json::object());
    schleife.laufen();
    EXPECT_THAT(web().zustellungen, ElementsAre(Zustellung{"__quillmatePortalEreignis", "[{}]"}));
}

TEST_F(PortalTest, EventsAfterTheEndReachNobody) {
    baue();
    (void)oeffne("laden");
    auto const ereignis = auftraege.front().ereignis;
    haupt.reset();
    ereignis({{"status", "geschlossen"}});
    EXPECT_EQ(schleife.laufen(), 0U);
}

TEST_F(PortalTest, EventsInTheWindowsOwnEndReachNobodyAndHarmNothing) {
    /// Reports its own closing while it is destroyed.
    class Abschied final : public fenster::Portalansicht {
    public:
        explicit Abschied(std::function<void(Json const&)> ereignis)
            : ereignis_(std::move(ereignis)) {}
        ~Abschied() override { ereignis_({{"status", "geschlossen"}}); }
        void zeigen() override {}
        [[nodiscard]] bool sichtbar() const override { return true; }

    private:
        std::function<void(Json const&)> ereignis_;
    };
    portale.fenster = [](fenster::Portalauftrag auftrag) -> std::unique_ptr<fenster::Portalansicht> {
        return std::make_unique<Abschied>(std::move(auftrag.ereignis));
    };
    baue();
    (void)oeffne("laden");
    haupt.reset();
    EXPECT_EQ(schleife.laufen(), 0U);
}
