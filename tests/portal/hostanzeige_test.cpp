#include "portal/hostanzeige.h"

#include <gtest/gtest.h>

#include <string>

namespace quillmate {
namespace {

TEST(Hostanzeige, AnAsciiHostStandsAsItIs) {
    for (auto const* const wirt :
         {"portal.example", "127.0.0.1", "::1", "a-b.c_d.example", "portal.example.", ""})
        EXPECT_EQ(portal::anzeigehost(wirt), wirt);
}

TEST(Hostanzeige, UmlautsAndTheNeighboursLettersAreReadable) {
    EXPECT_EQ(portal::anzeigehost("xn--mller-kva.example"), "müller.example");
    EXPECT_EQ(portal::anzeigehost("müller.example"), "müller.example");
    EXPECT_EQ(portal::anzeigehost("xn--caf-dma.example"), "café.example");
    EXPECT_EQ(portal::anzeigehost("xn--strae-oqa.example"), "straße.example");
}

TEST(Hostanzeige, LettersOfOtherAlphabetsStandInTheirAsciiForm) {
    // A Cyrillic "a" among Latin letters, and a word that is Cyrillic altogether.
    EXPECT_EQ(portal::anzeigehost("xn--pypal-4ve.example"), "xn--pypal-4ve.example");
    EXPECT_EQ(portal::anzeigehost("p\u0430ypal.example"), "xn--pypal-4ve.example");
    EXPECT_EQ(portal::anzeigehost("xn--80ak6aa92e.com"), "xn--80ak6aa92e.com");
    EXPECT_EQ(portal::anzeigehost("\u0430\u0440\u0440\u04cf\u0435.com"), "xn--80ak6aa92e.com");
}

TEST(Hostanzeige, LatinLettersThatPassForOthersStandInTheirAsciiForm) {
    EXPECT_EQ(portal::anzeigehost("m\u0131crosoft.example"), "xn--mcrosoft-tkb.example") << "dotless i";
    EXPECT_TRUE(portal::anzeigehost("\u00feaypal.example").starts_with("xn--")) << "thorn";
}

TEST(Hostanzeige, OneReadableLabelDoesNotMakeTheOthersReadable) {
    EXPECT_EQ(portal::anzeigehost("xn--mller-kva.xn--pypal-4ve.example"), "müller.xn--pypal-4ve.example");
}

TEST(Hostanzeige, WhatIsNoNameStaysWhatItIsWithoutControlCharacters) {
    EXPECT_EQ(portal::anzeigehost("xn--"), "xn--");
    EXPECT_EQ(portal::anzeigehost("xn--zzzzzzzzzzzz99999.example"), "xn--zzzzzzzzzzzz99999.example");
    EXPECT_EQ(portal::anzeigehost("a\nb.example"), "ab.example");
    EXPECT_FALSE(portal::anzeigehost("\xff\xfe.example").empty());
    EXPECT_EQ(portal::anzeigehost(std::string(5000, 'a')), std::string(5000, 'a'));
}

} // namespace
} // namespace quillmate
