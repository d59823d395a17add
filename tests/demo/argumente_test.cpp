#include "demo/argumente.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace quillmate::demo {
namespace {

using Liste = std::vector<char const*>;

TEST(Argumente, EverythingCanBeTold) {
    auto const gelesen = liesArgumente(Liste{
        "--port", "8080", "--daten", "/tmp/x", "--ohne-texte", "--client", "-9223372036854775808", "--token",
        "a&b"});
    ASSERT_TRUE(std::holds_alternative<Argumente>(gelesen));
    auto const& argumente = std::get<Argumente>(gelesen);
    EXPECT_EQ(argumente.auftrag, Argumente::Auftrag::dienen);
    EXPECT_EQ(argumente.port, 8080);
    EXPECT_EQ(argumente.daten, "/tmp/x");
    EXPECT_TRUE(argumente.ohneTexte);
    EXPECT_EQ(argumente.kunde, INT64_MIN);
    EXPECT_EQ(argumente.token, "a&b");
}

TEST(Argumente, OnlyTheFolderMustBeTold) {
    auto const gelesen = liesArgumente(Liste{"--daten", "x"});
    ASSERT_TRUE(std::holds_alternative<Argumente>(gelesen));
    auto const& argumente = std::get<Argumente>(gelesen);
    EXPECT_EQ(argumente.port, 0);
    EXPECT_EQ(argumente.kunde, 1);
    EXPECT_EQ(argumente.token, "");
    EXPECT_FALSE(argumente.ohneTexte);
}

TEST(Argumente, MistakesAreNamed) {
    struct Fall {
        Liste argumente;
        char const* stichwort;
    };
    for (auto const& [argumente, stichwort] : std::vector<Fall>{
             {{}, "--daten"},
             {{"--port", "80"}, "--daten"},
             {{"--daten"}, "--daten"},
             {{"--daten", "x", "--port", "65536"}, "65536"},
             {{"--daten", "x", "--port", "-1"}, "-1"},
             {{"--daten", "x", "--port", "8x"}, "8x"},
             {{"--daten", "x", "--client", "9223372036854775808"}, "9223372036854775808"},
             {{"--daten", "x", "--client", ""}, "Mandantennummer"},
             {{"--daten", "x", "--token", ""}, "Sitzungsschlüssel"},
             {{"--daten", "x", "--token", "a b"}, "Sitzungsschlüssel"},
             {{"--daten", "x", "--quatsch"}, "--quatsch"}}) {
        auto const gelesen = liesArgumente(argumente);
        ASSERT_TRUE(std::holds_alternative<std::string>(gelesen)) << stichwort;
        EXPECT_THAT(std::get<std::string>(gelesen), testing::HasSubstr(stichwort));
    }
}

TEST(Argumente, HelpNeedsNothingElse) {
    EXPECT_EQ(std::get<Argumente>(liesArgumente(Liste{"--hilfe"})).auftrag, Argumente::Auftrag::hilfe);
}

} // namespace
} // namespace quillmate::demo
