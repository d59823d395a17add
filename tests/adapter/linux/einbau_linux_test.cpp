#include "adapter/linux/buendel.h"
#include "adapter/linux/einbau_linux.h"
#include "werkzeug/probebuendel.h"
#include "werkzeug/warten.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <functional>
#include <thread>

using namespace quillmate;
using namespace std::chrono_literals;
using adapter::linux::Einbauausgang;
using werkzeug::abbild;

namespace {

namespace fs = std::filesystem;

/// Version 50 in its place, 60 beside it. Their programs are shell scripts.
class EinbauLinux : public testing::Test {
protected:
    EinbauLinux() {
        werkzeug::probebuendel(app, "50", skript("alte", "exit 0"));
        bereiteNeues(skript("neue", "rm -r \"" + probe + "\"\n" + laeuftWeiter()));
    }
    std::string skript(std::string const& name, std::string const& rest) const {
        return "#!/bin/sh\necho " + name + " $$ >> \"" + logdatei + "\"\n" + rest + "\n";
    }
    /// A program that runs as long as the test.
    std::string laeuftWeiter() const { return "while [ -e '" + ordner.pfad() + "' ]; do sleep 0.1; done"; }
    void bereiteNeues(std::string const& programm) {
        auto const ordner_ = einbau.baustelle(app);
        ASSERT_EQ(ordner_, neues);
        werkzeug::probebuendel(neues, "60", programm);
        neuesAbbild = abbild(neues);
        ASSERT_EQ(einbau.bereiten(app), std::nullopt);
    }
    std::string protokoll() const { return werkzeug::inhaltVon(logdatei); }
    bool lief(std::string const& name) const { return protokoll().find(name) != std::string::npos; }

    /// The helper's work, in a process whose parent ends when told.
    Einbauausgang schliesseAb(adapter::linux::Einbaufristen fristen = {}) {
        // A parent that is not ours counts as ended.
        return adapter::linux::einbauAbschliessen(
            1'000'000'000, app, [this](std::string const& nummer) { gemeldet = nummer; }, fristen);
    }
    /// What a power cut leaves right after the exchange: 60 in its place, 50 beside it, nobody who watches.
    void stromausfall() {
        fs::rename(app, ordner.pfad("alte"));
        fs::rename(neues, app);
        fs::rename(ordner.pfad("alte"), neues);
        ordner.datei("Programme ä/.Quillmate.app.probe", "60\n");
    }
    /// A start of the program, as far as `danach`, which gets its lock. A version that is taken back goes on as the old
    /// program's script, which ends with 0.
    int start(std::function<int(Deskriptor)> const& danach) {
        auto const kind = ::fork();
        if (kind == 0)
            ::_exit(danach(adapter::linux::selbstprobe(app, [this](std::string const& nummer) {
                std::ofstream{ordner.pfad("gemeldet")} << nummer;
            })));
        int ausgang = -1;
        ::waitpid(kind, &ausgang, 0);
        return WEXITSTATUS(ausgang);
    }
    /// Ends with 7 before its window is there.
    int startDerNichtHochkommt() {
        return start([](Deskriptor const&) { return 7; });
    }
    std::string fassung() const { return *adapter::linux::buendelAn(app)->buildnummer; }
    std::vector<std::string> daneben() const {
        std::vector<std::string> namen;
        for (auto const& eintrag : fs::directory_iterator{fs::path{app}.parent_path()})
            if (eintrag.path() != app)
                namen.push_back(eintrag.path().filename().string());
        return namen;
    }

    werkzeug::OrdnerAufZeit ordner;
    std::string const logdatei{ordner.pfad("log")};
    std::string const app{ordner.ordner("Programme ä") + "/Quillmate.app"};
    std::string const neues{ordner.pfad("Programme ä/.Quillmate.app.neu")};
    std::string const probe{ordner.pfad("Programme ä/.Quillmate.app.probe")};
    adapter::linux::EinbauLinux einbau;
    std::map<std::string, std::string> neuesAbbild;
    std::optional<std::string> gemeldet;
};

} // namespace

TEST_F(EinbauLinux, PutsTheNewVersionInAndRemovesTheOldOneOnceItHasStarted) {
    EXPECT_EQ(schliesseAb(), Einbauausgang::eingebaut);
    EXPECT_EQ(fassung(), "60");
    EXPECT_EQ(abbild(app), neuesAbbild);
    EXPECT_TRUE(daneben().empty());
    EXPECT_TRUE(lief("neue"));
    EXPECT_FALSE(lief("alte"));
    EXPECT_FALSE(gemeldet);
}

TEST_F(EinbauLinux, KeepsTheOldVersionUntilTheNewOneHasStarted) {
    auto const bereit = ordner.pfad("bereit");
    bereiteNeues(skript(
        "neue", "while [ ! -e \"" + bereit + "\" ]; do sleep 0.01; done\nrm -r \"" + probe + "\"\n" +
                    laeuftWeiter()));
    std::thread helfer{[&] {
        EXPECT_EQ(schliesseAb(), Einbauausgang::eingebaut);
    }};
    EXPECT_TRUE(werkzeug::wartenBis([&] { return lief("neue"); }));
    EXPECT_EQ(fassung(), "60");
    EXPECT_EQ(adapter::linux::buendelAn(neues)->buildnummer, "50");
    ordner.datei("bereit");
    helfer.join();
    EXPECT_TRUE(daneben().empty());
}

TEST_F(EinbauLinux, TakesAVersionBackThatEndsWithAFailure) {
    auto const alt = abbild(app);
    bereiteNeues(skript("neue", "exit 3"));
    EXPECT_EQ(schliesseAb(), Einbauausgang::zurueckgenommen);
    EXPECT_EQ(abbild(app), alt);
    EXPECT_TRUE(daneben().empty());
    EXPECT_EQ(gemeldet, "60");
    EXPECT_TRUE(werkzeug::wartenBis([&] { return lief("alte"); }));
}

TEST_F(EinbauLinux, TakesAVersionBackThatCrashes) {
    bereiteNeues(skript("neue", "kill -SEGV $$"));
    EXPECT_EQ(schliesseAb(), Einbauausgang::zurueckgenommen);
    EXPECT_EQ(fassung(), "50");
}

TEST_F(EinbauLinux, TakesAVersionBackThatCannotEvenBeStarted) {
    bereiteNeues("#!/gibt/es/nicht\n");
    EXPECT_EQ(schliesseAb(), Einbauausgang::zurueckgenommen);
    EXPECT_EQ(fassung(), "50");
    EXPECT_EQ(gemeldet, "60");
    EXPECT_TRUE(werkzeug::wartenBis([&] { return lief("alte"); }));
}

TEST_F(EinbauLinux, TakesAVersionBackThatHangsAndEndsIt) {
    bereiteNeues(skript("neue", laeuftWeiter()));
    EXPECT_EQ(schliesseAb({.anlauf = 300ms}), Einbauausgang::zurueckgenommen);
    EXPECT_EQ(fassung(), "50");
    std::istringstream zeile{protokoll()};
    std::string wer;
    pid_t nummer = 0;
    zeile >> wer >> nummer;
    ASSERT_EQ(wer, "neue");
    EXPECT_NE(::kill(nummer, 0), 0) << "it still runs";
}

TEST_F(EinbauLinux, AnOrderlyEndCountsAsAStart) {
    bereiteNeues(skript("neue", "exit 0"));
    EXPECT_EQ(schliesseAb(), Einbauausgang::eingebaut);
    EXPECT_EQ(fassung(), "60");
    EXPECT_TRUE(daneben().empty());
}

TEST_F(EinbauLinux, WaitsForTheEndOfTheOldProgram) {
    std::array<int, 2> rohr{};
    ASSERT_EQ(::pipe2(rohr.data(), O_CLOEXEC), 0);
    // The old program starts the helper and ends when the pipe closes.
    auto const altes = ::fork();
    if (altes == 0) {
        ::close(rohr[1]);
        auto const ich = ::getpid();
        if (::fork() == 0) {
            ::close(rohr[0]);
            ::_exit(
                adapter::linux::einbauAbschliessen(ich, app, [](std::string const&) {}) ==
                        Einbauausgang::eingebaut
                    ? 0
                    : 1);
        }
        char ende = 0;
        while (::read(rohr[0], &ende, 1) > 0) {
        }
        ::_exit(0);
    }
    ::close(rohr[0]);
    EXPECT_FALSE(werkzeug::wartenBis([&] { return fassung() != "50"; }, 1s));
    ::close(rohr[1]);
    ::waitpid(altes, nullptr, 0);
    EXPECT_TRUE(werkzeug::wartenBis([&] { return fassung() == "60" && daneben().empty(); }));
}

TEST_F(EinbauLinux, GivesUpWhereTheOldProgramDoesNotEnd) {
    auto const altes = ::getpid();
    auto const kind = ::fork();
    if (kind == 0)
        ::_exit(
            adapter::linux::einbauAbschliessen(altes, app, [](std::string const&) {}, {.ende = 100ms}) ==
                    Einbauausgang::nichtEingebaut
                ? 0
                : 1);
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(ausgang, 0);
    EXPECT_EQ(fassung(), "50");
    EXPECT_TRUE(daneben().empty());
    EXPECT_FALSE(lief("alte")) << "it still runs, after all";
}

TEST_F(EinbauLinux, StartsTheOldVersionWhereTheNewOneHasGone) {
    fs::remove_all(neues);
    EXPECT_EQ(schliesseAb(), Einbauausgang::nichtEingebaut);
    EXPECT_EQ(fassung(), "50");
    EXPECT_TRUE(werkzeug::wartenBis([&] { return lief("alte"); }));
    EXPECT_TRUE(daneben().empty());
}

TEST_F(EinbauLinux, TheNextStartClearsAwayWhatAKilledHelperLeft) {
    ordner.datei("Programme ä/.Quillmate.app.probe");
    einbau.bestaetigen(app);
    EXPECT_TRUE(daneben().empty());
    EXPECT_EQ(fassung(), "50");
    einbau.bestaetigen(app);
    EXPECT_EQ(fassung(), "50");
}

TEST_F(EinbauLinux, AVersionThatNobodyWatchesIsTakenBackByItsSecondStartAndTheOldOneGoesOn) {
    auto const alt = abbild(app);
    stromausfall();
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(fassung(), "60") << "one failure may be anybody's";
    EXPECT_EQ(startDerNichtHochkommt(), 0) << "not the old program in its place";
    EXPECT_TRUE(lief("alte"));
    EXPECT_EQ(abbild(app), alt);
    EXPECT_TRUE(daneben().empty());
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad("gemeldet")), "60");
    EXPECT_EQ(startDerNichtHochkommt(), 7) << "the old version is on trial";
}

TEST_F(EinbauLinux, AVersionThatNobodyWatchesStaysOnceItHasComeUp) {
    stromausfall();
    EXPECT_EQ(
        start([this](Deskriptor probe_) {
            adapter::linux::EinbauLinux{{}, std::move(probe_)}.bestaetigen(app);
            return 0;
        }),
        0);
    EXPECT_TRUE(daneben().empty());
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(fassung(), "60");
    EXPECT_FALSE(fs::exists(ordner.pfad("gemeldet")));
}

TEST_F(EinbauLinux, WhileOneStartComesUpAnotherTakesNothingBack) {
    stromausfall();
    EXPECT_EQ(
        start([this](Deskriptor const& probe_) {
            return probe_ && startDerNichtHochkommt() == 7 && startDerNichtHochkommt() == 7 ? 0 : 1;
        }),
        0);
    EXPECT_EQ(fassung(), "60");
}

TEST_F(EinbauLinux, AStartThatAHelperWatchesLeavesThatToIt) {
    stromausfall();
    Deskriptor const helfer{::open(probe.c_str(), O_RDWR | O_CLOEXEC)};
    ASSERT_EQ(::flock(helfer.get(), LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(fassung(), "60");
    EXPECT_EQ(werkzeug::inhaltVon(probe), "60\n");
}

TEST_F(EinbauLinux, AVersionFromBeforeTheExchangeIsNotOnTrial) {
    ordner.datei("Programme ä/.Quillmate.app.probe", "60\n"); // The power failed a moment earlier.
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(fassung(), "50") << "a version that was never tried took its place";
}

TEST_F(EinbauLinux, WithoutAWholeVersionBesideItNothingIsTakenBack) {
    stromausfall();
    fs::remove(neues + "/Contents/Linux/quillmate");
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(fassung(), "60");
    EXPECT_FALSE(fs::exists(ordner.pfad("gemeldet")));
}

TEST_F(EinbauLinux, SomethingElseInThePlaceOfTheProbeFileIsNoTrial) {
    stromausfall();
    fs::remove(probe);
    fs::create_directory(probe);
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    fs::remove(probe);
    fs::create_symlink(ordner.datei("fremd", "60\n"), probe);
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad("fremd")), "60\n") << "written through a link";
    EXPECT_EQ(fassung(), "60");
}

TEST_F(EinbauLinux, DiscardingRemovesWhatWasPrepared) {
    einbau.verwerfen(app);
    EXPECT_TRUE(daneben().empty());
    EXPECT_EQ(fassung(), "50");
}

TEST_F(EinbauLinux, IsPossibleOnlyWhereTheUserMayWrite) {
    EXPECT_TRUE(einbau.moeglich(app));
    EXPECT_FALSE(einbau.moeglich(ordner.pfad("gibt es nicht/Quillmate.app")));
    EXPECT_FALSE(einbau.moeglich("/usr/lib")) << "a package manager's";
    auto const kind = ::fork();
    if (kind == 0) {
        if (::geteuid() == 0 && ::setresuid(65534, 65534, 65534) != 0)
            ::_exit(77);
        ::_exit(einbau.moeglich("/etc") || einbau.moeglich("/opt") ? 1 : 0);
    }
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(ausgang, 0);
}
