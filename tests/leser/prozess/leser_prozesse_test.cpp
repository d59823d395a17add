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

TEST(LeserProzesse, OneReaderServesOneThreadsFiles) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    auto const erster = pid(leser);
    EXPECT_NE(erster, ::getpid());
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(pid(leser), erster);
}

TEST(LeserProzesse, NothingIsStartedBeforeTheFirstFile) {
    leser::prozess::LeserProzesse const leser{mitAttrappe()};
    EXPECT_TRUE(kinder(::getpid()).empty());
}

TEST(LeserProzesse, ThreadsThatReadAtTheSameTimeHaveReadersOfTheirOwn) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    Wartender erster{leser};
    Wartender zweiter{leser};
    ASSERT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 2; }));
    EXPECT_EQ(antwort(leser, "sag drei"), "drei"); // A third, while both wait.
    erster.weiter();
    zweiter.weiter();
    EXPECT_EQ(erster.lesung().text, "gewartet");
    EXPECT_EQ(zweiter.lesung().text, "gewartet");
    EXPECT_EQ(kinder(::getpid()).size(), 3U);
}

TEST(LeserProzesse, AReaderIsReplacedAfterItsNumberOfFiles) {
    auto vorgaben = mitAttrappe();
    vorgaben.dateienJeLeser = 3;
    leser::prozess::LeserProzesse leser{vorgaben};
    std::vector<pid_t> nummern;
    for (int i = 0; i < 7; ++i)
        nummern.push_back(pid(leser));
    EXPECT_EQ(std::set(nummern.begin(), nummern.end()).size(), 3U);
    EXPECT_EQ(nummern[0], nummern[2]);
    EXPECT_NE(nummern[2], nummern[3]);
    EXPECT_TRUE(wartenBis([&] { return !lebt(nummern[0]) && !lebt(nummern[3]); })); // Waited for, too.
}

TEST(LeserProzesse, AReaderWithoutWorkIsEnded) {
    auto vorgaben = mitAttrappe();
    vorgaben.leerlauf = 50ms;
    leser::prozess::LeserProzesse leser{vorgaben};
    auto const erster = pid(leser);
    EXPECT_TRUE(wartenBis([&] { return !lebt(erster); }));
    EXPECT_EQ(antwort(leser, "sag weiter"), "weiter");
}

TEST(LeserProzesse, TheEndOfThePoolEndsAllReaders) {
    pid_t einer = 0;
    {
        leser::prozess::LeserProzesse leser{mitAttrappe()};
        einer = pid(leser);
    }
    EXPECT_FALSE(lebt(einer));
    EXPECT_TRUE(kinder(::getpid()).empty());
}

TEST(LeserProzesse, AReaderTakesOverThePriorityOfItsThread) {
    constexpr int niedrigster = 19;
    int const niedriger = ::getpriority(PRIO_PROCESS, 0) + 1;
    if (niedriger > niedrigster)
        GTEST_SKIP() << "this process has the lowest priority already";
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    auto const gewoehnlich = pid(leser);
    std::jthread{[&] {
        ASSERT_EQ(::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), niedriger), 0);
        auto const nachrangig = pid(leser);
        EXPECT_NE(nachrangig, gewoehnlich);
        EXPECT_EQ(::getpriority(PRIO_PROCESS, static_cast<id_t>(nachrangig)), niedriger);
        EXPECT_EQ(pid(leser), nachrangig);
    }}.join();
    EXPECT_EQ(pid(leser), gewoehnlich);
    EXPECT_EQ(::getpriority(PRIO_PROCESS, static_cast<id_t>(gewoehnlich)), ::getpriority(PRIO_PROCESS, 0));
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
    // The three standard ones, the channel, and the file that is read.
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
        Verlust{"schlafen", "hat zu lange gebraucht"}, Verlust{"langsam", "hat zu lange gebraucht"},
        Verlust{"flut", "hat Unsinn geantwortet"}, Verlust{"roh 0123456789abcdef", "hat Unsinn geantwortet"},
        Verlust{"falsche-nummer", "hat Unsinn geantwortet"}),
    [](auto const& einer) {
        std::string name = einer.param.befehl;
        std::erase_if(name, [](unsigned char c) { return std::isalnum(c) == 0; });
        return name;
    });

TEST(LeserProzesse, AReaderThatAddsSomethingToItsAnswerIsNotAskedAgain) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    auto const erster = pid(leser);
    EXPECT_EQ(befehl(leser, "zuviel").text, "erste");
    // What it adds may come before the next file (then another reader gets that) or with it (then it is lost).
    (void)fehlerausgabe([&] {
        auto const naechste = befehl(leser, "pid").text;
        EXPECT_NE(naechste, std::to_string(erster));
        EXPECT_NE(naechste, "zweite");
    });
    EXPECT_NE(pid(leser), erster);
    EXPECT_TRUE(wartenBis([&] { return !lebt(erster); }));
}

TEST(LeserProzesse, AFileThatNeedsMoreMemoryThanThereIsHasNoText) {
    if (leser::protokoll::mitSanitizer)
        GTEST_SKIP() << "no memory limit under sanitizers";
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    auto const vorher = pid(leser);
    auto const lesung = befehl(leser, "speicher");
    EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::gelesen);
    EXPECT_EQ(lesung.text, std::nullopt);
    EXPECT_EQ(pid(leser), vorher);
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

TEST(LeserProzesse, AReaderKilledWhileReadingCostsThatFile) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    auto const log = fehlerausgabe([&] {
        Wartender wartender{leser};
        ASSERT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 1; }));
        auto const opfer = kinder(::getpid()).at(0);
        // Before it is ready, a killed reader is one that did not start. It computes while it waits.
        ASSERT_TRUE(wartenBis([&] { return gerechnet(opfer) > 500ms * traegheit; }, 120s));
        ::kill(opfer, SIGKILL);
        ASSERT_TRUE(wartenBis([&] { return wartender.fertig(); }));
        EXPECT_EQ(wartender.lesung().text, std::nullopt);
    });
    EXPECT_EQ(verluste(log), 1) << log;
    EXPECT_EQ(antwort(leser, "sag nachher"), "nachher");
}

TEST(LeserProzesse, AReaderKilledBetweenTwoFilesCostsNothing) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    for (int i = 0; i < 5; ++i) {
        auto const opfer = pid(leser);
        ::kill(opfer, SIGKILL);
        auto const log = fehlerausgabe([&] {
            ASSERT_TRUE(wartenBis([&] { return !laeuft(opfer); }));
            EXPECT_EQ(antwort(leser, "sag weiter"), "weiter");
        });
        EXPECT_EQ(log, "");
    }
}

TEST(LeserProzesse, SignalsOfATerminalOrASessionsEndDoNotReachAReader) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    auto const einer = pid(leser);
    EXPECT_NE(::getsid(einer), ::getsid(0));
    Wartender wartender{leser};
    for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
        ::kill(einer, signal);
    wartender.weiter();
    EXPECT_EQ(wartender.lesung().text, "gewartet");
    EXPECT_EQ(pid(leser), einer);
}

TEST(LeserProzesse, ManyThreadsGetTheirOwnAnswersWhileReadersDie) {
    auto vorgaben = mitAttrappe();
    vorgaben.dateienJeLeser = 7;
    leser::prozess::LeserProzesse leser{vorgaben};
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
    leser::prozess::LeserProzesse leser{vorgaben};
    auto const log = fehlerausgabe([&] {
        for (int i = 0; i < 3; ++i) {
            auto const lesung = befehl(leser, "sag etwas");
            EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::ohneLeser);
            EXPECT_EQ(lesung.text, std::nullopt);
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
        Fehlstart{"OtherVersion", QUILLMATE_LESER_FREMD, "andere"}),
    [](auto const& einer) { return std::string{einer.param.name}; });

TEST(LeserProzesse, LayersThatTheSystemLacksAreLoggedOnceAndNotByEveryReader) {
    auto vorgaben = mitAttrappe(QUILLMATE_LESER_OFFEN);
    vorgaben.dateienJeLeser = 1;
    leser::prozess::LeserProzesse leser{vorgaben};
    auto const log = fehlerausgabe([&] {
        std::vector<std::jthread> faeden;
        for (int f = 0; f < 3; ++f)
            faeden.emplace_back([&leser] {
                for (int i = 0; i < 3; ++i)
                    EXPECT_EQ(antwort(leser, "etwas"), "gelesen"); // Reading goes on.
            });
    });
    EXPECT_EQ(
        log,
        "[Quillmate] Texterkennung: dieses System kann die Leseprozesse nicht ganz einschließen (es fehlt: "
        "Landlock, Speichergrenze)\n");
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
        (void)fehlerausgabe([&] { EXPECT_EQ(erkenner.text(pfad), std::nullopt); });
        EXPECT_FALSE(eintrag(pfad));
    }
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    Texterkennung::Erkenner erkenner{leser, speicher};
    EXPECT_EQ(erkenner.text(pfad), "Rechnung");
}

TEST_F(MitZwischenspeicher, TheProgramsEndLeavesNoEntryForTheFileBeingRead) {
    leser::prozess::LeserProzesse leser{mitAttrappe()};
    Texterkennung::Erkenner erkenner{leser, speicher};
    auto const pfad = schreibe("schlafen");
    std::atomic<bool> fertig{false};
    std::jthread const faden{[&] {
        EXPECT_EQ(erkenner.text(pfad), std::nullopt);
        fertig = true;
    }};
    ASSERT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 1; }));
    leser.beenden();
    EXPECT_TRUE(wartenBis([&] { return fertig.load(); }));
    EXPECT_FALSE(eintrag(pfad));
    EXPECT_EQ(befehl(leser, "sag zu spaet").art, Texterkennung::Lesung::Art::ohneLeser);
}

// -------------------------------------------------------------------------------------- the main program is killed

class Hauptprogramm : public ::testing::Test {
protected:
    void starten(std::vector<std::string> const& befehle) {
        std::vector<std::string> argumente{QUILLMATE_LESERHALTER, QUILLMATE_LESERATTRAPPE};
        for (std::size_t i = 0; i < befehle.size(); ++i)
            argumente.push_back(ordner.datei(std::to_string(i), befehle[i]));
        pid = ::fork();
        if (pid != 0)
            return;
        std::vector<char*> zeiger;
        for (auto& argument : argumente)
            zeiger.push_back(argument.data());
        zeiger.push_back(nullptr);
        int const ausgabe = ::open(ordner.pfad("ausgabe").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        ::dup2(ausgabe, STDOUT_FILENO);
        ::dup2(ausgabe, STDERR_FILENO);
        ::execv(zeiger[0], zeiger.data());
        ::_exit(127);
    }
    void toeten() {
        ::kill(pid, SIGKILL);
        int status = 0;
        ::waitpid(pid, &status, 0);
    }
    OrdnerAufZeit ordner;
    pid_t pid{-1};
};

TEST_F(Hauptprogramm, KilledWhileReadersWorkLeavesNoOrphan) {
    starten({"schlafen", "rechnen"});
    ASSERT_TRUE(wartenBis([&] { return kinder(pid).size() == 2; }));
    auto const waisen = kinder(pid);
    toeten();
    for (auto const waise : waisen)
        EXPECT_TRUE(wartenBis([&] { return !laeuft(waise); })) << waise;
}

TEST_F(Hauptprogramm, KilledAtAnyMomentLeavesNoOrphan) {
    for (int runde = 0; runde < 8; ++runde) {
        starten({"sag eins", "ende"}); // Readers come and go all the time.
        ASSERT_TRUE(wartenBis([&] { return !kinder(pid).empty(); }));
        for (int i = 0; i < runde; ++i)
            (void)kinder(pid);
        ::kill(pid, SIGSTOP); // So that the list of its children is complete.
        auto const waisen = kinder(pid);
        toeten();
        for (auto const waise : waisen)
            EXPECT_TRUE(wartenBis([&] { return !laeuft(waise); })) << waise;
    }
}

TEST_F(Hauptprogramm, GoesOnWhenAllItsReadersAreKilledAtOnce) {
    starten({"sag eins", "sag zwei"});
    ASSERT_TRUE(wartenBis([&] { return kinder(pid).size() == 2; }));
    for (int runde = 0; runde < 3; ++runde) {
        auto const vorher = inhaltVon(ordner.pfad("ausgabe")).size();
        for (auto const leser : kinder(pid))
            ::kill(leser, SIGKILL);
        EXPECT_TRUE(wartenBis([&] {
            auto const ausgabe = inhaltVon(ordner.pfad("ausgabe"));
            return ausgabe.find("eins", vorher + 100) != std::string::npos &&
                   ausgabe.find("zwei", vorher + 100) != std::string::npos;
        }));
    }
    toeten();
}

} // namespace
} // namespace quillmate::Texterkennung
