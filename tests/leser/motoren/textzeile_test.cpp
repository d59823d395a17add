#include "leser/motoren/textzeile.h"

#include <gtest/gtest.h>

namespace quillmate::leser::motoren {
namespace {

TEST(Rauschen, LinesBelowAConfidenceThatPrintNeverHasAreNoObservations) {
    std::vector<Textzeile> zeilen{
        {{{"Kaffee", {}, 0.9F}}, 0.9F}, {{{"eee", {}, 0.29F}}, 0.29F}, {{{"12,50", {}, 0.3F}}, 0.3F}};
    ohneRauschen(zeilen);
    ASSERT_EQ(zeilen.size(), 2U);
    EXPECT_EQ(zeilen[0].woerter.front().text, "Kaffee");
    EXPECT_EQ(zeilen[1].woerter.front().text, "12,50");
    EXPECT_NEAR(mittlereZuversicht(zeilen), 0.6F, 0.001F);
}

TEST(Rauschen, NothingButNoiseLeavesNothing) {
    std::vector<Textzeile> zeilen{{{{"mt", {}, 0.1F}}, 0.1F}, {{{"e", {}, 0.2F}}, 0.2F}};
    ohneRauschen(zeilen);
    EXPECT_TRUE(zeilen.empty());
}

} // namespace
} // namespace quillmate::leser::motoren
