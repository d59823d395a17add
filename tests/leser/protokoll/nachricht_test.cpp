#include "leser/protokoll/nachricht.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace quillmate::Texterkennung {
namespace {

std::span<std::uint8_t const> alsSpanne(std::string const& text) {
    return {reinterpret_cast<std::uint8_t const*>(text.data()), text.size()};
}

using Stand = leser::protokoll::AntwortEingang::Stand;

Stand nachAllem(std::uint32_t nummer, std::string const& bytes) {
    leser::protokoll::AntwortEingang eingang{nummer};
    return eingang.nimm(alsSpanne(bytes));
}

TEST(Nachricht, OrdersAndReadinessSurviveTheWay) {
    for (auto const art : {Texterkennung::Dateiart::pdf, Texterkennung::Dateiart::bild}) {
        leser::protokoll::Auftrag const auftrag{0xFEDCBA98, art};
        EXPECT_EQ(leser::protokoll::auftragAus(leser::protokoll::alsBytes(auftrag)), auftrag);
    }
    for (auto const stand :
         {Texterkennung::Sprachstand::keine, Texterkennung::Sprachstand::deutsch,
          Texterkennung::Sprachstand::englisch, Texterkennung::Sprachstand::beide,
          Texterkennung::Sprachstand::unbrauchbar})
        for (unsigned bits = 0; bits < 8; ++bits) {
            leser::protokoll::Bereitschaft const bereit{
                stand, {(bits & 1U) != 0, (bits & 2U) != 0, (bits & 4U) != 0}};
            EXPECT_EQ(leser::protokoll::bereitschaftAus(leser::protokoll::alsBytes(bereit)), bereit);
        }
}

TEST(Nachricht, ABirthIsEitherAProcessOrAnErrorAndSurvivesTheWay) {
    for (leser::protokoll::Geburt const geburt :
         {leser::protokoll::Geburt{7, 4711, 0}, leser::protokoll::Geburt{0xFEDCBA98, 0, 11}})
        EXPECT_EQ(leser::protokoll::geburtAus(leser::protokoll::alsBytes(geburt)), geburt);
    EXPECT_FALSE(leser::protokoll::geburtAus(leser::protokoll::alsBytes(leser::protokoll::Geburt{7, 0, 0})));
    EXPECT_FALSE(
        leser::protokoll::geburtAus(leser::protokoll::alsBytes(leser::protokoll::Geburt{7, 4711, 11})));
    EXPECT_FALSE(leser::protokoll::geburtAus(leser::protokoll::alsBytes(
        leser::protokoll::Geburt{7, -1, 0}))); // Would kill every process of the user.
}

TEST(Nachricht, AnswersSurviveTheWayInPiecesOfAnySize) {
    for (auto const art :
         {Texterkennung::Lesung::Art::gelesen, Texterkennung::Lesung::Art::ohneMotor,
          Texterkennung::Lesung::Art::ohneMittel, Texterkennung::Lesung::Art::gestoert})
        for (auto const& text :
             {std::optional<std::string>{}, std::optional<std::string>{""},
              std::optional<std::string>{"Gebühr 12,50 €\n"}})
            for (std::size_t stueck : {std::size_t{1}, std::size_t{7}, std::size_t{16}, std::size_t{1000}}) {
                auto const bytes = leser::protokoll::antwortBytes(77, {art, text});
                leser::protokoll::AntwortEingang eingang{77};
                for (std::size_t i = 0; i < bytes.size(); i += stueck) {
                    EXPECT_EQ(eingang.stand(), Stand::offen);
                    EXPECT_GT(eingang.noch(), 0U);
                    eingang.nimm(alsSpanne(bytes.substr(i, stueck)));
                }
                ASSERT_EQ(eingang.stand(), Stand::fertig);
                EXPECT_EQ(eingang.noch(), 0U);
                EXPECT_EQ(eingang.lesung().art, art);
                EXPECT_EQ(eingang.lesung().text, text);
            }
}

TEST(Nachricht, AnAnswerToAnotherOrderIsRefused) {
    EXPECT_EQ(
        nachAllem(5, leser::protokoll::antwortBytes(4, {Texterkennung::Lesung::Art::gelesen, "x"})),
        Stand::falsch);
}

TEST(Nachricht, NothingMayFollowAnAnswer) {
    EXPECT_EQ(
        nachAllem(5, leser::protokoll::antwortBytes(5, {Texterkennung::Lesung::Art::gelesen, "x"}) + "y"),
        Stand::falsch);
    EXPECT_EQ(nachAllem(5, leser::protokoll::antwortBytes(5, {}) + "y"), Stand::falsch);
}

TEST(Nachricht, ATextThatIsNotUtf8IsRefused) {
    auto bytes = leser::protokoll::antwortBytes(5, {Texterkennung::Lesung::Art::gelesen, "abc"});
    bytes.back() = '\xFF';
    EXPECT_EQ(nachAllem(5, bytes), Stand::falsch);
}

TEST(Nachricht, ALongerTextThanAllowedIsRefusedByItsHeadAlone) {
    auto bytes = leser::protokoll::antwortBytes(5, {Texterkennung::Lesung::Art::gelesen, "abc"});
    auto const zuLang = static_cast<std::uint32_t>(leser::protokoll::hoechstensTextBytes + 1);
    for (std::size_t i = 0; i < 4; ++i)
        bytes[12 + i] = static_cast<char>(zuLang >> (8 * i));
    EXPECT_EQ(nachAllem(5, bytes.substr(0, leser::protokoll::kopfBytes)), Stand::falsch);
}

TEST(Nachricht, AnHonestReaderCutsAnOverlongTextBetweenTwoCodePoints) {
    std::string lang;
    while (lang.size() <= leser::protokoll::hoechstensTextBytes)
        lang += "a€";
    leser::protokoll::AntwortEingang eingang{1};
    ASSERT_EQ(
        eingang.nimm(
            alsSpanne(leser::protokoll::antwortBytes(1, {Texterkennung::Lesung::Art::gelesen, lang}))),
        Stand::fertig);
    auto const& text = eingang.lesung().text.value();
    EXPECT_LE(text.size(), leser::protokoll::hoechstensTextBytes);
    EXPECT_GT(text.size(), leser::protokoll::hoechstensTextBytes - 4);
    EXPECT_TRUE(lang.starts_with(text));
}

TEST(Nachricht, AnHonestReaderRepairsBrokenText) {
    leser::protokoll::AntwortEingang eingang{1};
    ASSERT_EQ(
        eingang.nimm(
            alsSpanne(leser::protokoll::antwortBytes(1, {Texterkennung::Lesung::Art::gelesen, "a\xFFz"}))),
        Stand::fertig);
    EXPECT_EQ(eingang.lesung().text, "a\uFFFDz");
}

TEST(Nachricht, AReaderCannotClaimThatThereWasNone) {
    EXPECT_EQ(
        nachAllem(
            1, leser::protokoll::antwortBytes(1, {Texterkennung::Lesung::Art::ohneLeser, std::nullopt})),
        Stand::falsch);
}

TEST(Nachricht, EveryByteOfAHeadCounts) {
    // All that may vary without being wrong: number, details and length are checked by other tests.
    for (std::size_t stelle : {0U, 1U, 2U, 3U, 10U, 11U}) {
        auto auftrag =
            leser::protokoll::alsBytes(leser::protokoll::Auftrag{1, Texterkennung::Dateiart::bild});
        auto bereit = leser::protokoll::alsBytes(
            leser::protokoll::Bereitschaft{Texterkennung::Sprachstand::beide, {true, true, true}});
        auto antwort = leser::protokoll::antwortBytes(1, {});
        ++auftrag.at(stelle);
        ++bereit.at(stelle);
        ++antwort.at(stelle);
        EXPECT_FALSE(leser::protokoll::auftragAus(auftrag)) << stelle;
        EXPECT_FALSE(leser::protokoll::bereitschaftAus(bereit)) << stelle;
        EXPECT_EQ(nachAllem(1, antwort), Stand::falsch) << stelle;
    }
    auto ohneText = leser::protokoll::antwortBytes(1, {});
    ohneText[12] = 1; // A length without a text.
    EXPECT_EQ(nachAllem(1, ohneText), Stand::falsch);
    for (std::size_t laenge = 0; laenge < leser::protokoll::kopfBytes; ++laenge) {
        auto const auftrag = leser::protokoll::alsBytes(leser::protokoll::Auftrag{});
        EXPECT_FALSE(leser::protokoll::auftragAus(std::span{auftrag}.first(laenge)));
        auto const bereit = leser::protokoll::alsBytes(leser::protokoll::Bereitschaft{});
        EXPECT_FALSE(leser::protokoll::bereitschaftAus(std::span{bereit}.first(laenge)));
    }
}

TEST(Nachricht, AnyBytesAreTakenAndNoMoreKeptThanAllowed) {
    std::mt19937 zufall{4711};
    for (int runde = 0; runde < 20'000; ++runde) {
        std::vector<std::uint8_t> bytes(zufall() % 64);
        std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(zufall()); });
        auto const echte =
            leser::protokoll::antwortBytes(3, {Texterkennung::Lesung::Art::gelesen, "Rechnung"});
        if (runde % 2 == 0) // Something that begins right.
            std::ranges::copy_n(
                echte.begin(), static_cast<std::ptrdiff_t>(std::min(bytes.size(), zufall() % 20)),
                bytes.begin());
        leser::protokoll::AntwortEingang eingang{3};
        eingang.nimm(bytes);
        EXPECT_LE(eingang.noch(), leser::protokoll::hoechstensTextBytes);
        (void)leser::protokoll::auftragAus(bytes);
        (void)leser::protokoll::bereitschaftAus(bytes);
    }
}

} // namespace
} // namespace quillmate::Texterkennung
