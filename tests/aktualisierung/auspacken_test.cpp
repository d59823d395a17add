#include "aktualisierung/auspacken.h"
#include "werkbank.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

using namespace quillmate;
using werkzeug::Eintrag;

namespace {

namespace fs = std::filesystem;

class Entpacken : public testing::Test {
protected:
    /// The kind of failure; nothing when it has been unpacked.
    static std::optional<Fehlerart> art(Ergebnis<void> const& ergebnis) {
        return ergebnis ? std::nullopt : std::optional{ergebnis.error().art};
    }
    std::optional<Fehlerart> pack(
        std::vector<Eintrag> const& eintraege, aktualisierung::Auspackgrenzen grenzen = {}) {
        fs::remove_all(ziel);
        fs::create_directories(ziel);
        return art(aktualisierung::auspacken(werkzeug::archivAus(eintraege), ziel, grenzen));
    }
    /// A bundle with one entry more.
    std::optional<Fehlerart> packMit(Eintrag eintrag) {
        auto eintraege = werkzeug::buendeleintraege("60");
        eintraege.push_back(std::move(eintrag));
        return pack(eintraege);
    }
    /// Everything outside of the folder to unpack into.
    std::vector<std::string> draussen() const {
        std::vector<std::string> namen;
        for (auto const& eintrag : fs::directory_iterator{ordner.pfad("heim")})
            if (eintrag.path() != ziel)
                namen.push_back(eintrag.path().filename().string());
        return namen;
    }
    static unsigned rechte(std::string const& pfad) {
        struct stat lage {};
        ::lstat(pfad.c_str(), &lage);
        return lage.st_mode & 07777U;
    }

    werkzeug::OrdnerAufZeit ordner;
    std::string const ziel{ordner.ordner("heim/ziel")};
};

} // namespace

TEST_F(Entpacken, PutsTheBundlesContentDirectlyIntoTheFolder) {
    ASSERT_EQ(pack(werkzeug::buendeleintraege("60")), std::nullopt);
    EXPECT_EQ(werkzeug::inhaltVon(ziel + "/Contents/Resources/Größe.txt"), "Fassung 60");
    EXPECT_EQ(fs::read_symlink(ziel + "/Contents/Resources/verweis"), "Größe.txt");
    EXPECT_EQ(rechte(ziel + "/Contents/Linux/quillmate"), 0755U);
    EXPECT_EQ(rechte(ziel + "/Contents/Info.plist"), 0644U);
}

TEST_F(Entpacken, TakesBothKindsOfTarInAnyLocale) {
    for (auto const art : {werkzeug::Packart::gnu, werkzeug::Packart::pax}) {
        auto eintraege = werkzeug::buendeleintraege("60");
        eintraege.push_back(
            {.name = "Quillmate.app/" + std::string(200, 'a') + "/" + std::string(200, 'b'),
             .inhalt = "lang"});
        fs::remove_all(ziel);
        fs::create_directories(ziel);
        ASSERT_EQ(
            Entpacken::art(aktualisierung::auspacken(werkzeug::archivAus(eintraege, art), ziel)),
            std::nullopt);
        EXPECT_EQ(werkzeug::inhaltVon(ziel + "/Contents/Resources/Größe.txt"), "Fassung 60");
        EXPECT_EQ(
            werkzeug::inhaltVon(ziel + "/" + std::string(200, 'a') + "/" + std::string(200, 'b')), "lang");
    }
}

TEST_F(Entpacken, ReducesPermissionsToWhatAProgramNeeds) {
    ASSERT_EQ(packMit({.name = "Quillmate.app/su", .inhalt = "x", .rechte = 06777}), std::nullopt);
    EXPECT_EQ(rechte(ziel + "/su"), 0755U);
    ASSERT_EQ(packMit({.name = "Quillmate.app/zu", .inhalt = "x", .rechte = 0}), std::nullopt);
    EXPECT_EQ(rechte(ziel + "/zu"), 0644U);
    ASSERT_EQ(packMit({.name = "Quillmate.app/o", .art = AE_IFDIR, .rechte = 01777}), std::nullopt);
    EXPECT_EQ(rechte(ziel + "/o"), 0755U);
}

TEST_F(Entpacken, RefusesNamesThatLeadOut) {
    for (auto const* name :
         {"../draussen", "Quillmate.app/../../draussen", "Quillmate.app/..", "/draussen", "/tmp/draussen",
          "Quillmate.app/a/../../../draussen", "Anderes.app/datei", "draussen", "Quillmate.app"}) {
        EXPECT_EQ(packMit({.name = name, .inhalt = "x"}), Fehlerart::falscheForm) << name;
        EXPECT_TRUE(draussen().empty()) << name;
    }
}

TEST_F(Entpacken, RefusesLinksThatLeadOut) {
    for (auto const* verweis :
         {"/etc/passwd", "../../../draussen", "../..", "a/../../../x", "Contents/../..",
          "."
          "./../../"}) {
        EXPECT_EQ(
            packMit({.name = "Quillmate.app/Contents/v", .art = AE_IFLNK, .verweis = verweis}),
            Fehlerart::falscheForm)
            << verweis;
    }
    EXPECT_EQ(
        packMit(
            {.name = "Quillmate.app/Contents/Resources/v",
             .art = AE_IFLNK,
             .verweis = "../../Contents/Info.plist"}),
        std::nullopt)
        << "up as far as the bundle, then down";
    EXPECT_EQ(packMit({.name = "Quillmate.app", .art = AE_IFLNK, .verweis = "x"}), Fehlerart::falscheForm);
}

TEST_F(Entpacken, NeverWritesThroughALink) {
    auto eintraege = werkzeug::buendeleintraege("60");
    eintraege.push_back({.name = "Quillmate.app/v", .art = AE_IFLNK, .verweis = "Contents"});
    eintraege.push_back({.name = "Quillmate.app/v/datei", .inhalt = "x"});
    EXPECT_EQ(pack(eintraege), Fehlerart::falscheForm);
    EXPECT_FALSE(fs::exists(ziel + "/Contents/datei"));
}

TEST_F(Entpacken, RefusesEverythingButFoldersFilesAndLinks) {
    for (auto const art : {AE_IFIFO, AE_IFCHR, AE_IFBLK})
        EXPECT_EQ(
            packMit({.name = "Quillmate.app/g", .art = static_cast<unsigned>(art)}), Fehlerart::falscheForm);
    EXPECT_EQ(
        packMit({.name = "Quillmate.app/h", .verweis = "Quillmate.app/Contents/Info.plist", .hart = true}),
        Fehlerart::falscheForm);
    EXPECT_EQ(
        packMit({.name = "Quillmate.app/h", .verweis = "/etc/passwd", .hart = true}), Fehlerart::falscheForm);
}

TEST_F(Entpacken, RefusesANameTakenTwice) {
    EXPECT_EQ(
        packMit({.name = "Quillmate.app/Contents/Info.plist", .inhalt = "anders"}), Fehlerart::falscheForm);
    EXPECT_EQ(
        packMit({.name = "Quillmate.app/./Contents//Info.plist", .inhalt = "anders"}),
        Fehlerart::falscheForm);
    EXPECT_EQ(
        packMit({.name = "Quillmate.app/Contents/Info.plist/x", .inhalt = "x"}), Fehlerart::falscheForm);
    EXPECT_EQ(packMit({.name = "Quillmate.app/Contents", .inhalt = "x"}), Fehlerart::falscheForm);
}

TEST_F(Entpacken, BoundsBytesEntriesDepthAndNames) {
    auto const bombe = Eintrag{.name = "Quillmate.app/gross", .inhalt = std::string(3'000'000, '\0')};
    auto eintraege = werkzeug::buendeleintraege("60");
    eintraege.push_back(bombe);
    EXPECT_LT(werkzeug::archivAus(eintraege).size(), 10'000U) << "it is a bomb";
    EXPECT_EQ(pack(eintraege, {.bytes = 1'000'000}), Fehlerart::zuGross);
    EXPECT_EQ(pack(eintraege, {.eintraege = 3}), Fehlerart::zuGross);
    EXPECT_EQ(pack(eintraege), std::nullopt);
    std::string tief = "Quillmate.app";
    for (int i = 0; i < 40; ++i)
        tief += "/t";
    EXPECT_EQ(packMit({.name = tief, .inhalt = "x"}), Fehlerart::falscheForm);
    EXPECT_EQ(
        packMit({.name = "Quillmate.app/" + std::string(300, 'n'), .inhalt = "x"}), Fehlerart::falscheForm);
}

TEST_F(Entpacken, RefusesWhatIsNoArchiveOfOurKind) {
    auto const probe = [&](std::string const& bytes) {
        fs::remove_all(ziel);
        fs::create_directories(ziel);
        return art(aktualisierung::auspacken(bytes, ziel));
    };
    EXPECT_NE(probe(""), std::nullopt);
    EXPECT_EQ(probe("kein Archiv, nur Text"), Fehlerart::falscheForm);
    EXPECT_EQ(
        probe(werkzeug::archivAus(werkzeug::buendeleintraege("60"), werkzeug::Packart::zip)),
        Fehlerart::falscheForm);
    auto const ganz = werkzeug::archivAus(werkzeug::buendeleintraege("60"));
    EXPECT_NE(probe(ganz.substr(0, ganz.size() / 2)), std::nullopt);
    EXPECT_EQ(pack({}), Fehlerart::falscheForm);
    EXPECT_EQ(pack({{.name = "Quillmate/x", .inhalt = "x"}}), Fehlerart::falscheForm) << "no bundle";
    EXPECT_EQ(art(aktualisierung::auspacken(ganz, ordner.pfad("fehlt"))), Fehlerart::nichtGefunden);
}

TEST_F(Entpacken, AFullDiskIsNotTheArchivesFault) {
    auto eintraege = werkzeug::buendeleintraege("60");
    eintraege.push_back({.name = "Quillmate.app/gross", .inhalt = std::string(3'000'000, 'x')});
    auto const kind = ::fork();
    if (kind == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit const grenze{.rlim_cur = 1'000'000, .rlim_max = 1'000'000};
        ::setrlimit(RLIMIT_FSIZE, &grenze);
        auto const ergebnis = aktualisierung::auspacken(werkzeug::archivAus(eintraege), ziel);
        ::_exit(
            !ergebnis && ergebnis.error().ursache == Ursache{Ursache::Herkunft::errnoWert, EFBIG} ? 0 : 1);
    }
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(ausgang, 0);
}
