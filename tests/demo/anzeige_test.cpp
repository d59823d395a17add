#include "demo/anzeige.h"
#include "demo/hilfsordner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quillmate::demo {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(Anzeige, ReceiptsBookingsAndSumsAreShownAndNamesCannotSteerTheTerminal) {
    test::Hilfsordner const ordner;
    std::string grund;
    auto const speicher = Speicher::oeffnen(ordner.pfad(), grund);
    ASSERT_NE(speicher, nullptr) << grund;
    Tag const buchungstag{std::chrono::year{2026} / 3 / 14};
    ASSERT_TRUE(speicher->kundeAnlegen(
        7, {{0, buchungstag, -1250, "Händler", ""}, {0, buchungstag, -99, "Funk", ""}}));
    auto const nimm = [&](std::string_view name, std::string_view bytes) {
        return speicher->annehmen({.kunde = 7, .name = name, .quellpfad = "", .typ = "", .bytes = bytes})
            .value()
            .id;
    };
    (void)speicher->lesungEintragen(
        nimm("Rechnung \x1B[31mrot\n\xC2\x9B.pdf", "a"), "Rechnung 12,50 vom 12.03.2026");
    (void)speicher->lesungEintragen(nimm("Brief.pdf", "b"), "Hallo");
    nimm(std::string(300, 'x') + ".pdf", "c");

    auto const tabelle = alsTabelle(*speicher);
    EXPECT_THAT(tabelle, HasSubstr("Mandant 7: 3 Belege, 2 Buchungen"));
    EXPECT_THAT(tabelle, HasSubstr("Rechnung ·[31mrot··.pdf"));
    EXPECT_THAT(tabelle, HasSubstr("2026-03-14 Händler"));
    EXPECT_THAT(tabelle, HasSubstr("-12,50 €"));
    EXPECT_THAT(tabelle, HasSubstr("kein Beleg erkannt"));
    EXPECT_THAT(tabelle, HasSubstr("noch ungelesen"));
    EXPECT_THAT(tabelle, HasSubstr("xxx…"));
    EXPECT_THAT(
        tabelle,
        HasSubstr(
            "1 Belege mit Buchung, 0 Belege ohne, 1 Dateien ohne Beleg, 1 ungelesen; 1 Buchungen warten"));
    EXPECT_THAT(tabelle, Not(HasSubstr("\x1B")));
    EXPECT_THAT(tabelle, Not(HasSubstr("\xC2\x9B")));
}

} // namespace
} // namespace quillmate::demo
