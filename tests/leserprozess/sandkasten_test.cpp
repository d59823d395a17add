// The lock-up: the real policy in a real reader process, and each layer by itself.
#include "attrappen/fehlerausgabe.h"
#include "attrappen/ordner_auf_zeit.h"
#include "hilfen.h"
#include "leserprogramm/sandkasten.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <functional>

namespace quillmate::Texterkennung {
namespace {

using attrappen::fehlerausgabe;
using attrappen::OrdnerAufZeit;
using ::testing::HasSubstr;

class Eingeschlossen : public ::testing::Test {
protected:
    void SetUp() override {
        if (mitSanitizer)
            GTEST_SKIP() << "sanitizer builds leave these layers out";
    }
    /// What the locked-up reader has to say about its attempt; nothing when that was its death.
    std::optional<std::string> versuch(std::string const& befehl) {
        auto const datei = alsDatei(befehl);
        return leser.lesen(datei.get(), Dateiart::pdf).text;
    }
    LeserProzesse leser{{.programm = QUILLMATE_LESERATTRAPPE}};
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

class EinzelneSchicht : public ::testing::Test {
protected:
    void SetUp() override {
        if (mitSanitizer)
            GTEST_SKIP() << "sanitizer builds leave these layers out";
    }
};

TEST_F(EinzelneSchicht, LandlockAloneDeniesFilesAndFolders) {
    EXPECT_EQ(
        imKind([] {
            privilegienAblegen();
            if (!landlockSchliessen())
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
            privilegienAblegen();
            return seccompSchliessen(3) ? ausgang(::open("/etc/passwd", O_RDONLY | O_CLOEXEC), EPERM) : 1;
        }),
        verweigert);
}

TEST_F(EinzelneSchicht, SeccompAloneKillsWhoeverWantsASocket) {
    EXPECT_EQ(
        imKind([] {
            privilegienAblegen();
            if (!seccompSchliessen(3))
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
            if (!speicherBegrenzen(grenze))
                return 1;
            void* const p = ::mmap(nullptr, grenze, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            return ausgang(p == MAP_FAILED ? -1 : 0, ENOMEM);
        }),
        verweigert);
}

TEST_F(EinzelneSchicht, PrivilegesAreGoneAndTheProcessCannotBeLookedInto) {
    EXPECT_EQ(
        imKind([] {
            privilegienAblegen();
            if (::setuid(0) == 0 && ::chroot("/") == 0)
                return gelungen; // Also for the superuser.
            std::ifstream datei{"/proc/self/status"};
            bool ohneZuwachs = false;
            for (std::string zeile; std::getline(datei, zeile);)
                ohneZuwachs = ohneZuwachs || zeile == "NoNewPrivs:\t1";
            return ohneZuwachs ? verweigert : 2;
        }),
        verweigert);
}

} // namespace
} // namespace quillmate::Texterkennung
