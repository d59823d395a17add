#include "argumente.h"

#include <gtest/gtest.h>

#include <vector>

using namespace quillmate::suchlauf;

namespace {

std::string fehler;

std::optional<Argumente> lies(std::vector<char const*> worte) {
    worte.insert(worte.begin(), "quillmate-suchlauf");
    fehler.clear();
    return argumenteAus(worte, fehler);
}

} // namespace

TEST(SuchlaufArgumente, AFullCommandLineIsDecoded) {
    auto const a = lies(
        {"--server", "http://h/", "--client", "-7", "--token", "t", "--alles", "--fotos", "--nur-ordner", "k",
         "--hoechstens", "10000"});
    ASSERT_TRUE(a) << fehler;
    EXPECT_EQ(a->auftrag.zugang.server, "http://h"); // addresses are formed by appending
    EXPECT_EQ(a->auftrag.zugang.clientId, -7);
    EXPECT_EQ(a->auftrag.zugang.token, "t");
    EXPECT_TRUE(a->auftrag.alles);
    EXPECT_TRUE(a->auftrag.fotos);
    EXPECT_EQ(a->auftrag.nurOrdner, "k");
    EXPECT_EQ(a->auftrag.hoechstensBilder, 500);
}

TEST(SuchlaufArgumente, EachMistakeHasASentence) {
    std::vector<std::vector<char const*>> const falsche{
        {},
        {"--server"},
        {"--server", "h", "--client", "1", "--token", "t"},
        {"--server", "http://h", "--client", "eins", "--token", "t"},
        {"--server", "http://h", "--client", "99999999999999999999", "--token", "t"},
        {"--server", "http://h", "--token", "t"},
        {"--server", "http://h", "--client", "1"},
        {"--unsinn"}};
    for (auto const& worte : falsche) {
        EXPECT_FALSE(lies(worte));
        EXPECT_FALSE(fehler.empty());
    }
}

TEST(SuchlaufArgumente, HelpAndRememberingNeedNothingElse) {
    for (auto const* const wort : {"--hilfe", "--help", "-h"})
        EXPECT_TRUE(lies({wort})->hilfe);
    EXPECT_TRUE(lies({"--version"})->fassung);
    EXPECT_EQ(lies({"--merken", "/a"})->merken, "/a");
}
