#include "adapter/linux/lesezeichen_inode.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

using namespace quillmate;
using adapter::linux::entschluesseln;
using adapter::linux::Lesezeichensatz;
using adapter::linux::verschluesseln;

namespace {

class LesezeichenInode : public testing::Test {
protected:
    werkzeug::OrdnerAufZeit ordner;
    adapter::linux::LesezeichenInode lesezeichen;
};

} // namespace

TEST_F(LesezeichenInode, ResolvesToTheSameFolder) {
    auto const pfad = ordner.ordner("Belege ü");
    auto const aufgeloest = lesezeichen.aufloesen(lesezeichen.anlegen(pfad + "/.").value());
    ASSERT_TRUE(aufgeloest);
    EXPECT_EQ(aufgeloest->pfad, pfad);
    EXPECT_FALSE(aufgeloest->veraltet);
}

TEST_F(LesezeichenInode, ThereIsNoneOfAFileOrOfNothing) {
    EXPECT_FALSE(lesezeichen.anlegen(ordner.datei("datei")));
    EXPECT_FALSE(lesezeichen.anlegen(ordner.pfad("fehlt")));
}

TEST_F(LesezeichenInode, ARenamedFolderIsFoundAgainAndIsStale) {
    auto const bytes = lesezeichen.anlegen(ordner.ordner("alt")).value();
    std::filesystem::rename(ordner.pfad("alt"), ordner.pfad("neu"));
    auto const aufgeloest = lesezeichen.aufloesen(bytes);
    ASSERT_TRUE(aufgeloest);
    EXPECT_EQ(aufgeloest->pfad, ordner.pfad("neu"));
    EXPECT_TRUE(aufgeloest->veraltet);
}

TEST_F(LesezeichenInode, ARenamedFolderWinsOverAnotherOneAtItsOldPath) {
    auto const bytes = lesezeichen.anlegen(ordner.ordner("alt")).value();
    std::filesystem::rename(ordner.pfad("alt"), ordner.pfad("neu"));
    ordner.ordner("alt");
    EXPECT_EQ(lesezeichen.aufloesen(bytes)->pfad, ordner.pfad("neu"));
}

TEST_F(LesezeichenInode, AnotherFolderAtThePathIsTakenAndIsStale) {
    ordner.ordner("anderswo");
    auto const bytes = lesezeichen.anlegen(ordner.ordner("alt")).value();
    std::filesystem::rename(ordner.pfad("alt"), ordner.pfad("anderswo/alt"));
    ordner.ordner("alt");
    auto const aufgeloest = lesezeichen.aufloesen(bytes);
    ASSERT_TRUE(aufgeloest);
    EXPECT_EQ(aufgeloest->pfad, ordner.pfad("alt"));
    EXPECT_TRUE(aufgeloest->veraltet);
}

TEST_F(LesezeichenInode, ADeletedFolderAndAFileInItsPlaceAreGone) {
    auto const bytes = lesezeichen.anlegen(ordner.ordner("alt")).value();
    std::filesystem::remove(ordner.pfad("alt"));
    EXPECT_FALSE(lesezeichen.aufloesen(bytes));
    ordner.datei("alt");
    EXPECT_FALSE(lesezeichen.aufloesen(bytes));
}

TEST_F(LesezeichenInode, AccessDependsOnWhetherTheFolderCanBeListed) {
    auto const pfad = ordner.ordner("belege");
    EXPECT_TRUE(lesezeichen.zugriffBeginnen(pfad));
    EXPECT_FALSE(lesezeichen.zugriffBeginnen(ordner.pfad("fehlt")));
}

TEST_F(LesezeichenInode, AFolderBehindAClosedOneIsNotForgotten) {
    auto const bytes = lesezeichen.anlegen(ordner.ordner("zu/belege")).value();
    ASSERT_EQ(::chmod(ordner.pfad("zu").c_str(), 0), 0);
    auto const kind = ::fork(); // root passes every closed door
    if (kind == 0) {
        if (::geteuid() == 0 && (::chmod(ordner.pfad().c_str(), 0755) != 0 || ::seteuid(65534) != 0))
            ::_exit(2);
        auto const aufgeloest = lesezeichen.aufloesen(bytes);
        ::_exit(
            aufgeloest && aufgeloest->pfad == ordner.pfad("zu/belege") && !aufgeloest->veraltet &&
                    !lesezeichen.zugriffBeginnen(aufgeloest->pfad)
                ? 0
                : 1);
    }
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(ausgang, 0);
    ::chmod(ordner.pfad("zu").c_str(), 0700);
}

TEST_F(LesezeichenInode, WithoutDescriptorsAFolderIsNotForgotten) {
    auto const bytes = lesezeichen.anlegen(ordner.ordner("belege")).value();
    auto const kind = ::fork();
    if (kind == 0) {
        rlimit const keine{.rlim_cur = 0, .rlim_max = 0};
        ::setrlimit(RLIMIT_NOFILE, &keine);
        auto const aufgeloest = lesezeichen.aufloesen(bytes);
        ::_exit(aufgeloest && aufgeloest->pfad == ordner.pfad("belege") ? 0 : 1);
    }
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(ausgang, 0);
}

TEST_F(LesezeichenInode, AFolderOnADriveThatIsNotPluggedInIsAbsentAndNotForgotten) {
    auto const bytes = lesezeichen.anlegen(ordner.ordner("media/stick/belege")).value();
    // The drive's folder goes with it.
    std::filesystem::rename(ordner.pfad("media/stick"), ordner.pfad("weg"));
    auto aufgeloest = lesezeichen.aufloesen(bytes);
    ASSERT_TRUE(aufgeloest);
    EXPECT_TRUE(aufgeloest->abwesend);
    EXPECT_EQ(aufgeloest->pfad, ordner.pfad("media/stick/belege"));
    // Or an empty mount point stays.
    ordner.ordner("media/stick");
    aufgeloest = lesezeichen.aufloesen(bytes);
    ASSERT_TRUE(aufgeloest);
    EXPECT_TRUE(aufgeloest->abwesend);
    // Plugged in again.
    std::filesystem::remove(ordner.pfad("media/stick"));
    std::filesystem::rename(ordner.pfad("weg"), ordner.pfad("media/stick"));
    aufgeloest = lesezeichen.aufloesen(bytes);
    ASSERT_TRUE(aufgeloest);
    EXPECT_FALSE(aufgeloest->abwesend);
    EXPECT_FALSE(aufgeloest->veraltet);
    // Deleted on the drive.
    std::filesystem::remove(ordner.pfad("media/stick/belege"));
    EXPECT_FALSE(lesezeichen.aufloesen(bytes));
}

TEST_F(LesezeichenInode, TheRootOfADriveIsAbsentWithoutItAndWithAnEmptyMountPoint) {
    ordner.ordner("media/stick");
    struct stat eltern {};
    ASSERT_EQ(::stat(ordner.pfad("media").c_str(), &eltern), 0);
    // As it is remembered while a drive is mounted there: another device than the folder above.
    auto const bytes = verschluesseln(
        {.geraet = eltern.st_dev + 1,
         .knoten = 5,
         .pfad = ordner.pfad("media/stick"),
         .elterngeraet = eltern.st_dev,
         .elternknoten = eltern.st_ino});
    ASSERT_TRUE(lesezeichen.aufloesen(bytes));
    EXPECT_TRUE(lesezeichen.aufloesen(bytes)->abwesend);
    std::filesystem::remove(ordner.pfad("media/stick"));
    ASSERT_TRUE(lesezeichen.aufloesen(bytes));
    EXPECT_TRUE(lesezeichen.aufloesen(bytes)->abwesend);
    ordner.datei("media/stick/beleg.pdf"); // the user's own folder in its place
    ASSERT_TRUE(lesezeichen.aufloesen(bytes));
    EXPECT_FALSE(lesezeichen.aufloesen(bytes)->abwesend);
    EXPECT_TRUE(lesezeichen.aufloesen(bytes)->veraltet);
}

TEST_F(LesezeichenInode, AnEarlierBookmarkIsUnderstoodAndMadeAnew) {
    auto const pfad = ordner.ordner("belege");
    struct stat lage {};
    ASSERT_EQ(::stat(pfad.c_str(), &lage), 0);
    auto const frueher = "quillmate-lesezeichen 1\n" + std::to_string(lage.st_dev) + ' ' +
                         std::to_string(lage.st_ino) + '\n' + pfad;
    auto const aufgeloest = lesezeichen.aufloesen(frueher);
    ASSERT_TRUE(aufgeloest);
    EXPECT_EQ(aufgeloest->pfad, pfad);
    EXPECT_TRUE(aufgeloest->veraltet);
    std::filesystem::remove(pfad);
    EXPECT_FALSE(lesezeichen.aufloesen(frueher));
}

TEST(Lesezeichensatz, SurvivesTheRoundTripWithAnyPath) {
    Lesezeichensatz const satz{
        .geraet = 18446744073709551615U,
        .knoten = 0,
        .pfad = "/mit\nZeile/\xFC und Leerzeichen ",
        .elterngeraet = 1,
        .elternknoten = 18446744073709551615U};
    EXPECT_EQ(entschluesseln(verschluesseln(satz)), satz);
}

TEST(Lesezeichensatz, AnythingElseIsRefused) {
    EXPECT_FALSE(entschluesseln(""));
    EXPECT_FALSE(entschluesseln("quillmate-lesezeichen 1\n"));
    EXPECT_FALSE(entschluesseln("quillmate-lesezeichen 2\n1 2\n/a"));
    EXPECT_FALSE(entschluesseln("quillmate-lesezeichen 1\n1 2\nrelativ"));
    EXPECT_FALSE(entschluesseln("quillmate-lesezeichen 1\n1 2\n"));
    EXPECT_FALSE(entschluesseln("quillmate-lesezeichen 1\n-1 2\n/a"));
    EXPECT_FALSE(entschluesseln("quillmate-lesezeichen 1\n99999999999999999999 2\n/a"));
    EXPECT_FALSE(entschluesseln("quillmate-lesezeichen 1\n1 2 /a"));
    EXPECT_FALSE(entschluesseln(std::string{"quillmate-lesezeichen 1\n1 2\n/a\0b", 32}));
    EXPECT_FALSE(entschluesseln("quillmate-lesezeichen 1\n1 2\n/" + std::string(1 << 20, 'a')));
}
