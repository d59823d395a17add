#include "grundlage/pruefsumme.h"
#include "macscan/datum.h"
#include "suchwelt.h"
#include "werkzeug/fehlerausgabe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <thread>
#include <utility>

using namespace quillmate;
using namespace quillmate::MacScan;
using werkzeug::HttpAntwort;
using werkzeug::wartenBis;
using namespace std::chrono_literals;

namespace {

using Namen = std::multiset<std::string>;

constexpr char const* belegtext = "Rechnung Nr. 5 vom Hotel, Summe 12,50 EUR";
constexpr char const* brief = "Lieber Onkel Hans, uns geht es allen gut";

class Vollsuche : public testing::Test {
protected:
    /// A whole run; all its messages.
    std::vector<Json> laufe(MacScan::Scanauftrag auftrag = {}) {
        auftrag.zugang = welt.zugang();
        MacScan::Suche suche{welt.umgebung()};
        suche.starten(auftrag, welt.melder());
        EXPECT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
        bericht = suche.stand.bericht();
        return welt.alleMeldungen();
    }
    std::vector<std::string> schritte() const {
        std::vector<std::string> namen;
        for (auto const& schritt : bericht["schritte"]) {
            EXPECT_EQ(schritt["fertig"], true) << schritt;
            namen.push_back(schritt["schluessel"]);
        }
        return namen;
    }
    Json schritt(std::string const& schluessel) const {
        for (auto const& s : bericht["schritte"])
            if (s["schluessel"] == schluessel)
                return s;
        return {};
    }
    /// What the service would say it has seen of these files.
    void kenntBereits(std::vector<std::pair<std::string, std::string>> const& pfadeUndHashes) {
        Json antwort{{"paths", Json::array()}, {"path_hashes", Json::object()}};
        for (auto const& [pfad, hash] : pfadeUndHashes) {
            antwort["paths"].push_back(pfad);
            antwort["path_hashes"][pfad] = hash;
        }
        welt.service.antworte("/seen-paths", antwort.dump());
    }
    static void setzeTag(std::string const& pfad, std::time_t sekunden) {
        std::array<timespec, 2> const zeiten{{{sekunden, 0}, {sekunden, 0}}};
        ASSERT_EQ(::utimensat(AT_FDCWD, pfad.c_str(), zeiten.data(), 0), 0);
    }

    werkzeug::Suchwelt welt;
    Json bericht;
};

} // namespace

TEST(LeserAnzahl, IsOneLessThanTheCoresButTwoToEight) {
    EXPECT_EQ(MacScan::leserAnzahl(4), 3);
    EXPECT_EQ(MacScan::leserAnzahl(2), 2);
    EXPECT_EQ(MacScan::leserAnzahl(1), 2);
    EXPECT_EQ(MacScan::leserAnzahl(16), 8);
    EXPECT_EQ(MacScan::leserAnzahl(9), 8);
    EXPECT_GE(MacScan::aktiveKerne(), 1);
}

TEST_F(Vollsuche, ReceiptsOfAllPlacesReachTheServiceAndThePageIsTold) {
    welt.heim.datei("Desktop/a.pdf", belegtext);
    welt.heim.datei("Documents/tief/b.JPG", belegtext);
    welt.heim.datei("Downloads/c.pdf", brief);
    welt.heim.datei("Downloads/d.png", brief);
    welt.heim.datei("Downloads/e.txt", belegtext);
    welt.merke("Belege");
    welt.heim.datei("Belege/f.pdf", "");

    auto const meldungen = laufe();
    EXPECT_EQ(welt.service.hochgeladen(), (Namen{"a.pdf", "b.JPG", "f.pdf"}));
    ASSERT_EQ(meldungen.size(), 2U);
    EXPECT_EQ(meldungen[0]["gestartet"], true);
    EXPECT_EQ(meldungen[0]["gesamt"], 5);
    EXPECT_EQ(meldungen[0]["zugriff"].size(), 4U);
    EXPECT_EQ(meldungen[0]["zugriff"][0]["zustand"], "ok");
    EXPECT_EQ(meldungen[0]["zugriff"][0]["name"], "Desktop");
    EXPECT_EQ(meldungen[0].size(), 3U);
    auto const& ende = meldungen[1];
    EXPECT_EQ(ende["gestartet"], true);
    EXPECT_EQ(ende["gesamt"], 5);
    EXPECT_EQ(
        ende["gruende"].dump(),
        R"({"hochladen":3,"keinBelegtext":1,"keinBeleg":1,"nichtZumThema":0,"hochgeladen":3,"bekannt":0,"nichtLesbar":0,)"
        R"("zuGross":0,"uebertragungFehlgeschlagen":0,"ausserhalbZeitraum":0,"cloudPlatzhalter":0,"uebersprungen":0})");
    EXPECT_EQ(ende["orte"].dump(), R"({"Belege":1,"Desktop":1,"Documents":1,"Downloads":2})");
    EXPECT_TRUE(welt.lesezeichen.offen.empty());
}

TEST_F(Vollsuche, TheServiceHearsStartProgressAndTheSameSummary) {
    welt.heim.datei("Desktop/a.pdf", belegtext);
    auto const meldungen = laufe();
    auto const& server = welt.service.server();
    ASSERT_EQ(server.anfragenAn("/progress-start").size(), 1U);
    EXPECT_EQ(server.anfragenAn("/progress-start")[0].koerper, R"({"total_candidates":1})");
    ASSERT_FALSE(server.anfragenAn("/progress-update").empty());
    EXPECT_EQ(server.anfragenAn("/progress-update").back().koerper, R"({"processed":1,"total":1})");
    ASSERT_EQ(server.anfragenAn("/progress-finish").size(), 1U);
    EXPECT_EQ(server.anfragenAn("/progress-finish")[0].koerper, meldungen.back().dump());
}

TEST_F(Vollsuche, StepListIsCompleteAlsoWithNothingToDo) {
    laufe();
    EXPECT_EQ(
        schritte(), (std::vector<std::string>{
                        "vorgaben", "bekannt", "platzhalter", "icloud", "platzhalter", "icloud",
                        "platzhalter", "icloud", "ordner", "ordner", "ordner", "abgleich", "lesen"}));
    EXPECT_EQ(bericht["art"], "suche");
    EXPECT_EQ(bericht["laeuft"], false);
    EXPECT_EQ(schritt("ordner")["name"], "Desktop");
    EXPECT_EQ(schritt("ordner")["anzahl"], 0);
}

TEST_F(Vollsuche, WithNoCandidateTheSummaryIsSentAtOnceAndNoStart) {
    auto const meldungen = laufe();
    ASSERT_EQ(meldungen.size(), 1U);
    EXPECT_EQ(meldungen[0]["gesamt"], 0);
    EXPECT_EQ(meldungen[0]["zugriff"].size(), 4U);
    EXPECT_TRUE(meldungen[0].contains("gruende"));
    EXPECT_EQ(welt.service.server().anfragenAn("/progress-finish").size(), 1U);
    EXPECT_TRUE(welt.service.server().anfragenAn("/progress-start").empty());
    EXPECT_TRUE(welt.service.server().anfragenAn("/progress-update").empty());
}

TEST_F(Vollsuche, FilesThatTheServiceHasAreSkippedAndChangedOnesAreNot) {
    auto const gleich = welt.heim.datei("Desktop/gleich.pdf", belegtext);
    auto const anders = welt.heim.datei("Desktop/anders.pdf", belegtext);
    kenntBereits({{gleich, hexadezimal(sha256(belegtext))}, {anders, std::string(64, '0')}});
    auto const meldungen = laufe();
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"anders.pdf"});
    EXPECT_EQ(meldungen.back()["gruende"]["uebersprungen"], 1);
    EXPECT_EQ(meldungen.back()["gesamt"], 1);
    EXPECT_EQ(schritt("abgleich")["zusatz"].dump(), R"({"uebersprungen":1})");
    EXPECT_EQ(meldungen.back()["orte"]["Desktop"], 2); // found, whatever became of them
}

TEST_F(Vollsuche, AllAgainReadsWhatTheServiceHasAndSendsKnownNonReceipts) {
    auto const gleich = welt.heim.datei("Desktop/gleich.pdf", belegtext);
    kenntBereits({{gleich, hexadezimal(sha256(belegtext))}});
    welt.service.antworte(
        "/known-nonreceipt-hashes", Json{{"hashes", {hexadezimal(sha256(belegtext))}}}.dump());
    laufe({.alles = true});
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"gleich.pdf"});
    auto const namen = schritte();
    EXPECT_EQ(std::ranges::count(namen, "bekannt") + std::ranges::count(namen, "abgleich"), 0);
    EXPECT_TRUE(welt.service.server().anfragenAn("/seen-paths").empty());
}

TEST_F(Vollsuche, KnownNonReceiptsAreNotSent) {
    welt.heim.datei("Desktop/a.pdf", belegtext);
    welt.service.antworte(
        "/known-nonreceipt-hashes", Json{{"hashes", {hexadezimal(sha256(belegtext))}}}.dump());
    auto const meldungen = laufe();
    EXPECT_TRUE(welt.service.hochgeladen().empty());
    EXPECT_EQ(meldungen.back()["gruende"]["bekannt"], 1);
    EXPECT_EQ(meldungen.back()["gruende"]["hochladen"], 1);
}

TEST_F(Vollsuche, PhotosAreSentUnreadWhenAskedFor) {
    welt.heim.datei("Desktop/a.jpg", brief);
    welt.heim.datei("Desktop/b.pdf", brief);
    laufe({.fotos = true});
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"a.jpg"});
    EXPECT_EQ(welt.leser.gelesen, 1);
}

TEST_F(Vollsuche, PreferencesGiveDateWindowAndKeywords) {
    auto const alt = welt.heim.datei("Desktop/alt.pdf", belegtext);
    welt.heim.datei("Desktop/thema.pdf", belegtext);
    welt.heim.datei("Desktop/anderes.pdf", "Rechnung ueber 3,00 EUR von irgendwem");
    welt.service.antworte(
        "/local-scan-preference", R"({"min_file_date":"2030-01-01T00:00:00Z","context_keywords":["hotel"]})");
    // Younger than the window by their change; birth is now and so before it.
    for (auto const* const name : {"Desktop/thema.pdf", "Desktop/anderes.pdf"})
        setzeTag(welt.heim.pfad(name), 2'000'000'000);
    auto const meldungen = laufe();
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"thema.pdf"});
    EXPECT_EQ(meldungen.back()["gruende"]["ausserhalbZeitraum"], 1);
    EXPECT_EQ(meldungen.back()["gruende"]["nichtZumThema"], 1);
}

TEST_F(Vollsuche, PreferencesOfWrongTypesAreNone) {
    welt.heim.datei("Desktop/a.pdf", belegtext);
    welt.service.antworte(
        "/local-scan-preference", R"({"min_file_date":20300101,"context_keywords":["bahn",1]})");
    laufe();
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"a.pdf"});
}

TEST_F(Vollsuche, AServiceThatFailsEveryQuestionDoesNotEndTheRun) {
    welt.heim.datei("Desktop/a.pdf", belegtext);
    for (auto const* const ende :
         {"/local-scan-preference", "/seen-paths", "/known-nonreceipt-hashes", "/progress"})
        welt.service.antworte(ende, HttpAntwort{.status = 500, .koerper = "<html>"});
    laufe();
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"a.pdf"});
}

TEST_F(Vollsuche, AFailedStartIsTriedThreeTimesTwoSecondsApart) {
    welt.heim.datei("Desktop/a.pdf", belegtext);
    welt.service.antworte("/progress-start", HttpAntwort{.status = 500});
    auto const meldungen = laufe();
    EXPECT_EQ(welt.service.server().anfragenAn("/progress-start").size(), 3U);
    EXPECT_EQ(welt.uhr.geschlafen(), std::vector(16, 0.25)); // twice two seconds
    EXPECT_EQ(meldungen.at(0)["gestartet"], true);
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"a.pdf"});
}

TEST_F(Vollsuche, RefusalsAndFailuresAreCountedAndDoNotStopTheRun) {
    welt.heim.datei("Desktop/a.pdf", belegtext);
    welt.heim.datei("Desktop/b.pdf", belegtext);
    welt.service.antworte("/upload", HttpAntwort{.status = 413});
    auto const meldungen = laufe();
    EXPECT_EQ(meldungen.back()["gruende"]["zuGross"], 2);
    EXPECT_EQ(meldungen.back()["gruende"]["hochladen"], 2);
}

TEST_F(Vollsuche, AFileThatVanishesBeforeItsTurnIsUnreadable) {
    auto const pfad = welt.heim.datei("Desktop/a.pdf", belegtext);
    welt.leser.vorher = [&] {
        EXPECT_EQ(::unlink(pfad.c_str()), 0);
    };
    auto const meldungen = laufe();
    EXPECT_EQ(meldungen.back()["gruende"]["nichtLesbar"], 1);
}

TEST_F(Vollsuche, AnExceptionWhileReadingCostsOneFileThisScan) {
    welt.heim.datei("Desktop/a.pdf", "wirft");
    welt.heim.datei("Desktop/b.pdf", belegtext);
    auto const meldungen = laufe();
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"b.pdf"});
    EXPECT_EQ(meldungen.back()["gesamt"], 2);
    EXPECT_EQ(meldungen.back()["gruende"]["nichtLesbar"], 1);
}

TEST_F(Vollsuche, OneChosenFolderIsSearchedForImagesThatAreMarkedUnread) {
    auto const kennung = welt.merke("Fotos");
    std::string const grossesBild = belegtext + std::string(8000, ' ');
    welt.heim.datei("Fotos/a.jpg", grossesBild);
    auto const gesehen = welt.heim.datei("Fotos/gesehen.jpg", grossesBild + "1");
    welt.heim.datei("Fotos/keinbeleg.jpg", grossesBild + "2");
    welt.heim.datei("Fotos/klein.jpg", belegtext);
    welt.heim.datei("Fotos/b.pdf", grossesBild);
    welt.heim.datei("Desktop/c.jpg", grossesBild);
    kenntBereits({{gesehen, hexadezimal(sha256(grossesBild + "1"))}});
    welt.service.antworte(
        "/known-nonreceipt-hashes", Json{{"hashes", {hexadezimal(sha256(grossesBild + "2"))}}}.dump());
    auto const meldungen = laufe({.nurOrdner = kennung});
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"a.jpg"});
    auto const uploads = welt.service.server().anfragenAn("/upload");
    EXPECT_EQ(uploads.at(0).abfrage.back(), (std::pair<std::string, std::string>{"ungelesen", "1"}));
    EXPECT_EQ(bericht["art"], "bildersuche");
    EXPECT_EQ(schritte(), (std::vector<std::string>{"vorgaben", "bekannt", "ordner", "lesen"}));
    EXPECT_EQ(meldungen.back()["orte"].dump(), R"({"Fotos":1})");
}

TEST_F(Vollsuche, AnOrdinaryRunNeverMarksUploadsUnread) {
    welt.heim.datei("Desktop/a.jpg", belegtext);
    laufe();
    EXPECT_EQ(welt.service.server().anfragenAn("/upload").at(0).abfrage.size(), 1U);
}

TEST_F(Vollsuche, ImagesOfTheChosenFolderAreLimited) {
    auto const kennung = welt.merke("Fotos");
    for (int i = 0; i < 10; ++i)
        welt.heim.datei("Fotos/" + std::to_string(i) + ".jpg", belegtext + std::string(8000, ' '));
    EXPECT_EQ(laufe({.nurOrdner = kennung, .hoechstensBilder = 3}).back()["gesamt"], 3);
}

TEST_F(Vollsuche, AChosenFolderThatIsGoneOrClosedEndsTheRunWithASentence) {
    auto const kennung = welt.merke("Fotos");
    welt.lesezeichen.verschlossen.insert(welt.heim.pfad("Fotos"));
    for (auto const& gesucht : {kennung, std::string{"0123456789abcdef"}}) {
        auto const meldungen = laufe({.nurOrdner = gesucht});
        EXPECT_EQ(
            meldungen.back().dump(),
            R"({"fehler":"Der gewählte Ordner ist nicht mehr freigegeben. Bitte füge ihn noch einmal hinzu."})");
    }
    EXPECT_TRUE(welt.lesezeichen.offen.empty());
}

TEST_F(Vollsuche, AStopDuringTheFileSearchEndsTheRunWithTheStopMessage) {
    welt.heim.datei("Desktop/a.pdf", belegtext);
    welt.service.antworte("/progress", R"({"gestoppt":true})");
    auto const meldungen = laufe();
    ASSERT_EQ(meldungen.size(), 1U);
    EXPECT_EQ(meldungen[0].dump(), R"({"gestoppt":true,"erledigt":0,"gesamt":0})");
    EXPECT_EQ(welt.leser.gelesen, 0);
    EXPECT_TRUE(welt.service.server().anfragenAn("/progress-start").empty());
}

TEST_F(Vollsuche, AStopWhileReadingStartsNoFurtherUpload) {
    for (int i = 0; i < 20; ++i)
        welt.heim.datei("Desktop/" + std::to_string(i) + ".pdf", belegtext);
    MacScan::Suche suche{welt.umgebung()};
    welt.leser.vorher = [&] {
        suche.anhalten();
    };
    suche.starten({.zugang = welt.zugang()}, welt.melder());
    ASSERT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
    EXPECT_TRUE(welt.service.hochgeladen().empty());
    EXPECT_LE(welt.leser.gelesen, 2); // those that were being read when the stop came
    auto const meldungen = welt.alleMeldungen();
    ASSERT_EQ(meldungen.size(), 3U);
    EXPECT_EQ(meldungen[1].dump(), R"({"gestoppt":true,"erledigt":0,"gesamt":20})");
    EXPECT_EQ(welt.service.server().anfragenAn("/progress-finish").size(), 1U);
}

TEST_F(Vollsuche, ASecondStartWhileOneRunsIsRefusedAndLeavesTheFirstAlone) {
    welt.heim.datei("Desktop/a.pdf", belegtext);
    std::atomic<bool> weiter{false};
    welt.leser.vorher = [&] {
        EXPECT_TRUE(wartenBis([&] { return weiter.load(); }));
    };
    MacScan::Suche suche{welt.umgebung()};
    suche.starten({.zugang = welt.zugang()}, welt.melder());
    std::vector<Json> zweite;
    suche.starten(
        {.zugang = welt.zugang(), .nurOrdner = "x"}, [&](Json const& meldung) { zweite.push_back(meldung); });
    ASSERT_EQ(zweite.size(), 1U);
    EXPECT_EQ(zweite[0].dump(), R"({"fehler":"Es läuft bereits ein Scan."})");
    EXPECT_EQ(suche.stand.bericht()["art"], "suche");
    weiter = true;
    ASSERT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"a.pdf"});
    weiter = true;
    suche.starten({.zugang = welt.zugang()}, welt.melder()); // and afterwards there may be a next one
    EXPECT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
}

TEST_F(Vollsuche, DestroyingTheSearchEndsARunningScan) {
    for (int i = 0; i < 50; ++i)
        welt.heim.datei("Desktop/" + std::to_string(i) + ".pdf", belegtext);
    welt.service.antworte("/upload", HttpAntwort{.haengen = true}); // would take two minutes
    auto const beginn = std::chrono::steady_clock::now();
    {
        MacScan::Suche suche{welt.umgebung()};
        suche.starten({.zugang = welt.zugang()}, welt.melder());
        ASSERT_TRUE(wartenBis([&] { return !welt.service.server().anfragenAn("/upload").empty(); }));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - beginn, 60s);
}

TEST_F(Vollsuche, CloudPlaceholdersAreCountedAndNotWaitedForWhereNothingCanFetchThem) {
    welt.heim.datei("Documents/.a.pdf.icloud");
    welt.heim.datei("Documents/.b.txt.icloud");
    auto const meldungen = laufe();
    EXPECT_EQ(meldungen.back()["gruende"]["cloudPlatzhalter"], 1);
    EXPECT_TRUE(welt.uhr.geschlafen().empty());
}

TEST_F(Vollsuche, AFileInOverlappingPlacesIsOneCandidateAndCountedForEachPlace) {
    welt.merke("Documents/Belege");
    welt.heim.datei("Documents/Belege/a.pdf", belegtext);
    auto const meldungen = laufe();
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"a.pdf"});
    EXPECT_EQ(meldungen.back()["gesamt"], 1);
    EXPECT_EQ(meldungen.back()["orte"].dump(), R"({"Belege":1,"Desktop":0,"Documents":1,"Downloads":0})");
}

TEST_F(Vollsuche, NamesThatAreNoUtf8ReachServiceAndPageRepaired) {
    welt.heim.datei("Desktop/M\xFCller.pdf", belegtext);
    welt.merke("\xFC");
    auto const meldungen = laufe();
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"M\xEF\xBF\xBDller.pdf"});
    EXPECT_EQ(meldungen.back()["orte"]["\xEF\xBF\xBD"], 0);
    EXPECT_EQ(welt.service.server().anfragenAn("/progress-finish").size(), 1U);
}

TEST_F(Vollsuche, WorkersRunAsBackgroundWork) {
    welt.heim.datei("Desktop/a.pdf", belegtext);
    laufe();
    EXPECT_GE(welt.arbeitsfaden.anzahl, 1);
}

TEST_F(Vollsuche, ProgressIsReportedAtMostOnceASecondAndAtTheEnd) {
    for (int i = 0; i < 30; ++i)
        welt.heim.datei("Desktop/" + std::to_string(i) + ".pdf", brief);
    laufe(); // the clock of this world stands still
    auto const berichte = welt.service.server().anfragenAn("/progress-update");
    ASSERT_EQ(berichte.size(), 2U);
    EXPECT_EQ(berichte.back().koerper, R"({"processed":30,"total":30})");
}

TEST_F(Vollsuche, AFileExactlyOnTheEarliestDateIsKept) {
    auto const grenze =
        std::chrono::duration_cast<std::chrono::seconds>(MacScan::datumAus("2030-01-01")->time_since_epoch())
            .count();
    setzeTag(welt.heim.datei("Desktop/davor.pdf", belegtext), grenze - 1);
    setzeTag(welt.heim.datei("Desktop/genau.pdf", belegtext), grenze);
    welt.service.antworte("/local-scan-preference", R"({"min_file_date":"2030-01-01"})");
    laufe();
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"genau.pdf"});
}

TEST_F(Vollsuche, AtMostTwoUploadsAndAsManyReadingsAsReadersRunAtOnce) {
    for (int i = 0; i < 12; ++i)
        welt.heim.datei("Desktop/" + std::to_string(i) + ".pdf", belegtext + std::to_string(i));
    struct Gleichzeitig {
        std::atomic<int> jetzt{0};
        std::atomic<int> hoechstens{0};
        void durchlauf(int erwartet) {
            auto const n = ++jetzt;
            for (int bisher = hoechstens; n > bisher && !hoechstens.compare_exchange_weak(bisher, n);) {
            }
            // Waits for company once, so that it is seen to be possible; a third one has time to show up too.
            (void)wartenBis([&] { return hoechstens >= erwartet; }, 5s);
            std::this_thread::sleep_for(2ms);
            --jetzt;
        }
    } lesen, senden;
    welt.leserzahl = 3;
    welt.leser.vorher = [&] {
        lesen.durchlauf(3);
    };
    welt.service.beimHochladen = [&] {
        senden.durchlauf(2);
    };
    laufe();
    EXPECT_EQ(lesen.hoechstens, 3);
    EXPECT_EQ(senden.hoechstens, 2);
}

TEST_F(Vollsuche, ProgressIsReportedEachFullSecond) {
    for (int i = 0; i < 5; ++i)
        welt.heim.datei("Desktop/" + std::to_string(i) + ".pdf", brief + std::to_string(i));
    welt.leserzahl = 1;
    auto const berichte = [&] {
        return static_cast<int>(welt.service.server().anfragenAn("/progress-update").size());
    };
    welt.leser.vorher = [&, gelesen = 0]() mutable {
        // The report of each file before has arrived, so none is dropped for being on its way.
        EXPECT_TRUE(wartenBis([&] { return berichte() >= gelesen; }));
        ++gelesen;
        welt.uhr.vor(1s);
    };
    laufe();
    EXPECT_GE(berichte(), 4);
    EXPECT_EQ(
        welt.service.server().anfragenAn("/progress-update").back().koerper, R"({"processed":5,"total":5})");
}

TEST_F(Vollsuche, AStopOfTheServiceWhileReadingIsFoundByThePoller) {
    for (int i = 0; i < 20; ++i)
        welt.heim.datei("Desktop/" + std::to_string(i) + ".pdf", belegtext);
    MacScan::Suche suche{welt.umgebung()};
    welt.leser.vorher = [&] {
        welt.service.antworte("/progress", R"({"gestoppt":true})");
        EXPECT_TRUE(wartenBis([&] { return suche.stoppWaechter.gestoppt(welt.zugang()); }));
    };
    suche.starten({.zugang = welt.zugang()}, welt.melder());
    ASSERT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
    EXPECT_TRUE(welt.service.hochgeladen().empty());
    EXPECT_EQ(welt.alleMeldungen().at(1)["gestoppt"], true);
}

TEST_F(Vollsuche, AStopOfOneRunDoesNotReachTheNext) {
    welt.heim.datei("Desktop/a.pdf", belegtext);
    MacScan::Suche suche{welt.umgebung()};
    welt.leser.vorher = [&, erste = true]() mutable {
        if (std::exchange(erste, false))
            suche.anhalten();
    };
    suche.starten({.zugang = welt.zugang()}, welt.melder());
    ASSERT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
    EXPECT_TRUE(welt.service.hochgeladen().empty());
    suche.starten({.zugang = welt.zugang()}, welt.melder());
    ASSERT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"a.pdf"});
}

TEST_F(Vollsuche, ACloudDriveFetchesPlaceholdersBeforeTheSearch) {
    welt.wolkeVorhanden = true;
    welt.heim.datei("Documents/.a.pdf.icloud");
    auto const meldungen = laufe();
    EXPECT_EQ(welt.wolke.angefordert, std::vector<std::string>{welt.heim.pfad("Documents/a.pdf")});
    EXPECT_EQ(meldungen.back()["gruende"]["cloudPlatzhalter"], 0);
    EXPECT_EQ(meldungen.back()["orte"]["Documents"], 1);
}

TEST_F(Vollsuche, PlaceholdersThatStayInTheCloudAreWaitedForNinetySeconds) {
    welt.wolkeVorhanden = true;
    welt.wolke.laedt = false;
    welt.heim.datei("Documents/.a.pdf.icloud");
    auto const meldungen = laufe();
    EXPECT_EQ(meldungen.back()["gruende"]["cloudPlatzhalter"], 1);
    EXPECT_EQ(welt.uhr.geschlafen(), std::vector<double>(45, 2.0));
}

TEST_F(Vollsuche, ThereAreAtMost25000FindsPerPlace) {
    for (int i = 0; i < 25'001; ++i)
        welt.heim.datei("Desktop/" + std::to_string(i) + ".pdf");
    welt.service.antworte(
        "/local-scan-preference", R"({"min_file_date":"2100-01-01"})"); // so that none is read
    auto const meldungen = laufe();
    EXPECT_EQ(meldungen.back()["orte"]["Desktop"], 25'000);
    EXPECT_EQ(meldungen.back()["gruende"]["ausserhalbZeitraum"], 25'000);
}

TEST_F(Vollsuche, TheLogTellsTheRun) {
    welt.heim.datei("Desktop/a.pdf", belegtext);
    welt.heim.datei("Desktop/b.jpg", brief);
    welt.heim.datei("Documents/.c.pdf.icloud");
    auto const text = werkzeug::fehlerausgabe([&] { laufe(); });
    EXPECT_EQ(
        text, "[Quillmate] MacScan: Desktop, 0 geladen\n"
              "[Quillmate] MacScan: Documents, 0 geladen\n"
              "[Quillmate] MacScan: 1 iCloud-Platzhalter in Documents\n"
              "[Quillmate] MacScan: Downloads, 0 geladen\n"
              "[Quillmate] MacScan: 2 Dateien, hochladen 1, keinBelegtext 1; Uebertragung: hochgeladen 1\n");
    EXPECT_EQ(text.find(welt.zugang().token + "\""), std::string::npos);
}

TEST_F(Vollsuche, TheLogTellsStopsAndTheImageSearch) {
    auto const kennung = welt.merke("Fotos");
    welt.heim.datei("Fotos/a.jpg", belegtext + std::string(8000, ' '));
    MacScan::Suche suche{welt.umgebung()};
    welt.leser.vorher = [&] {
        suche.anhalten();
    };
    auto const text = werkzeug::fehlerausgabe([&] {
        suche.starten({.zugang = welt.zugang(), .nurOrdner = kennung}, welt.melder());
        EXPECT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
    });
    EXPECT_EQ(
        text, "[Quillmate] MacScan: erweiterte Bildersuche in Fotos: 1 Bilder\n"
              "[Quillmate] MacScan: 0 Dateien, keine; Uebertragung: keine\n"
              "[Quillmate] MacScan: vom Nutzer gestoppt nach 0 von 1 Dateien\n");
    welt.service.antworte("/progress", R"({"gestoppt":true})");
    EXPECT_EQ(
        werkzeug::fehlerausgabe([&] { laufe(); }),
        "[Quillmate] MacScan: vom Nutzer gestoppt, noch waehrend der Dateisuche\n");
}
