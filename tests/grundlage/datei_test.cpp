#include "grundlage/datei.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>

using namespace quillmate;
using werkzeug::inhaltVon;
using werkzeug::OrdnerAufZeit;

TEST(Datei, ReadsWholeFilesWithRoomAroundThem) {
    OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("a b/Beleg ü.pdf", "Inhalt");
    EXPECT_EQ(leseDatei(pfad, 100), "Inhalt");
    EXPECT_EQ(leseDatei(pfad, 100, "<", ">"), "<Inhalt>");
    EXPECT_EQ(leseDatei(ordner.datei("leer"), 100, "<", ">"), "<>");
}

TEST(Datei, LimitIsExact) {
    OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("x", std::string(1000, 'x'));
    EXPECT_TRUE(leseDatei(pfad, 1000));
    EXPECT_FALSE(leseDatei(pfad, 999));
}

TEST(Datei, AFileOfFiveGigabytesIsRefusedWithoutBeingRead) {
    OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("riesig");
    ASSERT_EQ(::truncate(pfad.c_str(), off_t{5} << 30), 0);
    EXPECT_FALSE(leseDatei(pfad, 1 << 20));
}

TEST(Datei, MissingFilesFoldersAndPipesAreNotRead) {
    OrdnerAufZeit const ordner;
    EXPECT_FALSE(leseDatei(ordner.pfad("fehlt"), 100));
    EXPECT_FALSE(leseDatei(ordner.pfad(), 100));
    auto const rohr = ordner.pfad("rohr.pdf");
    ASSERT_EQ(::mkfifo(rohr.c_str(), 0600), 0);
    EXPECT_FALSE(leseDatei(rohr, 100)); // would hang for ever without O_NONBLOCK
    EXPECT_FALSE(leseDatei(std::string{"a\0b", 3}, 100));
}

TEST(Datei, AFileThatGrowsWhileItIsReadStaysBelowTheLimit) {
    OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("waechst", std::string(1 << 16, 'x'));
    std::atomic<bool> ende{false};
    std::jthread schreiber{[&] {
        Deskriptor const datei{::open(pfad.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC)};
        std::string const stueck(1 << 16, 'y');
        for (int i = 0; i < 2000 && !ende; ++i)
            if (::write(datei.get(), stueck.data(), stueck.size()) < 0)
                break;
    }};
    for (int i = 0; i < 50; ++i) {
        auto const inhalt = leseDatei(pfad, 1 << 20);
        if (inhalt) {
            EXPECT_LE(inhalt->size(), std::size_t{1} << 20);
        }
    }
    ende = true;
}

TEST(Datei, PathsLongerThanTheKernelTakesAtOnceAreOpened) {
    OrdnerAufZeit const ordner;
    std::string const teil(200, 'o');
    std::string pfad = ordner.pfad();
    Deskriptor hier{::open(pfad.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    for (int i = 0; i < 40; ++i) {
        ASSERT_EQ(::mkdirat(hier.get(), teil.c_str(), 0700), 0);
        hier = Deskriptor{::openat(hier.get(), teil.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
        pfad += '/' + teil;
    }
    Deskriptor const neu{::openat(hier.get(), "tief.pdf", O_WRONLY | O_CREAT | O_CLOEXEC, 0600)};
    ASSERT_EQ(::write(neu.get(), "tief", 4), 4);
    EXPECT_EQ(leseDatei(pfad + "/tief.pdf", 100), "tief");
    EXPECT_FALSE(leseDatei(pfad + "/fehlt.pdf", 100));
}

TEST(Datei, AComponentLongerThanAnyNameFailsInsteadOfLooping) {
    EXPECT_FALSE(oeffnen("/" + std::string(10'000, 'x') + "/y", O_RDONLY));
}

TEST(Datei, AtomicWriteReplacesTheWholeFileAndLeavesNothingBeside) {
    OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("eintrag", "alt");
    EXPECT_TRUE(schreibeAtomar(pfad, "neu", Dauerhaft::ja));
    EXPECT_EQ(inhaltVon(pfad), "neu");
    struct stat lage {};
    ASSERT_EQ(::stat(pfad.c_str(), &lage), 0);
    EXPECT_EQ(lage.st_mode & 0777U, 0600U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator{ordner.pfad()}, {}), 1);
}

TEST(Datei, AFailedAtomicWriteKeepsTheOldFileAndLeavesNothingBeside) {
    OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("eintrag", "alt");
    // A file size limit is what a full disk looks like to a writer. In a child, since it holds for a process.
    auto const kind = ::fork();
    if (kind == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit const grenze{.rlim_cur = 10, .rlim_max = 10};
        ::setrlimit(RLIMIT_FSIZE, &grenze);
        bool const geschrieben = schreibeAtomar(pfad, std::string(1000, 'x'), Dauerhaft::nein);
        ::_exit(!geschrieben && errno == EFBIG ? 0 : 1); // and not what the clearing up met
    }
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(ausgang, 0);
    EXPECT_EQ(inhaltVon(pfad), "alt");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator{ordner.pfad()}, {}), 1);
}

TEST(Datei, ReadersOfAnAtomicallyWrittenFileNeverSeeAPart) {
    OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("eintrag", std::string(50'000, 'a'));
    std::atomic<bool> ende{false};
    std::jthread schreiber{[&] {
        for (char c = 'a'; !ende; c = c == 'z' ? 'a' : static_cast<char>(c + 1))
            (void)schreibeAtomar(pfad, std::string(50'000, c), Dauerhaft::nein);
    }};
    for (int i = 0; i < 300; ++i) {
        auto const inhalt = leseDatei(pfad, 100'000);
        ASSERT_TRUE(inhalt);
        ASSERT_EQ(*inhalt, std::string(50'000, inhalt->front()));
    }
    ende = true;
}

TEST(Datei, FoldersAreCreatedWithAllThatIsMissingAboveThem) {
    OrdnerAufZeit const ordner;
    EXPECT_TRUE(ordnerAnlegen(ordner.pfad("a/b/c")));
    EXPECT_TRUE(ordnerAnlegen(ordner.pfad("a/b/c")));
    EXPECT_TRUE(std::filesystem::is_directory(ordner.pfad("a/b/c")));
    EXPECT_FALSE(ordnerAnlegen(ordner.datei("datei") + "/unter"));
}

TEST(Datei, StandardisedPathsHaveOneSpelling) {
    EXPECT_EQ(standardisiert("/a/./b//c/../d/"), "/a/b/d");
    EXPECT_EQ(standardisiert("/a/b/."), "/a/b");
    EXPECT_EQ(standardisiert("/"), "/");
    EXPECT_EQ(standardisiert("//a"), "/a");
    EXPECT_EQ(standardisiert("//"), "/");
    EXPECT_EQ(standardisiert("///a///b///"), "/a/b");
    EXPECT_EQ(standardisiert("x/y"), std::filesystem::current_path().string() + "/x/y");
}

TEST(Datei, LastComponentIgnoresTrailingSlashes) {
    EXPECT_EQ(letzteKomponente("/a/b.pdf"), "b.pdf");
    EXPECT_EQ(letzteKomponente("/a/b/"), "b");
    EXPECT_EQ(letzteKomponente("/"), "/");
    EXPECT_EQ(letzteKomponente("b"), "b");
}
