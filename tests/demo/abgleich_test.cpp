#include "demo/abgleich.h"
#include "demo/belegdaten.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <limits>

namespace quillmate::demo {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

Tag tag(int jahr, unsigned monat, unsigned t) {
    return Tag{std::chrono::year{jahr} / std::chrono::month{monat} / std::chrono::day{t}};
}

TEST(Abgleich, AmountsAreReadInTheWaysPeopleWriteThem) {
    struct Fall {
        char const* text;
        Cent betrag;
    };
    for (auto const& [text, betrag] : std::vector<Fall>{
             {"Summe 12,50 €", 1250},
             {"EUR 1.234,56", 123456},
             {"1,234.56 USD", 123456},
             {"1234,56", 123456},
             {"1 234,56", 123456},
             {"1\xC2\xA0"
              "234,56",
              123456},
             {"1.234.567,89", 123456789},
             {"Gesamt:12,50EUR", 1250},
             {"0,99", 99},
             {"(7,00)", 700},
             {"-45,10", 4510}})
        EXPECT_THAT(betraegeAus(text), Contains(betrag)) << text;
}

TEST(Abgleich, NumbersThatAreNoAmountsAreLeftOut) {
    for (auto const* const text :
         {"12.03.2026", "12.03.26", "12,5", "3 Stück", "12345", "1.234.56", "12,345", "RE2026.10", "v1.2.34",
          "1,2,34", "99999999999,99", ",50", "12,", "", "DE999000123"})
        EXPECT_THAT(betraegeAus(text), IsEmpty()) << text;
}

TEST(Abgleich, BlankBetweenTwoNumbersGivesBothReadings) {
    EXPECT_THAT(betraegeAus("MwSt 19 217,09"), ElementsAre(21709, 1921709));
    EXPECT_THAT(betraegeAus("2 12,50 25,00"), ElementsAre(1250, 2500));
}

TEST(Abgleich, DatesAreReadInTheWaysPeopleWriteThem) {
    auto const erwartet = tag(2026, 3, 12);
    for (auto const* const text :
         {"12.03.2026", "12.3.26", "2026-03-12T10:00", "12/03/2026", "12. März 2026", "12.März 2026",
          "12. MÄRZ 2026", "12. Ma\xCC\x88rz 2026", "12. Mrz. oder 12. Mär. 2026", "12. 03. 2026",
          "am 12.03.2026."})
        EXPECT_THAT(dateAus(text), ElementsAre(erwartet)) << text;
    for (auto const* const text :
         {"32.01.2026", "30.02.2026", "00.01.2026", "12.03.1850", "12.13.2026", "1.2", "1.2.3", "2026-3", ""})
        EXPECT_THAT(dateAus(text), IsEmpty()) << text;
}

TEST(Abgleich, ReceiptNeedsAReceiptWordAndAnAmount) {
    EXPECT_TRUE(istBeleg("Rechnung über 12,50 €"));
    EXPECT_FALSE(istBeleg("Rechnung"));
    EXPECT_FALSE(istBeleg("Treffpunkt 12,50 Meter vom Tor"));
    EXPECT_FALSE(istBeleg("Zwischenbericht vom 12.03.2026"));
}

TEST(Abgleich, BookingMatchesByAmountAndNearDate) {
    std::vector<Buchung> const offene{
        {1, tag(2026, 1, 5), -1250, "", ""},
        {2, tag(2026, 3, 14), -1250, "", ""},
        {3, tag(2026, 3, 14), -999, "", ""}};
    EXPECT_EQ(passendeBuchung("Rechnung vom 12.03.2026 über 12,50 €", offene), 2);
    EXPECT_EQ(passendeBuchung("Rechnung vom 12.03.2026 über 12,51 €", offene), std::nullopt);
    EXPECT_EQ(passendeBuchung("Rechnung vom 12.07.2026 über 12,50 €", offene), std::nullopt);
    EXPECT_EQ(passendeBuchung("", offene), std::nullopt);
    EXPECT_EQ(passendeBuchung("12,50 vom 12.03.2026", {}), std::nullopt);
}

TEST(Abgleich, DatesAreNearWithinTermsOfPaymentAndShortDelays) {
    auto const belegtag = tag(2026, 3, 12);
    auto const passt = [&](Tag buchungstag) {
        std::vector<Buchung> const offene{{1, buchungstag, -1250, "", ""}};
        return passendeBuchung("12.03.2026 12,50", offene).has_value();
    };
    EXPECT_TRUE(passt(belegtag + hoechstensVorBuchung));
    EXPECT_FALSE(passt(belegtag + hoechstensVorBuchung + std::chrono::days{1}));
    EXPECT_TRUE(passt(belegtag - hoechstensNachBuchung));
    EXPECT_FALSE(passt(belegtag - hoechstensNachBuchung - std::chrono::days{1}));
}

TEST(Abgleich, WithoutADateOnlyAnUnambiguousAmountMatches) {
    std::vector<Buchung> const eine{{1, tag(2026, 1, 5), -1250, "", ""}};
    std::vector<Buchung> const zwei{{1, tag(2026, 1, 5), -1250, "", ""}, {2, tag(2026, 3, 14), 1250, "", ""}};
    EXPECT_EQ(passendeBuchung("Beleg 12,50", eine), 1);
    EXPECT_EQ(passendeBuchung("Beleg 12,50", zwei), std::nullopt);
}

TEST(Abgleich, AmountOfABookingCountsWithoutItsSign) {
    EXPECT_TRUE(betragStehtIn("Summe 12,50", {1, tag(2026, 1, 5), -1250, "", ""}));
    EXPECT_TRUE(betragStehtIn("Summe 12,50", {1, tag(2026, 1, 5), 1250, "", ""}));
    EXPECT_FALSE(betragStehtIn("Summe 12,50", {1, tag(2026, 1, 5), 125, "", ""}));
    EXPECT_FALSE(
        betragStehtIn("Summe 12,50", {1, tag(2026, 1, 5), std::numeric_limits<Cent>::min(), "", ""}));
}

TEST(Abgleich, LongTextsTakeTimeInProportion) {
    // A quadratic reader would need hours for these.
    constexpr std::size_t laenge = 2'000'000;
    EXPECT_THAT(betraegeAus(std::string(laenge, '1')), IsEmpty());
    std::string gruppen;
    std::string punkte;
    while (gruppen.size() < laenge) {
        gruppen += "1 ";
        punkte += "1.";
    }
    EXPECT_THAT(betraegeAus(gruppen), IsEmpty());
    EXPECT_THAT(betraegeAus(punkte), IsEmpty());
    EXPECT_THAT(dateAus(punkte), IsEmpty());
    EXPECT_THAT(dateAus("1." + std::string(laenge, ' ')), IsEmpty());
}

TEST(Abgleich, AmountsAndDatesAreWrittenTheGermanWay) {
    EXPECT_EQ(alsEuro(0), "0,00 €");
    EXPECT_EQ(alsEuro(-123456), "-1.234,56 €");
    EXPECT_EQ(alsEuro(100000000), "1.000.000,00 €");
    EXPECT_EQ(alsEuro(std::numeric_limits<Cent>::min()), "-92.233.720.368.547.758,08 €");
    EXPECT_EQ(alsIsoDatum(tag(2026, 3, 2)), "2026-03-02");
    EXPECT_EQ(ausIsoDatum("2026-03-02"), tag(2026, 3, 2));
    for (auto const* const text : {"2026-02-30", "2026-3-02", "02.03.2026", "2026-03-02x", "2026-03-0x", ""})
        EXPECT_EQ(ausIsoDatum(text), std::nullopt) << text;
}

TEST(Belegdaten, EverySampleReceiptHasATotalOfItsOwn) {
    std::set<Cent> summen;
    for (auto const& beleg : beispielbelege()) {
        EXPECT_GT(beleg.brutto(), 0);
        EXPECT_TRUE(summen.insert(beleg.brutto()).second) << beleg.rechnungsnummer;
    }
    EXPECT_GT(summen.size(), 80U);
}

TEST(Belegdaten, ExactlyTheBookedReceiptsHaveABookingAndSomeBookingsHaveNone) {
    auto const buchungen = beispielbuchungen();
    std::size_t gebuchte = 0;
    for (auto const& beleg : beispielbelege()) {
        auto const passt = [&](Buchung const& b) {
            return b.betrag == -beleg.brutto();
        };
        EXPECT_EQ(std::ranges::any_of(buchungen, passt), beleg.gebucht) << beleg.rechnungsnummer;
        gebuchte += beleg.gebucht ? 1 : 0;
    }
    EXPECT_GT(buchungen.size(), gebuchte);
}

TEST(Belegdaten, TaxIsPartOfTheTotalRoundedToTheCent) {
    Beispielbeleg beleg{};
    beleg.posten = {{"Ware", 1, 11900}};
    beleg.steuersatz = 19;
    EXPECT_EQ(beleg.steuer(), 1900);
    beleg.posten = {{"Ware", 3, 333}};
    beleg.steuersatz = 7;
    EXPECT_EQ(beleg.brutto(), 999);
    EXPECT_EQ(beleg.steuer(), 65); // 65.35
}

} // namespace
} // namespace quillmate::demo
