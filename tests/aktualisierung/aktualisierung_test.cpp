#include "adapter/linux/buendel.h"
#include "adapter/linux/einbau_linux.h"
#include "aktualisierung/aktualisierung.h"
#include "werkbank.h"
#include "werkzeug/buendelkunde.h"
#include "werkzeug/voreinstellungen.h"
#include "werkzeug/warten.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <mutex>

using namespace quillmate;
using namespace aktualisierung;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Wahl = ports::Aktualisierungsanzeige::Wahl;

namespace {

/// A main loop that a test turns by hand; timers go off when told.
class Handschleife final : public ports::Hauptschleife {
public:
    void spaeter(Arbeit arbeit) override {
        std::lock_guard const schutz{sperre_};
        arbeiten_.push_back(std::move(arbeit));
    }
    void nach(std::chrono::milliseconds dauer, Arbeit arbeit) override {
        wecker.emplace_back(dauer, std::move(arbeit));
    }
    void beenden() override { beendet = true; }

    /// Does what is there; false when nothing was.
    bool drehe() {
        Arbeit arbeit;
        {
            std::lock_guard const schutz{sperre_};
            if (arbeiten_.empty())
                return false;
            arbeit = std::move(arbeiten_.front());
            arbeiten_.pop_front();
        }
        arbeit();
        return true;
    }
    void wecke() {
        auto const alle = std::exchange(wecker, {});
        for (auto const& [dauer, arbeit] : alle)
            arbeit();
    }

    std::vector<std::pair<std::chrono::milliseconds, Arbeit>> wecker;
    bool beendet{false};

private:
    std::mutex sperre_;
    std::deque<Arbeit> arbeiten_;
};

class Anzeige final : public ports::Aktualisierungsanzeige {
public:
    void beschaeftigt(std::string const& meldung, std::function<void()> a) override {
        zeigte.push_back(meldung);
        abbrechen = std::move(a);
    }
    void anbieten(Neues const& neues, std::function<void(Wahl)> a) override {
        zeigte.push_back(neues.meldung);
        angebote.push_back(neues);
        antwort = std::move(a);
    }
    void fortschritt(
        std::string const& meldung, std::uint64_t erledigt, std::uint64_t gesamt,
        std::function<void()> a) override {
        if (zeigte.empty() || zeigte.back() != meldung)
            zeigte.push_back(meldung);
        EXPECT_LE(erledigt, gesamt);
        abbrechen = std::move(a);
    }
    void mitteilen(std::string const& meldung, std::string const& erklaerung) override {
        zeigte.push_back(meldung);
        erklaerungen.push_back(erklaerung);
    }
    void nachVorn() override { zeigte.emplace_back("nach vorn"); }
    void schliessen() override { zeigte.emplace_back("zu"); }

    std::vector<std::string> zeigte;
    std::vector<std::string> erklaerungen;
    std::vector<Neues> angebote;
    std::function<void()> abbrechen;
    std::function<void(Wahl)> antwort;
};

class Einbau final : public ports::Einbau {
public:
    explicit Einbau(std::string const& marken)
        : wirklich(marken) {}
    std::optional<ports::Einbauhindernis> hindernis(std::string const& buendel) override {
        return verboten ? verboten : wirklich.hindernis(buendel);
    }
    Ergebnis<std::string> baustelle(std::string const& buendel) override {
        return wirklich.baustelle(buendel);
    }
    ports::Hindernis bereiten(std::string const& buendel) override {
        if (widerstand)
            return widerstand;
        return wirklich.bereiten(buendel);
    }
    Ergebnis<void> einbauenNachEnde(std::string const& buendel) override {
        eingebaut.push_back(buendel);
        if (!helferStartet)
            return errnoFehler({}, "Das Programm ließ sich nicht starten", EAGAIN);
        return {};
    }
    void verwerfen(std::string const& buendel) override { wirklich.verwerfen(buendel); }
    void bestaetigen(std::string const& buendel) override { bestaetigt.push_back(buendel); }

    adapter::linux::EinbauLinux wirklich;
    std::optional<ports::Einbauhindernis> verboten;
    bool helferStartet{true};
    ports::Hindernis widerstand;
    std::vector<std::string> eingebaut;
    std::vector<std::string> bestaetigt;
};

class Kunde final : public ports::Buendelkunde {
public:
    std::string laufend() override { return laufendes; }
    std::optional<ports::Buendel> lesen(std::string const& pfad) override {
        return adapter::linux::buendelAn(pfad);
    }
    std::optional<std::string> originalPfad(std::string const&) override { return std::nullopt; }
    bool mitTeamSigniert(std::string const&) override { return false; }
    std::string laufendes;
};

class Aktualisierer : public testing::Test {
protected:
    Aktualisierer() {
        baueBuendel(
            "<key>SUFeedURL</key><string>" + std::string{h.feed} +
            "</string><key>SUEnableAutomaticChecks</key><true/><key>SUScheduledCheckInterval</key>"
            "<integer>86400</integer><key>SUPublicEDKey</key><array><string>" +
            h.zwei.oeffentlich() + "</string><string>" + h.eins.oeffentlich() + "</string></array>");
        lader.antworten[h.feed] = h.appcast();
        lader.antworten[h.archivadresse] = h.archiv;
    }
    void baueBuendel(std::string const& info) {
        std::filesystem::remove_all(kunde.laufendes);
        kunde.laufendes = ordner.ordner("Programme") + "/Quillmate.app";
        std::filesystem::remove_all(kunde.laufendes);
        werkzeug::probebuendel(kunde.laufendes, "50", "#!/bin/sh\n", info);
        neu();
    }
    /// The program starts again.
    void neu() {
        a.reset();
        a = std::make_unique<aktualisierung::Aktualisierung>(aktualisierung::Aktualisierung::Hilfen{
            .buendelkunde = kunde,
            .einbau = einbau,
            .voreinstellungen = voreinstellungen,
            .schleife = schleife,
            .anzeige = anzeige,
            .lader = lader,
            .jetzt = [this] { return jetzt; },
            .architektur = "x86_64"});
    }
    /// Turns the loop until the window shows this.
    bool zeigt(std::string const& meldung) {
        return werkzeug::wartenBis([&] {
            schleife.drehe();
            return std::ranges::find(anzeige.zeigte, meldung) != anzeige.zeigte.end();
        });
    }
    /// Turns the loop until the search that has begun is over.
    bool suchtFertig(std::size_t nummer = 1) {
        return werkzeug::wartenBis([&] { return lader.abrufe >= nummer && schleife.drehe(); });
    }
    void bisZumAngebot() {
        a->nachUpdatesSuchen();
        ASSERT_TRUE(zeigt("Es gibt eine neue Fassung von Quillmate"));
    }

    werkzeug::OrdnerAufZeit ordner;
    werkzeug::Herausgeber h;
    werkzeug::TabellenLader lader;
    Handschleife schleife;
    Anzeige anzeige;
    Einbau einbau{ordner.pfad("marken")};
    Kunde kunde;
    werkzeug::SpeicherVoreinstellungen voreinstellungen;
    std::chrono::sys_seconds jetzt{std::chrono::sys_days{std::chrono::year{2026} / 11 / 1}};
    std::unique_ptr<aktualisierung::Aktualisierung> a;
};

} // namespace

// ----------------------------------------------------------------------------------------- the user asks

TEST_F(Aktualisierer, AskedByTheUserShowsThatItLooksAndOffersWhatItFinds) {
    bisZumAngebot();
    EXPECT_THAT(
        anzeige.zeigte,
        ElementsAre("Nach Updates wird gesucht …", "Es gibt eine neue Fassung von Quillmate"));
    EXPECT_EQ(
        anzeige.angebote[0].erklaerung,
        "Quillmate 0.6.0 ist da, du hast die Fassung 0.50. Möchtest du sie jetzt installieren?");
    EXPECT_EQ(anzeige.angebote[0].notizen, "Neu: <schneller> & besser\n„Größe“");
}

TEST_F(Aktualisierer, InstallingPreparesStartsTheHelperAndEndsTheProgram) {
    bisZumAngebot();
    anzeige.antwort(Wahl::installieren);
    EXPECT_EQ(anzeige.zeigte.back(), "Quillmate 0.6.0 wird geladen …");
    ASSERT_TRUE(werkzeug::wartenBis([&] {
        schleife.drehe();
        return schleife.beendet;
    }));
    EXPECT_THAT(einbau.eingebaut, ElementsAre(kunde.laufendes));
    EXPECT_EQ(adapter::linux::buendelAn(ordner.pfad("Programme/.Quillmate.app.neu"))->buildnummer, "60");
}

TEST_F(Aktualisierer, LaterLeavesEverythingAndAsksAgain) {
    bisZumAngebot();
    anzeige.antwort(Wahl::spaeter);
    EXPECT_EQ(anzeige.zeigte.back(), "zu");
    EXPECT_FALSE(voreinstellungen.text(schluesselUebersprungen));
    anzeige.zeigte.clear();
    bisZumAngebot();
    EXPECT_TRUE(einbau.eingebaut.empty());
    EXPECT_FALSE(schleife.beendet);
}

TEST_F(Aktualisierer, ASkippedVersionIsNotOfferedByItselfButToWhoeverAsks) {
    bisZumAngebot();
    anzeige.antwort(Wahl::ueberspringen);
    EXPECT_EQ(voreinstellungen.text(schluesselUebersprungen), "60");
    jetzt += 48h;
    anzeige.zeigte.clear();
    schleife.wecke(); // looks at the clock
    schleife.wecke();
    ASSERT_TRUE(suchtFertig(2));
    EXPECT_THAT(anzeige.zeigte, IsEmpty());
    bisZumAngebot();
}

TEST_F(Aktualisierer, SaysThatNothingIsNewer) {
    h.liste.eintraege[0].fassung = "50";
    lader.antworten[h.feed] = h.appcast();
    a->nachUpdatesSuchen();
    ASSERT_TRUE(zeigt("Quillmate ist aktuell"));
    EXPECT_THAT(anzeige.erklaerungen, ElementsAre("Du hast die Fassung 0.50, eine neuere gibt es nicht."));
}

TEST_F(Aktualisierer, SaysWhatWentWrong) {
    lader.antworten[h.feed] = Fehler{Fehlerart::keineVerbindung};
    a->nachUpdatesSuchen();
    EXPECT_TRUE(zeigt("Keine Verbindung"));
    lader.antworten[h.feed] = Fehler{Fehlerart::abgelehnt};
    a->nachUpdatesSuchen();
    EXPECT_TRUE(zeigt("Das Update ist gerade nicht zu bekommen"));
    lader.antworten[h.feed] = "gefälscht";
    a->nachUpdatesSuchen();
    EXPECT_TRUE(zeigt("Das Update wurde abgelehnt"));
    lader.antworten[h.feed] = h.appcast();
    jetzt = h.liste.gueltigBis + 1s;
    a->nachUpdatesSuchen();
    EXPECT_TRUE(zeigt("Die Auskunft über Updates ist veraltet"));
}

TEST_F(Aktualisierer, SaysWhyAnUpdateWasNotPutInAndGoesOn) {
    auto const installiere = [&] {
        anzeige.zeigte.clear();
        bisZumAngebot();
        anzeige.antwort(Wahl::installieren);
    };
    lader.antworten[h.archivadresse] = h.archiv.substr(1) + "x";
    installiere();
    EXPECT_TRUE(zeigt("Das Update wurde abgelehnt"));
    lader.antworten[h.archivadresse] = errnoFehler({}, "Nicht abzulegen", ENOSPC).error();
    installiere();
    EXPECT_TRUE(zeigt("Das Update passt nicht auf den Datenträger"));
    lader.antworten[h.archivadresse] = h.archiv;
    einbau.widerstand = "Es geht nicht.";
    installiere();
    EXPECT_TRUE(zeigt("Das Update lässt sich hier nicht einbauen"));
    EXPECT_EQ(anzeige.erklaerungen.back(), "Es geht nicht. Quillmate bleibt, wie es ist.");
    einbau.widerstand.reset();
    einbau.helferStartet = false;
    installiere();
    EXPECT_TRUE(zeigt("Das Update lässt sich hier nicht einbauen"));
    EXPECT_FALSE(schleife.beendet);
    EXPECT_FALSE(std::filesystem::exists(ordner.pfad("Programme/.Quillmate.app.neu")));
}

TEST_F(Aktualisierer, ASearchCanBeCancelledAndItsAnswerIsDropped) {
    std::atomic<bool> weiter{false};
    lader.vorher = [&] {
        EXPECT_TRUE(werkzeug::wartenBis([&] { return weiter.load(); }));
    };
    a->nachUpdatesSuchen();
    anzeige.abbrechen();
    EXPECT_EQ(anzeige.zeigte.back(), "zu");
    weiter = true;
    ASSERT_TRUE(werkzeug::wartenBis([&] { return schleife.drehe(); }));
    EXPECT_EQ(anzeige.zeigte.back(), "zu");
    a->nachUpdatesSuchen();
    EXPECT_TRUE(zeigt("Es gibt eine neue Fassung von Quillmate")) << "and the next one works";
}

TEST_F(Aktualisierer, ADownloadCanBeCancelledAndLeavesNothing) {
    bisZumAngebot();
    std::atomic<bool> weiter{false};
    lader.vorher = [&] {
        EXPECT_TRUE(werkzeug::wartenBis([&] { return weiter.load(); }));
    };
    anzeige.antwort(Wahl::installieren);
    anzeige.abbrechen();
    weiter = true;
    a.reset(); // waits for the worker
    while (schleife.drehe()) {
    }
    EXPECT_FALSE(schleife.beendet);
    EXPECT_FALSE(std::filesystem::exists(ordner.pfad("Programme/.Quillmate.app.neu")));
}

TEST_F(Aktualisierer, AskedTwiceItOnlyComesToTheFront) {
    bisZumAngebot();
    a->nachUpdatesSuchen();
    EXPECT_EQ(anzeige.zeigte.back(), "nach vorn");
    EXPECT_EQ(lader.abgerufen.size(), 1U);
}

TEST_F(Aktualisierer, AnAnswerAfterItsEndIsNoAccident) {
    std::atomic<bool> weiter{false};
    lader.vorher = [&] {
        EXPECT_TRUE(werkzeug::wartenBis([&] { return weiter.load(); }));
    };
    a->nachUpdatesSuchen();
    weiter = true;
    a.reset();
    while (schleife.drehe()) {
    }
    EXPECT_THAT(anzeige.zeigte, ElementsAre("Nach Updates wird gesucht …"));
}

// ------------------------------------------------------------------------------------- where it cannot be

TEST_F(Aktualisierer, ABundleThatTheUserCannotReplaceLeavesUpdatesToThePackageManager) {
    einbau.verboten = {.art = ports::Einbauhindernis::Art::paketverwaltung, .ordner = "/usr/lib/x"};
    a->starten();
    EXPECT_TRUE(schleife.wecker.empty());
    a->nachUpdatesSuchen();
    EXPECT_THAT(anzeige.zeigte, ElementsAre("Die Paketverwaltung hält Quillmate aktuell"));
    EXPECT_THAT(lader.abgerufen, IsEmpty());
}

TEST_F(Aktualisierer, AFolderThatOthersMayWriteToIsNamedAndNothingIsLookedFor) {
    einbau.verboten = {.art = ports::Einbauhindernis::Art::andereSchreiben, .ordner = "/srv/alle"};
    a->starten();
    EXPECT_TRUE(schleife.wecker.empty());
    a->nachUpdatesSuchen();
    EXPECT_THAT(anzeige.zeigte, ElementsAre("Updates lassen sich hier nicht einbauen"));
    EXPECT_NE(anzeige.erklaerungen.back().find("„/srv/alle“"), std::string::npos);
    EXPECT_THAT(lader.abgerufen, IsEmpty());
}

TEST_F(Aktualisierer, AnIncompleteBundleIsNotTheServersFault) {
    baueBuendel("<key>SUFeedURL</key><string>" + std::string{h.feed} + "</string>");
    auto const info = kunde.laufendes + "/Contents/Info.plist";
    std::ofstream{info} << werkzeug::infoPlist(
        "drei", "de.tandemwerk.quillmate", "<key>SUFeedURL</key><string>https://x</string>");
    neu();
    a->nachUpdatesSuchen();
    EXPECT_THAT(anzeige.zeigte, ElementsAre("Diese Fassung aktualisiert sich nicht"));
}

TEST_F(Aktualisierer, WithoutKnowingWhatItHasSeenItTrustsNoList) {
    voreinstellungen.unlesbar = true;
    a->nachUpdatesSuchen();
    EXPECT_THAT(anzeige.zeigte, ElementsAre("Das Update ist gerade nicht zu prüfen"));
    EXPECT_THAT(lader.abgerufen, IsEmpty());
}

TEST_F(Aktualisierer, AnArchiveThatBreaksOffIsToldAsThat) {
    for (auto const& antwort : std::vector<werkzeug::TabellenLader::Antwort>{
             Fehler{Fehlerart::gestoert}, h.archiv.substr(0, h.archiv.size() / 2)}) {
        lader.antworten[h.archivadresse] = antwort;
        anzeige.zeigte.clear();
        bisZumAngebot();
        anzeige.antwort(Wahl::installieren);
        EXPECT_TRUE(zeigt("Das Update ist unterwegs abgerissen"));
    }
}

TEST_F(Aktualisierer, ABundleWithoutFeedSaysSo) {
    baueBuendel("");
    a->starten();
    EXPECT_TRUE(schleife.wecker.empty());
    a->nachUpdatesSuchen();
    EXPECT_THAT(anzeige.zeigte, ElementsAre("Diese Fassung aktualisiert sich nicht"));
}

TEST_F(Aktualisierer, WithoutUsableKeyNothingIsTrusted) {
    baueBuendel(
        "<key>SUFeedURL</key><string>" + std::string{h.feed} +
        "</string><key>SUPublicEDKey</key><string>x</string>");
    a->nachUpdatesSuchen();
    EXPECT_TRUE(zeigt("Das Update wurde abgelehnt"));
}

// ------------------------------------------------------------------------------------------ by the schedule

TEST_F(Aktualisierer, LooksByItselfNeverOnTheFirstStart) {
    a->starten();
    ASSERT_EQ(schleife.wecker.size(), 1U);
    EXPECT_LE(schleife.wecker[0].first, 1h);
    schleife.wecke();
    EXPECT_THAT(lader.abgerufen, IsEmpty()) << "the day is not over";
    EXPECT_EQ(schleife.wecker.size(), 1U) << "but it goes on waiting";
}

TEST_F(Aktualisierer, LooksByItselfOnceADayAndOffersWhatItFindsWithoutAsking) {
    a->starten();
    jetzt += 25h;
    neu();
    schleife.wecker.clear();
    a->starten();
    ASSERT_EQ(schleife.wecker.size(), 1U);
    EXPECT_EQ(schleife.wecker[0].first, 10s) << "a program that has just started has better things to do";
    schleife.wecke();
    ASSERT_TRUE(suchtFertig());
    EXPECT_THAT(anzeige.zeigte, ElementsAre("Es gibt eine neue Fassung von Quillmate"));
    anzeige.antwort(Wahl::spaeter);
    EXPECT_EQ(schleife.wecker.size(), 1U);
    schleife.wecke();
    EXPECT_EQ(lader.abgerufen.size(), 1U) << "not twice a day";
}

TEST_F(Aktualisierer, OfflineTheScheduleIsSilentAndGoesOn) {
    lader.antworten[h.feed] = Fehler{Fehlerart::keineVerbindung};
    a->starten();
    jetzt += 25h;
    schleife.wecke();
    schleife.wecke();
    ASSERT_TRUE(suchtFertig());
    EXPECT_THAT(anzeige.zeigte, IsEmpty());
    EXPECT_EQ(schleife.wecker.size(), 1U);
}

TEST_F(Aktualisierer, TheUsersQuestionTakesTheScheduledSearchOver) {
    std::atomic<bool> weiter{false};
    lader.vorher = [&] {
        EXPECT_TRUE(werkzeug::wartenBis([&] { return weiter.load(); }));
    };
    h.liste.eintraege[0].fassung = "50";
    lader.antworten[h.feed] = h.appcast();
    a->starten();
    jetzt += 25h;
    schleife.wecke();
    schleife.wecke();
    a->nachUpdatesSuchen();
    weiter = true;
    EXPECT_TRUE(zeigt("Quillmate ist aktuell"));
    EXPECT_EQ(lader.abgerufen.size(), 1U);
}

TEST_F(Aktualisierer, RemembersTheHighestAppcastAgainstReplay) {
    bisZumAngebot();
    EXPECT_EQ(voreinstellungen.text(schluesselAusgabe), "17");
    anzeige.antwort(Wahl::spaeter);
    h.liste.ausgabe = 16;
    lader.antworten[h.feed] = h.appcast();
    a->nachUpdatesSuchen();
    EXPECT_TRUE(zeigt("Die Auskunft über Updates ist veraltet"));
    EXPECT_EQ(voreinstellungen.text(schluesselAusgabe), "17");
}

TEST_F(Aktualisierer, BrokenRememberedValuesCountAsNone) {
    voreinstellungen.setzeText(schluesselLetztePruefung, "gestern");
    voreinstellungen.setzeText(schluesselAusgabe, "-5");
    a->starten();
    schleife.wecke();
    EXPECT_THAT(lader.abgerufen, IsEmpty());
    bisZumAngebot();
}

// ---------------------------------------------------------------------------------------- after an update

TEST_F(Aktualisierer, ConfirmsItsStart) {
    a->gestartet();
    EXPECT_THAT(einbau.bestaetigt, ElementsAre(kunde.laufendes));
    EXPECT_THAT(anzeige.zeigte, IsEmpty());
}

TEST_F(Aktualisierer, ConfirmsItsStartBeforeTheUserIsAskedAnythingAndTellsNothingYet) {
    voreinstellungen.setzeText(schluesselGescheitert, "60");
    a->angelaufen();
    EXPECT_THAT(einbau.bestaetigt, ElementsAre(kunde.laufendes));
    EXPECT_THAT(anzeige.zeigte, IsEmpty());
    EXPECT_EQ(voreinstellungen.text(schluesselGescheitert), "60") << "still to be told";
}

TEST_F(Aktualisierer, TellsOnceThatANewVersionHadToBeTakenBackAndDoesNotOfferItAgain) {
    voreinstellungen.setzeText(schluesselGescheitert, "60");
    a->gestartet();
    EXPECT_THAT(anzeige.zeigte, ElementsAre("Die neue Fassung ließ sich nicht starten"));
    EXPECT_THAT(anzeige.erklaerungen, ElementsAre("Quillmate 0.50 läuft deshalb weiter wie zuvor."));
    EXPECT_EQ(voreinstellungen.text(schluesselUebersprungen), "60");
    neu();
    a->gestartet();
    EXPECT_EQ(anzeige.zeigte.size(), 1U);
}

TEST_F(Aktualisierer, TellsOnceAfterTheRestartThatTheUpdateIsIn) {
    voreinstellungen.setzeText(schluesselEingebaut, "50");
    a->gestartet();
    EXPECT_THAT(anzeige.zeigte, ElementsAre("Quillmate wurde aktualisiert"));
    EXPECT_THAT(anzeige.erklaerungen, ElementsAre("Du hast jetzt die Fassung 0.50."));
    neu();
    a->gestartet();
    EXPECT_EQ(anzeige.zeigte.size(), 1U);
}

TEST_F(Aktualisierer, TellsAfterTheRestartThatTheUpdateWasNotPutIn) {
    bisZumAngebot();
    anzeige.antwort(Wahl::installieren);
    ASSERT_TRUE(werkzeug::wartenBis([&] {
        schleife.drehe();
        return schleife.beendet;
    }));
    EXPECT_EQ(voreinstellungen.text(schluesselEingebaut), "60");
    anzeige.zeigte.clear();
    neu(); // still version 50
    a->gestartet();
    EXPECT_THAT(anzeige.zeigte, ElementsAre("Das Update wurde nicht eingebaut"));
}
