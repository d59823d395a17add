#include "adapter/linux/buendel.h"
#include "adapter/linux/neustart_linux.h"
#include "werkzeug/probebuendel.h"
#include "werkzeug/warten.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <functional>

using namespace quillmate;

namespace {

namespace fs = std::filesystem;

class NeustartLinux : public testing::Test {
protected:
    /// Writes down how it was started, in one step.
    std::string programm() const {
        return "#!/bin/sh\n{ pwd; ls -l /proc/self/fd | grep -c marke; } > \"" + ordner.pfad("lief.neu") +
               "\"\nmv \"" + ordner.pfad("lief.neu") + "\" \"" + ordner.pfad("lief") + "\"\n";
    }
    /// A tool that writes its arguments down and ends with this status.
    void werkzeug(std::string const& name, int status) {
        auto const pfad = ordner.datei(
            "bin/" + name, "#!/bin/sh\necho " + name + " \"$@\" >> \"" + ordner.pfad("werkzeuge") +
                               "\"\nexit " + std::to_string(status) + "\n");
        fs::permissions(pfad, fs::perms::owner_all);
    }
    /// The old process: prepares the relaunch and ends when the returned descriptor is closed.
    std::pair<pid_t, int> altesProgramm(
        std::string const& auswerfen, adapter::linux::Umgebungswerte const& urspruenglich = {},
        std::function<void()> const& vorher = [] {}) {
        std::array<int, 2> rohr{};
        EXPECT_EQ(::pipe2(rohr.data(), O_CLOEXEC), 0);
        auto const buendel = adapter::linux::buendelAn(app);
        auto const kind = ::fork();
        if (kind == 0) {
            ::close(rohr[1]);
            vorher();
            ::setenv("PATH", (ordner.pfad("bin") + ":/usr/bin:/bin").c_str(), 1);
            // Not closed on exec on purpose: what the new program must not inherit.
            (void)::open(ordner.datei("marke", "x").c_str(), O_RDONLY);
            adapter::linux::NeustartLinux{urspruenglich}.vorbereiten(*buendel, auswerfen);
            char ende = 0;
            while (::read(rohr[0], &ende, 1) > 0) {
            }
            ::_exit(0);
        }
        ::close(rohr[0]);
        return {kind, rohr[1]};
    }
    static void beende(std::pair<pid_t, int> altes) {
        ::close(altes.second);
        int ausgang = 0;
        ::waitpid(altes.first, &ausgang, 0);
    }
    std::string werkzeuge() const { return werkzeug::inhaltVon(ordner.pfad("werkzeuge")); }

    werkzeug::OrdnerAufZeit ordner;
    std::string const app{ordner.pfad("Programme ä/Quillmate \"neu\" $HOME.app")};
};

} // namespace

TEST_F(NeustartLinux, TellsTheShellProcessBundleVolumeAndProgram) {
    auto const befehl = adapter::linux::neustartbefehl(
        4711,
        {.pfad = "/Applications/Quillmate.app", .programm = "/Applications/Quillmate.app/Contents/Linux/q"},
        "/Volumes/Quillmate");
    ASSERT_EQ(befehl.size(), 7U);
    EXPECT_EQ(befehl[0], "/bin/sh");
    EXPECT_EQ(befehl[1], "-c");
    EXPECT_TRUE(befehl[2].starts_with("n=0\nwhile kill -0 \"$0\" 2>/dev/null && [ \"$n\" -lt 100 ]; do "
                                      "/bin/sleep 0.1; n=$((n+1)); done\n"));
    EXPECT_EQ(befehl[3], "4711");
    EXPECT_EQ(befehl[4], "/Applications/Quillmate.app");
    EXPECT_EQ(befehl[5], "/Volumes/Quillmate");
    EXPECT_EQ(befehl[6], "q");
    EXPECT_EQ(adapter::linux::neustartbefehl(1, {.pfad = "/x.app"}, "")[6], "quillmate");
}

TEST_F(NeustartLinux, StartsTheBundleOnceTheOldProcessHasEnded) {
    werkzeug::probebuendel(app, "50", programm());
    auto const altes = altesProgramm("");
    // The helper is there, and nothing has started yet.
    EXPECT_FALSE(fs::exists(ordner.pfad("lief")));
    beende(altes);
    ASSERT_TRUE(werkzeug::wartenBis([&] { return fs::exists(ordner.pfad("lief")); }));
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad("lief")), "/\n0\n")
        << "in a folder that keeps no volume busy, without our descriptors";
}

TEST_F(NeustartLinux, DoesNotStartWhileTheOldProcessLives) {
    werkzeug::probebuendel(app, "50", programm());
    auto const altes = altesProgramm("");
    // Ten rounds of the helper's waiting loop: long enough to see it start too early.
    EXPECT_FALSE(
        werkzeug::wartenBis([&] { return fs::exists(ordner.pfad("lief")); }, std::chrono::seconds{1}));
    beende(altes);
    EXPECT_TRUE(werkzeug::wartenBis([&] { return fs::exists(ordner.pfad("lief")); }));
}

TEST_F(NeustartLinux, StartsTheBundleInTheEnvironmentThatWeWereStartedIn) {
    auto const neu = ordner.pfad("lief.neu");
    werkzeug::probebuendel(
        app, "50",
        "#!/bin/sh\necho \"$SPRACHE|${DAZU-fehlt}|$GLEICH\" > \"" + neu + "\"\nmv \"" + neu + "\" \"" +
            ordner.pfad("lief") + "\"\n");
    beende(altesProgramm("", {{"SPRACHE", "nds=x"}, {"DAZU", std::nullopt}}, [] {
        ::setenv("SPRACHE", "de", 1); // What the program has changed for itself.
        ::setenv("DAZU", "1", 1);
        ::setenv("GLEICH", "bleibt", 1);
    }));
    ASSERT_TRUE(werkzeug::wartenBis([&] { return fs::exists(ordner.pfad("lief")); }));
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad("lief")), "nds=x|fehlt|bleibt\n");
}

TEST_F(NeustartLinux, EjectsTheVolumeAfterTheStartWithTheDesktopsService) {
    werkzeug::probebuendel(app, "50", programm());
    werkzeug("udisksctl", 0);
    werkzeug("umount", 0);
    werkzeug("findmnt", 0);
    beende(altesProgramm("/Volumes/Quillmate 0.5"));
    ASSERT_TRUE(werkzeug::wartenBis([&] { return werkzeuge().find("udisksctl") != std::string::npos; }));
    ASSERT_TRUE(werkzeug::wartenBis([&] { return fs::exists(ordner.pfad("lief")); }));
    EXPECT_THAT(
        werkzeuge(), testing::StartsWith("findmnt -n -o SOURCE --mountpoint /Volumes/Quillmate 0.5\n"));
    EXPECT_EQ(werkzeuge().find("--force"), std::string::npos);
    EXPECT_EQ(werkzeuge().find("umount /"), std::string::npos);
}

TEST_F(NeustartLinux, EjectsOnceMoreByForceWhenThatFails) {
    werkzeug::probebuendel(app, "50", programm());
    werkzeug("udisksctl", 1);
    werkzeug("umount", 1);
    werkzeug("findmnt", 0);
    beende(altesProgramm("/Volumes/Q"));
    ASSERT_TRUE(
        werkzeug::wartenBis([&] { return werkzeuge().find("umount -l /Volumes/Q\n") != std::string::npos; }));
    EXPECT_EQ(
        werkzeuge(), "findmnt -n -o SOURCE --mountpoint /Volumes/Q\n"
                     "udisksctl unmount --no-user-interaction -b \n"
                     "umount /Volumes/Q\n"
                     "udisksctl unmount --no-user-interaction --force -b \n"
                     "umount -l /Volumes/Q\n");
}

TEST_F(NeustartLinux, TakesARealVolumeAwayAlsoWhenSomebodyStillUsesIt) {
    werkzeug::probebuendel(app, "50", programm());
    for (bool const belegt : {false, true}) {
        fs::remove(ordner.pfad("lief"));
        auto const punkt = ordner.ordner("Abbild mit Leerzeichen");
        // In mounts of its own, so that nothing is left whatever happens. The desktop's service cannot see them, as if
        // there were none; then it is the ordinary way.
        auto const kind = ::fork();
        if (kind == 0) {
            auto const benutzer = ::getuid();
            if (::unshare(benutzer == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0 ||
                ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                ::mount("abbild", punkt.c_str(), "tmpfs", MS_RDONLY, "size=64k") != 0)
                ::_exit(77);
            if (belegt && ::open(punkt.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC) < 0)
                ::_exit(2);
            auto const da = [&] {
                return werkzeug::inhaltVon("/proc/self/mountinfo")
                    .contains("Abbild\\040mit\\040Leerzeichen ");
            };
            if (!da())
                ::_exit(2);
            beende(altesProgramm(punkt));
            ::_exit(
                werkzeug::wartenBis([&] { return fs::exists(ordner.pfad("lief")); }) &&
                        werkzeug::wartenBis([&] { return !da(); })
                    ? 0
                    : 1);
        }
        int ausgang = -1;
        ::waitpid(kind, &ausgang, 0);
        if (WEXITSTATUS(ausgang) == 77)
            GTEST_SKIP() << "this machine allows no mounts";
        EXPECT_EQ(ausgang, 0) << (belegt ? "in use" : "not in use");
    }
}
