#include "adapter/linux/voreinstellungen_plist.h"
#include "werkzeug/fehlerausgabe.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

using namespace quillmate;
using Bytesliste = std::vector<std::string>;

namespace {

class VoreinstellungenPlist : public testing::Test {
protected:
    werkzeug::OrdnerAufZeit ordner;
    std::string datei{ordner.pfad("neu/voreinstellungen.plist")};
    adapter::linux::VoreinstellungenPlist voreinstellungen{datei};
};

} // namespace

TEST_F(VoreinstellungenPlist, WithoutAFileEverythingIsMissingAndReadingCreatesNothing) {
    EXPECT_FALSE(voreinstellungen.daten("a"));
    EXPECT_FALSE(voreinstellungen.datenliste("a"));
    EXPECT_FALSE(std::filesystem::exists(ordner.pfad("neu")));
}

TEST_F(VoreinstellungenPlist, ValuesSurviveInAFileOfTheUsersOwn) {
    std::string const binaer{"\0\x01\xFFx", 4};
    voreinstellungen.setzeDaten("einzeln", binaer);
    voreinstellungen.setzeDatenliste("liste", {binaer, "", "b"});
    adapter::linux::VoreinstellungenPlist spaeter{datei};
    EXPECT_EQ(spaeter.daten("einzeln"), binaer);
    EXPECT_EQ(spaeter.datenliste("liste"), (Bytesliste{binaer, "", "b"}));
    struct stat lage {};
    ASSERT_EQ(::stat(datei.c_str(), &lage), 0);
    EXPECT_EQ(lage.st_mode & 0777U, 0600U);
}

TEST_F(VoreinstellungenPlist, AnEmptyListIsNotAMissingOne) {
    voreinstellungen.setzeDatenliste("liste", {});
    EXPECT_EQ(voreinstellungen.datenliste("liste"), Bytesliste{});
}

TEST_F(VoreinstellungenPlist, AValueOfAnotherTypeCountsAsMissing) {
    voreinstellungen.setzeDaten("einzeln", "x");
    EXPECT_FALSE(voreinstellungen.datenliste("einzeln"));
    voreinstellungen.setzeDatenliste("liste", {"x"});
    EXPECT_FALSE(voreinstellungen.daten("liste"));
    ordner.datei(
        "neu/voreinstellungen.plist", "<plist "
                                      "version=\"1.0\"><dict><key>liste</key><array><data>eA==</"
                                      "data><string>x</string></array></dict></plist>");
    EXPECT_FALSE(voreinstellungen.datenliste("liste")); // one element is no data
}

TEST_F(VoreinstellungenPlist, BooleansAndTextsSurviveAndKeepTheirTypes) {
    voreinstellungen.setzeWahrheitswert("ja", true);
    voreinstellungen.setzeWahrheitswert("nein", false);
    voreinstellungen.setzeText("text", "Größe <1> & „2“");
    adapter::linux::VoreinstellungenPlist spaeter{datei};
    EXPECT_EQ(spaeter.wahrheitswert("ja"), true);
    EXPECT_EQ(spaeter.wahrheitswert("nein"), false);
    EXPECT_EQ(spaeter.text("text"), "Größe <1> & „2“");
    EXPECT_EQ(spaeter.wahrheitswert("text"), std::nullopt);
    EXPECT_EQ(spaeter.text("ja"), std::nullopt);
    EXPECT_EQ(spaeter.wahrheitswert("fehlt"), std::nullopt);
    EXPECT_EQ(spaeter.text("fehlt"), std::nullopt);
}

TEST_F(VoreinstellungenPlist, RemovingWhatIsNotThereWritesNothing) {
    voreinstellungen.entferne("fehlt");
    EXPECT_FALSE(std::filesystem::exists(datei));
}

TEST_F(VoreinstellungenPlist, RemovingLeavesTheOthersAndForeignKeysStay) {
    ordner.datei(
        "neu/voreinstellungen.plist", "<plist "
                                      "version=\"1.0\"><dict><key>fremd</key><real>1.5</real><key>weg</"
                                      "key><data>eA==</data></dict></plist>");
    voreinstellungen.entferne("weg");
    voreinstellungen.entferne("gab es nie");
    voreinstellungen.setzeDaten("neu", "y");
    auto const inhalt = werkzeug::inhaltVon(datei);
    EXPECT_NE(inhalt.find("<key>fremd</key>"), std::string::npos);
    EXPECT_NE(inhalt.find("<real>1.5"), std::string::npos);
    EXPECT_EQ(inhalt.find("<key>weg</key>"), std::string::npos);
    EXPECT_EQ(voreinstellungen.daten("neu"), "y");
}

TEST_F(VoreinstellungenPlist, ADamagedFileIsSetAsideNotLost) {
    ordner.datei("neu/voreinstellungen.plist", "<plist><dict><key>halb");
    EXPECT_FALSE(voreinstellungen.daten("a"));
    voreinstellungen.setzeDaten("a", "x");
    EXPECT_EQ(voreinstellungen.daten("a"), "x");
    EXPECT_EQ(werkzeug::inhaltVon(datei + ".beschaedigt"), "<plist><dict><key>halb");
}

TEST_F(VoreinstellungenPlist, EveryDamagedFileIsKept) {
    for (auto const* const text : {"erster Schaden", "zweiter Schaden"}) {
        ordner.datei("neu/voreinstellungen.plist", text);
        voreinstellungen.setzeDaten("a", "x");
    }
    EXPECT_EQ(werkzeug::inhaltVon(datei + ".beschaedigt"), "erster Schaden");
    EXPECT_EQ(werkzeug::inhaltVon(datei + ".beschaedigt-2"), "zweiter Schaden");
}

TEST_F(VoreinstellungenPlist, WithoutDescriptorsNothingIsLost) {
    voreinstellungen.setzeDaten("a", "alt");
    auto const kind = ::fork();
    if (kind == 0) {
        int const letzter = ::dup(0);
        // One descriptor is left: enough for the lock file, not for what comes after it.
        rlimit const grenze{
            .rlim_cur = static_cast<rlim_t>(letzter + 1), .rlim_max = static_cast<rlim_t>(letzter + 1)};
        ::close(letzter);
        ::setrlimit(RLIMIT_NOFILE, &grenze);
        voreinstellungen.setzeDaten("a", "neu");
        int const weg = ::dup(0); // and now none
        bool const lesbar = voreinstellungen.lesbar();
        ::close(weg);
        ::_exit(!lesbar && voreinstellungen.daten("a") == "alt" ? 0 : 1);
    }
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(ausgang, 0);
    EXPECT_EQ(voreinstellungen.daten("a"), "alt");
    EXPECT_FALSE(std::filesystem::exists(datei + ".beschaedigt"));
}

TEST_F(VoreinstellungenPlist, AFullDiskKeepsTheOldContent) {
    voreinstellungen.setzeDaten("a", "alt");
    auto const kind = ::fork();
    if (kind == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit const grenze{.rlim_cur = 20, .rlim_max = 20};
        ::setrlimit(RLIMIT_FSIZE, &grenze);
        voreinstellungen.setzeDaten("a", "neu");
        ::_exit(voreinstellungen.daten("a") == "alt" ? 0 : 1);
    }
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(ausgang, 0);
    EXPECT_EQ(voreinstellungen.daten("a"), "alt");
}

TEST_F(VoreinstellungenPlist, ConcurrentWritersOfSeveralObjectsLoseNothing) {
    {
        std::vector<std::jthread> schreiber;
        for (int k = 0; k < 4; ++k)
            schreiber.emplace_back([this, k] {
                adapter::linux::VoreinstellungenPlist eigene{datei}; // as another process has
                for (int i = 0; i < 10; ++i)
                    eigene.setzeDaten(std::to_string(k) + "-" + std::to_string(i), "x");
            });
    }
    for (int k = 0; k < 4; ++k)
        for (int i = 0; i < 10; ++i)
            EXPECT_TRUE(voreinstellungen.daten(std::to_string(k) + "-" + std::to_string(i))) << k << ' ' << i;
}

TEST_F(VoreinstellungenPlist, AKillInTheMiddleOfWritingLeavesAWholeFile) {
    voreinstellungen.setzeDaten("fest", "x");
    for (int versuch = 0; versuch < 20; ++versuch) {
        std::array<int, 2> rohr{};
        ASSERT_EQ(::pipe(rohr.data()), 0);
        auto const kind = ::fork();
        if (kind == 0)
            for (int i = 0;; ++i) {
                voreinstellungen.setzeDaten("laufend", std::string(static_cast<std::size_t>(1000 + i), 'y'));
                (void)!::write(rohr[1], "x", 1); // one more has been written
            }
        // Dies right after its n-th write has been told, in the middle of the next.
        std::string gesehen(static_cast<std::size_t>(versuch) + 1, ' ');
        for (std::size_t n = 0; n < gesehen.size();)
            n += static_cast<std::size_t>(
                std::max<ssize_t>(::read(rohr[0], gesehen.data(), gesehen.size() - n), 0));
        ::close(rohr[0]);
        ::close(rohr[1]);
        ::kill(kind, SIGKILL);
        ::waitpid(kind, nullptr, 0);
        ASSERT_EQ(voreinstellungen.daten("fest"), "x");
    }
}

TEST_F(VoreinstellungenPlist, AListOfTextsComesBackInItsOrder) {
    voreinstellungen.setzeTextliste("texte", {"https://a.example/?x=1&y", "", "Über <uns>"});
    EXPECT_EQ(
        adapter::linux::VoreinstellungenPlist{datei}.textliste("texte"),
        (Bytesliste{"https://a.example/?x=1&y", "", "Über <uns>"}));
    voreinstellungen.setzeTextliste("texte", {});
    EXPECT_EQ(voreinstellungen.textliste("texte"), Bytesliste{});
    EXPECT_FALSE(voreinstellungen.textliste("fehlt"));
}

TEST_F(VoreinstellungenPlist, AListWithAnythingButTextIsNoListOfTexts) {
    voreinstellungen.setzeDatenliste("daten", {"x"});
    EXPECT_FALSE(voreinstellungen.textliste("daten"));
    voreinstellungen.setzeText("text", "x");
    EXPECT_FALSE(voreinstellungen.textliste("text"));
    voreinstellungen.setzeTextliste("texte", {"x"});
    EXPECT_FALSE(voreinstellungen.datenliste("texte"));
    EXPECT_FALSE(voreinstellungen.text("texte"));
}

TEST_F(VoreinstellungenPlist, AFileOfANewerVersionIsSetAsideAndTheLogSaysWhere) {
    voreinstellungen.setzeDaten("a", "alt");
    auto inhalt = werkzeug::inhaltVon(datei);
    inhalt.insert(
        inhalt.find("<dict>") + 6, "<key>quillmate.voreinstellungen.form</key><integer>2</integer>");
    std::ofstream{datei} << inhalt;
    EXPECT_FALSE(voreinstellungen.daten("a")) << "read although it may mean something else";
    auto const zeile = werkzeug::fehlerausgabe([&] { voreinstellungen.setzeDaten("b", "neu"); });
    EXPECT_EQ(werkzeug::inhaltVon(datei + ".neuer"), inhalt);
    EXPECT_NE(zeile.find(datei + ".neuer"), std::string::npos) << zeile;
    EXPECT_EQ(voreinstellungen.daten("b"), "neu");
}
