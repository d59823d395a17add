// The pool, with a reader that does what its files say (leserattrappe.cpp).
#include "hilfen.h"
#include "leser/protokoll/sanitizer.h"
#include "leser/prozess/leser_prozesse.h"
#include "texterkennung/texterkennung.h"
#include "werkzeug/fehlerausgabe.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/warten.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <set>
#include <thread>

namespace quillmate::Texterkennung {
namespace {

using namespace werkzeug;
using namespace std::chrono_literals;
using ::testing::HasSubstr;
using Uhr = std::chrono::steady_clock;

// Sanitizer builds read and start several times slower.
constexpr int traegheit = leser::protokoll::mitSanitizer ? 5 : 1;

leser::prozess::LeserProzesse::Vorgaben mitAttrappe(std::string programm = QUILLMATE_LESERATTRAPPE) {
    return {.programm = std::move(programm)};
}

Texterkennung::Lesung befehl(leser::prozess::LeserProzesse& leser, std::string const& text) {
    auto const datei = alsDatei(text);
    return leser.lesen(datei.get(), Texterkennung::Dateiart::pdf);
}

std::string antwort(leser::prozess::LeserProzesse& leser, std::string const& text) {
    auto const lesung = befehl(leser, text);
    EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::gelesen) << text;
    return lesung.text.value_or("(ohne Text)");
}

pid_t pid(leser::prozess::LeserProzesse& leser) {
    return std::stoi(antwort(leser, "pid"));
}

std::ptrdiff_t zeilen(std::string const& text) {
    return std::ranges::count(text, '\n');
}

/// How many files the log says are lost.
int verluste(std::string const& log) {
    constexpr std::string_view gesagt = "die Datei gilt als Datei ohne Text";
    int anzahl = 0;
    for (auto stelle = log.find(gesagt); stelle != std::string::npos; stelle = log.find(gesagt, stelle + 1))
        ++anzahl;
    return anzahl;
}

/// A reading on another thread that lasts until its file is changed, or its reader dies.
class Wartender {
public:
    explicit Wartender(leser::prozess::LeserProzesse& leser)
        : faden_{[this, &leser] {
            lesung_ = leser.lesen(datei_.get(), Texterkennung::Dateiart::pdf);
            fertig_ = true;
        }} {}
    ~Wartender() { weiter(); }
    Wartender(Wartender const&) = delete;
    Wartender& operator=(Wartender const&) = delete;

    void weiter() {
        (void)!::pwrite(datei_.get(), ".", 1, 7);
        if (faden_.joinable())
            faden_.join();
    }
    [[nodiscard]] Texterkennung::Lesung const& lesung() const { return lesung_; }
    [[nodiscard]] bool fertig() const { return fertig_; }

private:
    Deskriptor datei_{alsDatei("warten ")};
    std::atomic<bool> fertig_{false};
    Texterkennung::Lesung lesung_{Texterkennung::Lesung::Art::ohneMittel, {}};
    std::jthread faden_;
};

TEST(LeserProzesse, TheFilesTextComesBackAndItsKindGetsThere) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    EXPECT_EQ(antwort(leser, "sag Gebühr 12,50 €"), "Gebühr 12,50 €");
    EXPECT_EQ(antwort(leser, "art"), "pdf");
    auto const datei = alsDatei("art");
    EXPECT_EQ(leser.lesen(datei.get(), Texterkennung::Dateiart::bild).text, "bild");
    EXPECT_EQ(befehl(leser, "unbekannt").text, std::nullopt);
}

TEST(LeserProzesse, EveryFileHasAProcessOfItsOwn) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    std::set<pid_t> nummern{::getpid()};
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(nummern.insert(pid(leser)).second);
}

TEST(LeserProzesse, NothingOfOneFileIsThereForTheNext) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(antwort(leser, "nummer"), "1"); // What the reader counts begins anew.
}

TEST(LeserProzesse, NothingIsStartedBeforeTheFirstFile) {
    leser::prozess::LeserProzesse const leser{mitAttrappe()};
    EXPECT_TRUE(kinder(::getpid()).empty());
}

TEST(LeserProzesse, ThreadsThatReadAtTheSameTimeHaveChildrenOfTheirOwnAndOneTemplate) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    Wartender erster{leser};
    Wartender zweiter{leser};
    ASSERT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 3; }));
    EXPECT_EQ(antwort(leser, "sag drei"), "drei"); // A third, while both wait.
    erster.weiter();
    zweiter.weiter();
    EXPECT_EQ(erster.lesung().text, "gewartet");
    EXPECT_EQ(zweiter.lesung().text, "gewartet");
    EXPECT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 1; })); // All children waited for.
}

TEST(LeserProzesse, ATemplateWithoutWorkIsEnded) {
    auto vorgaben = mitAttrappe();
    vorgaben.leerlauf = 50ms;
    leser::prozess::LeserProzesse leser{vorgaben};
    EXPECT_EQ(antwort(leser, "sag erst"), "erst");
    EXPECT_TRUE(wartenBis([] { return kinder(::getpid()).empty(); }));
    EXPECT_EQ(antwort(leser, "sag weiter"), "weiter");
}

TEST(LeserProzesse, ATemplateStaysWhileOneOfItsChildrenReads) {
    auto vorgaben = mitAttrappe();
    vorgaben.leerlauf = 50ms;
    leser::prozess::LeserProzesse leser{vorgaben};
    Wartender wartender{leser};
    ASSERT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 2; }));
    std::this_thread::sleep_for(300ms); // Several times as long as it may rest.
    EXPECT_EQ(kinder(::getpid()).size(), 2U);
    wartender.weiter();
    EXPECT_EQ(wartender.lesung().text, "gewartet");
}

TEST(LeserProzesse, TheEndOfThePoolEndsTemplateAndChildren) {
    {
        leser::prozess::LeserProzesse leser{mitAttrappe()};
        (void)pid(leser);
        EXPECT_FALSE(kinder(::getpid()).empty());
    }
    EXPECT_TRUE(kinder(::getpid()).empty());
}

TEST(LeserProzesse, AReaderTakesOverThePriorityOfItsThread) {
    constexpr int niedrigster = 19;
    int const niedriger = ::getpriority(PRIO_PROCESS, 0) + 1;
    if (niedriger > niedrigster)
        GTEST_SKIP() << "this process has the lowest priority already";
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    auto const datei = alsDatei("warten ");
    std::jthread const faden{[&] {
        ASSERT_EQ(::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), niedriger), 0);
        EXPECT_EQ(leser.lesen(datei.get(), Texterkennung::Dateiart::pdf).text, "gewartet");
    }};
    ASSERT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 2; }));
    auto const alle = kinder(::getpid());
    auto const rang = [](pid_t pid) {
        return ::getpriority(PRIO_PROCESS, static_cast<id_t>(pid));
    };
    EXPECT_TRUE(wartenBis([&] { return rang(kindUnter(alle)) == niedriger; }));
    EXPECT_EQ(rang(vorlageUnter(alle)), ::getpriority(PRIO_PROCESS, 0)); // The template serves others too.
    EXPECT_EQ(::pwrite(datei.get(), ".", 1, 7), 1);
}

TEST(LeserProzesse, AReaderInheritsNeitherEnvironmentNorDescriptors) {
    ASSERT_EQ(::setenv("GEHEIMNIS", "streng", 1), 0);
    Deskriptor const offen{::open("/dev/null", O_RDONLY)}; // NOLINT(*-cloexec): the point of the test.
    Deskriptor const hoch{::fcntl(offen.get(), F_DUPFD, 500)};
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    auto const umgebung = antwort(leser, "umgebung");
    EXPECT_THAT(umgebung, HasSubstr("OMP_THREAD_LIMIT=1\n"));
    EXPECT_EQ(umgebung.find("GEHEIMNIS"), std::string::npos) << umgebung;
    EXPECT_EQ(umgebung.find("PATH="), std::string::npos) << umgebung;
    // The three standard ones, the pipe, and the file that is read.
    EXPECT_EQ(antwort(leser, "deskriptoren"), "0 1 2 3 4 ");
    EXPECT_EQ(antwort(leser, "deskriptoren"), "0 1 2 3 4 "); // The last file's is closed.
    ::unsetenv("GEHEIMNIS");
}

// ---------------------------------------------------------------------------------- hostile files, dying readers

struct Verlust {
    char const* befehl;
    char const* grund; ///< What the log says of it.
};

class VerloreneDatei : public ::testing::TestWithParam<Verlust> {};

TEST_P(VerloreneDatei, CostsOneFileItsTextAndOneLogLine) {
    auto vorgaben = mitAttrappe();
    vorgaben.rechenfrist = 300ms;
    vorgaben.wandfrist = 2'000ms * traegheit;
    leser::prozess::LeserProzesse leser{vorgaben};
    EXPECT_EQ(antwort(leser, "sag vorher"), "vorher");
    auto const log = fehlerausgabe([&] {
        auto const lesung = befehl(leser, GetParam().befehl);
        EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::gelesen);
        EXPECT_EQ(lesung.text, std::nullopt);
        EXPECT_EQ(antwort(leser, "sag nachher"), "nachher");
    });
    EXPECT_EQ(verluste(log), 1) << log;
    if (leser::protokoll::mitSanitizer)
        return; // The reader's own report is in the log, and it dies in another way.
    EXPECT_EQ(zeilen(log), 1) << log;
    EXPECT_THAT(log, HasSubstr(GetParam().grund));
    EXPECT_THAT(log, HasSubstr("memfd:befehl"));
    EXPECT_THAT(log, HasSubstr("die Datei gilt als Datei ohne Text"));
}

INSTANTIATE_TEST_SUITE_P(
    LeserProzesse, VerloreneDatei,
    ::testing::Values(
        Verlust{"absturz", "gestorben (Signal 11"}, Verlust{"abbruch", "gestorben (Signal 6"},
        Verlust{"ende", "gestorben (Rückgabewert 7)"}, Verlust{"rechnen", "hat zu lange gebraucht"},
        Verlust{"flut", "hat Unsinn geantwortet"}, Verlust{"roh 0123456789abcdef", "hat Unsinn geantwortet"},
        Verlust{"falsche-nummer 2", "hat Unsinn geantwortet"}),
    [](auto const& einer) {
        std::string name = einer.param.befehl;
        std::erase_if(name, [](unsigned char c) { return std::isalnum(c) == 0; });
        return name;
    });

TEST(LeserProzesse, AFileThatNeedsMoreMemoryThanThereIsHasNoText) {
    if (leser::protokoll::mitSanitizer)
        GTEST_SKIP() << "no memory limit under sanitizers";
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    auto const lesung = befehl(leser, "speicher");
    EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::gelesen);
    EXPECT_EQ(lesung.text, std::nullopt);
}

TEST(LeserProzesse, TenCrashesInARowDoNotSlowTheScan) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    auto const beginn = Uhr::now();
    (void)fehlerausgabe([&] {
        for (int i = 0; i < 10; ++i)
            EXPECT_EQ(befehl(leser, "ende").text, std::nullopt);
        EXPECT_EQ(antwort(leser, "sag nachher"), "nachher");
    });
    EXPECT_LT(Uhr::now() - beginn, 5s * traegheit); // Some 5 ms each on an idle machine.
}

/// Faults that say nothing about the file: whoever reads it another time may find it whole.
struct Stoerfall {
    char const* name;
    int signal;
};

class VonAussen : public ::testing::TestWithParam<Stoerfall> {};

TEST_P(VonAussen, AChildThatSomebodyElseEndsSaysNothingAboutItsFile) {
    if (leser::protokoll::mitSanitizer)
        GTEST_SKIP() << "the sanitizers have handlers of their own";
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    auto const log = fehlerausgabe([&] {
        Wartender wartender{leser};
        ASSERT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 2; }));
        auto const opfer = kindUnter(kinder(::getpid()));
        // It computes while it waits: by then it has locked itself up.
        ASSERT_TRUE(wartenBis([&] { return gerechnet(opfer) > 200ms; }, 120s));
        ::kill(opfer, GetParam().signal);
        ASSERT_TRUE(wartenBis([&] { return wartender.fertig(); }));
        EXPECT_EQ(wartender.lesung().art, Texterkennung::Lesung::Art::gestoert);
        EXPECT_EQ(wartender.lesung().text, std::nullopt);
    });
    EXPECT_EQ(verluste(log), 0) << log;
    EXPECT_THAT(log, HasSubstr("die Datei ist jetzt nicht lesbar"));
    EXPECT_EQ(antwort(leser, "sag nachher"), "nachher");
}

INSTANTIATE_TEST_SUITE_P(
    LeserProzesse, VonAussen,
    ::testing::Values(
        Stoerfall{"Kill", SIGKILL}, Stoerfall{"Segv", SIGSEGV}, Stoerfall{"Abort", SIGABRT},
        Stoerfall{"Bus", SIGBUS}, Stoerfall{"ProcessorLimit", SIGXCPU}),
    [](auto const& einer) { return std::string{einer.param.name}; });

TEST(LeserProzesse, ATimeOutOnTheClockSaysNothingAboutTheFile) {
    auto vorgaben = mitAttrappe();
    vorgaben.wandfrist = 300ms * traegheit;
    leser::prozess::LeserProzesse leser{vorgaben};
    auto const log = fehlerausgabe([&] {
        EXPECT_EQ(befehl(leser, "schlafen").art, Texterkennung::Lesung::Art::gestoert);
        EXPECT_EQ(befehl(leser, "langsam 2").art, Texterkennung::Lesung::Art::gestoert);
    });
    EXPECT_EQ(verluste(log), 0) << log;
    EXPECT_EQ(zeilen(log), 2) << log;
}

TEST(LeserProzesse, AReadErrorSaysNothingAboutTheFile) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    EXPECT_EQ(befehl(leser, "gestoert").art, Texterkennung::Lesung::Art::gestoert);
}

TEST(LeserProzesse, ATemplateKilledBetweenTwoFilesCostsNothing) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(antwort(leser, "sag vorher"), "vorher");
        ASSERT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 1; }));
        auto const opfer = kinder(::getpid()).at(0);
        ::kill(opfer, SIGKILL);
        auto const log = fehlerausgabe([&] {
            ASSERT_TRUE(wartenBis([&] { return !laeuft(opfer); }));
            EXPECT_EQ(antwort(leser, "sag weiter"), "weiter");
        });
        EXPECT_EQ(log, "");
    }
}

TEST(LeserProzesse, ATemplateKilledWhileItsChildReadsCostsNothing) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    auto const log = fehlerausgabe([&] {
        Wartender wartender{leser};
        ASSERT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 2; }));
        auto const vorlage = vorlageUnter(kinder(::getpid()));
        ::kill(vorlage, SIGKILL);
        ASSERT_TRUE(wartenBis([&] { return !laeuft(vorlage); }));
        wartender.weiter();
        EXPECT_EQ(wartender.lesung().text, "gewartet");
    });
    EXPECT_EQ(log, "");
}

TEST(LeserProzesse, AStoppedTemplateHoldsUpNobodyAfterTheEnd) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    EXPECT_EQ(antwort(leser, "sag vorher"), "vorher");
    ASSERT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 1; }));
    auto const vorlage = kinder(::getpid()).at(0);
    ::kill(vorlage, SIGSTOP);
    std::atomic<bool> fertig{false};
    std::jthread const faden{[&] {
        EXPECT_EQ(befehl(leser, "sag nie").art, Texterkennung::Lesung::Art::gestoppt);
        fertig = true;
    }};
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(fertig);
    leser.beenden();
    EXPECT_TRUE(wartenBis([&] { return fertig.load(); }));
}

TEST(LeserProzesse, SignalsOfATerminalOrASessionsEndDoNotReachAReader) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    Wartender wartender{leser};
    ASSERT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 2; }));
    for (auto const einer : kinder(::getpid())) {
        EXPECT_NE(::getsid(einer), ::getsid(0));
        for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
            ::kill(einer, signal);
    }
    wartender.weiter();
    EXPECT_EQ(wartender.lesung().text, "gewartet");
    EXPECT_EQ(antwort(leser, "sag nachher"), "nachher");
}

TEST(LeserProzesse, ManyThreadsGetTheirOwnAnswersWhileReadersDie) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    (void)fehlerausgabe([&] {
        std::vector<std::jthread> faeden;
        for (int f = 0; f < 4; ++f)
            faeden.emplace_back([&leser, f] {
                for (int i = 0; i < 40; ++i) {
                    auto const eigenes = std::to_string(f) + "/" + std::to_string(i);
                    EXPECT_EQ(befehl(leser, "sag " + eigenes).text, eigenes);
                    if (i % 10 == f) {
                        EXPECT_EQ(befehl(leser, "ende").text, std::nullopt);
                    }
                }
            });
    });
}

// --------------------------------------------------------------------------------------- readers that do not start

struct Fehlstart {
    char const* name;
    char const* programm;
    char const* grund;
};

constexpr char const* nichtBereit = "wird nicht bereit";

class KeinLeser : public ::testing::TestWithParam<Fehlstart> {};

TEST_P(KeinLeser, SaysNothingAboutTheFileAndIsLoggedOnce) {
    auto vorgaben = mitAttrappe(GetParam().programm);
    if (GetParam().grund == nichtBereit)
        vorgaben.startfrist = 200ms; // The others end by themselves, on a busy machine later than that.
    if (leser::protokoll::mitSanitizer &&
        GetParam().programm == std::string_view{QUILLMATE_LESER_OHNESECCOMP})
        GTEST_SKIP() << "no seccomp under sanitizers";
    leser::prozess::LeserProzesse leser{vorgaben};
    auto const log = fehlerausgabe([&] {
        for (int i = 0; i < 3; ++i) {
            auto const lesung = befehl(leser, "sag etwas");
            EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::ohneLeser);
            EXPECT_EQ(lesung.text, std::nullopt);
            EXPECT_THAT(lesung.grund, HasSubstr("Belege können nicht gelesen werden")); // For people.
        }
    });
    EXPECT_EQ(zeilen(log), 1) << log;
    EXPECT_THAT(log, HasSubstr("lässt sich nicht starten"));
    EXPECT_THAT(log, HasSubstr(GetParam().grund));
    EXPECT_TRUE(wartenBis([] { return kinder(::getpid()).empty(); }));
}

INSTANTIATE_TEST_SUITE_P(
    LeserProzesse, KeinLeser,
    ::testing::Values(
        Fehlstart{"Missing", "/nirgendwo/quillmate-leser", "No such file"},
        Fehlstart{"NoProgram", "/etc/passwd", "Permission denied"},
        Fehlstart{"EndsAtOnce", "/bin/false", "Rückgabewert 1"},
        Fehlstart{"NeverReady", QUILLMATE_LESER_STUMM, nichtBereit},
        Fehlstart{"WithoutSeccomp", QUILLMATE_LESER_OHNESECCOMP, "Seccomp fehlt"},
        Fehlstart{"OtherVersion", QUILLMATE_LESER_FREMD, "andere"}),
    [](auto const& einer) { return std::string{einer.param.name}; });

TEST(LeserProzesse, ARepairedInstallationIsFoundWithoutAnewStartOfTheProgram) {
    OrdnerAufZeit const ordner;
    auto const programm = ordner.pfad("quillmate-leser");
    auto vorgaben = mitAttrappe(programm);
    vorgaben.startpause = 0ms;
    leser::prozess::LeserProzesse leser{vorgaben};
    (void)fehlerausgabe([&] {
        EXPECT_EQ(befehl(leser, "sag etwas").art, Texterkennung::Lesung::Art::ohneLeser); // Missing,
        std::filesystem::copy_file("/bin/false", programm);
        EXPECT_EQ(befehl(leser, "sag etwas").art, Texterkennung::Lesung::Art::ohneLeser); // then damaged,
        std::filesystem::remove(programm);
        std::filesystem::copy_file(QUILLMATE_LESERATTRAPPE, programm);
        EXPECT_EQ(antwort(leser, "sag etwas"), "etwas"); // then whole.
    });
}

TEST(LeserProzesse, ABrokenInstallationIsNotTriedAnewForEveryFile) {
    auto vorgaben = mitAttrappe(QUILLMATE_LESER_STUMM);
    vorgaben.startfrist = 300ms;
    vorgaben.startpause = 60s;
    leser::prozess::LeserProzesse leser{vorgaben};
    auto const beginn = Uhr::now();
    (void)fehlerausgabe([&] {
        for (int i = 0; i < 1'000; ++i)
            EXPECT_EQ(befehl(leser, "sag etwas").art, Texterkennung::Lesung::Art::ohneLeser);
    });
    EXPECT_LT(Uhr::now() - beginn, 30s); // A second start alone would be 300 ms for each.
}

TEST(LeserProzesse, MissingLandlockIsSaidOnceAndReadingGoesOn) {
    auto vorgaben = mitAttrappe(QUILLMATE_LESER_OFFEN);
    leser::prozess::LeserProzesse leser{vorgaben};
    auto const log = fehlerausgabe([&] {
        std::vector<std::jthread> faeden;
        for (int f = 0; f < 3; ++f)
            faeden.emplace_back([&leser] {
                for (int i = 0; i < 3; ++i)
                    EXPECT_EQ(antwort(leser, "etwas"), "gelesen");
            });
    });
    if (!leser::protokoll::mitSanitizer) {
        EXPECT_EQ(
            log, "[Quillmate] Texterkennung: dieses System kann die Leseprozesse nicht ganz einschließen (es "
                 "fehlt: "
                 "Landlock)\n");
    }
}

TEST(LeserProzesse, AnUpdateUnderTheRunningProgramLeavesItItsReaders) {
    OrdnerAufZeit const ordner;
    auto const programm = ordner.pfad("quillmate-leser");
    std::filesystem::copy_file(QUILLMATE_LESERATTRAPPE, programm);
    leser::prozess::LeserProzesse leser{mitAttrappe(programm)};
    std::filesystem::remove(programm);
    std::filesystem::copy_file(QUILLMATE_LESER_FREMD, programm);
    EXPECT_EQ(antwort(leser, "sag hier"), "hier");
}

// -------------------------------------------------------------------------------------------------- cache entries

class MitZwischenspeicher : public ::testing::Test {
protected:
    OrdnerAufZeit ordner;
    Texterkennung::Zwischenspeicher speicher{ordner.pfad("cache")};
    std::string schreibe(std::string const& inhalt) { return ordner.datei("beleg.pdf", inhalt); }
    std::optional<Texterkennung::Zwischenspeicher::Eintrag> eintrag(std::string const& pfad) {
        return speicher.ausZwischenspeicher(Texterkennung::zwischenspeicherSchluessel(pfad));
    }
};

TEST_F(MitZwischenspeicher, AFileThatKilledItsReaderIsRememberedAsOneWithoutText) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    Texterkennung::Erkenner erkenner{leser, speicher};
    auto const pfad = schreibe("ende");
    auto const log = fehlerausgabe([&] {
        EXPECT_EQ(erkenner.text(pfad), std::nullopt);
        EXPECT_EQ(erkenner.text(pfad), std::nullopt);
    });
    EXPECT_EQ(verluste(log), 1) << log; // The second time nobody reads.
    ASSERT_TRUE(eintrag(pfad));
    EXPECT_EQ(eintrag(pfad)->text, std::nullopt);
}

TEST_F(MitZwischenspeicher, NothingIsRememberedWithoutAReader) {
    auto const pfad = schreibe("sag Rechnung");
    {
        leser::prozess::LeserProzesse leser{mitAttrappe("/nirgendwo")};
        Texterkennung::Erkenner erkenner{leser, speicher};
        (void)fehlerausgabe(
            [&] { EXPECT_TRUE(Texterkennung::installationGestoert(erkenner.text(pfad).error())); });
        EXPECT_FALSE(eintrag(pfad));
    }
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    Texterkennung::Erkenner erkenner{leser, speicher};
    EXPECT_EQ(erkenner.text(pfad), "Rechnung");
}

TEST_F(MitZwischenspeicher, AReaderWhoseAnswerNobodyWantsIsKilledAndLeavesNoEntry) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    Texterkennung::Erkenner erkenner{leser, speicher};
    auto const pfad = schreibe("schlafen");
    auto datei = Belegdatei::oeffnen(pfad).value();
    std::atomic<bool> genug{false};
    std::atomic<bool> fertig{false};
    std::jthread const faden{[&] {
        EXPECT_EQ(erkenner.text(datei, [&] { return genug.load(); }).error().art, Fehlerart::gestoppt);
        fertig = true;
    }};
    ASSERT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 2; }));
    EXPECT_FALSE(fertig);
    genug = true;
    EXPECT_TRUE(wartenBis([&] { return fertig.load(); }));
    EXPECT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 1; })) << "only the template";
    EXPECT_FALSE(eintrag(pfad));
    EXPECT_EQ(befehl(leser, "sag weiter").text, "weiter") << "others are read as before";
}

TEST_F(MitZwischenspeicher, TheProgramsEndLeavesNoEntryForTheFileBeingRead) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    Texterkennung::Erkenner erkenner{leser, speicher};
    auto const pfad = schreibe("schlafen");
    std::atomic<bool> fertig{false};
    std::jthread const faden{[&] {
        EXPECT_EQ(erkenner.text(pfad).error().art, Fehlerart::gestoppt);
        fertig = true;
    }};
    ASSERT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 2; }));
    leser.beenden();
    EXPECT_TRUE(wartenBis([&] { return fertig.load(); }));
    EXPECT_FALSE(eintrag(pfad));
    EXPECT_EQ(befehl(leser, "sag zu spaet").art, Texterkennung::Lesung::Art::gestoppt);
}

} // namespace
} // namespace quillmate::Texterkennung
