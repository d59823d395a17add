#include "plattform_gtk/hauptrahmen.h"

#include <gtest/gtest.h>

#include <string>

namespace quillmate::plattform::gtk {
namespace {

std::string geheimnisVon(Hauptrahmenzeichen const& zeichen) {
    auto const skript = zeichen.skript();
    auto const stelle = skript.find("geheim = '") + 10;
    return skript.substr(stelle, skript.find('\'', stelle) - stelle);
}

TEST(Hauptrahmenzeichen, SecretsAreLongAndDifferForEachView) {
    Hauptrahmenzeichen const eins{"quillmate"};
    Hauptrahmenzeichen const zwei{"quillmate"};
    EXPECT_EQ(geheimnisVon(eins).size(), 32U);
    EXPECT_NE(geheimnisVon(eins), geheimnisVon(zwei));
}

TEST(Hauptrahmenzeichen, MessageWithTheSecretComesFromTheMainFrameAndLosesTheWrapping) {
    Hauptrahmenzeichen const zeichen{"quillmate"};
    auto const roh =
        "[\"" + geheimnisVon(zeichen) + R"(","https://a.example",{"aktion":"suchStand","id":1}])";
    auto const geprueft = zeichen.pruefen(roh);
    EXPECT_TRUE(geprueft.hauptrahmen);
    EXPECT_EQ(geprueft.ursprung, "https://a.example");
    EXPECT_EQ(geprueft.nachricht, R"({"aktion":"suchStand","id":1})");
}

TEST(Hauptrahmenzeichen, AnyOtherMessageIsAFramesAndStaysAsItIs) {
    Hauptrahmenzeichen const zeichen{"quillmate"};
    auto const anfang = "[\"" + geheimnisVon(zeichen) + "\"";
    for (std::string const& roh :
         {std::string{}, std::string{"null"}, std::string{R"({"aktion":"suchStand","id":1})"},
          std::string{R"(["0123456789abcdef0123456789abcdef","https://a.example",{}])"}, anfang, anfang + ",",
          anfang + ",\"", anfang + ",\"x\"", anfang + ",\"x\"]", anfang + ",\"x\",]"}) {
        auto const geprueft = zeichen.pruefen(roh);
        EXPECT_FALSE(geprueft.hauptrahmen && !geprueft.nachricht.empty()) << roh;
    }
}

TEST(Hauptrahmenzeichen, OriginAndAddressAgreeInSchemeHostAndPort) {
    EXPECT_TRUE(gehoertZu("https://a.example/uebersicht?x=1", "https://a.example"));
    EXPECT_TRUE(gehoertZu("https://A.Example:443/", "https://a.example"));
    EXPECT_TRUE(gehoertZu("http://127.0.0.1:8080/", "http://127.0.0.1:8080"));
    EXPECT_TRUE(gehoertZu("http://[::1]:8080/", "http://[::1]:8080"));
    EXPECT_FALSE(gehoertZu("http://a.example/", "https://a.example"));
    EXPECT_FALSE(gehoertZu("https://a.example:444/", "https://a.example"));
    EXPECT_FALSE(gehoertZu("https://a.example.b.example/", "https://a.example"));
    EXPECT_FALSE(gehoertZu("about:blank", "null"));
    EXPECT_FALSE(gehoertZu("", "null"));
    EXPECT_FALSE(gehoertZu("kein URL", ""));
}

TEST(Hauptrahmenzeichen, OnlyAWebPagesOriginThatNeedsNoQuotingIsWrittenIntoScripts) {
    EXPECT_EQ(ursprungVon("https://A.Example:443/x?y#z"), "https://a.example");
    EXPECT_EQ(ursprungVon("http://127.0.0.1:8080/"), "http://127.0.0.1:8080");
    EXPECT_EQ(ursprungVon("http://[::1]/"), "http://[::1]");
    EXPECT_EQ(ursprungVon("https://ä.example/"), "https://xn--4ca.example");
    for (auto const* const anderes :
         {"", "about:blank", "file:///etc/passwd", "data:text/html,x", "https://a\"+alert(1)+\"/",
          "https://a%22.example/", "kein URL"})
        EXPECT_EQ(ursprungVon(anderes), std::nullopt) << anderes;
}

} // namespace
} // namespace quillmate::plattform::gtk
