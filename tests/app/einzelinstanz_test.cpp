#include "app/einzelinstanz.h"
#include "werkzeug/fehlerausgabe.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/programme.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

using namespace quillmate;
using testing::ElementsAre;
using testing::IsEmpty;
using werkzeug::fehlerausgabe;

namespace {

constexpr char const* demo = "de.tandemwerk.quillmate.demo";
constexpr char const* sperreMain = "quillmate-einzelinstanz.lock";
constexpr char const* sperreDemo = "quillmate-demo-einzelinstanz.lock";

class Einzelinstanz : public testing::Test {
protected:
    std::optional<app::AppEinzelinstanz> belege(std::optional<std::string> const& kennung) {
        std::optional<app::AppEinzelinstanz> sperre;
        protokolliert = fehlerausgabe(
            [&] { sperre = app::AppEinzelinstanz::belegen(kennung, ordner.pfad(), programme); });
        return sperre;
    }

    werkzeug::OrdnerAufZeit ordner;
    werkzeug::LaufendeProgrammeAttrappe programme;
    std::string protokolliert;
};

/// Another process that holds the lock until it is told to end or killed.
class Halter {
public:
    Halter(std::string const& kennung, std::string const& ordner) {
        std::array<int, 2> hin{};
        std::array<int, 2> zurueck{};
        if (::pipe2(hin.data(), O_CLOEXEC) != 0 || ::pipe2(zurueck.data(), O_CLOEXEC) != 0)
            std::abort();
        kind_ = ::fork();
        if (kind_ == 0) {
            ::close(hin[1]);
            werkzeug::LaufendeProgrammeAttrappe keine;
            auto const sperre = app::AppEinzelinstanz::belegen(kennung, ordner, keine);
            char const meldung = sperre ? 'j' : 'n';
            char ende = 0;
            bool const gesagt = ::write(zurueck[1], &meldung, 1) == 1;
            bool const gewartet = ::read(hin[0], &ende, 1) == 0; // until the other end closes
            ::_exit(gesagt && gewartet ? 0 : 1);
        }
        ::close(hin[0]);
        ::close(zurueck[1]);
        ende_ = hin[1];
        char meldung = 'n';
        haelt_ = ::read(zurueck[0], &meldung, 1) == 1 && meldung == 'j';
        ::close(zurueck[0]);
    }
    ~Halter() { beenden(0); }
    Halter(Halter const&) = delete;
    Halter& operator=(Halter const&) = delete;

    [[nodiscard]] bool haelt() const { return haelt_; }
    void beenden(int signal) {
        if (kind_ <= 0)
            return;
        if (signal != 0)
            ::kill(kind_, signal);
        ::close(ende_);
        ::waitpid(std::exchange(kind_, -1), nullptr, 0);
    }

private:
    pid_t kind_{-1};
    int ende_{-1};
    bool haelt_{false};
};

} // namespace

TEST_F(Einzelinstanz, TheFirstOneGetsTheLock) {
    auto const sperre = belege("de.tandemwerk.quillmate");
    EXPECT_TRUE(sperre);
    EXPECT_EQ(protokolliert, "");
    EXPECT_EQ(programme.gefragt, 0);
    struct stat lage {};
    ASSERT_EQ(::stat(ordner.pfad(sperreMain).c_str(), &lage), 0);
    EXPECT_EQ(lage.st_mode & 07777U, 0600U);
    EXPECT_EQ(lage.st_size, 0);
}

TEST_F(Einzelinstanz, TheSecondOneActivatesTheFirstAndSaysWhy) {
    programme.kennungen = {
        "org.anderes", "de.tandemwerk.quillmate.demo", "de.tandemwerk.quillmate", "de.tandemwerk.quillmate"};
    auto const erste = belege("de.tandemwerk.quillmate");
    EXPECT_FALSE(belege("de.tandemwerk.quillmate"));
    EXPECT_EQ(protokolliert, "[Quillmate] Quillmate läuft bereits\n");
    EXPECT_THAT(programme.aktiviert, ElementsAre("de.tandemwerk.quillmate"));
}

TEST_F(Einzelinstanz, WithoutIdentifierItIsTheMainBuild) {
    auto const erste = belege(std::nullopt);
    ASSERT_TRUE(erste);
    EXPECT_TRUE(std::filesystem::exists(ordner.pfad(sperreMain)));
    EXPECT_FALSE(belege("de.tandemwerk.quillmate"));
}

TEST_F(Einzelinstanz, ADemoBuildRunsBesideTheMainBuild) {
    auto const haupt = belege("de.tandemwerk.quillmate");
    auto const vorfuehrung = belege(demo);
    EXPECT_TRUE(haupt);
    EXPECT_TRUE(vorfuehrung);
    EXPECT_TRUE(std::filesystem::exists(ordner.pfad(sperreDemo)));
    EXPECT_EQ(protokolliert, "");
}

TEST_F(Einzelinstanz, DemoBuildsShareOneLockWhateverTheyAreCalled) {
    programme.kennungen = {
        "de.tandemwerk.quillmate", "de.tandemwerk.quillmateX", "xde.tandemwerk.quillmate.y",
        "de.tandemwerk.quillmate."};
    auto const erste = belege(demo);
    ASSERT_TRUE(erste);
    EXPECT_FALSE(belege("org.ganz.anders"));
    EXPECT_EQ(protokolliert, "[Quillmate] Eine Quillmate-Demo läuft bereits\n");
    EXPECT_THAT(programme.aktiviert, ElementsAre("de.tandemwerk.quillmate."));
}

TEST_F(Einzelinstanz, OnlyTheFirstMatchIsActivated) {
    programme.kennungen = {"de.tandemwerk.quillmate.b", "de.tandemwerk.quillmate.a"};
    auto const erste = belege(demo);
    EXPECT_FALSE(belege(demo));
    EXPECT_THAT(programme.aktiviert, ElementsAre("de.tandemwerk.quillmate.b"));
}

TEST_F(Einzelinstanz, AHeldLockEndsTheSecondOneAlsoWhenNobodyIsThereToActivate) {
    auto const erste = belege("de.tandemwerk.quillmate");
    EXPECT_FALSE(belege("de.tandemwerk.quillmate"));
    EXPECT_EQ(programme.gefragt, 1);
    EXPECT_THAT(programme.aktiviert, IsEmpty());
    EXPECT_EQ(protokolliert, "[Quillmate] Quillmate läuft bereits\n");
}

TEST_F(Einzelinstanz, TheLockIsGivenBackWithItsObjectAndTheFileStays) {
    {
        auto erste = belege("de.tandemwerk.quillmate");
        auto const umgezogen = std::move(*erste);
        erste.reset();
        EXPECT_FALSE(belege("de.tandemwerk.quillmate"));
    }
    EXPECT_TRUE(std::filesystem::exists(ordner.pfad(sperreMain)));
    EXPECT_TRUE(belege("de.tandemwerk.quillmate"));
}

TEST_F(Einzelinstanz, NothingIsWrittenIntoTheFile) {
    ordner.datei(sperreMain, "von frueher");
    EXPECT_TRUE(belege("de.tandemwerk.quillmate"));
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad(sperreMain)), "von frueher");
}

TEST_F(Einzelinstanz, WhereNoLockFileCanBeMadeTheProgramDoesNotStart) {
    programme.kennungen = {"de.tandemwerk.quillmate"};
    std::optional<app::AppEinzelinstanz> sperre;
    EXPECT_EQ(
        fehlerausgabe(
            [&] { sperre = app::AppEinzelinstanz::belegen(std::nullopt, ordner.pfad("fehlt"), programme); }),
        "[Quillmate] Einzelinstanz-Sperre konnte nicht angelegt werden\n");
    EXPECT_FALSE(sperre);
    EXPECT_THAT(programme.aktiviert, ElementsAre("de.tandemwerk.quillmate"));
}

TEST_F(Einzelinstanz, AnUnwritableTemporaryFolderIsNoPlaceForALock) {
    ::chmod(ordner.pfad().c_str(), 0500);
    auto const wer = ::geteuid();
    constexpr uid_t niemand = 65534; // root may write anywhere
    if (wer == 0 && ::seteuid(niemand) != 0)
        GTEST_SKIP() << "root cannot be anybody else here";
    auto const sperre = belege("de.tandemwerk.quillmate");
    ASSERT_EQ(::seteuid(wer), 0);
    ::chmod(ordner.pfad().c_str(), 0700);
    EXPECT_FALSE(sperre);
    EXPECT_EQ(protokolliert, "[Quillmate] Einzelinstanz-Sperre konnte nicht angelegt werden\n");
}

TEST_F(Einzelinstanz, ALinkOrAFolderInItsPlaceIsNoLockFile) {
    std::filesystem::create_symlink(ordner.pfad("ziel"), ordner.pfad(sperreMain));
    EXPECT_FALSE(belege("de.tandemwerk.quillmate"));
    EXPECT_EQ(protokolliert, "[Quillmate] Einzelinstanz-Sperre konnte nicht angelegt werden\n");
    EXPECT_FALSE(std::filesystem::exists(ordner.pfad("ziel")));
    ordner.ordner(sperreDemo);
    EXPECT_FALSE(belege(demo));
    EXPECT_EQ(protokolliert, "[Quillmate] Einzelinstanz-Sperre konnte nicht angelegt werden\n");
}

TEST_F(Einzelinstanz, AnotherProcessHoldsTheLockUntilItEnds) {
    Halter andere{"de.tandemwerk.quillmate", ordner.pfad()};
    ASSERT_TRUE(andere.haelt());
    EXPECT_FALSE(belege("de.tandemwerk.quillmate"));
    EXPECT_EQ(protokolliert, "[Quillmate] Quillmate läuft bereits\n");
    EXPECT_TRUE(belege(demo));
    andere.beenden(0);
    EXPECT_TRUE(belege("de.tandemwerk.quillmate"));
}

TEST_F(Einzelinstanz, TheSystemTakesTheLockFromAProcessThatIsKilled) {
    Halter andere{demo, ordner.pfad()};
    ASSERT_TRUE(andere.haelt());
    EXPECT_FALSE(belege(demo));
    andere.beenden(SIGKILL);
    EXPECT_TRUE(belege(demo));
}
