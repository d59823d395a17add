#include "demo/selbstlauf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace quillmate::demo {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

TEST(Selbstlauf, ReportWithoutOutcomeIsNone) {
    for (auto const& meldung :
         {json{}, json::array(), json::object(), json{{"erfolg", 1}}, json{{"erfolg", "true"}}})
        EXPECT_FALSE(alsSelbstlauf(meldung).has_value()) << meldung;
}

TEST(Selbstlauf, WrongAndHugeFieldsCountAsNothingOrAreBounded) {
    auto const selbstlauf = alsSelbstlauf(
        {{"erfolg", false},
         {"grund", std::string(100'000, 'x')},
         {"sekunden", 1e300},
         {"ordner", -3},
         {"dateien", "viele"},
         {"hochgeladen", 18446744073709551615U},
         {"belege", 2.5},
         {"fremdes", {1, 2}}});
    ASSERT_TRUE(selbstlauf.has_value());
    EXPECT_EQ(selbstlauf->grund.size(), 500U);
    EXPECT_LE(selbstlauf->sekunden, 1e6);
    EXPECT_EQ(selbstlauf->ordner, 0);
    EXPECT_EQ(selbstlauf->dateien, 0);
    EXPECT_EQ(selbstlauf->hochgeladen, 0);
    EXPECT_EQ(selbstlauf->belege, 0);
    EXPECT_FALSE(alsJson(*selbstlauf).contains("fremdes"));
}

TEST(Selbstlauf, LineTellsTheOutcomeInGerman) {
    Selbstlauf gut{
        .erfolg = true,
        .sekunden = 33.7,
        .ordner = 2,
        .dateien = 152,
        .hochgeladen = 61,
        .belege = 61,
        .zugeordnet = 40};
    EXPECT_EQ(
        selbstlaufzeile(gut), "Selbstlauf: erfolgreich nach 34 s – 2 Ordner gemerkt, 152 Dateien geprüft, 61 "
                              "übertragen; der Dienst hat "
                              "61 Belege, 40 mit Buchung");
    gut.ungelesen = 3;
    gut.belege = gut.dateien = 1;
    EXPECT_THAT(selbstlaufzeile(gut), HasSubstr("1 Datei geprüft"));
    EXPECT_THAT(selbstlaufzeile(gut), HasSubstr("1 Beleg, 40 mit Buchung, 3 noch ungelesen"));
    EXPECT_EQ(
        selbstlaufzeile({.erfolg = false, .grund = "Der Dienst antwortet nicht.", .sekunden = 2}),
        "Selbstlauf: gescheitert nach 2 s – Der Dienst antwortet nicht.");
    EXPECT_THAT(selbstlaufzeile({}), HasSubstr("ohne Angabe"));
}

TEST(Selbstlauf, ReasonCannotSteerTheTerminal) {
    auto const zeile =
        selbstlaufzeile({.erfolg = false, .grund = "a\x1B[2Jb\nSelbstlauf: erfolgreich\xC2\x9B"});
    EXPECT_THAT(zeile, Not(HasSubstr("\x1B")));
    EXPECT_THAT(zeile, Not(HasSubstr("\n")));
    EXPECT_THAT(zeile, Not(HasSubstr("\xC2\x9B")));
}

} // namespace
} // namespace quillmate::demo
