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

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
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
    for (auto const* befehl : {"socket", "lokal", "ausfuehren", "verfolgen", "toeten"}) {
        std::optional<std::string> text;
        auto const log = fehlerausgabe([&] { text = versuch(befehl); });
        EXPECT_EQ(text, std::nullopt) << befehl;
        EXPECT_THAT(log, HasSubstr("Signal 31")) << befehl; // SIGSYS
    }
}

TEST_F(Eingeschlossen, TheLimitsAreSetAndCannotBeRaised) {
    auto const pid = std::stoi(versuch("pid").value_or("0"));
    // The soft limit and the hard one.
    EXPECT_THAT(worteNach(pid, "limits", "Max core file size"), ElementsAre("0", "0", "bytes"));
    EXPECT_THAT(worteNach(pid, "limits", "Max processes"), ElementsAre("0", "0", "processes"));
    EXPECT_THAT(worteNach(pid, "limits", "Max file size"), ElementsAre("0", "0", "bytes"));
    leser::programm::Sandkastengrenzen const grenzen;
    auto const deskriptoren = std::to_string(grenzen.deskriptoren);
    EXPECT_THAT(worteNach(pid, "limits", "Max open files"), ElementsAre(deskriptoren, deskriptoren, "files"));
    auto const speicher = std::to_string(grenzen.speicher_byte);
    EXPECT_THAT(worteNach(pid, "limits", "Max address space"), ElementsAre(speicher, speicher, "bytes"));
}

TEST_F(Eingeschlossen, NoPrivilegeIsLeftAndNoneCanBeGained) {
    auto const pid = std::stoi(versuch("pid").value_or("0"));
    for (auto const* name : {"CapInh:", "CapPrm:", "CapEff:", "CapAmb:"})
        EXPECT_THAT(worteNach(pid, "status", name), ElementsAre("0000000000000000")) << name;
    EXPECT_THAT(worteNach(pid, "status", "NoNewPrivs:"), ElementsAre("1"));
    EXPECT_THAT(worteNach(pid, "status", "Seccomp:"), ElementsAre("2")); // By a filter.
}

TEST_F(Eingeschlossen, ItsUsersOtherProcessesCannotLookIntoIt) {
    EXPECT_FALSE(durchschaubar(std::stoi(versuch("pid").value_or("0"))));
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
        imKind([] {
            leser::programm::privilegienAblegen();
            return leser::programm::seccompSchliessen(3)
                       ? ausgang(::open("/etc/passwd", O_RDONLY | O_CLOEXEC), EPERM)
                       : 1;
        }),
        verweigert);
}

TEST_F(EinzelneSchicht, SeccompAloneKillsWhoeverWantsASocket) {
    EXPECT_EQ(
        imKind([] {
            leser::programm::privilegienAblegen();
            if (!leser::programm::seccompSchliessen(3))
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
            if (!leser::programm::speicherBegrenzen(grenze))
                return 1;
            void* const p = ::mmap(nullptr, grenze, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            return ausgang(p == MAP_FAILED ? -1 : 0, ENOMEM);
        }),
        verweigert);
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
            for (auto const was : {RLIMIT_CORE, RLIMIT_NPROC, RLIMIT_FSIZE})
                if (rlimit grenze{};
                    ::getrlimit(was, &grenze) != 0 || grenze.rlim_cur != 0 || grenze.rlim_max != 0)
                    return 4;
            return verweigert;
        }),
        verweigert);
}

} // namespace
} // namespace quillmate::Texterkennung
