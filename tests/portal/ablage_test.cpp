#include "portal/ablage.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>

using namespace quillmate;

namespace {

namespace fs = std::filesystem;

std::size_t anzahl(std::string const& ordner) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator{ordner}, fs::directory_iterator{}));
}

constexpr char const* verwaist = "quillmate-portal-0A1B2C3D-0000-4000-8000-0123456789AB";

} // namespace

TEST(Portalablage, AFolderIsTheUsersOwnAndNamedWithAUuid) {
    werkzeug::OrdnerAufZeit const tmp;
    portal::Portalablage ablage{tmp.pfad("noch/nicht/da")};
    auto const ordner = ablage.neuerOrdner();
    ASSERT_TRUE(ordner);
    auto const name = fs::path{*ordner}.filename().string();
    EXPECT_TRUE(name.starts_with("quillmate-portal-"));
    EXPECT_EQ(name.size(), std::string_view{"quillmate-portal-"}.size() + 36);
    EXPECT_EQ(fs::path{*ordner}.parent_path().string(), tmp.pfad("noch/nicht/da"));
    struct stat lage {};
    ASSERT_EQ(::stat(ordner->c_str(), &lage), 0);
    EXPECT_EQ(lage.st_mode & 0777U, 0700U);
    EXPECT_NE(ablage.neuerOrdner(), ordner);
}

TEST(Portalablage, WhereNoFolderCanBeMadeThereIsNone) {
    werkzeug::OrdnerAufZeit const tmp;
    auto const ordner = portal::Portalablage{tmp.datei("datei")}.neuerOrdner();
    ASSERT_FALSE(ordner);
    EXPECT_EQ(ordner.error().ursache.herkunft, Ursache::Herkunft::errnoWert);
    EXPECT_EQ(ordner.error().wo, tmp.pfad("datei"));
}

TEST(Portalablage, FoldersInUseAreBounded) {
    werkzeug::OrdnerAufZeit const tmp;
    portal::Portalablage ablage{tmp.pfad()};
    auto const erster = ablage.neuerOrdner().value();
    for (std::size_t i = 1; i < portal::Portalablage::hoechstensOffen; ++i)
        ASSERT_TRUE(ablage.neuerOrdner()) << i;
    EXPECT_EQ(ablage.neuerOrdner().error().art, Fehlerart::zuGross);
    ablage.entfernen(erster);
    EXPECT_TRUE(ablage.neuerOrdner());
}

TEST(Portalablage, RemovingTakesTheFolderWithItsContents) {
    werkzeug::OrdnerAufZeit const tmp;
    portal::Portalablage ablage{tmp.pfad()};
    auto const ordner = ablage.neuerOrdner().value();
    fs::create_directories(ordner + "/a/b");
    std::ofstream{ordner + "/a/b/beleg.pdf"} << "x";
    ablage.entfernen(ordner);
    EXPECT_EQ(anzahl(tmp.pfad()), 0U);
    ablage.entfernen(ordner); // a second time
}

TEST(Portalablage, OnlyItsOwnFoldersAreRemoved) {
    werkzeug::OrdnerAufZeit const tmp;
    portal::Portalablage ablage{tmp.pfad()};
    auto const fremd = tmp.ordner(verwaist);
    ablage.entfernen(fremd);
    ablage.entfernen(tmp.pfad());
    ablage.entfernen("");
    ablage.entfernen("/");
    EXPECT_TRUE(fs::exists(fremd));
}

TEST(Portalablage, ItsEndRemovesWhatIsLeft) {
    werkzeug::OrdnerAufZeit const tmp;
    {
        portal::Portalablage ablage{tmp.pfad()};
        (void)ablage.neuerOrdner();
        (void)ablage.neuerOrdner();
        EXPECT_EQ(anzahl(tmp.pfad()), 2U);
    }
    EXPECT_EQ(anzahl(tmp.pfad()), 0U);
}

TEST(Portalablage, FoldersOfARunThatCrashedAreSweptAtTheNextStart) {
    werkzeug::OrdnerAufZeit const tmp;
    auto const kind = ::fork();
    if (kind == 0) {
        portal::Portalablage ablage{tmp.pfad()};
        auto const ordner = ablage.neuerOrdner();
        std::ofstream{ordner.value_or("") + "/beleg.pdf"} << "x";
        ::raise(SIGKILL);
    }
    ::waitpid(kind, nullptr, 0);
    ASSERT_EQ(anzahl(tmp.pfad()), 1U);
    portal::Portalablage{tmp.pfad()}.aufraeumen();
    EXPECT_EQ(anzahl(tmp.pfad()), 0U);
}

TEST(Portalablage, AFolderInWhichAnotherProcessWorksStays) {
    werkzeug::OrdnerAufZeit const tmp;
    portal::Portalablage ablage{tmp.pfad()};
    auto const ordner = ablage.neuerOrdner().value();
    auto const kind = ::fork();
    if (kind == 0) {
        portal::Portalablage andere{tmp.pfad()};
        andere.aufraeumen();
        ::_exit(0);
    }
    ::waitpid(kind, nullptr, 0);
    EXPECT_TRUE(fs::exists(ordner));
    ablage.aufraeumen(); // nor does one sweep one's own
    EXPECT_TRUE(fs::exists(ordner));
}

TEST(Portalablage, SweepingTouchesNothingThatOnlyLooksAlike) {
    werkzeug::OrdnerAufZeit const tmp;
    auto const ziel = tmp.ordner("wichtig");
    tmp.datei("wichtig/brief.txt", "x");
    auto const verweis = tmp.pfad(verwaist);
    fs::create_symlink(ziel, verweis);
    auto const datei = tmp.datei("quillmate-portal-0A1B2C3D-0000-4000-8000-0123456789AC", "eine Datei");
    auto const kurz = tmp.ordner("quillmate-portal-");
    auto const anders = tmp.ordner("quillmate-portal-meine-Belege-von-2026-bitte-behalten");
    auto const klein = tmp.ordner("quillmate-portal-0a1b2c3d-0000-4000-8000-0123456789ab");
    portal::Portalablage{tmp.pfad()}.aufraeumen();
    EXPECT_TRUE(fs::exists(ziel + "/brief.txt"));
    for (auto const& bleibt : {verweis, datei, kurz, anders, klein})
        EXPECT_TRUE(fs::exists(bleibt)) << bleibt;
}

TEST(Portalablage, ALinkInAStaleFolderIsRemovedButNotFollowed) {
    werkzeug::OrdnerAufZeit const tmp;
    tmp.datei("wichtig/brief.txt", "x");
    fs::create_directory_symlink(tmp.pfad("wichtig"), tmp.ordner(verwaist) + "/verweis");
    portal::Portalablage{tmp.pfad()}.aufraeumen();
    EXPECT_FALSE(fs::exists(tmp.pfad(verwaist)));
    EXPECT_TRUE(fs::exists(tmp.pfad("wichtig/brief.txt")));
}

TEST(Portalablage, AllFoldersTogetherHoldFiveHundredMebibytesAtMost) {
    werkzeug::OrdnerAufZeit const tmp;
    portal::Portalablage ablage{tmp.pfad()};
    auto const a = ablage.neuerOrdner().value();
    auto const b = ablage.neuerOrdner().value();
    EXPECT_TRUE(ablage.vermerken(a, portal::Portalablage::hoechstensBytes - 1));
    EXPECT_TRUE(ablage.vermerken(b, 1));
    EXPECT_FALSE(ablage.vermerken(b, 2));
    EXPECT_FALSE(ablage.vermerken(a, portal::Portalablage::hoechstensBytes + 1));
    EXPECT_FALSE(ablage.vermerken(a, UINT64_MAX));
    EXPECT_FALSE(ablage.vermerken(tmp.pfad("fremd"), 0));
    ablage.entfernen(a);
    EXPECT_TRUE(ablage.vermerken(b, portal::Portalablage::hoechstensBytes)) << "what is gone counts no more";
}

TEST(Portalablage, SweepingAFolderThatDoesNotExistDoesNothing) {
    werkzeug::OrdnerAufZeit const tmp;
    portal::Portalablage{tmp.pfad("fehlt")}.aufraeumen();
    EXPECT_FALSE(fs::exists(tmp.pfad("fehlt")));
}

TEST(Belegname, IsTheLastComponentOnly) {
    EXPECT_EQ(portal::belegname("2026/11/Rechnung 7.pdf"), "Rechnung 7.pdf");
    EXPECT_EQ(portal::belegname("../../etc/passwd"), "passwd");
    EXPECT_EQ(portal::belegname("ordner/"), "ordner");
    EXPECT_EQ(portal::belegname("Rechnung \"Mai\".pdf"), "Rechnung \"Mai\".pdf");
    for (auto const* const nichts : {"", ".", "..", "/", "a/..", "\n\t"})
        EXPECT_EQ(portal::belegname(nichts), "") << nichts;
}

TEST(Belegname, LosesControlCharactersAndBrokenBytes) {
    EXPECT_EQ(portal::belegname("a\r\nContent-Type: x\r\n.pdf"), "aContent-Type: x.pdf");
    EXPECT_EQ(
        portal::belegname("\xE2\x80\xAE"
                          "fdp.exe"),
        "fdp.exe");
    EXPECT_EQ(portal::belegname("R\xFC.pdf"), "R\xEF\xBF\xBD.pdf");
}

TEST(Belegname, ALongNameIsCutAndKeepsItsExtension) {
    EXPECT_EQ(portal::belegname(std::string(500, 'a') + ".pdf"), std::string(196, 'a') + ".pdf");
    std::string umlaute;
    for (int i = 0; i < 200; ++i)
        umlaute += "ä";
    EXPECT_EQ(
        portal::belegname("x" + umlaute + ".pdf"),
        "x" + umlaute.substr(0, 194) + ".pdf"); // no half of an "ä"
    EXPECT_EQ(portal::belegname("a." + std::string(500, 'b')).size(), 200U);
}
