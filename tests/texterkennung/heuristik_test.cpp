#include "texterkennung/heuristik.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

using namespace quillmate;
using namespace quillmate::Texterkennung;

TEST(Belegwoerter, MatchInAnyCaseAndInsideLongerWords) {
    for (auto const* const text :
         {"RECHNUNG Nr. 5", "Umsatzsteuer-ID", "Ust-IdNr", "Rechnungsadresse", "ZAHLUNGSBESTÄTIGUNG",
          "Order  Confirmation", "orderconfirmation", "zu\nzahlen", "Betrag dankend erhalten", "SUBTOTAL",
          "MwSt", "Parkquittung"})
        EXPECT_TRUE(Texterkennung::hatBelegwort(text)) << text;
    for (auto const* const text : {"", "Lieber Onkel", "Mahnung", "Steuer", "Gesamt"})
        EXPECT_FALSE(Texterkennung::hatBelegwort(text)) << text;
}

TEST(Belegwoerter, EachOfThemCounts) {
    for (auto const* const wort : {"rechnung",           "quittung",        "beleg",
                                   "kassenbon",          "bewirtung",       "zahlungsbestätigung",
                                   "rechnungsnummer",    "rechnungsbetrag", "ust-id",
                                   "ust-idnr",           "umsatzsteuer",    "mwst",
                                   "mehrwertsteuer",     "invoice",         "receipt",
                                   "order confirmation", "subtotal",        "zwischensumme",
                                   "gesamtbetrag",       "zu zahlen",       "betrag dankend erhalten",
                                   "steuernummer"})
        EXPECT_TRUE(Texterkennung::hatBelegwort(wort)) << wort;
}

TEST(Betraege, CurrencyMayStandDirectlyBeforeOrBehind) {
    // A word character before the digits: only the first alternative can match these.
    for (auto const* const text : {"xEUR5,00", "xUSD5.00", "xCHF5,00", "xGBP5.00"})
        EXPECT_TRUE(Texterkennung::hatBetrag(text)) << text;
    // And one behind them: only the second.
    for (auto const* const text : {"5,00EURx", "5.00USDx", "5,00CHFx", "5.00GBPx"})
        EXPECT_TRUE(Texterkennung::hatBetrag(text)) << text;
    for (auto const* const text : {"x€5,00", "x$5.00", "x£5.00", "€ 5,00", "5,00 €x"})
        EXPECT_TRUE(Texterkennung::hatBetrag(text)) << text;
    EXPECT_FALSE(Texterkennung::hatBetrag("xSEK5,00x"));
}

TEST(Betraege, NeedExactlyTwoDecimals) {
    for (auto const* const text :
         {"Summe 12,50 €", "EUR 1.234,56", "3.00", "1 234,56", "€5,00", "12,50EUR", "chf 1 234 567.89",
          "£3.50"})
        EXPECT_TRUE(Texterkennung::hatBetrag(text)) << text;
    for (auto const* const text : {"", "12,5", "1234,56", "12,345", "1,50x", "Version 1.2", "12"})
        EXPECT_FALSE(Texterkennung::hatBetrag(text)) << text;
}

TEST(Belegtext, AWordOrASingleAmountSuffices) {
    EXPECT_TRUE(Texterkennung::siehtNachBelegAus("Quittung"));
    EXPECT_TRUE(Texterkennung::siehtNachBelegAus("Alles zusammen 3,50"));
    EXPECT_FALSE(Texterkennung::siehtNachBelegAus("Urlaub 2024"));
    EXPECT_FALSE(Texterkennung::siehtNachBelegAus(""));
}

TEST(BetragNormalisiert, RemovesSeparatorsBeforeExactlyThreeDigits) {
    EXPECT_EQ(Texterkennung::betragNormalisiert("1.234,56"), "1234,56");
    EXPECT_EQ(Texterkennung::betragNormalisiert("1 234 567,89"), "1234567,89");
    EXPECT_EQ(Texterkennung::betragNormalisiert("12,345"), "12345");
    EXPECT_EQ(Texterkennung::betragNormalisiert("1,50"), "1,50");
    EXPECT_EQ(Texterkennung::betragNormalisiert("1.2345"), "1.2345");
    EXPECT_EQ(Texterkennung::betragNormalisiert(""), "");
    EXPECT_EQ(Texterkennung::betragNormalisiert("Grüße 1.000 €"), "Grüße 1000 €");
}

TEST(Heuristik, BrokenUtf8IsNoError) {
    EXPECT_TRUE(Texterkennung::hatBelegwort("\xFF\xFE Rechnung \xFC"));
    EXPECT_TRUE(Texterkennung::hatBetrag("\xFF 3,50"));
}

TEST(Heuristik, HostileTextsOfNothingButGroupsHaveABoundedCost) {
    std::string text = "1";
    for (int i = 0; i < 200'000; ++i)
        text += ".234";
    auto const beginn = std::chrono::steady_clock::now();
    EXPECT_FALSE(Texterkennung::hatBetrag(text));
    EXPECT_LT(
        std::chrono::steady_clock::now() - beginn, std::chrono::seconds{30}); // minutes without the bound
}

TEST(Heuristik, PatternsServeManyThreadsAtOnce) {
    std::vector<std::jthread> faeden;
    for (int k = 0; k < 4; ++k)
        faeden.emplace_back([] {
            for (int i = 0; i < 200; ++i) {
                EXPECT_TRUE(Texterkennung::hatBelegwort("eine Rechnung"));
                EXPECT_EQ(Texterkennung::betragNormalisiert("1.000"), "1000");
            }
        });
}

TEST(Verlaesslich, NeedsTwentyCharacters) {
    EXPECT_FALSE(Texterkennung::istVerlaesslich(std::string(19, 'a')));
    EXPECT_TRUE(Texterkennung::istVerlaesslich(std::string(20, 'a')));
    EXPECT_FALSE(Texterkennung::istVerlaesslich("äöüäöüäöüäöüäöüäöüä")); // 19 characters, 38 bytes
}

TEST(Verlaesslich, OnePercentOfControlCharactersIsTolerated) {
    EXPECT_TRUE(Texterkennung::istVerlaesslich(std::string(990, 'a') + std::string(10, '\x01')));
    EXPECT_FALSE(Texterkennung::istVerlaesslich(std::string(989, 'a') + std::string(11, '\x01')));
}

TEST(Verlaesslich, FourControlCharactersAreAlwaysTolerated) {
    EXPECT_TRUE(Texterkennung::istVerlaesslich(std::string(96, 'a') + std::string(4, '\x01')));
    EXPECT_FALSE(Texterkennung::istVerlaesslich(std::string(95, 'a') + std::string(5, '\x01')));
}

TEST(Verlaesslich, TabsAndLineEndsAreNoControlCharacters) {
    EXPECT_TRUE(Texterkennung::istVerlaesslich(
        std::string(20, 'a') + std::string(50, '\t') + std::string(50, '\n') + std::string(50, '\r')));
}

TEST(Lesefaktor, BringsBothSidesUpButNeverBeyondTheCap) {
    EXPECT_DOUBLE_EQ(Texterkennung::lesefaktor(600, 800), 2.5);
    EXPECT_DOUBLE_EQ(Texterkennung::lesefaktor(4000, 3000), 0.5);
    EXPECT_DOUBLE_EQ(Texterkennung::lesefaktor(500, 400), 4.0);
    EXPECT_DOUBLE_EQ(
        Texterkennung::lesefaktor(100, 10'000), 0.8); // 12 by the short side, capped at 8000 / 10000
}

TEST(Lesefaktor, IsOneUnlessBothSidesAreAboveOne) {
    EXPECT_DOUBLE_EQ(Texterkennung::lesefaktor(1, 500), 1.0);
    EXPECT_DOUBLE_EQ(Texterkennung::lesefaktor(500, 0), 1.0);
    EXPECT_DOUBLE_EQ(Texterkennung::lesefaktor(-5, 500), 1.0);
}
