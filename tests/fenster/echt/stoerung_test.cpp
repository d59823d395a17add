// What a person sees when the service or the engine fails.
#include "demo/portal.h"
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

#include <csignal>

namespace quillmate::fenster_echt {
namespace {

using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::wartenBis;

class Stoerungen : public EchtesFenster {
protected:
    /// The text of whatever the window shows, through the clipboard; waits for this piece of it. Emptied before, because
    /// what was copied from an earlier page says nothing about this one.
    [[nodiscard]] bool zeigt(std::string const& stueck) {
        return wartenBis([&] {
            bildschirm.zwischenablageLeeren();
            bildschirm.taste("ctrl+a");
            bildschirm.taste("ctrl+c");
            std::optional<std::string> kopie;
            (void)wartenBis(
                [&] { return (kopie = bildschirm.zwischenablage()).has_value(); }, std::chrono::seconds{2});
            gezeigt = kopie.value_or("");
            return gezeigt.find(stueck) != std::string::npos;
        });
    }
    /// Kills the process that shows pages.
    [[nodiscard]] bool webprozessToeten() const {
        std::vector<pid_t> prozesse;
        if (!wartenBis([&] {
                prozesse = programm->kinder("WebKitWebProcess");
                return !prozesse.empty();
            }))
            return false;
        for (pid_t const nummer : prozesse)
            ::kill(nummer, SIGKILL);
        return true;
    }
    void ohneSeite(Programm::Umgebung const& weitere) {
        programm = starte({}, weitere);
        ASSERT_TRUE(bildschirm.warteAufFenster("Quillmate"));
        ASSERT_TRUE(programm->warteAufZeile("FEHLER "));
        tastaturAnHauptfenster();
    }

    std::string gezeigt;
};

TEST_F(Stoerungen, AnUnreachableServiceShowsTheErrorPageAndReloadingTriesItAgain) {
    dienst.antworte("/uebersicht", HttpAntwort{.ohneAntwort = true});
    ohneSeite({});
    EXPECT_TRUE(zeigt("Quillmate ist gerade nicht erreichbar."));
    bildschirm.bild("fehlerseite");
    EXPECT_NE(gezeigt.find("Menü „Ablage → Neu laden“ (⌘R) versucht es erneut."), std::string::npos)
        << gezeigt;
    auto const fehler = programm->anzahlZeilen("FEHLER ");
    bildschirm.taste("ctrl+r");
    EXPECT_TRUE(wartenBis([&] { return programm->anzahlZeilen("FEHLER ") > fehler; })) << "still failing";
    EXPECT_TRUE(zeigt("Quillmate ist gerade nicht erreichbar."));
    dienst.vergiss("/uebersicht");
    bildschirm.taste("ctrl+r");
    EXPECT_TRUE(dienst.warteAufDokument());
    EXPECT_EQ(dienst.rufe("return window.quillmateApp.fassung"), 3);
}

TEST_F(Stoerungen, TheReasonOnTheErrorPageIsGermanWhateverTheSessionsLanguage) {
    for (auto const& [sprache, language] :
         {std::pair{"C", ""}, {"en_US.UTF-8", "en_US:en"}, {"C.UTF-8", "fr"}}) {
        ohneSeite(
            {{"QUILLMATE_URL", werkzeug::toteAdresse() + "/"}, {"LANG", sprache}, {"LANGUAGE", language}});
        EXPECT_TRUE(zeigt("Quillmate ist gerade nicht erreichbar."));
        EXPECT_EQ(gezeigt.find("Could not connect"), std::string::npos) << sprache << gezeigt;
        EXPECT_NE(gezeigt.find("Verbindung"), std::string::npos) << sprache << gezeigt;
        programm.reset();
    }
}

TEST_F(Stoerungen, AServiceThatCannotProveWhoItIsIsNotShownAndTheErrorPageSaysWhy) {
    std::signal(SIGPIPE, SIG_IGN); // The server lives in this process.
    std::string grund;
    auto const fremder = demo::Portal::oeffnen(ordner.ordner("fremder"), grund);
    ASSERT_TRUE(fremder) << grund;
    ohneSeite({{"QUILLMATE_URL", fremder->adresse()}});
    EXPECT_TRUE(zeigt("Quillmate ist gerade nicht erreichbar."));
    EXPECT_NE(
        gezeigt.find("Das Zertifikat des Servers stammt von einer unbekannten Stelle."), std::string::npos)
        << gezeigt;
    bildschirm.bild("fehlerseite_zertifikat");
    auto const fehler = programm->anzahlZeilen("FEHLER zertifikat ");
    EXPECT_EQ(fehler, 1U);
    bildschirm.taste("ctrl+r");
    EXPECT_TRUE(wartenBis([&] { return programm->anzahlZeilen("FEHLER zertifikat ") > fehler; }))
        << "it is judged anew";
    EXPECT_TRUE(zeigt("Das Zertifikat des Servers stammt von einer unbekannten Stelle."));
    EXPECT_EQ(programm->anzahlZeilen("FEHLER "), programm->anzahlZeilen("FEHLER zertifikat "));
}

TEST_F(Stoerungen, AFailedPageCanBeLeftByReloadingAndKeepsItsAddress) {
    oeffne();
    dienst.antworte("/seite/zwei", HttpAntwort{.ohneAntwort = true});
    dienst.rufe("setTimeout(() => location.href = '/seite/zwei')");
    EXPECT_TRUE(programm->warteAufZeile("FEHLER "));
    EXPECT_TRUE(zeigt("Quillmate ist gerade nicht erreichbar."));
    dienst.vergiss("/seite/zwei");
    bildschirm.taste("ctrl+r");
    EXPECT_TRUE(dienst.warteAufDokument(1, "zwei"));
}

TEST_F(Stoerungen, AKilledWebProcessIsReplacedOnceAndThenThereIsAPageAboutIt) {
    oeffne();
    constexpr std::uint32_t weiss = 0xFFFFFF;
    ASSERT_TRUE(webprozessToeten());
    EXPECT_TRUE(dienst.warteAufDokument(2)) << "the page comes back by itself";
    EXPECT_EQ(programm->anzahlZeilen("Webprozess beendet"), 1U);
    EXPECT_EQ(dienst.rufe("return window.quillmateApp.fassung"), 3);
    ASSERT_TRUE(webprozessToeten());
    EXPECT_TRUE(programm->warteAufZeile("Webprozess erneut beendet"));
    // Before anybody touches the window: its lower edge has the page's own colour.
    auto const wo = hauptfenster();
    auto const unten = [&] {
        return bildschirm.farbe({.x = wo.x + wo.breite / 2, .y = wo.y + wo.hoehe - 30});
    };
    EXPECT_TRUE(wartenBis([&] { return unten() != weiss && unten() != 0xFAFAFA; })) << std::hex << unten();
    bildschirm.bild("absturzseite_sofort");
    tastaturAnHauptfenster();
    EXPECT_TRUE(zeigt("Die Anzeige von Quillmate ist mehrmals abgestürzt."));
    bildschirm.bild("absturzseite");
    EXPECT_EQ(dienst.dokumente(), 2);
    ASSERT_TRUE(webprozessToeten());
    EXPECT_TRUE(wartenBis([&] { return programm->anzahlZeilen("Webprozess erneut beendet") == 2; }));
    EXPECT_TRUE(zeigt("Die Anzeige von Quillmate ist mehrmals abgestürzt."))
        << "after the third death within a minute";
    EXPECT_TRUE(wartenBis([&] { return unten() != weiss && unten() != 0xFAFAFA; })) << std::hex << unten();
    bildschirm.taste("ctrl+r");
    EXPECT_TRUE(dienst.warteAufDokument(3)) << "a person may try again";
}

TEST_F(Stoerungen, ASilentServerIsNotAnEmptyWindow) {
    dienst.antworte("/uebersicht", HttpAntwort{.haengen = true});
    programm = starte();
    ASSERT_TRUE(bildschirm.warteAufFenster("Quillmate"));
    tastaturAnHauptfenster();
    EXPECT_TRUE(zeigt("Quillmate – wird geladen …"));
}

} // namespace
} // namespace quillmate::fenster_echt
