// Children that were taken over: whatever they do hurts their own file only. The orders stand in leserattrappe.cpp.
#include "hilfen.h"
#include "leser/protokoll/sanitizer.h"
#include "leser/prozess/leser_prozesse.h"
#include "werkzeug/fehlerausgabe.h"
#include "werkzeug/warten.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace quillmate::Texterkennung {
namespace {

using namespace werkzeug;
using namespace std::chrono_literals;
using ::testing::HasSubstr;

class Feindkind : public ::testing::Test {
protected:
    std::optional<std::string> befehl(std::string const& text) {
        auto const datei = alsDatei(text);
        return leser.lesen(datei.get(), Texterkennung::Dateiart::pdf).text;
    }
    leser::prozess::LeserProzesse leser{
        {.programm = QUILLMATE_LESERATTRAPPE, .rechenfrist = 3s, .wandfrist = 3s}};
};

TEST_F(Feindkind, WritingTwiceGivesTheFirstAnswerAndNoOtherFileTheSecond) {
    EXPECT_EQ(befehl("zuviel 1"), "erste");
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(befehl("sag mein"), "mein");
}

TEST_F(Feindkind, AnsweringForOthersReachesNobody) {
    // They read at the same time, under all the numbers that it answers for.
    std::vector<std::jthread> faeden;
    (void)fehlerausgabe([&] {
        faeden.emplace_back([&] {
            auto const eigenes =
                befehl("fuer-andere"); // It may guess its own number, and lie about its own file.
            EXPECT_TRUE(!eigenes || eigenes == "gelogen") << *eigenes;
        });
        for (int f = 0; f < 4; ++f)
            faeden.emplace_back([&, f] {
                for (int i = 0; i < 10; ++i) {
                    auto const eigenes = std::to_string(f) + "/" + std::to_string(i);
                    EXPECT_EQ(befehl("sag " + eigenes), eigenes);
                }
            });
        faeden.clear();
    });
}

TEST_F(Feindkind, StayingAfterTheAnswerEndsWithIt) {
    EXPECT_EQ(befehl("antworten-und-bleiben 1"), "geblieben");
    EXPECT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 1; }, 2s)); // Long before any limit.
}

TEST_F(Feindkind, NoDescriptorButThePipeCanBeWrittenTo) {
    if (leser::protokoll::mitSanitizer)
        GTEST_SKIP() << "no lock-up under sanitizers";
    EXPECT_EQ(befehl("hinaus"), "");
}

TEST_F(Feindkind, SendingADescriptorIsItsDeath) {
    if (leser::protokoll::mitSanitizer)
        GTEST_SKIP() << "no lock-up under sanitizers";
    auto const log = fehlerausgabe([&] { EXPECT_EQ(befehl("verschicken"), std::nullopt); });
    EXPECT_THAT(log, HasSubstr("Signal 31")); // SIGSYS
    EXPECT_EQ(befehl("sag mein"), "mein");
}

TEST_F(Feindkind, SeesNoOtherFilesDescriptor) {
    // One that reads meanwhile has its file and pipe open in the same family.
    auto const datei = alsDatei("warten ");
    std::jthread const anderer{[&] {
        EXPECT_EQ(leser.lesen(datei.get(), Texterkennung::Dateiart::pdf).text, "gewartet");
    }};
    ASSERT_TRUE(wartenBis([] { return kinder(::getpid()).size() == 2; }));
    EXPECT_EQ(befehl("deskriptoren"), "0 1 2 3 4 ");
    EXPECT_EQ(::pwrite(datei.get(), ".", 1, 7), 1);
}

TEST_F(Feindkind, WhoseMemoryGrowsBeyondItsLimitsIsEndedFromOutside) {
    if (leser::protokoll::mitSanitizer)
        GTEST_SKIP() << "sanitizers need memory of their own";
    // Smaller than what it has already, so that the look from outside is what ends it.
    leser::prozess::LeserProzesse enger{{.programm = QUILLMATE_LESERATTRAPPE, .speicherPdf = 1}};
    auto const datei = alsDatei("schlafen");
    auto const log = fehlerausgabe([&] {
        auto const lesung = enger.lesen(datei.get(), Texterkennung::Dateiart::pdf);
        EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::gelesen);
        EXPECT_EQ(lesung.text, std::nullopt);
    });
    EXPECT_THAT(log, HasSubstr("ist zu groß geworden"));
}

} // namespace
} // namespace quillmate::Texterkennung
