#include "adapter/linux/baum.h"
#include "adapter/linux/dateiwerk_linux.h"
#include "adapter/linux/einbau_linux.h"
#include "adapter/linux/einbaumarke.h"
#include "adapter/linux/ordnerrechte.h"
#include "adapter/linux/prozessstart.h"
#include "grundlage/datei.h"
#include "werkzeug/ohne_renameat2.h"
#include "werkzeug/probebuendel.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

using namespace quillmate;
using adapter::linux::ZuOffen;
using ports::Einbauhindernis;

namespace {

namespace fs = std::filesystem;

class Einbauort : public testing::Test {
protected:
    Einbauort() { werkzeug::probebuendel(app, "50"); }
    std::optional<Einbauhindernis::Art> hindernis(std::string const& buendel) {
        auto const grund = einbau.hindernis(buendel);
        return grund ? std::optional{grund->art} : std::nullopt;
    }
    /// Exit code of `was`, run by a user who owns nothing.
    static int alsNiemand(std::function<int()> const& was) {
        auto const kind = ::fork();
        if (kind == 0) {
            if (::geteuid() == 0 &&
                (::setresgid(65534, 65534, 65534) != 0 || ::setresuid(65534, 65534, 65534) != 0))
                ::_exit(77);
            ::_exit(was());
        }
        int ausgang = -1;
        ::waitpid(kind, &ausgang, 0);
        return WEXITSTATUS(ausgang);
    }

    werkzeug::OrdnerAufZeit ordner;
    std::string const programme{ordner.ordner("oben/Programme")};
    std::string const app{programme + "/Quillmate.app"};
    adapter::linux::EinbauLinux einbau{ordner.pfad("marken")};
};

} // namespace

TEST_F(Einbauort, IsPossibleOnlyWhereTheUserMayWrite) {
    EXPECT_EQ(hindernis(app), std::nullopt);
    EXPECT_EQ(hindernis(ordner.pfad("gibt es nicht/Quillmate.app")), Einbauhindernis::Art::nichtBeschreibbar);
    EXPECT_EQ(hindernis("/usr/lib"), Einbauhindernis::Art::paketverwaltung);
    EXPECT_EQ(alsNiemand([this] { return hindernis("/etc") && hindernis("/opt") ? 0 : 1; }), 0);
}

TEST_F(Einbauort, IsNotPossibleWhereOthersMayWriteToo) {
    for (auto const& stelle : {programme, app, app + "/Contents", app + "/Contents/Linux"}) {
        for (mode_t const rechte : {0777U, 01777U, 0757U}) {
            ASSERT_EQ(::chmod(stelle.c_str(), rechte), 0);
            auto const grund = einbau.hindernis(app);
            ASSERT_TRUE(grund) << stelle << " " << std::oct << rechte;
            EXPECT_EQ(grund->art, Einbauhindernis::Art::andereSchreiben);
            EXPECT_EQ(grund->ordner, fs::canonical(stelle).string());
        }
        ASSERT_EQ(::chmod(stelle.c_str(), 0755), 0);
        EXPECT_EQ(hindernis(app), std::nullopt);
    }
}

TEST_F(Einbauort, AGroupOfOthersCountsTheOwnOneDoesNot) {
    ASSERT_EQ(::chmod(programme.c_str(), 0775), 0);
    constexpr gid_t fremde = 100; // "users"
    if (::geteuid() == 0) {
        EXPECT_EQ(hindernis(app), std::nullopt) << "root's own group has nobody else in it";
    }
    if (::chown(programme.c_str(), static_cast<uid_t>(-1), fremde) == 0) {
        ASSERT_EQ(::chmod(programme.c_str(), 0775), 0);
        EXPECT_EQ(hindernis(app), Einbauhindernis::Art::andereSchreiben);
    }
}

TEST_F(Einbauort, AFolderAboveThatOthersMayRenameInCountsUnlessItIsSticky) {
    auto const oben = fs::path{programme}.parent_path().string();
    ASSERT_EQ(::chmod(oben.c_str(), 0777), 0);
    EXPECT_EQ(hindernis(app), Einbauhindernis::Art::andereSchreiben);
    ASSERT_EQ(::chmod(oben.c_str(), 01777), 0);
    EXPECT_EQ(hindernis(app), std::nullopt);
}

TEST_F(Einbauort, AFolderOfAnotherUserIsNoPlace) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a folder away";
    ASSERT_EQ(::chown(programme.c_str(), 65534, 65534), 0);
    EXPECT_EQ(hindernis(app), Einbauhindernis::Art::andereSchreiben);
}

// ------------------------------------------------------------------------------------- folders of our own

TEST_F(Einbauort, AnOwnFolderIsMadeForUsAlone) {
    auto const pfad = ordner.pfad("a/b/c");
    ASSERT_TRUE(adapter::linux::eigenenOrdnerSichern(pfad, ZuOffen::ablehnen));
    struct stat lage {};
    ASSERT_EQ(::stat(pfad.c_str(), &lage), 0);
    EXPECT_EQ(lage.st_mode & 07777U, 0700U);
    EXPECT_TRUE(adapter::linux::eigenenOrdnerSichern(pfad, ZuOffen::ablehnen));
}

TEST_F(Einbauort, AnOpenOwnFolderIsRefusedOrClosed) {
    auto const pfad = ordner.ordner("offen");
    ASSERT_EQ(::chmod(pfad.c_str(), 0755), 0);
    auto const abgelehnt = adapter::linux::eigenenOrdnerSichern(pfad, ZuOffen::ablehnen);
    ASSERT_FALSE(abgelehnt);
    EXPECT_EQ(abgelehnt.error().art, Fehlerart::nichtErlaubt);
    EXPECT_TRUE(adapter::linux::eigenenOrdnerSichern(pfad, ZuOffen::schliessen));
    struct stat lage {};
    ASSERT_EQ(::stat(pfad.c_str(), &lage), 0);
    EXPECT_EQ(lage.st_mode & 07777U, 0700U);
}

TEST_F(Einbauort, ALinkAFifoOrAnothersFolderIsNoFolderOfOurs) {
    fs::create_directory_symlink(ordner.ordner("ziel"), ordner.pfad("verweis"));
    EXPECT_FALSE(adapter::linux::eigenenOrdnerSichern(ordner.pfad("verweis"), ZuOffen::schliessen));
    ASSERT_EQ(::mkfifo(ordner.pfad("rohr").c_str(), 0600), 0);
    EXPECT_FALSE(adapter::linux::eigenenOrdnerSichern(ordner.pfad("rohr"), ZuOffen::schliessen));
    ASSERT_EQ(::chmod(ordner.pfad().c_str(), 0755), 0);
    auto const meiner = ordner.ordner("meiner");
    ASSERT_EQ(::chmod(meiner.c_str(), 0777), 0);
    if (::geteuid() == 0) {
        EXPECT_EQ(
            alsNiemand(
                [&] { return adapter::linux::eigenenOrdnerSichern(meiner, ZuOffen::schliessen) ? 1 : 0; }),
            0);
    }
}

// ------------------------------------------------------------------- file systems that can less than others

TEST_F(Einbauort, WhereFoldersCannotBeExchangedIsSaidWhileTheOldVersionStillRuns) {
    auto const neues = einbau.baustelle(app).value();
    werkzeug::probebuendel(neues, "60");
    auto const kind = ::fork();
    if (kind == 0) {
        bool const ohne = werkzeug::ohneRenameat2();
        auto const satz = einbau.bereiten(app);
        ::_exit(
            ohne && satz == "Nicht auszutauschen ist „Quillmate.app“: Der Datenträger kann das nicht." ? 0
                                                                                                       : 1);
    }
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(WEXITSTATUS(ausgang), 0);
    EXPECT_FALSE((adapter::linux::Markenplatz{ordner.pfad("marken"), app}.vorhanden()));
}

TEST_F(Einbauort, AMoveWorksWhereNothingCanBeRenamedWithoutReplacing) {
    auto const ziel = ordner.pfad("Ziel.app");
    auto const vorher = werkzeug::abbild(app);
    auto const kind = ::fork();
    if (kind == 0)
        ::_exit(werkzeug::ohneRenameat2() && !adapter::linux::DateiwerkLinux{}.kopieren(app, ziel) ? 0 : 1);
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(WEXITSTATUS(ausgang), 0);
    EXPECT_EQ(werkzeug::abbild(ziel), vorher);
}

TEST_F(Einbauort, ThereTooNothingIsReplacedEither) {
    auto const ziel = ordner.datei("besetzt", "bleibt");
    auto const quelle = ordner.datei("quelle", "neu");
    auto const kind = ::fork();
    if (kind == 0)
        ::_exit(
            werkzeug::ohneRenameat2() && !umbenennenOhneErsetzen(quelle, ziel) && errno == EEXIST &&
                    umbenennenOhneErsetzen(quelle, ordner.pfad("frei"))
                ? 0
                : 1);
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(WEXITSTATUS(ausgang), 0);
    EXPECT_EQ(werkzeug::inhaltVon(ziel), "bleibt");
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad("frei")), "neu");
    EXPECT_FALSE(fs::exists(quelle));
}

TEST_F(Einbauort, ATreeThatIsTooDeepIsNotSaidToBeASuccess) {
    std::string tief = app + "/Contents/Resources";
    for (int i = 0; i < 70; ++i)
        tief += "/t";
    fs::create_directories(tief);
    auto const satz = adapter::linux::baumSichern(app);
    ASSERT_TRUE(satz);
    EXPECT_EQ(*satz, "Nicht zu sichern ist „Quillmate.app“: Die Ordner darin sind zu tief verschachtelt.");
}

TEST_F(Einbauort, AProgramThatCannotBeStartedSaysWhy) {
    auto const kind = adapter::linux::prozessStarten({ordner.pfad("fehlt")});
    ASSERT_FALSE(kind);
    EXPECT_EQ(kind.error().art, Fehlerart::nichtGefunden);
    EXPECT_EQ(kind.error().ursache.nummer, ENOENT);
}
