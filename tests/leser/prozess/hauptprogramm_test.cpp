// The main program is killed, or all its readers are.
#include "hilfen.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/warten.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <string>
#include <vector>

namespace quillmate::Texterkennung {
namespace {

using namespace werkzeug;

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
    ASSERT_TRUE(wartenBis([&] { return kinder(pid).size() == 3; }));
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
    ASSERT_TRUE(wartenBis([&] { return !kinder(pid).empty(); }));
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
