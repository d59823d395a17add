// The real reader processes, with every format and with files made against them.
#include "bomben.h"
#include "leser/protokoll/sanitizer.h"
#include "leser/prozess/hilfen.h"
#include "leser/prozess/leser_prozesse.h"
#include "werkzeug/bildformate.h"
#include "werkzeug/fehlerausgabe.h"
#include "werkzeug/vorlagen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <fstream>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

namespace quillmate::Texterkennung {
namespace {

using namespace vorlagen;
using werkzeug::fehlerausgabe;
using namespace std::chrono_literals;
using ::testing::HasSubstr;

Texterkennung::Lesung lies(
    leser::prozess::LeserProzesse& leser, Bytes const& bytes, Texterkennung::Dateiart art) {
    auto const datei = alsDatei(bytes);
    return leser.lesen(datei.get(), art);
}

std::string text(leser::prozess::LeserProzesse& leser, Bytes const& bytes, Texterkennung::Dateiart art) {
    return lies(leser, bytes, art).text.value_or("(ohne Text)");
}

Bytes pdfMitText() {
    return pdf({{.inhalt = zeilen(beleg())}});
}

TEST(EchterLeserprozess, EveryFormatIsReadInTheLockUp) {
    leser::prozess::LeserProzesse leser{{.programm = QUILLMATE_LESER}};
    auto const bild = schriftbild(beleg());
    auto const log = fehlerausgabe([&] {
        EXPECT_THAT(text(leser, pdfMitText(), Texterkennung::Dateiart::pdf), HasSubstr("12,50"));
        EXPECT_THAT(
            text(
                leser, pdf({{.inhalt = "400 0 0 300 0 0 cm /B Do", .bild = bild}}),
                Texterkennung::Dateiart::pdf),
            HasSubstr("12,50"));
        EXPECT_THAT(text(leser, jpeg(bild), Texterkennung::Dateiart::bild), HasSubstr("12,50"));
        EXPECT_THAT(
            text(leser, jpeg(bild, std::nullopt, Jpegart::fortschreitend), Texterkennung::Dateiart::bild),
            HasSubstr("12,50"));
        EXPECT_THAT(text(leser, png(bild), Texterkennung::Dateiart::bild), HasSubstr("12,50"));
        EXPECT_THAT(text(leser, heic(bild), Texterkennung::Dateiart::bild), HasSubstr("12,50"));
        EXPECT_THAT(text(leser, avif(bild), Texterkennung::Dateiart::bild), HasSubstr("12,50"));
    });
    if (!leser::protokoll::mitSanitizer) {
        EXPECT_EQ(log, ""); // No file was lost, and every layer is there.
    }
}

/// What a reader may take at its peak, resident, whatever it reads: 60 MB of its own, engine and libraries included, a PDF's
/// budget of 256, and 192 for a picture that is held whole.
constexpr std::size_t hoechstspeicher = std::size_t{512} << 20U;
/// What none may take: the address space that the lock-up allows.
constexpr std::size_t adressraum = std::size_t{1} << 30U;

/// The highest peak of resident memory of a reader process, in bytes; 0 when it cannot be told. A process that does not yet
/// run the reader's program still has this test's memory, and does not count.
std::size_t hoechststand(pid_t pid) {
    std::ifstream datei{"/proc/" + std::to_string(pid) + "/status"};
    std::size_t kibibyte = 0;
    std::string wort;
    std::string name;
    while (datei >> wort) {
        if (wort == "Name:")
            datei >> name;
        else if (wort == "VmHWM:")
            datei >> kibibyte;
    }
    return name == "quillmate-leser" ? kibibyte << 10U : 0;
}

/// Looks at all readers of this process as long as it lives. A reader that lives on is seen with its true peak, one that is
/// killed with that of milliseconds before: never with more than it had.
class Speicherspitze {
public:
    std::size_t bisher() {
        std::scoped_lock const gesperrt{sperre_};
        for (auto const pid : kinder(::getpid()))
            spitze_ = std::max(spitze_, hoechststand(pid));
        return spitze_;
    }

private:
    std::mutex sperre_;
    std::size_t spitze_{0};
    std::jthread waechter_{[this](std::stop_token const& ende) {
        while (!ende.stop_requested()) {
            (void)bisher();
            std::this_thread::sleep_for(2ms);
        }
    }};
};

class Bomben : public ::testing::TestWithParam<Bombe> {};

TEST_P(Bomben, CostAReaderNoMoreThanItsLimitsAndTheNextFileNothing) {
    auto const& bombe = GetParam();
    auto const bytes = bombe.bauen();
    // So that the test is short; the real limit is the larger one.
    leser::prozess::LeserProzesse leser{{.programm = QUILLMATE_LESER, .rechenfrist = 3s, .wandfrist = 100s}};
    Speicherspitze speicher;
    auto const log = fehlerausgabe([&] {
        auto const lesung =
            lies(leser, bytes, bombe.pdf ? Texterkennung::Dateiart::pdf : Texterkennung::Dateiart::bild);
        EXPECT_GT(speicher.bisher(), std::size_t{10} << 20U) << "no reader was seen";
        EXPECT_LT(speicher.bisher(), bombe.ungezaehlt ? adressraum : hoechstspeicher);
        RecordProperty("peak", std::to_string(speicher.bisher() >> 20U) + " MB");
        EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::gelesen); // Never tried again.
        EXPECT_THAT(text(leser, pdfMitText(), Texterkennung::Dateiart::pdf), HasSubstr("12,50"));
    });
    if (!leser::protokoll::mitSanitizer) {
        EXPECT_LE(std::ranges::count(log, '\n'), 1) << log;
    }
    ::testing::Test::RecordProperty("log", log);
}

INSTANTIATE_TEST_SUITE_P(EchterLeserprozess, Bomben, ::testing::ValuesIn(bomben()), [](auto const& eine) {
    return eine.param.name;
});

INSTANTIATE_TEST_SUITE_P(
    EchterLeserprozessFormate, Bomben, ::testing::ValuesIn(formatbomben()),
    [](auto const& eine) { return eine.param.name; });

TEST(EchterLeserprozess, PicturesUnderAnyNameAreReadInTheLockUp) {
    leser::prozess::LeserProzesse leser{{.programm = QUILLMATE_LESER}};
    auto const bild = schriftbild(beleg());
    for (auto const& format : bildformate())
        EXPECT_THAT(text(leser, verpackt(bild, format), Texterkennung::Dateiart::bild), HasSubstr("12,50"))
            << format.name;
}

TEST(EchterLeserprozess, APdfUnderAPicturesNameAndAPictureUnderAPdfsHaveNoText) {
    leser::prozess::LeserProzesse leser{{.programm = QUILLMATE_LESER}};
    auto const alsBild = lies(leser, pdfMitText(), Texterkennung::Dateiart::bild);
    EXPECT_EQ(alsBild.art, Texterkennung::Lesung::Art::gelesen);
    EXPECT_FALSE(alsBild.text);
    auto const bild = schriftbild(beleg());
    for (auto const& bytes : {jpeg(bild), png(bild), verpackt(bild, bildformate()[2])}) {
        auto const alsPdf = lies(leser, bytes, Texterkennung::Dateiart::pdf);
        EXPECT_EQ(alsPdf.art, Texterkennung::Lesung::Art::gelesen);
        EXPECT_FALSE(alsPdf.text);
    }
}

} // namespace
} // namespace quillmate::Texterkennung
