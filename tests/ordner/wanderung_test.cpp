// Trees that are too deep, too large, closed, broken, or changing under the walk.

#include "hilfen.h"
#include "speicherhaken.h"
#include "systemhaken.h"
#include "werkzeug/faeden.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <cstdio>
#include <mutex>

namespace quillmate {
namespace {

namespace fs = std::filesystem;
using haken::Hakenwache;
using test::alle;
using test::gefunden;
using test::TieferBaum;
using testing::ElementsAre;
using werkzeug::OrdnerAufZeit;

/// Leaves the process only `anzahl` free descriptors; the soft limit stays below the next ones.
bool deskriptorenBegrenzen(rlim_t anzahl) {
    rlim_t grenze = 0;
    for (rlim_t freie = 0; freie < anzahl; ++grenze)
        if (::fcntl(static_cast<int>(grenze), F_GETFD) < 0)
            ++freie;
    rlimit const werte{.rlim_cur = grenze, .rlim_max = grenze};
    return ::setrlimit(RLIMIT_NOFILE, &werte) == 0;
}

bool istOrdner(int deskriptor, std::string const& pfad) {
    struct stat einer {};
    struct stat anderer {};
    return ::fstat(deskriptor, &einer) == 0 && ::stat(pfad.c_str(), &anderer) == 0 &&
           einer.st_dev == anderer.st_dev && einer.st_ino == anderer.st_ino;
}

TEST(Wanderung, TreeDeeperThanAnyPathOfTheKernelIsSearched) {
    OrdnerAufZeit const ordner;
    constexpr std::size_t ebenen = 3000;
    // Sorted behind the chain: on the way back up each level still has a folder to open.
    TieferBaum const baum{ordner.pfad(), "kette", ebenen, [](int hier, std::size_t ebene) {
                              ::mkdirat(hier, "zweig", 0755);
                              if (ebene % 100 != 0)
                                  return;
                              int const zweig = ::openat(hier, "zweig", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
                              test::leereDatei(zweig, "x.pdf");
                              ::close(zweig);
                          }};
    for (unsigned const faeden : {1U, 4U}) {
        auto const davor = test::offeneDeskriptoren();
        std::size_t hoechstens = 0;
        std::vector<std::size_t> laengen;
        Ordner::Suchauftrag auftrag{.hoechstens = alle, .faeden = faeden};
        auftrag.ausserdem = [&](std::string const& pfad, std::int64_t) {
            laengen.push_back(pfad.size());
            hoechstens = std::max(hoechstens, test::offeneDeskriptoren());
            return true;
        };
        auto const funde = Ordner::durchsuchen(ordner.pfad(), auftrag);
        EXPECT_EQ(funde.size(), ebenen / 100 + 1);
        EXPECT_GT(laengen.front(), std::size_t{4096} * 4);
        EXPECT_TRUE(
            std::ranges::is_sorted(laengen, std::ranges::greater{})); // the deepest branch comes first
        EXPECT_LT(hoechstens, davor + 150);
        EXPECT_EQ(test::offeneDeskriptoren(), davor);
        EXPECT_EQ(
            Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 0, {}, faeden), std::int64_t{ebenen / 100 + 1});
    }
    // Left early, the deep tree of pending folders is taken down without deep recursion.
    Ordner::Suchauftrag kurz{.hoechstens = 1};
    EXPECT_EQ(Ordner::durchsuchen(ordner.pfad(), kurz).size(), 1U);
}

TEST(Wanderung, ManagesWithAHandfulOfDescriptors) {
    OrdnerAufZeit const ordner;
    TieferBaum const baum{ordner.pfad(), "kette", 150, [](int hier, std::size_t) {
                              test::leereDatei(hier, "a.pdf");
                              ::mkdirat(hier, "zweig", 0755);
                              int const zweig = ::openat(hier, "zweig", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
                              test::leereDatei(zweig, "x.pdf");
                              ::mkdirat(zweig, "leer", 0755);
                              ::close(zweig);
                          }};
    auto const erwartet = test::reihenfolge(ordner.pfad(), 1);
    ASSERT_EQ(erwartet.size(), 302U);
    for (rlim_t const freie : {3U, 4U, 8U, 30U})
        for (unsigned const faeden : {1U, 2U, 6U})
            EXPECT_EQ(
                test::imKindprozess([&] {
                    return deskriptorenBegrenzen(freie) &&
                           test::reihenfolge(ordner.pfad(), faeden) == erwartet;
                }),
                0)
                << freie << " free, " << faeden << " threads";
}

TEST(Wanderung, WithoutAnyDescriptorNothingIsFoundAndNothingHangs) {
    OrdnerAufZeit const ordner;
    ordner.datei("a.pdf");
    ordner.datei("b/b.pdf");
    for (rlim_t const freie : {0U, 1U})
        EXPECT_EQ(
            test::imKindprozess([&] {
                return deskriptorenBegrenzen(freie) &&
                       Ordner::durchsuchen(ordner.pfad(), {.hoechstens = alle, .faeden = 4}).size() == freie;
            }),
            0)
            << freie;
}

/// A broad tree that several threads share, and a chain on which descriptors are given up and found again.
struct Speicherbaum {
    Speicherbaum() {
        for (int i = 0; i < 60; ++i)
            test::aendern(ordner.datei("a/o" + std::to_string(100 + i) + "/x.pdf"), 1000);
        erwartet = test::namen(Ordner::durchsuchen(ordner.pfad(), {.hoechstens = alle}), ordner.pfad());
    }
    OrdnerAufZeit ordner;
    TieferBaum kette{
        ordner.pfad(), "kette", 200, [](int hier, std::size_t) {
            ::mkdirat(hier, "zweig", 0755);
            int const zweig = ::openat(hier, "zweig", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            test::leereDatei(zweig, "x.pdf");
            timespec const zeiten[2]{{.tv_sec = 1000, .tv_nsec = 0}, {.tv_sec = 1000, .tv_nsec = 0}};
            ::utimensat(zweig, "x.pdf", zeiten, 0);
            ::close(zweig);
        }};
    std::vector<std::string> erwartet; ///< In enumeration order, because all times are equal.
};

TEST(Wanderung, HelperWithoutMemoryLeavesItsFolderToTheOthers) {
    Speicherbaum const baum;
    ASSERT_EQ(baum.erwartet.size(), 261U);
    auto const deskriptoren = test::offeneDeskriptoren();
    std::int64_t verweigert = 0;
    for (bool const fuerImmer : {true, false})
        for (std::int64_t davor = 0; davor < 300; davor += 1 + davor / 8) {
            std::vector<Ordner::Fund> funde;
            {
                haken::Speichernot const not_{haken::Wen::andereFaeden, davor, fuerImmer};
                funde = Ordner::durchsuchen(baum.ordner.pfad(), {.hoechstens = alle, .faeden = 4});
                verweigert += haken::Speichernot::verweigerte();
            }
            ASSERT_EQ(test::namen(funde, baum.ordner.pfad()), baum.erwartet) << davor;
        }
    EXPECT_GT(verweigert, 0);
    EXPECT_EQ(test::offeneDeskriptoren(), deskriptoren);
}

TEST(Wanderung, WithoutMemoryTheSearchEndsWithTheBeginningOfWhatItWouldHaveFound) {
    Speicherbaum const baum;
    auto const deskriptoren = test::offeneDeskriptoren();
    auto const wurzel = baum.ordner.pfad();
    for (unsigned const faeden : {1U, 4U}) {
        bool reichte = false;
        bool teilweise = false;
        for (std::int64_t davor = 0; !reichte; davor += 1 + davor / 16) {
            std::vector<Ordner::Fund> funde;
            std::int64_t gezaehlt = 0;
            bool genugZumZaehlen = false;
            {
                haken::Speichernot const not_{haken::Wen::alle, davor, true};
                funde = Ordner::durchsuchen(wurzel, {.hoechstens = alle, .faeden = faeden});
                reichte = haken::Speichernot::verweigerte() == 0;
            }
            {
                haken::Speichernot const not_{haken::Wen::alle, davor, true};
                gezaehlt = Ordner::zaehlen(wurzel, Ordner::endungen, 0, {}, faeden).value_or(0);
                genugZumZaehlen = haken::Speichernot::verweigerte() == 0;
            }
            auto const liste = test::namen(funde, wurzel);
            ASSERT_LE(liste.size(), baum.erwartet.size());
            ASSERT_TRUE(std::equal(liste.begin(), liste.end(), baum.erwartet.begin())) << davor;
            ASSERT_LE(gezaehlt, 261);
            ASSERT_TRUE(!reichte || liste == baum.erwartet);
            ASSERT_TRUE(!genugZumZaehlen || gezaehlt == 261);
            teilweise = teilweise || (!liste.empty() && liste.size() < baum.erwartet.size());
        }
        EXPECT_TRUE(teilweise);
    }
    EXPECT_EQ(test::offeneDeskriptoren(), deskriptoren);
}

TEST(Wanderung, FolderOfAHundredThousandEntriesIsSearched) {
    OrdnerAufZeit const ordner;
    int const hier = ::open(ordner.pfad().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int i = 0; i < 100'000; ++i)
        test::leereDatei(hier, (std::to_string(i) + (i % 2 == 0 ? ".pdf" : ".txt")).c_str());
    ::close(hier);
    auto const liste = test::reihenfolge(ordner.pfad(), 2);
    EXPECT_EQ(liste.size(), 50'000U);
    EXPECT_TRUE(std::ranges::is_sorted(liste));
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 0), 50'000);
    EXPECT_EQ(Ordner::durchsuchen(ordner.pfad(), {.hoechstens = 1}).size(), 1U);

    // Ending is possible in the middle of it.
    Hakenwache const wache;
    Ordner::Suchauftrag auftrag{.hoechstens = alle, .faeden = 1};
    auftrag.abbrechen = [] {
        return haken::haken().leseaufrufe >= 4;
    };
    EXPECT_TRUE(Ordner::durchsuchen(ordner.pfad(), auftrag).empty());
    EXPECT_LE(haken::haken().leseaufrufe, 5U);
}

TEST(Wanderung, ManySubfoldersOfOneFolderKeepTheirOrder) {
    OrdnerAufZeit const ordner;
    for (int i = 0; i < 3000; ++i)
        ordner.datei("o" + std::to_string(i) + "/x.pdf");
    auto const liste = test::reihenfolge(ordner.pfad(), 4);
    EXPECT_EQ(liste.size(), 3000U);
    EXPECT_TRUE(std::ranges::is_sorted(liste));
}

TEST(Wanderung, ClosedFoldersArePassedOverAndListableOnesGiveUnknownValues) {
    OrdnerAufZeit const ordner;
    ordner.datei("offen/a.pdf", "1");
    ordner.datei("zu/b.pdf", "1");
    ordner.datei("nurnamen/c.pdf", "1");
    ordner.datei("nurnamen/tiefer/d.pdf", "1");
    fs::permissions(ordner.pfad(), fs::perms{0755});
    fs::permissions(ordner.pfad("zu"), fs::perms::none);
    fs::permissions(ordner.pfad("nurnamen"), fs::perms{0444});
    // Permissions mean nothing to root, so a child becomes an ordinary user. It searches its working folder:
    // the folders above may be closed to that user.
    EXPECT_EQ(
        test::imKindprozess([&] {
            fs::current_path(ordner.pfad());
            if (::geteuid() == 0 && ::seteuid(65534) != 0)
                return false;
            auto const funde = Ordner::durchsuchen(".", {.hoechstens = alle});
            auto const unbekannte =
                std::ranges::count(funde, Ordner::ferneVergangenheit, &Ordner::Fund::geaendert);
            return funde.size() == 2 && funde[0].pfad == ordner.pfad("offen/a.pdf") &&
                   funde[0].groesse == 1 && funde[1].pfad == ordner.pfad("nurnamen/c.pdf") &&
                   funde[1].groesse == 0 && unbekannte == 1 &&
                   Ordner::zaehlen(".", Ordner::endungen, 0) == 2 &&
                   Ordner::zaehlen(".", Ordner::endungen, 1) == 1;
        }),
        0);
    fs::permissions(ordner.pfad("zu"), fs::perms::owner_all);
    fs::permissions(ordner.pfad("nurnamen"), fs::perms::owner_all);
}

TEST(Wanderung, FileSystemsThatDoNotTellKindsGiveTheSameResult) {
    Hakenwache const wache;
    OrdnerAufZeit const ordner;
    ordner.datei("a.pdf", "12");
    ordner.datei("b/c.pdf");
    ordner.datei("b/notiz.txt");
    ordner.datei("mappe.pdf/d.pdf");
    ordner.datei("vendor/nein.pdf");
    ordner.datei("b/.e.pdf.icloud");
    fs::create_symlink("a.pdf", ordner.pfad("verweis.pdf"));
    fs::create_directory_symlink("b", ordner.pfad("ordnerverweis"));
    ASSERT_EQ(::mkfifo(ordner.pfad("rohr.pdf").c_str(), 0600), 0);
    auto const erwartet = gefunden(ordner.pfad());
    ASSERT_THAT(erwartet, ElementsAre("a.pdf", "b/c.pdf", "mappe.pdf/d.pdf", "verweis.pdf"));
    haken::haken().ohneArten = true;
    EXPECT_EQ(gefunden(ordner.pfad()), erwartet);
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 0), 4);
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 2), 2);
    EXPECT_THAT(Ordner::platzhalter(ordner.pfad()), ElementsAre(ordner.pfad("b/e.pdf")));
}

TEST(Wanderung, EntriesOfUnknownKindInAFolderThatTellsOnlyNamesAreFinds) {
    Hakenwache const wache;
    OrdnerAufZeit const ordner;
    ordner.datei("nurnamen/c.pdf", "1");
    ordner.datei("nurnamen/c.txt", "1");
    ordner.datei("nurnamen/tiefer/d.pdf", "1");
    fs::permissions(ordner.pfad(), fs::perms{0755});
    fs::permissions(ordner.pfad("nurnamen"), fs::perms{0444});
    haken::haken().ohneArten = true;
    EXPECT_EQ(
        test::imKindprozess([&] {
            fs::current_path(ordner.pfad());
            if (::geteuid() == 0 && ::seteuid(65534) != 0)
                return false;
            auto const funde = Ordner::durchsuchen(".", {.hoechstens = alle});
            return funde.size() == 1 && funde[0].pfad == ordner.pfad("nurnamen/c.pdf") &&
                   funde[0].groesse == 0 && funde[0].geaendert == Ordner::ferneVergangenheit &&
                   Ordner::zaehlen(".", Ordner::endungen, 0) == 1 &&
                   Ordner::zaehlen(".", Ordner::endungen, 1) == 0;
        }),
        0);
    fs::permissions(ordner.pfad("nurnamen"), fs::perms::owner_all);
}

TEST(Wanderung, FolderThatFailsHalfWayDoesNotEndTheSearch) {
    Hakenwache const wache;
    OrdnerAufZeit const ordner;
    ordner.datei("a/1.pdf");
    ordner.datei("b/2.pdf");
    ordner.datei("c/3.pdf");
    haken::haken().nachLesen = [&](int deskriptor, std::ptrdiff_t anzahl) -> std::ptrdiff_t {
        if (!istOrdner(deskriptor, ordner.pfad("b")))
            return anzahl;
        errno = EIO;
        return -1;
    };
    Ordner::Suchbilanz bilanz;
    EXPECT_THAT(gefunden(ordner.pfad(), {.bilanz = &bilanz}), ElementsAre("a/1.pdf", "c/3.pdf"));
    EXPECT_EQ(bilanz.unlesbareOrdner, 1) << "a folder that failed is not an empty one";
    ASSERT_TRUE(bilanz.ersterUnlesbarer);
    EXPECT_EQ(bilanz.ersterUnlesbarer->ursache.nummer, EIO);
    EXPECT_EQ(bilanz.ersterUnlesbarer->wo, ordner.pfad("b"));
    EXPECT_FALSE(bilanz.abbruch);
}

TEST(Wanderung, FolderThatBecameALinkMeanwhileIsNotEntered) {
    Hakenwache const wache;
    OrdnerAufZeit const aussen;
    OrdnerAufZeit const ordner;
    aussen.datei("fremd.pdf");
    ordner.datei("a/1.pdf");
    ordner.datei("b/2.pdf");
    ordner.datei("c/3.pdf");
    ordner.datei("d/4.pdf");
    std::once_flag einmal;
    haken::haken().nachLesen = [&](int, std::ptrdiff_t anzahl) {
        // The names of the searched folder are known now; none of its subfolders has been opened.
        std::call_once(einmal, [&] {
            fs::remove_all(ordner.pfad("b"));
            fs::create_directory_symlink(aussen.pfad(), ordner.pfad("b"));
            fs::remove_all(ordner.pfad("c"));
        });
        return anzahl;
    };
    EXPECT_THAT(gefunden(ordner.pfad()), ElementsAre("a/1.pdf", "d/4.pdf"));
}

TEST(Wanderung, LinkThatVanishesBeforeItsValuesAreReadIsNoFind) {
    Hakenwache const wache;
    OrdnerAufZeit const ordner;
    ordner.datei("ziel");
    fs::create_symlink("ziel", ordner.pfad("bleibt.pdf"));
    fs::create_symlink("ziel", ordner.pfad("geht.pdf"));
    std::once_flag einmal;
    haken::haken().nachLesen = [&](int, std::ptrdiff_t anzahl) {
        std::call_once(einmal, [&] { fs::remove(ordner.pfad("geht.pdf")); });
        return anzahl;
    };
    EXPECT_THAT(gefunden(ordner.pfad()), ElementsAre("bleibt.pdf"));
}

TEST(Wanderung, FolderThatShowsItselfBelowItselfDoesNotKeepTheWalkForever) {
    // As a file system would that makes up a new folder at every level.
    Hakenwache const wache;
    OrdnerAufZeit const ordner;
    ordner.ordner("kreis");
    ordner.datei("z.pdf");
    haken::haken().kreis = ordner.pfad();
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 0, {}, 2), 50'001);
}

TEST(Wanderung, FileThatVanishesBeforeItsValuesAreReadIsNoFind) {
    Hakenwache const wache;
    OrdnerAufZeit const ordner;
    ordner.datei("bleibt.pdf");
    ordner.datei("geht.pdf");
    ordner.datei("wandelt.pdf");
    std::once_flag einmal;
    haken::haken().nachLesen = [&](int, std::ptrdiff_t anzahl) {
        std::call_once(einmal, [&] {
            fs::remove(ordner.pfad("geht.pdf"));
            fs::remove(ordner.pfad("wandelt.pdf"));
            fs::create_directory(ordner.pfad("wandelt.pdf"));
        });
        return anzahl;
    };
    EXPECT_THAT(gefunden(ordner.pfad()), ElementsAre("bleibt.pdf"));
}

TEST(Wanderung, FolderThatIsFoundAgainByNameMustBeTheSameFolder) {
    // So deep that the descriptors of the first levels are given up. When the walk is at the bottom, the
    // second level is exchanged for another folder of the same name; what it still had to offer must not come
    // from there.
    Hakenwache const wache;
    OrdnerAufZeit const ordner;
    constexpr std::size_t ebenen = 300;
    TieferBaum const baum{ordner.pfad(), "kette", ebenen, [](int hier, std::size_t ebene) {
                              ::mkdirat(hier, "zweig", 0755);
                              if (ebene == ebenen)
                                  test::leereDatei(hier, "grund.pdf");
                          }};
    ordner.datei("kette/zweig/echt.pdf");
    ordner.datei("zweig/oben.pdf");
    bool am_grund = false;
    Ordner::Suchauftrag auftrag{.hoechstens = alle, .faeden = 1};
    auftrag.ausserdem = [&](std::string const& pfad, std::int64_t) {
        if (pfad.ends_with("grund.pdf")) {
            am_grund = true;
            fs::rename(ordner.pfad("kette"), ordner.pfad("weg"));
            ordner.datei("kette/zweig/fremd.pdf");
        }
        return true;
    };
    auto const liste = gefunden(ordner.pfad(), auftrag);
    EXPECT_TRUE(am_grund);
    EXPECT_THAT(liste, testing::Not(testing::Contains(testing::HasSubstr("fremd"))));
    EXPECT_THAT(liste, testing::Not(testing::Contains(testing::HasSubstr("echt"))));
    EXPECT_THAT(liste, testing::Contains("zweig/oben.pdf")); // the rest of the tree is not affected
    fs::remove_all(ordner.pfad("kette"));
    fs::rename(ordner.pfad("weg"), ordner.pfad("kette"));
}

TEST(Wanderung, ThreadsAreStartedOnlyForALargeTree) {
    OrdnerAufZeit const ordner;
    for (int i = 0; i < 20; ++i)
        ordner.datei("klein/o" + std::to_string(i) + "/x.pdf");
    for (int i = 0; i < 300; ++i)
        ordner.datei("gross/o" + std::to_string(i) + "/x.pdf");
    auto const zusaetzliche = [&](std::string const& wurzel, unsigned faeden) {
        auto const davor = werkzeug::nurRuhende();
        std::size_t hoechstens = davor;
        Ordner::Suchauftrag auftrag{.hoechstens = alle, .faeden = faeden};
        auftrag.ausserdem = [&](std::string const&, std::int64_t) {
            hoechstens = std::max(hoechstens, werkzeug::fadenzahl());
            return true;
        };
        (void)Ordner::durchsuchen(ordner.pfad(wurzel), auftrag);
        EXPECT_EQ(werkzeug::nurRuhende(), davor); // None is left behind.
        return hoechstens - davor;
    };
    EXPECT_EQ(zusaetzliche("klein", 4), 0U);
    EXPECT_EQ(zusaetzliche("gross", 1), 0U);
    EXPECT_EQ(zusaetzliche("gross", 4), 3U);
}

TEST(Wanderung, LimitEndsTheReadingOfTheOtherThreadsToo) {
    Hakenwache const wache;
    OrdnerAufZeit const ordner;
    for (int i = 0; i < 4000; ++i)
        ordner.ordner("o" + std::to_string(1000 + i % 40) + "/p" + std::to_string(i));
    ordner.datei("o1001/p1/x.pdf");
    Ordner::Suchauftrag auftrag{.hoechstens = 1, .faeden = 4};
    EXPECT_EQ(Ordner::durchsuchen(ordner.pfad(), auftrag).size(), 1U);
    auto const nachher = haken::haken().leseaufrufe.load();
    EXPECT_LT(nachher, 2U * 4041U);
    // Nobody reads on after the return.
    EXPECT_EQ(gefunden(ordner.ordner("leer")).size(), 0U);
    EXPECT_EQ(haken::haken().leseaufrufe, nachher + 2);
}

} // namespace
} // namespace quillmate
