#include "grundlage/pruefsumme.h"
#include "macscan/am_ort.h"
#include "macscan/doppelte.h"
#include "suchwelt.h"
#include "werkzeug/fehlerausgabe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <condition_variable>
#include <filesystem>

using namespace quillmate;
using namespace quillmate::MacScan;
using werkzeug::wartenBis;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

using Namen = std::multiset<std::string>;

constexpr char const* belegtext = "Rechnung Nr. 5 vom Hotel, Summe 12,50 EUR";
constexpr char const* anderer = "Rechnung Nr. 6 vom Hotel, Summe 13,50 EUR";
constexpr char const* brief = "Lieber Onkel Hans, uns geht es allen gut";

class EineDatei : public testing::Test {
protected:
    Json laufe(MacScan::Scanauftrag auftrag = {}) {
        auftrag.zugang = welt.zugang();
        MacScan::Suche suche{welt.umgebung()};
        suche.starten(auftrag, welt.melder());
        EXPECT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
        return welt.alleMeldungen().back();
    }
    /// Whether anything with this text reached the service.
    bool angekommen(std::string const& text) const {
        for (auto const& anfrage : welt.service.server().anfragenAn("/upload"))
            if (anfrage.koerper.find(text) != std::string::npos)
                return true;
        return false;
    }
    static void setzeTag(std::string const& pfad, std::time_t sekunden) {
        std::array<timespec, 2> const zeiten{{{sekunden, 0}, {sekunden, 0}}};
        ASSERT_EQ(::utimensat(AT_FDCWD, pfad.c_str(), zeiten.data(), 0), 0);
    }
    werkzeug::Suchwelt welt;
};

} // namespace

TEST_F(EineDatei, ALinkOutOfThePlacesIsNeverSent) {
    welt.heim.datei(".ssh/id_rsa", std::string{"geheim "} + belegtext);
    fs::create_symlink("../.ssh/id_rsa", welt.heim.pfad("Documents/rechnung.pdf"));
    welt.heim.datei("Documents/echt.pdf", belegtext);
    laufe();
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"echt.pdf"});
    EXPECT_FALSE(angekommen("geheim"));
}

TEST_F(EineDatei, ALinkAndItsTargetAreOneFileAndNothingOfTheResolvedPathLeaks) {
    welt.heim.datei("Documents/tief/ziel.pdf", belegtext);
    fs::create_symlink("tief/ziel.pdf", welt.heim.pfad("Documents/a.pdf"));
    fs::create_symlink("../Documents/tief/ziel.pdf", welt.heim.pfad("Desktop/b.pdf"));
    welt.heim.datei("Documents/tief/daten", anderer);
    fs::create_symlink("tief/daten", welt.heim.pfad("Documents/nur_verweis.pdf"));
    EXPECT_EQ(laufe()["gesamt"], 2);
    EXPECT_EQ(welt.service.hochgeladen(), (Namen{"nur_verweis.pdf", "ziel.pdf"}));
    EXPECT_FALSE(angekommen("tief/daten"));
}

TEST_F(EineDatei, TwoPlacesThatAreOneFolderGiveEachFileOnce) {
    welt.heim.datei("Documents/x.pdf", belegtext);
    fs::create_hard_link(welt.heim.pfad("Documents/x.pdf"), welt.heim.pfad("Documents/y.pdf"));
    fs::remove(welt.heim.pfad("Downloads"));
    fs::create_directory_symlink("Documents", welt.heim.pfad("Downloads"));
    EXPECT_EQ(laufe()["gesamt"], 1);
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"x.pdf"});
}

TEST_F(EineDatei, AFileThatTakesTheJudgedOnesPlaceIsNotSent) {
    // The queue holds the files after the first two, which are on their way; a reader that has begun with the last one
    // has queued those before it.
    for (int i = 0; i < 6; ++i)
        setzeTag(
            welt.heim.datei("Desktop/" + std::to_string(i) + ".pdf", belegtext + std::to_string(i)),
            2'000'000 - i);
    std::once_flag einmal;
    welt.service.beimHochladen = [&] {
        std::call_once(einmal, [&] {
            EXPECT_TRUE(wartenBis([&] { return welt.leser.gelesen == 6; }));
            fs::remove(welt.heim.pfad("Desktop/3.pdf"));
            welt.heim.datei("Desktop/3.pdf", "geheim " + std::string{belegtext});
            fs::rename(
                welt.heim.datei("4.neu", "geheim " + std::string{belegtext}),
                welt.heim.pfad("Desktop/4.pdf"));
        });
    };
    welt.leserzahl = 1;
    auto const ende = laufe();
    EXPECT_FALSE(angekommen("geheim"));
    EXPECT_EQ(ende["gruende"]["hochgeladen"], 4);
    EXPECT_EQ(ende["gruende"]["nichtLesbar"], 2);
}

TEST_F(EineDatei, AFileThatChangedSinceIsJudgedOnceMore) {
    for (int i = 0; i < 6; ++i)
        setzeTag(
            welt.heim.datei("Desktop/" + std::to_string(i) + ".pdf", belegtext + std::to_string(i)),
            2'000'000 - i);
    std::once_flag einmal;
    welt.service.beimHochladen = [&] {
        std::call_once(einmal, [&] {
            EXPECT_TRUE(wartenBis([&] { return welt.leser.gelesen == 6; }));
            std::ofstream{welt.heim.pfad("Desktop/3.pdf")} << brief;
            std::ofstream{welt.heim.pfad("Desktop/4.pdf")} << anderer;
        });
    };
    welt.leserzahl = 1;
    auto const ende = laufe();
    EXPECT_FALSE(angekommen(brief));
    EXPECT_TRUE(angekommen(anderer));
    EXPECT_EQ(ende["gruende"]["hochgeladen"], 5);
    EXPECT_EQ(ende["gruende"]["keinBeleg"], 1);
}

TEST_F(EineDatei, AFileThatGoesOnChangingIsLeftToTheNextScanWithItsReasonInTheLog) {
    auto const pfad = welt.heim.datei("Desktop/a.pdf", belegtext);
    int laenge = 0;
    welt.leser.vorher = [&] {
        std::ofstream{pfad} << belegtext << std::string(static_cast<std::size_t>(++laenge), '.');
    };
    Json ende;
    auto const ausgabe = werkzeug::fehlerausgabe([&] { ende = laufe(); });
    EXPECT_EQ(welt.leser.gelesen, 2);
    EXPECT_EQ(ende["gruende"]["nichtLesbar"], 1);
    EXPECT_TRUE(welt.service.hochgeladen().empty());
    EXPECT_NE(
        ausgabe.find("ändert sich, während sie gelesen wird, und bleibt der nächsten Suche"),
        std::string::npos);
    welt.leser.vorher = nullptr; // nothing of it was cached
    laufe();
    EXPECT_EQ(welt.leser.gelesen, 3);
}

TEST_F(EineDatei, ThousandsOfWaitingFilesKeepOnlySomeDescriptors) {
    for (int i = 0; i < 300; ++i)
        welt.heim.datei("Desktop/" + std::to_string(i) + ".pdf", belegtext + std::to_string(i));
    std::atomic<std::size_t> hoechste{0};
    std::once_flag einmal;
    welt.service.beimHochladen = [&] {
        std::call_once(einmal, [&] {
            EXPECT_TRUE(wartenBis([&] { return welt.leser.gelesen >= 298; }));
            hoechste = static_cast<std::size_t>(
                std::distance(fs::directory_iterator{"/proc/self/fd"}, fs::directory_iterator{}));
        });
    };
    EXPECT_EQ(laufe()["gruende"]["hochgeladen"], 300);
    EXPECT_GT(hoechste, 0U);
    EXPECT_LT(hoechste, 64U + 60U);
}

TEST_F(EineDatei, AFileThatCannotBeOpenedNowIsUnreadableAndJudgedByTheNextScan) {
    auto const pfad = welt.heim.datei("Desktop/a.png", belegtext);
    welt.leser.vorher = [&] {
        fs::remove(welt.heim.pfad("Desktop/b.png"));
    };
    setzeTag(pfad, 2'000'000);
    setzeTag(welt.heim.datei("Desktop/b.png", belegtext), 1'000'000);
    welt.leserzahl = 1;
    auto const ende = laufe();
    EXPECT_EQ(ende["gruende"]["nichtLesbar"], 1) << "not an image without text";
    EXPECT_EQ(ende["gruende"]["keinBelegtext"], 0);
}

TEST_F(EineDatei, PackagesAreNamedOnceForEachPlaceInTheLog) {
    for (auto const* name : {"a.app", "b.app", "c.key", "d.app"})
        welt.heim.datei(std::string{"Documents/"} + name + "/Contents/x");
    welt.heim.datei("Documents/Ersatz.key/beleg.pdf", belegtext);
    auto const ausgabe = werkzeug::fehlerausgabe([&] { laufe(); });
    EXPECT_NE(
        ausgabe.find("MacScan: 4 Ordner in Documents als Pakete ausgelassen: a.app, b.app, c.key, …"),
        std::string::npos);
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"beleg.pdf"});
}

TEST(Doppelte, CarelesslyNumberedFilesAreNotTakenForOne) {
    std::vector<Ordner::Fund> funde{
        {.pfad = "/a", .groesse = 1, .geraet = 1, .inode = 7},
        {.pfad = "/b", .groesse = 2, .geraet = 1, .inode = 7},
        {.pfad = "/c", .groesse = 1, .geraet = 2, .inode = 7},
        {.pfad = "/d", .groesse = 1, .geraet = 1, .inode = 7},
        {.pfad = "/e", .groesse = 1},
        {.pfad = "/f", .groesse = 1}};
    MacScan::ohneDoppelte(funde);
    EXPECT_EQ(funde.size(), 5U);
}

TEST(AmOrt, APlaceThatGivesNoSignOfLifeIsLeftAlone) {
    auto const frei = std::make_shared<std::atomic<bool>>(false);
    auto const blick = [frei](MacScan::Ortszeichen&) {
        frei->wait(false);
        return 1;
    };
    EXPECT_FALSE(MacScan::amOrt(
        "/haengender_ort", 50ms, [] { return false; }, {}, blick));
    EXPECT_TRUE(haengt("/haengender_ort"));
    EXPECT_EQ(
        MacScan::amOrt(
            "/anderer_ort", 10s, [] { return false; }, {}, [](MacScan::Ortszeichen&) { return 2; }),
        2);
    *frei = true;
    frei->notify_all();
    EXPECT_TRUE(wartenBis([] { return !haengt("/haengender_ort"); }));
}

TEST(AmOrt, APlaceThatIsSlowButAliveIsWaitedFor) {
    auto const ergebnis = MacScan::amOrt(
        "/langsam", 100ms, [] { return false; }, {},
        [](MacScan::Ortszeichen& zeichen) {
            for (int i = 0; i < 30; ++i) {
                std::this_thread::sleep_for(10ms);
                (void)zeichen.soll_enden();
            }
            return 3;
        });
    EXPECT_EQ(ergebnis, 3);
}

TEST(AmOrt, AStopIsObeyedWithinASecondWhereThePlaceHangs) {
    auto const frei = std::make_shared<std::atomic<bool>>(false);
    auto const beginn = std::chrono::steady_clock::now();
    EXPECT_FALSE(MacScan::amOrt(
        "/gestoppt", 60s, [] { return true; }, {},
        [frei](MacScan::Ortszeichen&) {
            frei->wait(false);
            return 1;
        }));
    EXPECT_LT(std::chrono::steady_clock::now() - beginn, 3s);
    *frei = true;
    frei->notify_all();
    EXPECT_TRUE(wartenBis([] { return !haengt("/gestoppt"); }));
}
