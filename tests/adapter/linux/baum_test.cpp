#include "adapter/linux/baum.h"
#include "adapter/linux/dateiwerk_linux.h"
#include "werkzeug/probebuendel.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

using namespace quillmate;
using werkzeug::abbild;

namespace {

namespace fs = std::filesystem;

class Baum : public testing::Test {
protected:
    werkzeug::OrdnerAufZeit ordner;
    std::string const von{ordner.pfad("Größe 1.app")};
    std::string const nach{ordner.pfad("Kopie.app")};
    adapter::linux::DateiwerkLinux werk;
};

timespec geaendert(std::string const& pfad) {
    struct stat lage {};
    ::lstat(pfad.c_str(), &lage);
    return lage.st_mtim;
}

} // namespace

TEST_F(Baum, ACopyKeepsContentModesLinksAndTimes) {
    werkzeug::probebuendel(von, "50");
    ::chmod((von + "/Contents/Resources/leer").c_str(), 0500);
    timespec const zeiten[2]{{.tv_sec = 1'000'000, .tv_nsec = 5}, {.tv_sec = 1'000'000, .tv_nsec = 5}};
    ::utimensat(AT_FDCWD, (von + "/Contents/Linux/quillmate").c_str(), zeiten, 0);
    EXPECT_EQ(werk.kopieren(von, nach), std::nullopt);
    EXPECT_EQ(abbild(nach), abbild(von));
    EXPECT_EQ(geaendert(nach + "/Contents/Linux/quillmate").tv_sec, 1'000'000);
    EXPECT_EQ(fs::read_symlink(nach + "/Contents/Resources/ins Leere"), "/gibt/es/nicht");
    EXPECT_TRUE(adapter::linux::baumLoeschen(nach)) << "also a folder without the right to write";
    EXPECT_FALSE(fs::exists(nach));
}

TEST_F(Baum, ACopyDropsSetUserIdBits) {
    auto const datei = ordner.datei("Größe 1.app/programm", "x");
    ::chmod(datei.c_str(), 06755);
    EXPECT_EQ(werk.kopieren(von, nach), std::nullopt);
    struct stat lage {};
    ASSERT_EQ(::stat((nach + "/programm").c_str(), &lage), 0);
    EXPECT_EQ(lage.st_mode & 07777U, 0755U);
}

TEST_F(Baum, ACopyNeverReplacesWhatIsThere) {
    werkzeug::probebuendel(von, "50");
    ordner.datei("Kopie.app/anderes", "bleibt");
    EXPECT_EQ(werk.kopieren(von, nach), "Nicht zu kopieren ist „Größe 1.app“: Dort liegt schon etwas.");
    EXPECT_EQ(werkzeug::inhaltVon(nach + "/anderes"), "bleibt");
    EXPECT_FALSE(fs::exists(ordner.pfad(".Kopie.app.umzug")));
}

TEST_F(Baum, ACopyOfNothingOrOfOddThingsIsRefusedAndLeavesNothing) {
    EXPECT_EQ(werk.kopieren(von, nach), "Nicht zu kopieren ist „Größe 1.app“: Es ist nicht mehr da.");
    ordner.ordner("Größe 1.app");
    ::mkfifo((von + "/rohr").c_str(), 0600);
    auto const hindernis = werk.kopieren(von, nach);
    ASSERT_TRUE(hindernis);
    EXPECT_TRUE(hindernis->starts_with("Nicht zu kopieren ist „rohr“: ")) << *hindernis;
    EXPECT_FALSE(fs::exists(nach));
    EXPECT_FALSE(fs::exists(ordner.pfad(".Kopie.app.umzug")));
}

TEST_F(Baum, AnEndlesslyDeepTreeIsRefused) {
    std::string tief = "Größe 1.app";
    for (int i = 0; i < 80; ++i)
        tief += "/t";
    ordner.ordner(tief);
    EXPECT_TRUE(werk.kopieren(von, nach));
    EXPECT_FALSE(fs::exists(nach));
    EXPECT_FALSE(adapter::linux::baumLoeschen(von));
}

TEST_F(Baum, AFileThatDoesNotFitLeavesNothingAndSaysWhy) {
    werkzeug::probebuendel(von, "50");
    auto const kind = ::fork();
    if (kind == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit const grenze{.rlim_cur = 100'000, .rlim_max = 100'000};
        ::setrlimit(RLIMIT_FSIZE, &grenze);
        auto const hindernis = werk.kopieren(von, nach);
        ::_exit(hindernis && hindernis->find("gross.bin") != std::string::npos ? 0 : 1);
    }
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(ausgang, 0);
    EXPECT_FALSE(fs::exists(nach));
    EXPECT_FALSE(fs::exists(ordner.pfad(".Kopie.app.umzug")));
}

TEST_F(Baum, DeletingNeverFollowsALink) {
    ordner.datei("fremd/wichtig", "bleibt");
    ordner.ordner("weg/unten");
    fs::create_symlink(ordner.pfad("fremd"), ordner.pfad("weg/unten/verweis"));
    EXPECT_TRUE(adapter::linux::baumLoeschen(ordner.pfad("weg")));
    EXPECT_FALSE(fs::exists(ordner.pfad("weg")));
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad("fremd/wichtig")), "bleibt");
    fs::create_symlink(ordner.pfad("fremd"), ordner.pfad("verweis"));
    EXPECT_TRUE(adapter::linux::baumLoeschen(ordner.pfad("verweis")));
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad("fremd/wichtig")), "bleibt");
    EXPECT_TRUE(adapter::linux::baumLoeschen(ordner.pfad("gab es nie")));
}

TEST_F(Baum, FlushingReachesEveryFileAndReportsAMissingTree) {
    werkzeug::probebuendel(von, "50");
    EXPECT_EQ(adapter::linux::baumSichern(von), std::nullopt);
    EXPECT_TRUE(adapter::linux::baumSichern(nach));
    EXPECT_TRUE(adapter::linux::ordnerSichern(ordner.pfad()));
    EXPECT_FALSE(adapter::linux::ordnerSichern(nach));
}

TEST_F(Baum, DownloadMarksGoAndOtherAttributesStay) {
    auto const datei = ordner.datei("Größe 1.app/unten/datei", "x");
    constexpr auto marke = "user.xdg.origin.url";
    if (::setxattr(datei.c_str(), marke, "https://x", 9, 0) != 0)
        GTEST_SKIP() << "this file system has no extended attributes";
    ::setxattr(datei.c_str(), "user.xdg.referrer.url", "y", 1, 0);
    ::setxattr(datei.c_str(), "user.eigenes", "z", 1, 0);
    ::setxattr(von.c_str(), marke, "https://x", 9, 0);
    werk.downloadmarkenEntfernen(von);
    EXPECT_LT(::getxattr(datei.c_str(), marke, nullptr, 0), 0);
    EXPECT_LT(::getxattr(datei.c_str(), "user.xdg.referrer.url", nullptr, 0), 0);
    EXPECT_LT(::getxattr(von.c_str(), marke, nullptr, 0), 0);
    EXPECT_EQ(::getxattr(datei.c_str(), "user.eigenes", nullptr, 0), 1);
}

TEST_F(Baum, ACopyCarriesNoDownloadMarks) {
    auto const datei = ordner.datei("Größe 1.app/datei", "x");
    if (::setxattr(datei.c_str(), "user.xdg.origin.url", "u", 1, 0) != 0)
        GTEST_SKIP() << "this file system has no extended attributes";
    EXPECT_EQ(werk.kopieren(von, nach), std::nullopt);
    EXPECT_LT(::getxattr((nach + "/datei").c_str(), "user.xdg.origin.url", nullptr, 0), 0);
}

TEST_F(Baum, TellsWhatIsThereAndWhatIsTheSame) {
    ordner.ordner("a");
    fs::create_symlink("a", ordner.pfad("b"));
    fs::create_symlink("fehlt", ordner.pfad("c"));
    EXPECT_TRUE(werk.vorhanden(ordner.pfad("c")));
    EXPECT_FALSE(werk.vorhanden(ordner.pfad("fehlt")));
    EXPECT_TRUE(werk.derselbe(ordner.pfad("a"), ordner.pfad("b")));
    EXPECT_FALSE(werk.derselbe(ordner.pfad("a"), ordner.pfad()));
    EXPECT_FALSE(werk.derselbe(ordner.pfad("fehlt"), ordner.pfad("fehlt")));
    EXPECT_TRUE(werk.beschreibbar(ordner.pfad("a")));
    EXPECT_FALSE(werk.beschreibbar(ordner.pfad("fehlt")));
    EXPECT_FALSE(werk.beschreibbar(ordner.datei("datei", "x")));
}

TEST_F(Baum, MakesFoldersWithAllAboveThem) {
    EXPECT_EQ(werk.ordnerAnlegen(ordner.pfad("x/y/z")), std::nullopt);
    EXPECT_TRUE(fs::is_directory(ordner.pfad("x/y/z")));
    EXPECT_EQ(werk.ordnerAnlegen(ordner.pfad("x/y/z")), std::nullopt);
    ordner.datei("datei", "x");
    EXPECT_TRUE(werk.ordnerAnlegen(ordner.pfad("datei/unten")));
}

TEST(Einhaengepunkt, IsTheLongestOneAboveThePathAndTheLastOfSeveral) {
    constexpr std::string_view text = "22 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
                                      "23 22 0:5 / /dev rw - devtmpfs udev rw\n"
                                      "24 22 7:0 / /Volumes/Quillmate\\0400.5 ro - iso9660 /dev/loop0 ro\n"
                                      "25 22 7:1 / /Volumes/Q rw - ext4 /dev/loop1 rw\n"
                                      "26 kaputt\n"
                                      "\n";
    EXPECT_EQ(
        adapter::linux::einhaengepunkt(text, "/Volumes/Quillmate 0.5/Quillmate.app"),
        "/Volumes/Quillmate 0.5");
    EXPECT_EQ(adapter::linux::einhaengepunkt(text, "/Volumes/Q/x"), "/Volumes/Q");
    EXPECT_EQ(adapter::linux::einhaengepunkt(text, "/Volumes/Q"), "/Volumes/Q");
    EXPECT_EQ(adapter::linux::einhaengepunkt(text, "/Volumes/Qu/x"), "/");
    EXPECT_EQ(adapter::linux::einhaengepunkt("", "/x"), std::nullopt);
}

TEST_F(Baum, AReadOnlyMountIsKnownAsAVolumeOfItsOwn) {
    werkzeug::probebuendel(von, "50");
    ordner.ordner("abbild ro");
    auto const punkt = fs::canonical(ordner.pfad("abbild ro")).string();
    auto const kind = ::fork();
    if (kind == 0) {
        // A mount of our own, seen by nobody else.
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 ||
            ::mount(von.c_str(), punkt.c_str(), nullptr, MS_BIND, nullptr) != 0 ||
            ::mount(nullptr, punkt.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0)
            ::_exit(77);
        auto const traeger = werk.datentraeger(punkt + "/Contents/Info.plist");
        if (!traeger || traeger->pfad != punkt || !traeger->nurLesen)
            ::_exit(1);
        // And a bundle can be copied from it.
        ::_exit(werk.kopieren(punkt, nach) ? 2 : 0);
    }
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    if (WIFEXITED(ausgang) && WEXITSTATUS(ausgang) == 77)
        GTEST_SKIP() << "this machine allows no mounts";
    EXPECT_EQ(ausgang, 0);
    EXPECT_EQ(abbild(nach), abbild(von));
    auto const sonst = werk.datentraeger(von);
    ASSERT_TRUE(sonst);
    EXPECT_FALSE(sonst->nurLesen);
    EXPECT_FALSE(werk.datentraeger(ordner.pfad("fehlt")));
}
