// What a portal's window does when a server asks who is there, and about what cannot be done in it.
#include "portalprobe.h"
#include "werkzeug/programme.h"

namespace quillmate::portalprobe {
namespace {

class Portalzugang : public PortalFensterTest {
protected:
    void frage(ports::Zugangsfrage const& was) {
        empfaenger().zugangErfragen(web(), was, [this](std::optional<ports::Zugangsdaten> const& daten) {
            antworten.push_back(daten ? daten->name + '/' + daten->kennwort : "nichts");
        });
    }
    Texte antworten;
};

TEST_F(Portalzugang, ARequestForNameAndPasswordNamesItsHostAndStandsOnThePortal) {
    oeffnen();
    empfaenger().begonnen(web());
    frage({.wirt = "intern.example", .bereich = "Kunden\nbereich"});
    ASSERT_EQ(dialoge.zugangsfragen.size(), 1U);
    auto const& gefragt = dialoge.zugangsfragen.front();
    EXPECT_EQ(gefragt.fenster, &fenster());
    EXPECT_EQ(gefragt.frage.meldung, "intern.example verlangt Name und Kennwort");
    EXPECT_EQ(
        gefragt.frage.erklaerung, "Der Server nennt es „Kunden bereich“. Die Eingaben gehen nur an ihn.");
    gefragt.antwort(ports::Zugangsdaten{.name = "ich", .kennwort = "geheim"});
    EXPECT_EQ(antworten, Texte{"ich/geheim"});
    frage({.wirt = "intern.example", .wiederholt = true});
    EXPECT_TRUE(
        dialoge.zugangsfragen.back().frage.erklaerung.starts_with("Name oder Kennwort stimmten nicht."));
}

TEST_F(Portalzugang, WhatAShownPageOnlyHoldsDoesNotAskInItsName) {
    oeffnen();
    zeigt("https://portal.example/");
    (void)werkzeug::fehlerausgabe([&] { frage({.wirt = "bild.example"}); });
    EXPECT_TRUE(dialoge.zugangsfragen.empty());
    EXPECT_EQ(antworten, Texte{"nichts"});
    frage({.wirt = "portal.example"});
    EXPECT_EQ(dialoge.zugangsfragen.size(), 1U);
}

TEST_F(Portalzugang, AfterTheWindowHasClosedNobodyIsAsked) {
    oeffnen();
    portal->zeigen();
    auto& wer = empfaenger();
    fenster().schliessen();
    (void)werkzeug::fehlerausgabe([&] {
        wer.zugangErfragen(
            web(), {.wirt = "accounts.hetzner.example"},
            [this](std::optional<ports::Zugangsdaten> const& daten) {
                antworten.emplace_back(daten ? "etwas" : "nichts");
            });
    });
    EXPECT_EQ(antworten, Texte{"nichts"});
}

TEST_F(Portalzugang, AServerThatWantsACertificateIsRefusedAndTheStatusLineSaysSo) {
    oeffnen();
    (void)werkzeug::fehlerausgabe([&] { empfaenger().zertifikatVerlangt(web(), "amt.example"); });
    EXPECT_EQ(leisten.status, "amt.example möchte dich an einem Zertifikat erkennen. Das geht hier nicht.");
}

TEST_F(Portalzugang, WhoWantsAPasskeyIsToldAndCanGoOnInTheBrowser) {
    werkzeug::StandardprogrammAttrappe browser;
    portal = std::make_unique<portal::PortalFenster>(
        portal::PortalFenster::Umgebung{
            .werk = werk,
            .leisten = leisten,
            .dialoge = dialoge,
            .schleife = schleife,
            .ablage = ablage,
            .versand = *versand,
            .browser = &browser},
        portal::PortalFenster::Auftrag{
            .ziel =
                {.kennung = "hetzner",
                 .name = "Hetzner",
                 .adresse = Adresse::lesen("https://accounts.hetzner.example/invoice").value()},
            .clientId = 42,
            .token = "t",
            .basis = Adresse::lesen(server.adresse() + "/uebersicht").value(),
            .ereignis = [](Json const&) {
            }});
    zeigt("https://portal.example/anmelden");
    empfaenger().passkeyGewuenscht(web());
    ASSERT_TRUE(fenster().fuss);
    EXPECT_TRUE(
        fenster().fuss->text.starts_with("Passkeys und Sicherheitsschlüssel gehen in diesem Fenster nicht."));
    EXPECT_EQ(fenster().fuss->knopf, "Im Standardbrowser öffnen");
    auto const tun = fenster().fuss->gedrueckt;
    tun();
    EXPECT_EQ(browser.geoeffnet, Texte{"https://portal.example/anmelden"});
    EXPECT_FALSE(fenster().fuss);
}

TEST_F(Portalzugang, SignInDataAreForgottenOnlyWhenThePersonSaysSo) {
    oeffnen();
    zeigt("https://www.portal.example/a");
    leisten.angaben.vergessen();
    ASSERT_EQ(dialoge.gefragt.size(), 1U);
    auto const& frage = dialoge.gefragt.front();
    EXPECT_EQ(frage.frage.meldung, "Anmeldedaten dieses Portals löschen?");
    EXPECT_EQ(frage.frage.vorgabe, 1U) << "Return must not delete";
    frage.antwort({.knopf = 1});
    EXPECT_FALSE(inZeilen("web1 anmeldedatenLoeschen www.portal.example"));
    leisten.angaben.vergessen();
    dialoge.gefragt.back().antwort({.knopf = 0});
    EXPECT_TRUE(inZeilen("web1 anmeldedatenLoeschen www.portal.example"));
    web().geloescht(2U);
    EXPECT_EQ(leisten.status, "Die Anmeldedaten dieses Portals sind gelöscht.");
    EXPECT_EQ(werk.buch->zeilen.back(), "web1 laden https://accounts.hetzner.example/invoice 60");
    web().geloescht(std::nullopt);
    EXPECT_EQ(leisten.ton, ports::Textton::fehler) << "what was not deleted is not called deleted";
}

TEST_F(Portalzugang, RunningDownloadsStandAtTheLowerEdgeAndAreEndedThere) {
    oeffnen();
    auto const eins = download();
    auto const zwei = download();
    ASSERT_TRUE(eins->fragt("a.pdf"));
    ASSERT_TRUE(zwei->fragt("b.pdf"));
    EXPECT_TRUE(eins->erhaelt(1'000'000, 2'000'000));
    EXPECT_TRUE(zwei->erhaelt(0, 2'000'000));
    ASSERT_TRUE(fenster().fuss);
    EXPECT_EQ(fenster().fuss->text, "Download läuft … 25 %");
    EXPECT_EQ(fenster().fuss->knopf, "Abbrechen");
    auto const stopp = fenster().fuss->gedrueckt;
    stopp();
    EXPECT_EQ(eins->abgebrochen + zwei->abgebrochen, 2);
    EXPECT_FALSE(fenster().fuss);
    EXPECT_TRUE(leer()) << "and nothing of them is left";
    EXPECT_EQ(leisten.status, "Download fehlgeschlagen: Vom Nutzer abgebrochen.");
}

} // namespace
} // namespace quillmate::portalprobe
