#include "adapter/linux/buendel.h"
#include "adapter/linux/einbau_linux.h"
#include "aktualisierung/pruefung.h"
#include "werkbank.h"

#include <gtest/gtest.h>

using namespace quillmate;
using namespace aktualisierung;
using namespace std::chrono_literals;

namespace {

namespace fs = std::filesystem;

/// A real bundle of version 50, and a release of version 60 that each test spoils in its own way.
class Pruefung : public testing::Test {
protected:
    Pruefung() {
        werkzeug::probebuendel(buendel, "50");
        anlass.schluessel = {*schluesselLesen(h.eins.oeffentlich()), *schluesselLesen(h.zwei.oeffentlich())};
    }
    Suchergebnis suche() {
        lader.antworten[h.feed] = h.appcast();
        return suchen(anlass, lader, abbruch);
    }
    Suchergebnis sucheIn(std::string const& bytes) {
        lader.antworten[h.feed] = bytes;
        return suchen(anlass, lader, abbruch);
    }
    /// Search and preparation, as the program does them.
    std::optional<Fehlschlag> stelleBereit() {
        auto const ergebnis = suche();
        if (ergebnis.fehlschlag || !ergebnis.angebot) {
            ADD_FAILURE() << "nothing was offered";
            return std::nullopt;
        }
        lader.antworten.try_emplace(h.archivadresse, h.archiv);
        return bereitstellen(*ergebnis.angebot, anlass, buendel, lader, einbau, kunde, {}, abbruch);
    }
    /// The bundle is as it was, and nothing lies beside it.
    void pruefeUnberuehrt() {
        EXPECT_EQ(werkzeug::inhaltVon(buendel + "/Contents/Resources/Größe und Maß.txt"), "Fassung 50");
        for (auto const& eintrag : fs::directory_iterator{fs::path{buendel}.parent_path()})
            EXPECT_EQ(eintrag.path().filename(), "Quillmate.app");
    }

    werkzeug::OrdnerAufZeit ordner;
    std::string const buendel{ordner.ordner("Programme") + "/Quillmate.app"};
    werkzeug::Herausgeber h;
    werkzeug::TabellenLader lader;
    adapter::linux::EinbauLinux einbau{ordner.pfad("marken")};
    adapter::linux::BuendelkundeLinux kunde;
    std::atomic<bool> abbruch{false};
    Anlass anlass{
        .feed = werkzeug::Herausgeber::feed,
        .schluessel = {},
        .kennung = "de.tandemwerk.quillmate",
        .eigene = *Fassungsnummer::lesen("50"),
        .architektur = "x86_64",
        .gesehen = 17,
        .jetzt = std::chrono::sys_days{std::chrono::year{2026} / 11 / 1}};
};

} // namespace

// ------------------------------------------------------------------------------------------------- search

TEST_F(Pruefung, FindsWhatIsNewer) {
    auto const ergebnis = suche();
    EXPECT_EQ(ergebnis.fehlschlag, std::nullopt);
    EXPECT_EQ(ergebnis.ausgabe, 17U);
    ASSERT_TRUE(ergebnis.angebot);
    EXPECT_EQ(ergebnis.angebot->fassungstext, "60");
}

TEST_F(Pruefung, FindsNothingWhereTheOwnVersionIsTheNewest) {
    for (auto const* eigene : {"60", "61"}) {
        anlass.eigene = *Fassungsnummer::lesen(eigene);
        auto const ergebnis = suche();
        EXPECT_EQ(ergebnis.fehlschlag, std::nullopt);
        EXPECT_FALSE(ergebnis.angebot) << "a downgrade from " << eigene;
    }
}

TEST_F(Pruefung, RefusesAnUnsignedOrForeignAppcast) {
    auto const xml = veroeffentlichen::alsXml(h.liste);
    EXPECT_EQ(sucheIn(xml).fehlschlag, Fehlschlag::nichtVertrauenswuerdig);
    EXPECT_EQ(
        sucheIn(veroeffentlichen::mitSignatur(xml, {h.fremd})).fehlschlag,
        Fehlschlag::nichtVertrauenswuerdig);
    EXPECT_EQ(sucheIn("").fehlschlag, Fehlschlag::nichtVertrauenswuerdig);
}

TEST_F(Pruefung, TrustsNothingWithoutAKey) {
    anlass.schluessel.clear();
    EXPECT_EQ(suche().fehlschlag, Fehlschlag::nichtVertrauenswuerdig);
}

TEST_F(Pruefung, RefusesAnAppcastForAnotherProgram) {
    h.liste.kennung = "de.tandemwerk.quillmate.demo";
    EXPECT_EQ(suche().fehlschlag, Fehlschlag::nichtVertrauenswuerdig);
}

TEST_F(Pruefung, RefusesAnExpiredAppcast) {
    anlass.jetzt = h.liste.gueltigBis - 1s;
    EXPECT_EQ(suche().fehlschlag, std::nullopt);
    anlass.jetzt = h.liste.gueltigBis;
    EXPECT_EQ(suche().fehlschlag, Fehlschlag::abgelaufen);
}

TEST_F(Pruefung, RefusesTheReplayOfAnOlderAppcast) {
    anlass.gesehen = 18;
    EXPECT_EQ(suche().fehlschlag, Fehlschlag::veraltet);
}

TEST_F(Pruefung, AsksNoAddressWithoutTransportSecurity) {
    anlass.feed = "http://updates.beispiel.de/appcast.xml";
    EXPECT_EQ(suche().fehlschlag, Fehlschlag::nichtVertrauenswuerdig);
    anlass.feed = "file:///etc/passwd";
    EXPECT_EQ(suche().fehlschlag, Fehlschlag::nichtVertrauenswuerdig);
    EXPECT_TRUE(lader.abgerufen.empty());
}

TEST_F(Pruefung, TellsBeingOfflineFromAServerThatRefusesAndFromTooMuch) {
    lader.antworten[h.feed] = Fehler{Fehlerart::keineVerbindung};
    EXPECT_EQ(suchen(anlass, lader, abbruch).fehlschlag, Fehlschlag::offline);
    lader.antworten[h.feed] = httpFehler(503, {}, "Der Server hat abgelehnt").error();
    EXPECT_EQ(suchen(anlass, lader, abbruch).fehlschlag, Fehlschlag::dienstfehler);
    EXPECT_EQ(sucheIn(std::string(2'000'000, 'x')).fehlschlag, Fehlschlag::nichtVertrauenswuerdig);
    abbruch = true;
    EXPECT_EQ(suche().fehlschlag, Fehlschlag::abgebrochen);
}

// -------------------------------------------------------------------------------------------- preparation

TEST_F(Pruefung, PutsTheNewVersionBesideTheOldOne) {
    EXPECT_EQ(stelleBereit(), std::nullopt);
    auto const neues = ordner.pfad("Programme/.Quillmate.app.neu");
    EXPECT_EQ(kunde.lesen(neues)->buildnummer, "60");
    EXPECT_EQ(werkzeug::inhaltVon(neues + "/Contents/Resources/Größe.txt"), "Fassung 60");
    EXPECT_EQ(werkzeug::inhaltVon(buendel + "/Contents/Resources/Größe und Maß.txt"), "Fassung 50");
    einbau.verwerfen(buendel);
    pruefeUnberuehrt();
}

TEST_F(Pruefung, TakesAnArchiveThatTheSecondKeySigned) {
    h.liste.eintraege[0].signaturen = h.zwei.signieren(h.archiv);
    EXPECT_EQ(stelleBereit(), std::nullopt);
}

TEST_F(Pruefung, RefusesAnArchiveWithOneByteChanged) {
    auto anders = h.archiv;
    anders[anders.size() / 2] = static_cast<char>(anders[anders.size() / 2] ^ 1);
    lader.antworten[h.archivadresse] = anders;
    EXPECT_EQ(stelleBereit(), Fehlschlag::nichtVertrauenswuerdig);
    pruefeUnberuehrt();
}

TEST_F(Pruefung, RefusesAnArchiveThatIsTooShortOrTooLong) {
    lader.antworten[h.archivadresse] = h.archiv.substr(0, h.archiv.size() - 1);
    EXPECT_EQ(stelleBereit(), Fehlschlag::abgerissen);
    lader.antworten[h.archivadresse] = h.archiv + "x";
    EXPECT_EQ(stelleBereit(), Fehlschlag::nichtVertrauenswuerdig);
    lader.antworten[h.archivadresse] = std::string{};
    EXPECT_EQ(stelleBereit(), Fehlschlag::abgerissen);
    pruefeUnberuehrt();
}

TEST_F(Pruefung, RefusesAnArchiveOfAForeignKeyEvenIfTheAppcastIsOurs) {
    h.liste.eintraege[0].signaturen = h.fremd.signieren(h.archiv);
    EXPECT_EQ(stelleBereit(), Fehlschlag::nichtVertrauenswuerdig);
    pruefeUnberuehrt();
}

TEST_F(Pruefung, RefusesAnOlderArchiveOfOursUnderANewNumber) {
    h.setzeArchiv(werkzeug::archivAus(werkzeug::buendeleintraege("40")));
    EXPECT_EQ(stelleBereit(), Fehlschlag::nichtVertrauenswuerdig);
    h.setzeArchiv(werkzeug::archivAus(werkzeug::buendeleintraege("55")));
    EXPECT_EQ(stelleBereit(), Fehlschlag::nichtVertrauenswuerdig) << "not the version that was offered";
    pruefeUnberuehrt();
}

TEST_F(Pruefung, RefusesAnArchiveOfAnotherProgram) {
    h.setzeArchiv(werkzeug::archivAus(werkzeug::buendeleintraege("60", "de.anderswer.programm")));
    lader.antworten.erase(h.archivadresse);
    EXPECT_EQ(stelleBereit(), Fehlschlag::nichtVertrauenswuerdig);
    pruefeUnberuehrt();
}

TEST_F(Pruefung, RefusesABundleWithoutAProgramThatCanRun) {
    auto eintraege = werkzeug::buendeleintraege("60");
    eintraege[2].rechte = 0644;
    h.setzeArchiv(werkzeug::archivAus(eintraege));
    EXPECT_EQ(stelleBereit(), Fehlschlag::nichtVertrauenswuerdig);
    eintraege.erase(eintraege.begin() + 2);
    h.setzeArchiv(werkzeug::archivAus(eintraege));
    lader.antworten.erase(h.archivadresse);
    EXPECT_EQ(stelleBereit(), Fehlschlag::nichtVertrauenswuerdig);
    pruefeUnberuehrt();
}

TEST_F(Pruefung, RefusesASignedArchiveThatLeadsOutOfTheBundle) {
    auto eintraege = werkzeug::buendeleintraege("60");
    eintraege.push_back({.name = "Quillmate.app/../../draussen", .inhalt = "x"});
    h.setzeArchiv(werkzeug::archivAus(eintraege));
    EXPECT_EQ(stelleBereit(), Fehlschlag::nichtVertrauenswuerdig);
    EXPECT_FALSE(fs::exists(ordner.pfad("draussen")));
    pruefeUnberuehrt();
}

TEST_F(Pruefung, AnInterruptedDownloadLeavesNothing) {
    lader.antworten[h.archivadresse] = Fehler{Fehlerart::keineVerbindung};
    EXPECT_EQ(stelleBereit(), Fehlschlag::offline);
    lader.antworten[h.archivadresse] = httpFehler(503, {}, "Der Server hat abgelehnt").error();
    EXPECT_EQ(stelleBereit(), Fehlschlag::dienstfehler);
    pruefeUnberuehrt();
}

TEST_F(Pruefung, ClearsAwayWhatAnEarlierAttemptLeft) {
    ordner.datei("Programme/.Quillmate.app.neu/Contents/alt", "x");
    EXPECT_EQ(stelleBereit(), std::nullopt);
    EXPECT_FALSE(fs::exists(ordner.pfad("Programme/.Quillmate.app.neu/Contents/alt")));
}

TEST_F(Pruefung, AFolderThatTakesNothingIsNoTampering) {
    auto const ergebnis = suche();
    lader.antworten[h.archivadresse] = h.archiv;
    EXPECT_EQ(
        bereitstellen(
            *ergebnis.angebot, anlass, ordner.pfad("gibt es nicht/Quillmate.app"), lader, einbau, kunde, {},
            abbruch),
        (Fehlschlag{Fehlschlag::nichtEinzubauen, "Auf den Datenträger ließ sich gerade nicht schreiben."}));
}
