// What a search returns and in which order, what it counts, and when it calls back.

#include "hilfen.h"
#include "systemhaken.h"
#include "werkzeug/faeden.h"
#include "werkzeug/warten.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>
#include <cstring>
#include <map>
#include <random>
#include <stdexcept>
#include <thread>

namespace quillmate {
namespace {

using Ordner::Fund;
using test::alle;
using test::gefunden;
using test::namen;
using testing::ElementsAre;
using testing::IsEmpty;
using werkzeug::OrdnerAufZeit;
using namespace std::chrono_literals;

Fund einziger(std::string const& wurzel) {
    auto funde = Ordner::durchsuchen(wurzel, {.hoechstens = alle});
    EXPECT_EQ(funde.size(), 1U);
    return funde.empty() ? Fund{} : funde.front();
}

TEST(Dateisuche, FindCarriesPathSizeAndTimes) {
    OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("a/b/beleg.pdf", "12345");
    test::aendern(pfad, 1'700'000'000, 123'456'789);
    auto const fund = einziger(ordner.pfad());
    EXPECT_EQ(fund.pfad, pfad);
    EXPECT_EQ(fund.groesse, 5);
    EXPECT_EQ(fund.geaendert, Ordner::Zeit{1'700'000'000s + 123'456'789ns});

    struct statx werte {};
    ASSERT_EQ(::statx(AT_FDCWD, pfad.c_str(), 0, STATX_BTIME, &werte), 0);
    if ((werte.stx_mask & STATX_BTIME) != 0) {
        EXPECT_EQ(
            fund.erstellt, Ordner::Zeit{
                               std::chrono::seconds{werte.stx_btime.tv_sec} +
                               std::chrono::nanoseconds{werte.stx_btime.tv_nsec}});
        EXPECT_EQ(fund.juengstes(), fund.erstellt); // made just now, with an older time of change
    } else {
        EXPECT_EQ(fund.erstellt, Ordner::ferneVergangenheit);
    }
}

TEST(Dateisuche, WithoutBirthTheLastChangeIsTheNewestTime) {
    Fund const fund{.pfad = "/a.pdf", .geaendert = Ordner::Zeit{5s}};
    EXPECT_EQ(fund.erstellt, Ordner::ferneVergangenheit);
    EXPECT_EQ(fund.juengstes(), fund.geaendert);
}

TEST(Dateisuche, NewestTimeIsTheLaterOneAndWithEqualTimesThatTime) {
    Ordner::Zeit const frueh{5s};
    Ordner::Zeit const spaet{6s};
    EXPECT_EQ((Fund{.geaendert = frueh, .erstellt = frueh}).juengstes(), frueh);
    EXPECT_EQ((Fund{.geaendert = frueh, .erstellt = spaet}).juengstes(), spaet);
    EXPECT_EQ((Fund{.geaendert = spaet, .erstellt = frueh}).juengstes(), spaet);
}

TEST(Dateisuche, TimesBeyondSixtyFourBitsOfNanosecondsDoNotWrapAround) {
    OrdnerAufZeit const ordner;
    test::aendern(ordner.datei("alt.pdf"), 1000);
    test::aendern(ordner.datei("fern.pdf"), 13'000'000'000); // the year 2381
    auto const funde = Ordner::durchsuchen(ordner.pfad(), {.hoechstens = alle});
    EXPECT_THAT(namen(funde, ordner.pfad()), ElementsAre("fern.pdf", "alt.pdf"));
}

TEST(Dateisuche, NewestChangeComesFirstAndEqualTimesKeepTheEnumerationOrder) {
    OrdnerAufZeit const ordner;
    std::map<std::string, int> const zeiten{{"b/1.pdf", 500}, {"a.pdf", 500}, {"c.pdf", 900},
                                            {"b/2.pdf", 100}, {"d.pdf", 500}, {"B.pdf", 500},
                                            {"b.pdf", 500}};
    for (auto const& [name, sekunden] : zeiten)
        test::aendern(ordner.datei(name), sekunden);
    auto const funde = Ordner::durchsuchen(ordner.pfad(), {.hoechstens = alle});
    // Folder "b" stands before "b.pdf", capital letters before small ones: byte order of the names.
    EXPECT_THAT(
        namen(funde, ordner.pfad()),
        ElementsAre("c.pdf", "B.pdf", "a.pdf", "b/1.pdf", "b.pdf", "d.pdf", "b/2.pdf"));
}

TEST(Dateisuche, EnumerationIsDepthFirstInByteOrderOfTheNames) {
    OrdnerAufZeit const ordner;
    for (auto const* name :
         {"b/z.pdf", "b/a/x.pdf", "a.pdf", "ä.pdf", "Z.pdf", "b-1.pdf", "c/1.pdf", "b/a.pdf"})
        ordner.datei(name);
    EXPECT_THAT(
        test::reihenfolge(ordner.pfad(), 1),
        ElementsAre("Z.pdf", "a.pdf", "b/a/x.pdf", "b/a.pdf", "b/z.pdf", "b-1.pdf", "c/1.pdf", "ä.pdf"));
}

TEST(Dateisuche, LimitTakesTheFirstInEnumerationOrderNotTheNewest) {
    OrdnerAufZeit const ordner;
    int sekunden = 100;
    for (auto const* name : {"1.pdf", "2.pdf", "3.pdf", "4.pdf"})
        test::aendern(ordner.datei(name), sekunden++);
    EXPECT_THAT(
        namen(Ordner::durchsuchen(ordner.pfad(), {.hoechstens = 2}), ordner.pfad()),
        ElementsAre("2.pdf", "1.pdf"));
}

TEST(Dateisuche, LimitOfOneGivesOneFindAndOneCallback) {
    OrdnerAufZeit const ordner;
    for (int i = 0; i < 200; ++i)
        ordner.datei("ordner" + std::to_string(i % 7) + "/" + std::to_string(i) + ".pdf");
    std::vector<std::int64_t> gemeldet;
    auto const funde =
        Ordner::durchsuchen(ordner.pfad(), {.hoechstens = 1, .jeFund = [&](std::int64_t anzahl) {
                                                gemeldet.push_back(anzahl);
                                            }});
    EXPECT_EQ(funde.size(), 1U);
    EXPECT_THAT(gemeldet, ElementsAre(1));
}

TEST(Dateisuche, LimitOfZeroFindsNothingAndSaysSoOnce) {
    OrdnerAufZeit const ordner;
    ordner.datei("a.pdf");
    std::vector<std::int64_t> gemeldet;
    EXPECT_THAT(
        Ordner::durchsuchen(
            ordner.pfad(), {.hoechstens = 0,
                            .jeFund =
                                [&](std::int64_t anzahl) {
                                    gemeldet.push_back(anzahl);
                                }}),
        IsEmpty());
    EXPECT_THAT(gemeldet, ElementsAre(0));
}

TEST(Dateisuche, ReportsEveryTwentyFifthFindAndTheEnd) {
    OrdnerAufZeit const ordner;
    for (int i = 0; i < 60; ++i)
        ordner.datei(std::to_string(i) + ".pdf");
    auto const gemeldet = [&](std::size_t hoechstens) {
        std::vector<std::int64_t> liste;
        (void)Ordner::durchsuchen(
            ordner.pfad(), {.hoechstens = hoechstens, .jeFund = [&](std::int64_t anzahl) {
                                liste.push_back(anzahl);
                            }});
        return liste;
    };
    EXPECT_THAT(gemeldet(alle), ElementsAre(25, 50, 60));
    EXPECT_THAT(gemeldet(50), ElementsAre(25, 50, 50));
    EXPECT_THAT(gemeldet(24), ElementsAre(24));
}

TEST(Dateisuche, ConditionSeesPathAndSizeAndItsRefusalsDoNotCount) {
    OrdnerAufZeit const ordner;
    ordner.datei("1.pdf", "x");
    ordner.datei("2.pdf", "xx");
    ordner.datei("3.pdf", "xxx");
    ordner.datei("4.txt", "xxxx");
    std::vector<std::pair<std::string, std::int64_t>> gefragt;
    Ordner::Suchauftrag auftrag{.hoechstens = 1};
    auftrag.ausserdem = [&](std::string const& pfad, std::int64_t groesse) {
        gefragt.emplace_back(pfad, groesse);
        return groesse >= 2;
    };
    EXPECT_THAT(namen(Ordner::durchsuchen(ordner.pfad(), auftrag), ordner.pfad()), ElementsAre("2.pdf"));
    EXPECT_THAT(gefragt, ElementsAre(std::pair{ordner.pfad("1.pdf"), 1}, std::pair{ordner.pfad("2.pdf"), 2}));
}

TEST(Dateisuche, AllCallbacksRunOnTheCallingThread) {
    OrdnerAufZeit const ordner;
    for (int i = 0; i < 300; ++i)
        ordner.datei("o" + std::to_string(i) + "/x.pdf");
    auto const hier = std::this_thread::get_id();
    bool anderswo = false;
    auto const pruefen = [&] {
        anderswo = anderswo || std::this_thread::get_id() != hier;
    };
    Ordner::Suchauftrag auftrag{.hoechstens = alle, .faeden = 4};
    auftrag.ausserdem = [&](std::string const&, std::int64_t) {
        return pruefen(), true;
    };
    auftrag.jeFund = [&](std::int64_t) {
        pruefen();
    };
    auftrag.abbrechen = [&] {
        return pruefen(), false;
    };
    EXPECT_EQ(Ordner::durchsuchen(ordner.pfad(), auftrag).size(), 300U);
    EXPECT_FALSE(anderswo);
}

TEST(Dateisuche, FolderThatCannotBeOpenedGivesNothingAndNoCallback) {
    OrdnerAufZeit const ordner;
    auto const datei = ordner.datei("a.pdf");
    for (auto const& pfad : {ordner.pfad("fehlt"), datei, std::string{}, std::string("a\0b", 3)}) {
        bool gerufen = false;
        Ordner::Suchauftrag auftrag{.hoechstens = alle};
        auftrag.ausserdem = [&](std::string const&, std::int64_t) {
            return gerufen = true;
        };
        auftrag.jeFund = [&](std::int64_t) {
            gerufen = true;
        };
        auftrag.abbrechen = [&] {
            return !(gerufen = true);
        };
        EXPECT_THAT(Ordner::durchsuchen(pfad, auftrag), IsEmpty());
        EXPECT_FALSE(gerufen);
        EXPECT_EQ(Ordner::zaehlen(pfad, Ordner::endungen, 0), 0);
    }
}

TEST(Dateisuche, PathsAreFullWhateverTheSpellingOfTheFolder) {
    OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("a/x.pdf");
    for (auto const& schreibweise :
         {ordner.pfad("a/"), ordner.pfad("a//"), ordner.pfad("./a/."), "/" + ordner.pfad("a")})
        EXPECT_EQ(einziger(schreibweise).pfad, pfad) << schreibweise;
    // ".." is left alone: after a link it does not lead back.
    EXPECT_EQ(einziger(ordner.pfad("a/../a")).pfad, ordner.pfad("a/../a/x.pdf"));
    // A relative folder, in a child process because the working folder belongs to the whole process.
    EXPECT_EQ(
        test::imKindprozess([&] {
            std::filesystem::current_path(ordner.pfad());
            return Ordner::durchsuchen("a", {.hoechstens = alle}).at(0).pfad == pfad &&
                   Ordner::durchsuchen(".", {.hoechstens = alle}).at(0).pfad == pfad;
        }),
        0);
}

TEST(Dateisuche, LinksToFoldersAreNotFollowed) {
    OrdnerAufZeit const aussen;
    OrdnerAufZeit const ordner;
    aussen.datei("a.pdf");
    ordner.ordner("innen");
    std::filesystem::create_directory_symlink(aussen.pfad(), ordner.pfad("innen/verweis"));
    std::filesystem::create_directory_symlink(aussen.pfad(), ordner.pfad("verweis.pdf"));
    std::filesystem::create_directory_symlink(ordner.pfad(), ordner.pfad("innen/schleife"));
    std::filesystem::create_directory_symlink(".", ordner.pfad("schleife.pdf"));
    EXPECT_THAT(gefunden(ordner.pfad()), IsEmpty());
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 0), 0);
}

TEST(Dateisuche, TheSearchedFolderItselfMayBeALink) {
    OrdnerAufZeit const aussen;
    OrdnerAufZeit const ordner;
    aussen.datei("a.pdf");
    std::filesystem::create_directory_symlink(aussen.pfad(), ordner.pfad("verweis"));
    EXPECT_EQ(einziger(ordner.pfad("verweis")).pfad, ordner.pfad("verweis/a.pdf"));
}

TEST(Dateisuche, PipesSocketsAndLinksToThemAreNoFinds) {
    OrdnerAufZeit const ordner;
    ASSERT_EQ(::mkfifo(ordner.pfad("rohr.pdf").c_str(), 0600), 0);
    std::filesystem::create_symlink("rohr.pdf", ordner.pfad("verweis.pdf"));
    std::filesystem::create_symlink("/dev/null", ordner.pfad("geraet.pdf"));
    int const steckdose = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un adresse{};
    adresse.sun_family = AF_UNIX;
    auto const pfad = ordner.pfad("dose.pdf");
    ASSERT_LT(pfad.size(), sizeof adresse.sun_path);
    std::memcpy(adresse.sun_path, pfad.c_str(), pfad.size() + 1);
    ASSERT_EQ(::bind(steckdose, reinterpret_cast<sockaddr const*>(&adresse), sizeof adresse), 0);
    EXPECT_THAT(gefunden(ordner.pfad()), IsEmpty());
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 0), 0);
    ::close(steckdose);
}

TEST(Dateisuche, NamesAreBytesAndNeedNotBeUtf8) {
    OrdnerAufZeit const ordner;
    std::string const latin1 = "M\xFCller \xFF.PDF";
    std::string const umbruch = "zwei\nZeilen.pdf";
    ordner.datei(latin1);
    ordner.datei(umbruch);
    ordner.datei("\xFE\xFE/innen.pdf");
    ordner.datei("kaputt.pd\xE6");
    EXPECT_THAT(
        gefunden(ordner.pfad()), testing::UnorderedElementsAre(latin1, umbruch, "\xFE\xFE/innen.pdf"));
}

TEST(Dateisuche, CountsFilesOfTheGivenExtensionsAndSize) {
    OrdnerAufZeit const ordner;
    ordner.datei("klein.jpg", std::string(7999, 'x'));
    ordner.datei("gross.JPG", std::string(8000, 'x'));
    ordner.datei("a/b/groesser.png", std::string(8001, 'x'));
    ordner.datei("gross.pdf", std::string(9000, 'x'));
    ordner.datei("Library/gross.jpg", std::string(9000, 'x'));
    Ordner::Endungen const bilder{"jpg", "png"};
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), bilder, 8000), 2);
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), bilder, 8001), 1);
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), bilder, 0), 3);
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), bilder, -5), 3);
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), {}, 0), 0);
}

TEST(Dateisuche, CountEndsBetweenFoldersWhenItIsToldTo) {
    OrdnerAufZeit const ordner;
    constexpr int unterordner = 20;
    for (int i = 0; i < unterordner; ++i)
        ordner.datei(std::to_string(i) + "/a.pdf");
    for (unsigned const faeden : {1U, 4U}) {
        int gefragt = 0;
        auto const nachDrei = [&] {
            return ++gefragt > 3;
        };
        auto const anzahl = Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 0, nachDrei, faeden);
        ASSERT_FALSE(anzahl);
        EXPECT_EQ(anzahl.error().art, Fehlerart::gestoppt) << "a count that was broken off is no number";
        EXPECT_EQ(gefragt, 4) << "once it has said so it is not asked again";
    }
    EXPECT_FALSE(Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 0, [] { return true; }));
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 0, [] { return false; }), unterordner);
}

TEST(Dateisuche, AsksForTheValuesOfCandidatesOnly) {
    haken::Hakenwache const wache;
    OrdnerAufZeit const ordner;
    for (int i = 0; i < 50; ++i)
        ordner.datei("a/" + std::to_string(i) + ".txt");
    ordner.datei("a/b/1.pdf");
    ordner.datei("2.pdf");
    EXPECT_EQ(gefunden(ordner.pfad()).size(), 2U);
    EXPECT_EQ(haken::haken().wertabfragen, 2U);
    // Each of the three folders is read once: one call for its names, one that finds the end.
    EXPECT_EQ(haken::haken().leseaufrufe, 6U);
    haken::haken().wertabfragen = 0;
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 0), 2);
    EXPECT_EQ(haken::haken().wertabfragen, 0U);
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 1), 0);
    EXPECT_EQ(haken::haken().wertabfragen, 2U);
}

TEST(Dateisuche, LimitBoundsTheFilesOfALargeFolderWhoseValuesAreAskedFor) {
    OrdnerAufZeit const ordner;
    std::filesystem::create_symlink(".", ordner.pfad("a0.pdf")); // no find, so it does not count
    ordner.datei("a1/x.pdf");
    for (int i = 0; i < 3000; ++i)
        ordner.datei("o/" + std::to_string(1000 + i) + ".pdf");
    ordner.datei("o/9999/nein.pdf");
    for (unsigned const faeden : {1U, 4U}) {
        haken::Hakenwache const wache;
        auto const funde = Ordner::durchsuchen(ordner.pfad(), {.hoechstens = 3, .faeden = faeden});
        EXPECT_THAT(
            namen(funde, ordner.pfad()),
            testing::UnorderedElementsAre("a1/x.pdf", "o/1000.pdf", "o/1001.pdf"));
        EXPECT_EQ(haken::haken().wertabfragen, 4U);
    }
    // A condition that refuses is asked on until the limit is reached.
    haken::Hakenwache const wache;
    Ordner::Suchauftrag auftrag{.hoechstens = 1};
    auftrag.ausserdem = [](std::string const& pfad, std::int64_t) {
        return pfad.ends_with("/3999.pdf");
    };
    EXPECT_THAT(namen(Ordner::durchsuchen(ordner.pfad(), auftrag), ordner.pfad()), ElementsAre("o/3999.pdf"));
}

TEST(Dateisuche, EndsEarlyWithWhatWasFoundSoFar) {
    OrdnerAufZeit const ordner;
    for (auto const* name : {"a/1.pdf", "b/2.pdf", "c/3.pdf", "d/4.pdf"})
        ordner.datei(name);
    for (unsigned const faeden : {1U, 2U}) {
        bool genug = false;
        std::vector<std::int64_t> gemeldet;
        Ordner::Suchauftrag auftrag{.hoechstens = alle, .faeden = faeden};
        auftrag.ausserdem = [&](std::string const& pfad, std::int64_t) {
            genug = pfad.ends_with("2.pdf");
            return true;
        };
        auftrag.jeFund = [&](std::int64_t anzahl) {
            gemeldet.push_back(anzahl);
        };
        auftrag.abbrechen = [&] {
            return genug;
        };
        EXPECT_EQ(Ordner::durchsuchen(ordner.pfad(), auftrag).size(), 2U);
        EXPECT_THAT(gemeldet, ElementsAre(2));
    }
    Ordner::Suchauftrag gleich{.hoechstens = alle};
    gleich.abbrechen = [] {
        return true;
    };
    EXPECT_THAT(Ordner::durchsuchen(ordner.pfad(), gleich), IsEmpty());
}

TEST(Dateisuche, ExceptionOfACallbackReachesTheCallerAndLeavesNothingBehind) {
    OrdnerAufZeit const ordner;
    for (int i = 0; i < 400; ++i)
        ordner.datei("o" + std::to_string(i % 20) + "/p" + std::to_string(i) + "/x.pdf");
    struct Absicht {};
    auto const deskriptoren = test::offeneDeskriptoren();
    std::thread{[] {
    }}.join(); // the thread sanitizer starts one of its own with the first
    auto const faeden = werkzeug::fadenzahl();
    // A joined thread may stay listed for a moment.
    auto const keinerMehr = [&] {
        return werkzeug::wartenBis([&] { return werkzeug::fadenzahl() <= faeden; });
    };
    for (int wann : {1, 100, 300}) {
        auto werfen = [zaehler = 0, wann]() mutable {
            if (++zaehler == wann)
                throw Absicht{};
            return false;
        };
        Ordner::Suchauftrag bedingung{.hoechstens = alle, .faeden = 4};
        bedingung.ausserdem = [werfen](std::string const&, std::int64_t) mutable {
            return !werfen();
        };
        EXPECT_THROW((void)Ordner::durchsuchen(ordner.pfad(), bedingung), Absicht);
        Ordner::Suchauftrag abbruch{.hoechstens = alle, .faeden = 4};
        abbruch.abbrechen = werfen;
        EXPECT_THROW((void)Ordner::durchsuchen(ordner.pfad(), abbruch), Absicht);
        EXPECT_TRUE(keinerMehr());
        EXPECT_EQ(test::offeneDeskriptoren(), deskriptoren);
    }
    Ordner::Suchauftrag meldung{.hoechstens = alle, .faeden = 4};
    meldung.jeFund = [](std::int64_t) {
        throw Absicht{};
    };
    EXPECT_THROW((void)Ordner::durchsuchen(ordner.pfad(), meldung), Absicht);
    EXPECT_TRUE(keinerMehr());
    EXPECT_EQ(test::offeneDeskriptoren(), deskriptoren);
}

// ---- random trees against a plain search
// --------------------------------------------------------------------------

void baumAnlegen(std::string const& ordner, std::mt19937& zufall, int tiefe) {
    static std::vector<std::string> const ordnernamen{"a",      "b",       "B",         "a.b",    "a-b",
                                                      "Belege", "ä",       "z",         "vendor", ".git",
                                                      "x.app",  "y.pages", "mappe.pdf", "\xFF"};
    static std::vector<std::string> const dateinamen{"a.pdf",  "b.PDF", "ohne",      "c.txt",
                                                     ".d.pdf", "z.jpg", "ä.png",     "a-.pdf",
                                                     "b.heic", "B.pdf", "m.pdf.txt", "\xFE.pdf"};
    auto const wuerfel = [&](int ende) {
        return static_cast<int>(zufall() % static_cast<unsigned>(ende));
    };
    for (auto const& name : dateinamen) {
        if (wuerfel(3) == 0)
            continue;
        auto const pfad = ordner + "/" + name;
        if (wuerfel(10) == 0) {
            std::filesystem::create_symlink(wuerfel(2) == 0 ? "a.pdf" : "..", pfad);
            continue;
        }
        int const deskriptor = ::open(pfad.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        (void)!::ftruncate(deskriptor, wuerfel(5000));
        ::close(deskriptor);
        test::aendern(pfad, 1'000'000 + wuerfel(4)); // few different times: many ties
    }
    if (tiefe == 0)
        return;
    for (auto const& name : ordnernamen) {
        if (wuerfel(3) != 0)
            continue;
        std::filesystem::create_directory(ordner + "/" + name);
        if (name == "y.pages" && wuerfel(2) == 0)
            std::ofstream{ordner + "/" + name + "/Index.zip"} << "x";
        baumAnlegen(ordner + "/" + name, zufall, tiefe - 1);
    }
}

/// The rules once more, as simply as they can be written.
void schlichtSammeln(std::filesystem::path const& ordner, std::vector<Fund>& funde) {
    std::vector<std::string> sortiert;
    for (auto const& eintrag : std::filesystem::directory_iterator{ordner})
        sortiert.push_back(eintrag.path().filename().string());
    std::ranges::sort(sortiert);
    for (auto const& name : sortiert) {
        auto const pfad = ordner / name;
        if (name.starts_with("."))
            continue;
        if (std::filesystem::is_directory(std::filesystem::symlink_status(pfad))) {
            bool const paket = name == "y.pages" && std::filesystem::exists(pfad / "Index.zip");
            if (name != "vendor" && name != "x.app" && !paket)
                schlichtSammeln(pfad, funde);
            continue;
        }
        auto const endung = pfad.extension().string();
        if (endung != ".pdf" && endung != ".PDF" && endung != ".jpg" && endung != ".png" && endung != ".heic")
            continue;
        struct stat lage {};
        Fund fund{.pfad = pfad.string()};
        if (::stat(pfad.c_str(), &lage) != 0 || !S_ISREG(lage.st_mode))
            continue;
        fund.groesse = lage.st_size;
        fund.geaendert = Ordner::Zeit{
            std::chrono::seconds{lage.st_mtim.tv_sec} + std::chrono::nanoseconds{lage.st_mtim.tv_nsec}};
        funde.push_back(fund);
    }
}

std::vector<Fund> schlicht(
    std::string const& ordner, std::size_t hoechstens, std::function<bool(Fund const&)> const& bedingung) {
    std::vector<Fund> funde;
    schlichtSammeln(ordner, funde);
    std::erase_if(funde, [&](Fund const& fund) { return !bedingung(fund); });
    funde.resize(std::min(funde.size(), hoechstens));
    std::ranges::stable_sort(funde, std::ranges::greater{}, &Fund::geaendert);
    return funde;
}

auto kern(std::vector<Fund> const& funde) {
    std::vector<std::tuple<std::string, std::int64_t, Ordner::Zeit>> liste;
    for (auto const& fund : funde)
        liste.emplace_back(fund.pfad, fund.groesse, fund.geaendert);
    return liste;
}

TEST(Dateisuche, AgreesWithAPlainSearchOnRandomTreesForEveryLimitAndNumberOfThreads) {
    for (unsigned saat = 1; saat <= 4; ++saat) {
        OrdnerAufZeit const ordner;
        std::mt19937 zufall{saat};
        baumAnlegen(ordner.pfad(), zufall, 4);
        auto const bedingung = [](Fund const& fund) {
            return fund.groesse % 3 != 1;
        };
        auto const gesamt = schlicht(ordner.pfad(), alle, bedingung).size();
        ASSERT_GT(gesamt, 50U);
        for (auto const hoechstens :
             {std::size_t{0}, std::size_t{1}, std::size_t{2}, gesamt / 2, gesamt - 1, gesamt, alle}) {
            auto const erwartet = kern(schlicht(ordner.pfad(), hoechstens, bedingung));
            for (unsigned const faeden : {0U, 1U, 2U, 4U, 7U}) {
                Ordner::Suchauftrag auftrag{.hoechstens = hoechstens, .faeden = faeden};
                auftrag.ausserdem = [&](std::string const&, std::int64_t groesse) {
                    return groesse % 3 != 1;
                };
                ASSERT_EQ(kern(Ordner::durchsuchen(ordner.pfad(), auftrag)), erwartet)
                    << "seed " << saat << ", limit " << hoechstens << ", threads " << faeden;
            }
        }
        auto const alleFunde = schlicht(ordner.pfad(), alle, [](Fund const&) { return true; });
        auto const gross =
            std::ranges::count_if(alleFunde, [](Fund const& fund) { return fund.groesse >= 1000; });
        for (unsigned const faeden : {1U, 4U}) {
            EXPECT_EQ(
                Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 0, {}, faeden),
                static_cast<std::int64_t>(alleFunde.size()));
            EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 1000, {}, faeden), gross);
        }
    }
}

TEST(Dateisuche, EnumerationOrderIsTheSameWithAnyNumberOfThreads) {
    OrdnerAufZeit const ordner;
    std::mt19937 zufall{99};
    baumAnlegen(ordner.pfad(), zufall, 5);
    auto const erwartet = test::reihenfolge(ordner.pfad(), 1);
    ASSERT_GT(erwartet.size(), 500U);
    for (int lauf = 0; lauf < 5; ++lauf)
        for (unsigned const faeden : {2U, 3U, 4U, 8U})
            ASSERT_EQ(test::reihenfolge(ordner.pfad(), faeden), erwartet);
}

} // namespace
} // namespace quillmate
