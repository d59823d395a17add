// The lock-up: the real policy in a real reader process, and each layer by itself.
#include "leser/programm/sandkasten.h"
#include "leser/prozess/hilfen.h"
#include "werkzeug/fehlerausgabe.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/warten.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

namespace quillmate::Texterkennung {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using werkzeug::fehlerausgabe;
using werkzeug::OrdnerAufZeit;

/// Runs `arbeit` in a child process; its result is the child's exit status.
int imKind(std::function<int()> const& arbeit) {
    auto const kind = ::fork();
    if (kind == 0)
        ::_exit(arbeit());
    int status = 0;
    ::waitpid(kind, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

constexpr int verweigert = 42;
constexpr int gelungen = 43;

int ausgang(long ergebnis, int erwarteterFehler) {
    if (ergebnis >= 0)
        return gelungen;
    return errno == erwarteterFehler ? verweigert : errno;
}

/// What stands behind the name in a file of the process in /proc, word by word; empty without such a line.
std::vector<std::string> worteNach(pid_t pid, std::string const& datei, std::string const& name) {
    std::ifstream quelle{"/proc/" + std::to_string(pid) + "/" + datei};
    std::vector<std::string> worte;
    for (std::string zeile; std::getline(quelle, zeile);)
        if (zeile.starts_with(name)) {
            std::istringstream rest{zeile.substr(name.size())};
            for (std::string wort; rest >> wort;)
                worte.push_back(wort);
        }
    return worte;
}

void ohneFaehigkeiten() {
    __user_cap_header_struct kopf{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> const keine{};
    (void)::syscall(SYS_capset, &kopf, keine.data());
}

/// Whether another process of this user, without the superuser's privileges, may look into the process.
bool durchschaubar(pid_t pid) {
    auto const stelle = "/proc/" + std::to_string(pid) + "/exe";
    int const ergebnis = imKind([&] {
        ohneFaehigkeiten();
        std::array<char, 4096> ziel{};
        return ausgang(::readlink(stelle.c_str(), ziel.data(), ziel.size()), EACCES);
    });
    EXPECT_TRUE(ergebnis == gelungen || ergebnis == verweigert) << ergebnis;
    return ergebnis == gelungen;
}

class Eingeschlossen : public ::testing::Test {
protected:
    void SetUp() override {
        if (leser::protokoll::mitSanitizer)
            GTEST_SKIP() << "sanitizer builds leave these layers out";
    }
    /// What the locked-up reader has to say about its attempt; nothing when that was its death.
    std::optional<std::string> versuch(std::string const& befehl) {
        auto const datei = alsDatei(befehl);
        return leser.lesen(datei.get(), Texterkennung::Dateiart::pdf).text;
    }
    leser::prozess::LeserProzesse leser{{.programm = QUILLMATE_LESERATTRAPPE}};
};

TEST_F(Eingeschlossen, AllLayersHoldHereAndNothingIsMissingInTheLog) {
    EXPECT_EQ(fehlerausgabe([&] { EXPECT_EQ(versuch("sag da"), "da"); }), "");
}

TEST_F(Eingeschlossen, FilesCanBeNeitherOpenedNorMadeNorRemovedNorAskedFor) {
    OrdnerAufZeit const ordner;
    auto const datei = ordner.datei("geheim.txt", "geheim");
    EXPECT_EQ(versuch("oeffnen " + datei), "EPERM");
    EXPECT_EQ(versuch("oeffnen /etc/passwd"), "EPERM");
    EXPECT_EQ(versuch("oeffnen /proc/self/maps"), "EPERM");
    EXPECT_EQ(versuch("anlegen " + ordner.pfad("neu")), "EPERM");
    EXPECT_EQ(versuch("loeschen " + datei), "EPERM");
    EXPECT_EQ(versuch("vorhanden " + datei), "EPERM");
    EXPECT_EQ(versuch("groesse " + datei), "EPERM");
    EXPECT_TRUE(std::filesystem::exists(datei));
    EXPECT_FALSE(std::filesystem::exists(ordner.pfad("neu")));
}

TEST_F(Eingeschlossen, TheFileItReadsCanBeNeitherWrittenNorMapped) {
    EXPECT_EQ(versuch("schreiben"), "EPERM");
    EXPECT_EQ(versuch("abbilden"), "EPERM");
}

TEST_F(Eingeschlossen, NoProcessAndNoThreadCanBeStarted) {
    EXPECT_EQ(versuch("gabel"), "EPERM");
    EXPECT_EQ(versuch("faden"), "EPERM");
}

TEST_F(Eingeschlossen, MemoryIsNeverExecutable) {
    EXPECT_EQ(versuch("ausfuehrbar"), "EPERM");
}

TEST_F(Eingeschlossen, NothingButTheChannelCanBeWrittenTo) {
    EXPECT_EQ(versuch("fehlerausgabe"), "EPERM");
}

TEST_F(Eingeschlossen, TellingCallsAreDeadly) {
    for (auto const* befehl : {"socket", "lokal", "ausfuehren", "verfolgen", "toeten", "verschicken"}) {
        std::optional<std::string> text;
        auto const log = fehlerausgabe([&] { text = versuch(befehl); });
        EXPECT_EQ(text, std::nullopt) << befehl;
        EXPECT_THAT(log, HasSubstr("Signal 31")) << befehl; // SIGSYS
    }
}

/// A child that computes, and is there to be looked at from outside.
class Angehalten : public Eingeschlossen {
protected:
    void SetUp() override {
        Eingeschlossen::SetUp();
        if (IsSkipped())
            return;
        faden = std::jthread{[this] {
            (void)leser.lesen(datei.get(), Texterkennung::Dateiart::pdf);
        }};
        // It computes only when it is locked up.
        ASSERT_TRUE(werkzeug::wartenBis([&] {
            auto const alle = kinder(::getpid());
            if (alle.size() != 2)
                return false;
            vorlage = vorlageUnter(alle);
            kind = kindUnter(alle);
            return gerechnet(kind) > std::chrono::milliseconds{50};
        }));
    }
    void TearDown() override { (void)!::pwrite(datei.get(), ".", 1, 7); }
    Deskriptor datei{alsDatei("warten ")};
    pid_t vorlage{-1};
    pid_t kind{-1};
    std::jthread faden;
};

TEST_F(Angehalten, TheLimitsAreSetAndCannotBeRaised) {
    // The soft limit and the hard one.
    EXPECT_THAT(worteNach(kind, "limits", "Max core file size"), ElementsAre("0", "0", "bytes"));
    EXPECT_THAT(worteNach(kind, "limits", "Max processes"), ElementsAre("0", "0", "processes"));
    EXPECT_THAT(worteNach(kind, "limits", "Max file size"), ElementsAre("0", "0", "bytes"));
    leser::programm::Sandkastengrenzen const grenzen;
    auto const deskriptoren = std::to_string(grenzen.deskriptoren);
    EXPECT_THAT(
        worteNach(kind, "limits", "Max open files"), ElementsAre(deskriptoren, deskriptoren, "files"));
    auto const raum = std::to_string(grenzen.adressraum);
    EXPECT_THAT(worteNach(kind, "limits", "Max address space"), ElementsAre(raum, raum, "bytes"));
    auto const speicher = std::to_string(grenzen.speicherPdf);
    EXPECT_THAT(worteNach(kind, "limits", "Max data size"), ElementsAre(speicher, speicher, "bytes"));
}

TEST_F(Angehalten, NoPrivilegeIsLeftAndNoneCanBeGained) {
    for (auto const pid : {vorlage, kind}) {
        for (auto const* name : {"CapInh:", "CapPrm:", "CapEff:", "CapAmb:"})
            EXPECT_THAT(worteNach(pid, "status", name), ElementsAre("0000000000000000")) << name;
        EXPECT_THAT(worteNach(pid, "status", "NoNewPrivs:"), ElementsAre("1"));
        EXPECT_THAT(worteNach(pid, "status", "Seccomp:"), ElementsAre("2")); // By a filter.
    }
    EXPECT_THAT(worteNach(vorlage, "status", "Seccomp_filters:"), ElementsAre("1"));
    EXPECT_THAT(worteNach(kind, "status", "Seccomp_filters:"), ElementsAre("3"));
}

TEST_F(Angehalten, ItsUsersOtherProcessesCannotLookIntoIt) {
    EXPECT_FALSE(durchschaubar(kind));
    EXPECT_FALSE(durchschaubar(vorlage));
    // An ordinary process without privileges is an open book.
    auto const gewoehnlich = ::fork();
    if (gewoehnlich == 0) {
        ohneFaehigkeiten();
        for (;;)
            ::pause();
    }
    EXPECT_TRUE(werkzeug::wartenBis(
        [&] { return worteNach(gewoehnlich, "status", "CapEff:").at(0) == "0000000000000000"; }));
    EXPECT_TRUE(durchschaubar(gewoehnlich));
    ::kill(gewoehnlich, SIGKILL);
    ::waitpid(gewoehnlich, nullptr, 0);
}

TEST_F(Angehalten, ForksOfAProcessWithOneThread) {
    EXPECT_THAT(worteNach(vorlage, "status", "Threads:"), ElementsAre("1"));
    EXPECT_THAT(worteNach(kind, "status", "Threads:"), ElementsAre("1"));
    EXPECT_THAT(worteNach(kind, "status", "PPid:"), ElementsAre(std::to_string(::getpid())));
}

class EinzelneSchicht : public ::testing::Test {
protected:
    void SetUp() override {
        if (leser::protokoll::mitSanitizer)
            GTEST_SKIP() << "sanitizer builds leave these layers out";
    }
};

TEST_F(EinzelneSchicht, LandlockAloneDeniesFilesAndFolders) {
    EXPECT_EQ(
        imKind([] {
            leser::programm::privilegienAblegen();
            if (!leser::programm::landlockSchliessen())
                return 1;
            int const datei = ausgang(::open("/etc/passwd", O_RDONLY | O_CLOEXEC), EACCES);
            int const ordner = ausgang(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC), EACCES);
            return datei == verweigert ? ordner : datei;
        }),
        verweigert);
}

TEST_F(EinzelneSchicht, SeccompAloneDeniesFiles) {
    EXPECT_EQ(
        imKind([filter = leser::programm::kindfilter(3)] {
            leser::programm::privilegienAblegen();
            return leser::programm::seccompSchliessen(filter)
                       ? ausgang(::open("/etc/passwd", O_RDONLY | O_CLOEXEC), EPERM)
                       : 1;
        }),
        verweigert);
}

TEST_F(EinzelneSchicht, SeccompAloneKillsWhoeverWantsASocket) {
    EXPECT_EQ(
        imKind([filter = leser::programm::kindfilter(3)] {
            leser::programm::privilegienAblegen();
            if (!leser::programm::seccompSchliessen(filter))
                return 1;
            (void)::socket(AF_INET, SOCK_STREAM, 0);
            return gelungen;
        }),
        -SIGSYS);
}

TEST_F(EinzelneSchicht, TheMemoryLimitDeniesMemory) {
    EXPECT_EQ(
        imKind([] {
            constexpr std::size_t grenze = std::size_t{1} << 30U;
            if (!leser::programm::speicherBegrenzen(Texterkennung::Dateiart::bild, {.adressraum = grenze}))
                return 1;
            void* const p = ::mmap(nullptr, grenze, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            return ausgang(p == MAP_FAILED ? -1 : 0, ENOMEM);
        }),
        verweigert);
}

TEST_F(EinzelneSchicht, APdfsMemoryLimitIsTheSmallerOne) {
    leser::programm::Sandkastengrenzen const grenzen{
        .speicherPdf = std::size_t{200} << 20U, .speicherBild = std::size_t{400} << 20U};
    auto const versuch = [&](Texterkennung::Dateiart art) {
        return imKind([&] {
            if (!leser::programm::speicherBegrenzen(art, grenzen))
                return 1;
            void* const p = ::mmap(
                nullptr, std::size_t{300} << 20U, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            return ausgang(p == MAP_FAILED ? -1 : 0, ENOMEM);
        });
    };
    EXPECT_EQ(versuch(Texterkennung::Dateiart::pdf), verweigert);
    EXPECT_EQ(versuch(Texterkennung::Dateiart::bild), gelungen);
}

TEST_F(EinzelneSchicht, AFilterThatCannotBeMadeIsNoLockUp) {
    EXPECT_FALSE(leser::programm::seccompSchliessen({}));
}

TEST_F(EinzelneSchicht, PrivilegesAreGoneAndTheProcessCannotBeLookedInto) {
    EXPECT_EQ(
        imKind([] {
            leser::programm::privilegienAblegen();
            if (::setuid(0) == 0 && ::chroot("/") == 0)
                return gelungen; // Also for the superuser.
            std::ifstream datei{"/proc/self/status"};
            bool ohneZuwachs = false;
            for (std::string zeile; std::getline(datei, zeile);)
                ohneZuwachs = ohneZuwachs || zeile == "NoNewPrivs:\t1";
            if (!ohneZuwachs)
                return 2;
            if (::prctl(PR_GET_DUMPABLE, 0, 0, 0, 0) != 0)
                return 3;
            for (auto const was : {RLIMIT_CORE, RLIMIT_FSIZE})
                if (rlimit grenze{};
                    ::getrlimit(was, &grenze) != 0 || grenze.rlim_cur != 0 || grenze.rlim_max != 0)
                    return 4;
            return verweigert;
        }),
        verweigert);
}

} // namespace
} // namespace quillmate::Texterkennung
