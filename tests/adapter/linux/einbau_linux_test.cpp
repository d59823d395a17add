#include "adapter/linux/buendel.h"
#include "adapter/linux/einbau_linux.h"
#include "adapter/linux/einbaumarke.h"
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
        bereiteNeues(skript("neue", bestaetigt() + laeuftWeiter()));
    }
    std::string skript(std::string const& name, std::string const& rest) const {
        return "#!/bin/sh\necho " + name + " $$ >> \"" + logdatei + "\"\n" + rest + "\n";
    }
    /// A program that runs as long as the test.
    std::string laeuftWeiter() const { return "while [ -e '" + ordner.pfad() + "' ]; do sleep 0.1; done"; }
    /// What a program does that has come up.
    std::string bestaetigt() const { return "rm \"" + platz.datei() + "\"\n"; }
    /// As the program does that ends then.
    void bereiteNeues(std::string const& programm) {
        adapter::linux::EinbauLinux einbau{marken};
        ASSERT_EQ(einbau.baustelle(app), neues);
        werkzeug::probebuendel(neues, "60", programm);
        neuesAbbild = abbild(neues);
        ASSERT_EQ(einbau.bereiten(app), std::nullopt);
    }
    std::string protokoll() const { return werkzeug::inhaltVon(logdatei); }
    bool lief(std::string const& name) const { return protokoll().find(name) != std::string::npos; }

    adapter::linux::Einbauhilfen hilfen() {
        return {
            .marken = marken,
            .zurueckgenommen =
                [this](std::string const& nummer) { std::ofstream{ordner.pfad("gemeldet")} << nummer; },
            .einzelinstanz =
                [this] {
                    return programmsperre();
                }};
    }
    /// The program's own lock.
    Deskriptor programmsperre() const {
        Deskriptor datei{::open(ordner.pfad("sperre").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)};
        return ::flock(datei.get(), LOCK_EX | LOCK_NB) == 0 ? std::move(datei) : Deskriptor{};
    }
    std::string gemeldet() const { return werkzeug::inhaltVon(ordner.pfad("gemeldet")); }
    /// The helper's work, in a process whose parent has ended.
    Einbauausgang schliesseAb(adapter::linux::Einbaufristen fristen = {}) {
        // A parent that is not ours counts as ended.
        return adapter::linux::einbauAbschliessen(1'000'000'000, app, hilfen(), fristen);
    }
    void setzeStand(adapter::linux::Einbaumarke::Stand stand) {
        auto marke = platz.lesen();
        ASSERT_TRUE(marke);
        marke->stand = stand;
        ASSERT_TRUE(platz.schreiben(*marke));
    }
    /// What a power cut leaves right after the exchange: 60 in its place, 50 beside it, nobody who watches.
    void stromausfall() {
        setzeStand(adapter::linux::Einbaumarke::Stand::probe);
        fs::rename(app, ordner.pfad("alte"));
        fs::rename(neues, app);
        fs::rename(ordner.pfad("alte"), neues);
    }
    /// Another process beside the test's: a thread that forks would leave the child with locks that nobody opens.
    static pid_t nebenher(std::function<bool()> const& tun) {
        auto const kind = ::fork();
        if (kind == 0)
            ::_exit(tun() ? 0 : 1);
        return kind;
    }
    static bool gelungen(pid_t kind) {
        int ausgang = -1;
        return ::waitpid(kind, &ausgang, 0) == kind && WIFEXITED(ausgang) && WEXITSTATUS(ausgang) == 0;
    }
    /// A start of the program, as far as `danach`, which gets its lock. A version that is taken back goes on as the old
    /// program's script, which ends with 0.
    int start(std::function<int(Deskriptor)> const& danach) {
        auto const kind = ::fork();
        if (kind == 0)
            ::_exit(danach(adapter::linux::selbstprobe(app, hilfen())));
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
    std::string const marken{ordner.pfad("zustand/quillmate")};
    adapter::linux::Markenplatz const platz{marken, app};
    std::map<std::string, std::string> neuesAbbild;
};

} // namespace

TEST_F(EinbauLinux, PutsTheNewVersionInAndRemovesTheOldOneOnceItHasStarted) {
    EXPECT_EQ(schliesseAb(), Einbauausgang::eingebaut);
    EXPECT_EQ(fassung(), "60");
    EXPECT_EQ(abbild(app), neuesAbbild);
    EXPECT_TRUE(daneben().empty());
    EXPECT_TRUE(lief("neue"));
    EXPECT_FALSE(lief("alte"));
    EXPECT_EQ(gemeldet(), "");
}

TEST_F(EinbauLinux, KeepsTheOldVersionUntilTheNewOneHasStarted) {
    auto const bereit = ordner.pfad("bereit");
    bereiteNeues(skript(
        "neue", "while [ ! -e \"" + bereit + "\" ]; do sleep 0.01; done\n" + bestaetigt() + laeuftWeiter()));
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
    EXPECT_EQ(gemeldet(), "60");
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
    EXPECT_EQ(gemeldet(), "60");
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

TEST_F(EinbauLinux, AnOrderlyEndBeforeItHasComeUpLeavesTheTrialToTheNextStart) {
    bereiteNeues(skript("neue", "exit 0"));
    EXPECT_EQ(schliesseAb(), Einbauausgang::offen);
    EXPECT_EQ(fassung(), "60");
    EXPECT_EQ(daneben().size(), 1U) << "the version before has gone although nothing was confirmed";
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(startDerNichtHochkommt(), 0) << "not taken back";
    EXPECT_EQ(fassung(), "50");
}

TEST_F(EinbauLinux, AStartByTheUserInTheGapConfirmsAsWellAsTheHelpers) {
    // The user's start is quicker: it has the program's lock, the helper's ends in order.
    bereiteNeues(skript(
        "neue", "echo > \"" + ordner.pfad("nutzer") + "\"; while [ ! -e \"" + ordner.pfad("nutzer laeuft") +
                    "\" ]; do sleep 0.01; done; exit 0"));
    auto const nutzer = nebenher([&] {
        bool const gefragt = werkzeug::wartenBis([&] { return fs::exists(ordner.pfad("nutzer")); });
        auto const meine = programmsperre();
        ordner.datei("nutzer laeuft");
        return gefragt && meine && start([this](Deskriptor const& probe) {
                                       if (probe)
                                           return 1; // the helper watches
                                       adapter::linux::EinbauLinux{marken}.bestaetigen(app);
                                       return 0;
                                   }) == 0;
    });
    EXPECT_EQ(schliesseAb(), Einbauausgang::eingebaut);
    EXPECT_TRUE(gelungen(nutzer));
    EXPECT_EQ(fassung(), "60");
    EXPECT_TRUE(werkzeug::wartenBis([&] { return daneben().empty(); }));
}

TEST_F(EinbauLinux, NoVersionIsTakenBackThatRuns) {
    // The helper's start crashes, the user's holds the program's lock and comes up a little later.
    bereiteNeues(skript(
        "neue", "echo > \"" + ordner.pfad("nutzer") + "\"; while [ ! -e \"" + ordner.pfad("nutzer laeuft") +
                    "\" ]; do sleep 0.01; done; kill -SEGV $$"));
    auto const nutzer = nebenher([&] {
        bool const gefragt = werkzeug::wartenBis([&] { return fs::exists(ordner.pfad("nutzer")); });
        auto const meine = programmsperre();
        ordner.datei("nutzer laeuft");
        bool const blieb = !werkzeug::wartenBis([&] { return fassung() != "60"; }, 1s);
        adapter::linux::EinbauLinux{marken}.bestaetigen(app);
        return gefragt && meine && blieb;
    });
    EXPECT_EQ(schliesseAb(), Einbauausgang::eingebaut);
    EXPECT_TRUE(gelungen(nutzer)) << "taken back while it runs";
    EXPECT_EQ(fassung(), "60");
    EXPECT_EQ(gemeldet(), "");
}

TEST_F(EinbauLinux, WhileTheProgramRunsAgainNothingIsExchangedBeneathIt) {
    auto const meine = programmsperre();
    EXPECT_EQ(schliesseAb({.luecke = 100ms}), Einbauausgang::nichtEingebaut);
    EXPECT_EQ(fassung(), "50");
    EXPECT_TRUE(daneben().empty());
    EXPECT_FALSE(lief("alte")) << "started beside the one that runs";
}

TEST_F(EinbauLinux, AnotherFolderInThePlaceOfThePreparedOneIsNotPutIn) {
    auto const alt = abbild(app);
    fs::rename(neues, ordner.pfad("vorbereitet"));
    werkzeug::probebuendel(neues, "60", skript("untergeschoben", "exit 0"));
    EXPECT_EQ(schliesseAb(), Einbauausgang::nichtEingebaut);
    EXPECT_EQ(abbild(app), alt);
    EXPECT_FALSE(lief("untergeschoben"));
}

TEST_F(EinbauLinux, WhatMerelyLiesBesideTheBundleSteersNothing) {
    // As versions up to 0.6 left it after a power cut, or as somebody plants it.
    fs::remove(platz.datei());
    ordner.datei("Programme ä/.Quillmate.app.probe", "50\nbegonnen\n");
    auto const alt = abbild(app);
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(abbild(app), alt);
    EXPECT_EQ(gemeldet(), "");
}

TEST_F(EinbauLinux, APlantedVersionIsNotWhatIsPutBack) {
    stromausfall();
    setzeStand(adapter::linux::Einbaumarke::Stand::begonnen);
    fs::rename(neues, ordner.pfad("vorige"));
    werkzeug::probebuendel(neues, "50", skript("untergeschoben", "exit 0"));
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(fassung(), "60");
    EXPECT_FALSE(lief("untergeschoben"));
}

TEST_F(EinbauLinux, ABundleThatTheUserPutThereMeanwhileIsOnNoTrial) {
    stromausfall();
    setzeStand(adapter::linux::Einbaumarke::Stand::begonnen);
    fs::remove_all(app);
    werkzeug::probebuendel(app, "60", skript("eigene", "exit 0"));
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(fassung(), "60");
    EXPECT_FALSE(platz.vorhanden());
}

TEST_F(EinbauLinux, TakingBackIsToldAlsoWhenTheTellerWasKilled) {
    setzeStand(adapter::linux::Einbaumarke::Stand::zurueck); // exchanged back, and then killed
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(gemeldet(), "60");
    EXPECT_FALSE(platz.vorhanden());
}

TEST_F(EinbauLinux, TheMarkLivesWhereOnlyThisUserWrites) {
    struct stat lage {};
    ASSERT_EQ(::stat(marken.c_str(), &lage), 0);
    EXPECT_EQ(lage.st_mode & 07777U, 0700U);
    ASSERT_EQ(::stat(platz.datei().c_str(), &lage), 0);
    EXPECT_EQ(lage.st_mode & 07777U, 0600U);
    auto const marke = platz.lesen();
    ASSERT_TRUE(marke);
    EXPECT_EQ(marke->buendel, app);
    EXPECT_EQ(marke->altes, adapter::linux::ausweisVon(app));
    EXPECT_EQ(marke->neues, adapter::linux::ausweisVon(neues));
    EXPECT_EQ(marke->altesBuild, "50");
    EXPECT_EQ(marke->neuesBuild, "60");
}

TEST_F(EinbauLinux, ATrialOutlivesAStartOfTheSystemThatNumbersItsDevicesAnew) {
    stromausfall();
    auto inhalt = werkzeug::inhaltVon(platz.datei());
    auto const geraet = "<string>" + std::to_string(adapter::linux::ausweisVon(app)->geraet) + "</string>";
    ASSERT_NE(inhalt.find(geraet), std::string::npos);
    inhalt.replace(inhalt.find(geraet), geraet.size(), "<string>1</string>");
    std::ofstream{platz.datei()} << inhalt;
    EXPECT_EQ(adapter::linux::Markenplatz(marken, app).lesen()->neues.geraet, 1U)
        << "still the same run of the system";
    auto const start_ = inhalt.find("<key>systemstart</key>");
    auto const wert = inhalt.find("<string>", start_);
    inhalt.replace(wert, inhalt.find("</string>", wert) - wert, "<string>ein anderer");
    std::ofstream{platz.datei()} << inhalt;
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(startDerNichtHochkommt(), 0);
    EXPECT_EQ(fassung(), "50");
}

TEST_F(EinbauLinux, WithoutAPlaceForTheMarkNothingIsPrepared) {
    ordner.datei("kein ordner");
    adapter::linux::EinbauLinux einbau{ordner.pfad("kein ordner")};
    auto const ergebnis = einbau.baustelle(app);
    ASSERT_FALSE(ergebnis);
    EXPECT_TRUE(ergebnis.error().wo.contains("kein ordner")) << ergebnis.error().text();
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
                adapter::linux::einbauAbschliessen(ich, app, hilfen()) == Einbauausgang::eingebaut ? 0 : 1);
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
            adapter::linux::einbauAbschliessen(altes, app, hilfen(), {.ende = 100ms}) ==
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
    adapter::linux::EinbauLinux einbau{marken};
    ordner.datei("Programme ä/.Quillmate.app.probe");
    einbau.bestaetigen(app);
    EXPECT_TRUE(daneben().empty());
    EXPECT_FALSE(platz.vorhanden());
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
    EXPECT_EQ(gemeldet(), "60");
    EXPECT_EQ(startDerNichtHochkommt(), 7) << "the old version is on trial";
}

TEST_F(EinbauLinux, AVersionThatNobodyWatchesStaysOnceItHasComeUp) {
    stromausfall();
    EXPECT_EQ(
        start([this](Deskriptor probe_) {
            adapter::linux::EinbauLinux{marken, {}, std::move(probe_)}.bestaetigen(app);
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
    auto const helfer = platz.sperren();
    ASSERT_TRUE(helfer);
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(fassung(), "60");
    EXPECT_EQ(platz.lesen()->stand, adapter::linux::Einbaumarke::Stand::probe);
}

TEST_F(EinbauLinux, AVersionFromBeforeTheExchangeIsNotOnTrial) {
    setzeStand(adapter::linux::Einbaumarke::Stand::probe); // The power failed a moment earlier.
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

TEST_F(EinbauLinux, SomethingElseInThePlaceOfTheMarkIsNoTrial) {
    stromausfall();
    auto const inhalt = werkzeug::inhaltVon(platz.datei());
    fs::remove(platz.datei());
    fs::create_directory(platz.datei());
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    fs::remove(platz.datei());
    ordner.datei("zustand/quillmate/" + fs::path{platz.datei()}.filename().string(), inhalt.substr(0, 100));
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(startDerNichtHochkommt(), 7);
    EXPECT_EQ(fassung(), "60");
}

TEST_F(EinbauLinux, DiscardingRemovesWhatWasPreparedAndItsMark) {
    adapter::linux::EinbauLinux einbau{marken};
    ASSERT_EQ(einbau.baustelle(app), neues);
    einbau.verwerfen(app);
    EXPECT_TRUE(daneben().empty());
    EXPECT_FALSE(platz.vorhanden());
    EXPECT_EQ(fassung(), "50");
}
