// What the engines' own hooks do not reach, in real reader processes: with the guard, and with it off.
#include "bomben.h"
#include "leser/prozess/leser_prozesse.h"
#include "werkzeug/fehlerausgabe.h"
#include "werkzeug/vorlagen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <string>

namespace quillmate::Texterkennung {
namespace {

using namespace vorlagen;
using werkzeug::fehlerausgabe;
using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::Not;

/// Of all processes that this one has waited for.
std::chrono::duration<double> rechenzeitDerKinder() {
    rusage verbrauch{};
    getrusage(RUSAGE_CHILDREN, &verbrauch);
    auto sekunden = [](timeval const& zeit) {
        return static_cast<double>(zeit.tv_sec) + static_cast<double>(zeit.tv_usec) / 1e6;
    };
    return std::chrono::duration<double>{sekunden(verbrauch.ru_utime) + sekunden(verbrauch.ru_stime)};
}

struct Ausgang {
    Lesung lesung;
    std::string log;
    std::chrono::duration<double> rechenzeit;
};

/// Reads with half a second for a PDF, and eight that the main program grants the process.
Ausgang gelesen(char const* programm, Bytes const& bytes) {
    Ausgang ausgang;
    auto const vorher = rechenzeitDerKinder();
    ausgang.log = fehlerausgabe([&] {
        leser::prozess::LeserProzesse leser{{.programm = programm, .rechenfrist = 8s, .wandfrist = 200s}};
        auto const datei = alsDatei(bytes);
        ausgang.lesung = leser.lesen(datei.get(), Dateiart::pdf);
    });
    ausgang.rechenzeit = rechenzeitDerKinder() - vorher;
    return ausgang;
}

Bytes bombe(std::string const& name) {
    auto const alle = bomben();
    return std::ranges::find(alle, name, &Bombe::name)->bauen();
}

class Wacht : public ::testing::TestWithParam<char const*> {};

TEST_P(Wacht, EndsWhatLooksAtNoClockAtTheDocumentsLimitAndTheFileIsRead) {
    auto const ausgang = gelesen(QUILLMATE_LESER_KURZ, bombe(GetParam()));
    EXPECT_EQ(ausgang.lesung.art, Lesung::Art::gelesen);
    EXPECT_EQ(ausgang.lesung.text, std::nullopt);
    EXPECT_EQ(ausgang.log, "") << "the process did not end by itself";
    EXPECT_LT(ausgang.rechenzeit, 5s);
}

TEST_P(Wacht, WithoutItTheMainProgramsLimitIsWhatEndsIt) {
    auto const ausgang = gelesen(QUILLMATE_LESER_UNBEWACHT, bombe(GetParam()));
    EXPECT_THAT(ausgang.log, HasSubstr("hat zu lange gebraucht"));
    EXPECT_GT(ausgang.rechenzeit, 7s);
}

INSTANTIATE_TEST_SUITE_P(
    EchterLeserprozess, Wacht,
    ::testing::Values("StackedFiltersWithoutEnd", "PdfWithNegativeJpegOfThirtyThousandScans"),
    [](auto const& eine) { return std::string{eine.param}; });

TEST(Wacht, KeepsTheTextOfThePagesBefore) {
    auto const bytes = bombe("AWordBeforeStackedFiltersWithoutEnd");
    auto const ausgang = gelesen(QUILLMATE_LESER_KURZ, bytes);
    EXPECT_EQ(ausgang.lesung.art, Lesung::Art::gelesen);
    EXPECT_EQ(ausgang.lesung.text, "eins\n");
    EXPECT_EQ(ausgang.log, "");
}

TEST(Wacht, DoesNothingToAnOrdinaryFile) {
    auto const ausgang = gelesen(QUILLMATE_LESER_KURZ, pdf({{.inhalt = zeilen(beleg())}}));
    EXPECT_THAT(ausgang.lesung.text.value_or(""), HasSubstr("12,50"));
    EXPECT_EQ(ausgang.log, "");
}

/// The replaced functions of the decoders: see src/leser/eingriffe.
TEST(Eingriffe, WithoutThemThePicturesWhoseDecodersWantThreadsAreNotRead) {
    for (auto const& bytes : {heic(schriftbild(beleg())), avif(schriftbild(beleg()))}) {
        Lesung mit;
        Lesung ohne;
        static_cast<void>(fehlerausgabe([&] {
            auto const datei = alsDatei(bytes);
            leser::prozess::LeserProzesse leser{{.programm = QUILLMATE_LESER}};
            mit = leser.lesen(datei.get(), Dateiart::bild);
            leser::prozess::LeserProzesse anderer{
                {.programm = QUILLMATE_LESER_OHNE_EINGRIFFE, .rechenfrist = 8s, .wandfrist = 8s}};
            ohne = anderer.lesen(datei.get(), Dateiart::bild);
        }));
        EXPECT_THAT(mit.text.value_or(""), HasSubstr("12,50"));
        EXPECT_THAT(ohne.text.value_or(""), Not(HasSubstr("12,50")));
    }
}

} // namespace
} // namespace quillmate::Texterkennung
