// The real reader processes, with every format and with files made against them.
#include "attrappen/fehlerausgabe.h"
#include "bomben.h"
#include "leserprozess/leser_prozesse.h"
#include "leserprozess/sanitizer.h"
#include "vorlagen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

namespace quillmate::Texterkennung {
namespace {

using namespace vorlagen;
using attrappen::fehlerausgabe;
using namespace std::chrono_literals;
using ::testing::HasSubstr;

Lesung lies(LeserProzesse& leser, Bytes const& bytes, Dateiart art) {
    auto const datei = alsDatei(bytes);
    return leser.lesen(datei.get(), art);
}

std::string text(LeserProzesse& leser, Bytes const& bytes, Dateiart art) {
    return lies(leser, bytes, art).text.value_or("(ohne Text)");
}

Bytes pdfMitText() {
    return pdf({{.inhalt = zeilen(beleg())}});
}

TEST(EchterLeserprozess, EveryFormatIsReadInTheLockUp) {
    LeserProzesse leser{{.programm = QUILLMATE_LESER}};
    auto const bild = schriftbild(beleg());
    auto const log = fehlerausgabe([&] {
        EXPECT_THAT(text(leser, pdfMitText(), Dateiart::pdf), HasSubstr("12,50"));
        EXPECT_THAT(
            text(leser, pdf({{.inhalt = "400 0 0 300 0 0 cm /B Do", .bild = bild}}), Dateiart::pdf),
            HasSubstr("12,50"));
        EXPECT_THAT(text(leser, jpeg(bild), Dateiart::bild), HasSubstr("12,50"));
        EXPECT_THAT(
            text(leser, jpeg(bild, std::nullopt, Jpegart::fortschreitend), Dateiart::bild),
            HasSubstr("12,50"));
        EXPECT_THAT(text(leser, png(bild), Dateiart::bild), HasSubstr("12,50"));
        EXPECT_THAT(text(leser, heic(bild), Dateiart::bild), HasSubstr("12,50"));
        EXPECT_THAT(text(leser, avif(bild), Dateiart::bild), HasSubstr("12,50"));
    });
    if (!mitSanitizer) {
        EXPECT_EQ(log, ""); // No file was lost, and every layer is there.
    }
}

class Bomben : public ::testing::TestWithParam<Bombe> {};

TEST_P(Bomben, CostAReaderNoMoreThanItsLimitsAndTheNextFileNothing) {
    auto const& bombe = GetParam();
    auto const bytes = bombe.bauen();
    // So that the test is short; the real limit is the larger one.
    LeserProzesse leser{{.programm = QUILLMATE_LESER, .rechenfrist = 3s, .wandfrist = 100s}};
    auto const log = fehlerausgabe([&] {
        auto const lesung = lies(leser, bytes, bombe.pdf ? Dateiart::pdf : Dateiart::bild);
        EXPECT_EQ(lesung.art, Lesung::Art::gelesen); // Never tried again.
        EXPECT_THAT(text(leser, pdfMitText(), Dateiart::pdf), HasSubstr("12,50"));
    });
    if (!mitSanitizer) {
        EXPECT_LE(std::ranges::count(log, '\n'), 1) << log;
    }
    ::testing::Test::RecordProperty("log", log);
}

INSTANTIATE_TEST_SUITE_P(EchterLeserprozess, Bomben, ::testing::ValuesIn(bomben()), [](auto const& eine) {
    return eine.param.name;
});

} // namespace
} // namespace quillmate::Texterkennung
