#include "adapter/gtk/hauptrahmen.h"

#include <gtest/gtest.h>

#include <string>

namespace quillmate::adapter::gtk {
namespace {

std::string geheimnisVon(adapter::gtk::Hauptrahmenzeichen const& zeichen) {
    auto const skript = zeichen.skript();
    auto const stelle = skript.find("geheim = '") + 10;
    return skript.substr(stelle, skript.find('\'', stelle) - stelle);
}

TEST(Hauptrahmenzeichen, SecretsAreLongAndDifferForEachView) {
    adapter::gtk::Hauptrahmenzeichen const eins{"quillmate"};
    adapter::gtk::Hauptrahmenzeichen const zwei{"quillmate"};
    EXPECT_EQ(geheimnisVon(eins).size(), 32U);
    EXPECT_NE(geheimnisVon(eins), geheimnisVon(zwei));
}

TEST(Hauptrahmenzeichen, MessageWithTheSecretComesFromTheMainFrameAndLosesTheWrapping) {
    adapter::gtk::Hauptrahmenzeichen const zeichen{"quillmate"};
    auto const roh =
        "[\"" + geheimnisVon(zeichen) + R"(","https://a.example",{"aktion":"suchStand","id":1}])";
    auto const geprueft = zeichen.pruefen(roh);
    EXPECT_TRUE(geprueft.hauptrahmen);
    EXPECT_EQ(geprueft.ursprung, "https://a.example");
    EXPECT_EQ(geprueft.nachricht, R"({"aktion":"suchStand","id":1})");
}

TEST(Hauptrahmenzeichen, AnyOtherMessageIsAFramesAndStaysAsItIs) {
    adapter::gtk::Hauptrahmenzeichen const zeichen{"quillmate"};
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
    EXPECT_TRUE(adapter::gtk::gehoertZu("https://a.example/uebersicht?x=1", "https://a.example"));
    EXPECT_TRUE(adapter::gtk::gehoertZu("https://A.Example:443/", "https://a.example"));
    EXPECT_TRUE(adapter::gtk::gehoertZu("http://127.0.0.1:8080/", "http://127.0.0.1:8080"));
    EXPECT_TRUE(adapter::gtk::gehoertZu("http://[::1]:8080/", "http://[::1]:8080"));
    EXPECT_FALSE(adapter::gtk::gehoertZu("http://a.example/", "https://a.example"));
    EXPECT_FALSE(adapter::gtk::gehoertZu("https://a.example:444/", "https://a.example"));
    EXPECT_FALSE(adapter::gtk::gehoertZu("https://a.example.b.example/", "https://a.example"));
    EXPECT_FALSE(adapter::gtk::gehoertZu("about:blank", "null"));
    EXPECT_FALSE(adapter::gtk::gehoertZu("", "null"));
    EXPECT_FALSE(adapter::gtk::gehoertZu("kein URL", ""));
}

TEST(Hauptrahmenzeichen, OnlyAWebPagesOriginThatNeedsNoQuotingIsWrittenIntoScripts) {
    EXPECT_EQ(adapter::gtk::ursprungVon("https://A.Example:443/x?y#z"), "https://a.example");
    EXPECT_EQ(adapter::gtk::ursprungVon("http://127.0.0.1:8080/"), "http://127.0.0.1:8080");
    EXPECT_EQ(adapter::gtk::ursprungVon("http://[::1]/"), "http://[::1]");
    EXPECT_EQ(adapter::gtk::ursprungVon("https://ä.example/"), "https://xn--4ca.example");
    for (auto const* const anderes :
         {"", "about:blank", "file:///etc/passwd", "data:text/html,x", "https://a\"+alert(1)+\"/",
          "https://a%22.example/", "kein URL"})
        EXPECT_EQ(adapter::gtk::ursprungVon(anderes), std::nullopt) << anderes;
}

} // namespace
} // namespace quillmate::adapter::gtk
