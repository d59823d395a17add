#include "bruecke/anfrage.h"
#include "grundlage/prozesswerte.h"
#include "werkzeug/fensterwerk.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <string_view>

using namespace quillmate;

namespace {

std::optional<std::int64_t> idVon(std::string_view zahl) {
    auto const nachricht = bruecke::entschluesseln(R"({"aktion":"x","id":)" + std::string{zahl} + "}");
    return nachricht ? std::optional{nachricht->id} : std::nullopt;
}

bruecke::Argumente argumenteAus(std::string_view rest) {
    auto const nachricht = bruecke::entschluesseln(R"({"aktion":"x","id":1,)" + std::string{rest} + "}");
    EXPECT_TRUE(nachricht) << rest;
    return nachricht ? nachricht->argumente : bruecke::Argumente{};
}

Adresse start(std::string_view text) {
    return Adresse::lesen(text).value();
}

bool darf(std::string const& dokument, std::string_view startseite = "https://quillmate.example/uebersicht") {
    return bruecke::darfSprechen(
        {.ursprung = werkzeug::ursprungVon(dokument), .dokument = dokument}, start(startseite));
}

std::string wiederholt(std::string_view teil, std::size_t anzahl) {
    std::string text;
    text.reserve(teil.size() * anzahl);
    for (std::size_t i = 0; i < anzahl; ++i)
        text += teil;
    return text;
}

} // namespace

TEST(Anfrage, AMessageIsAnObjectWithActionAndNumber) {
    auto const nachricht = bruecke::entschluesseln(R"({"aktion":"suchStand","id":7})");
    ASSERT_TRUE(nachricht);
    EXPECT_EQ(nachricht->aktion, "suchStand");
    EXPECT_EQ(nachricht->id, 7);
}

TEST(Anfrage, AnythingElseIsNotUnderstood) {
    for (auto const* const json :
         {"",
          " ",
          "7",
          "null",
          "true",
          "\"aktion\"",
          "[]",
          R"([{"aktion":"x","id":1}])",
          "{}",
          R"({"aktion":"x"})",
          R"({"id":1})",
          R"({"aktion":"x","id":"7"})",
          R"({"aktion":"x","id":null})",
          R"({"aktion":"x","id":true})",
          R"({"aktion":"x","id":[1]})",
          R"({"aktion":"x","id":{"id":1}})",
          R"({"aktion":7,"id":1})",
          R"({"aktion":null,"id":1})",
          R"({"aktion":["x"],"id":1})",
          R"({"innen":{"aktion":"x","id":1}})",
          R"({"aktion":"x","id":1)",
          R"({"aktion":"x","id":1}})",
          R"({"aktion":"x","id":1} {})",
          R"({"aktion":"x","id":NaN})",
          R"({"aktion":"x","id":1,})",
          R"({"aktion":"x","id":01})",
          R"({"aktion":"x","id":1e999})",
          "{\"aktion\":\"\xFF\",\"id\":1}"})
        EXPECT_FALSE(bruecke::entschluesseln(json)) << json;
    EXPECT_FALSE(bruecke::entschluesseln(std::string_view{"{\"aktion\":\"x\",\0\"id\":1}", 22}));
}

TEST(Anfrage, AnIntegerIsANumberWithoutFractionHoweverItIsWritten) {
    EXPECT_EQ(idVon("7"), 7);
    EXPECT_EQ(idVon("7.0"), 7);
    EXPECT_EQ(idVon("70e-1"), 7);
    EXPECT_EQ(idVon("7e2"), 700);
    EXPECT_EQ(idVon("-3"), -3);
    EXPECT_EQ(idVon("0"), 0);
    EXPECT_EQ(idVon("-0.0"), 0);
    EXPECT_FALSE(idVon("7.5"));
    EXPECT_FALSE(idVon("1e-5"));
}

TEST(Anfrage, IntegersMustFitInto64SignedBits) {
    EXPECT_EQ(idVon("9007199254740993"), 9007199254740993); // 2^53 + 1
    EXPECT_EQ(idVon("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(idVon("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(idVon("-9223372036854775808.0"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(idVon("9223372036854774784.0"), 9223372036854774784); // the last double below 2^63
    EXPECT_FALSE(idVon("9223372036854775808"));
    EXPECT_FALSE(idVon("9223372036854775808.0"));
    EXPECT_FALSE(idVon("18446744073709551615"));
    EXPECT_FALSE(idVon("18446744073709551616"));
    EXPECT_FALSE(idVon("-9223372036854777856")); // the first double below -2^63
    EXPECT_FALSE(idVon("1e30"));
    EXPECT_FALSE(idVon("-1e30"));
    EXPECT_FALSE(idVon("1e308"));
}

TEST(Anfrage, OfTwoValuesForOneKeyTheLastCounts) {
    auto const nachricht = bruecke::entschluesseln(R"({"aktion":"a","id":1,"id":2,"aktion":"b"})");
    ASSERT_TRUE(nachricht);
    EXPECT_EQ(nachricht->aktion, "b");
    EXPECT_EQ(nachricht->id, 2);
    EXPECT_FALSE(bruecke::entschluesseln(R"({"aktion":"a","id":1,"id":"2"})"));
    EXPECT_FALSE(bruecke::entschluesseln(R"({"aktion":"a","id":1,"id":{}})"));
}

TEST(Anfrage, AValueOfAnotherTypeCountsAsAbsent) {
    auto const argumente = argumenteAus(
        R"("token":7,"client_id":"7","alles":1,"fotos":"true","stichworte":"wort","server":null,"datum":["x"])");
    EXPECT_FALSE(argumente.text("token"));
    EXPECT_FALSE(argumente.ganzzahl("client_id"));
    EXPECT_FALSE(argumente.wahr("alles"));
    EXPECT_FALSE(argumente.wahr("fotos"));
    EXPECT_EQ(argumente.liste("stichworte"), bruecke::Argumente::Liste{});
    EXPECT_FALSE(argumente.text("server"));
    EXPECT_FALSE(argumente.text("datum"));
}

TEST(Anfrage, ArgumentsAreReadFromTheTopOfTheMessageOnly) {
    auto const argumente = argumenteAus(R"("innen":{"token":"x","tiefer":{"client_id":7}},"alles":true)");
    EXPECT_FALSE(argumente.text("token"));
    EXPECT_FALSE(argumente.ganzzahl("client_id"));
    EXPECT_TRUE(argumente.wahr("alles"));
}

TEST(Anfrage, EmptyTextsAreTextsButNotNonEmptyOnes) {
    auto const argumente = argumenteAus(R"("token":"","kennung":"a")");
    EXPECT_EQ(argumente.text("token"), "");
    EXPECT_FALSE(argumente.nichtleererText("token"));
    EXPECT_EQ(argumente.nichtleererText("kennung"), "a");
}

TEST(Anfrage, AListHoldsTextsAndNothingElse) {
    EXPECT_EQ(
        argumenteAus(R"("stichworte":["a","","ü"])").liste("stichworte"),
        (bruecke::Argumente::Liste{"a", "", "ü"}));
    EXPECT_EQ(argumenteAus(R"("stichworte":[])").liste("stichworte"), bruecke::Argumente::Liste{});
    for (auto const* const inhalt :
         {R"(["a",1])", R"(["a",null])", R"(["a",true,"b"])", R"(["a",["b"]])", R"([["a"]])",
          R"([{"a":"b"},"c"])", R"([1.5,"a"])", R"({"0":"a"})"})
        EXPECT_EQ(
            argumenteAus(R"("stichworte":)" + std::string{inhalt}).liste("stichworte"),
            bruecke::Argumente::Liste{})
            << inhalt;
}

TEST(Anfrage, AListAfterABrokenOneIsReadAgain) {
    auto const argumente = argumenteAus(R"("stichworte":["a",[1]],"betrag_texte":["1,00"])");
    EXPECT_EQ(argumente.liste("stichworte"), bruecke::Argumente::Liste{});
    EXPECT_EQ(argumente.liste("betrag_texte"), bruecke::Argumente::Liste{"1,00"});
}

TEST(Anfrage, AListTooLongToBeMeantIsRefusedAndNotKept) {
    auto const grenze = bruecke::Argumente::hoechsteListe;
    auto const liste = [](std::size_t anzahl) {
        return R"("stichworte":["x")" + wiederholt(R"(,"x")", anzahl - 1) + "]";
    };
    ASSERT_TRUE(argumenteAus(liste(grenze)).liste("stichworte"));
    EXPECT_EQ(argumenteAus(liste(grenze)).liste("stichworte")->size(), grenze);
    EXPECT_FALSE(argumenteAus(liste(grenze + 1)).liste("stichworte"));
    EXPECT_FALSE(argumenteAus(liste(1'000'000)).liste("stichworte"));
}

TEST(Anfrage, DepthAndBreadthOfWhatNobodyAsksForCostNothing) {
    constexpr std::size_t zehnMegabyte = 10'000'000;
    // What costs more than a look at each byte runs into the test program's time limit.
    auto const tief = R"({"aktion":"x","x":)" + std::string(zehnMegabyte / 2, '[') +
                      std::string(zehnMegabyte / 2, ']') + R"(,"id":1})";
    EXPECT_EQ(bruecke::entschluesseln(tief).value().id, 1);
    auto const tiefeObjekte = R"({"aktion":"x","stichworte":)" + wiederholt(R"({"a":)", zehnMegabyte / 6) +
                              "1" + std::string(zehnMegabyte / 6, '}') + R"(,"id":1})";
    EXPECT_EQ(
        bruecke::entschluesseln(tiefeObjekte).value().argumente.liste("stichworte"),
        bruecke::Argumente::Liste{});
    auto const breit = R"({"aktion":"x","id":1)" + wiederholt(R"(,"abc":[1,2])", zehnMegabyte / 12) + "}";
    EXPECT_EQ(bruecke::entschluesseln(breit).value().id, 1);
    auto const langerText = R"({"aktion":"x","id":1,"token":")" + std::string(zehnMegabyte, 'a') + "\"}";
    EXPECT_EQ(
        bruecke::entschluesseln(langerText).value().argumente.text("token").value().size(), zehnMegabyte);
    EXPECT_FALSE(bruecke::entschluesseln(std::string(zehnMegabyte, '[')));
    EXPECT_FALSE(bruecke::entschluesseln(std::string(zehnMegabyte, '"')));
}

TEST(Anfrage, AMessageBeyondTheLimitIsNotLookedAt) {
    std::string const anfang = R"({"aktion":"x","id":1,"token":")";
    auto const genau = anfang + std::string(bruecke::hoechsteNachricht - anfang.size() - 2, 'a') + "\"}";
    ASSERT_EQ(genau.size(), bruecke::hoechsteNachricht);
    EXPECT_TRUE(bruecke::entschluesseln(genau));
    EXPECT_FALSE(bruecke::entschluesseln(genau + " "));
}

TEST(Anfrage, HalfASurrogatePairBecomesTheReplacementCharacter) {
    struct Fall {
        std::string_view json;
        std::string_view text;
    };
    for (auto const& [json, text] :
         {Fall{R"(a\ud83d)", "a\xEF\xBF\xBD"}, Fall{R"(\ud83d)", "\xEF\xBF\xBD"},
          Fall{R"(\udE00x)", "\xEF\xBF\xBDx"}, Fall{R"(\ud83d\ud83d\ude00)", "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
          Fall{R"(\uD83D\uDE00\uDE00)", "\xF0\x9F\x98\x80\xEF\xBF\xBD"},
          Fall{R"(\ud83d\u0041)", "\xEF\xBF\xBD\x41"}, Fall{R"(\\ud83d\n)", "\\ud83d\n"},
          Fall{R"(\\\ud83d)", "\\\xEF\xBF\xBD"}}) {
        auto const nachricht =
            bruecke::entschluesseln(R"({"aktion":"a","id":1,"name":")" + std::string{json} + "\"}");
        ASSERT_TRUE(nachricht) << json;
        EXPECT_EQ(nachricht->argumente.text("name"), text) << json;
    }
    EXPECT_EQ(bruecke::entschluesseln(R"({"aktion":"\udc00","id":1})")->aktion, "\xEF\xBF\xBD");
}

TEST(Anfrage, RandomBytesNeverDoMoreThanBeingRefused) {
    std::mt19937 zufall{4711};
    std::string const gut =
        R"({"aktion":"gezieltSuchen","id":3,"stichworte":["a","b"],"betrag_texte":["1,00"],"client_id":5.0})";
    std::uniform_int_distribution<int> byte{0, 255};
    for (int i = 0; i < 20'000; ++i) {
        auto text = gut;
        for (int n = 0; n <= i % 4; ++n)
            text[zufall() % text.size()] = static_cast<char>(byte(zufall));
        auto const laenge = i % 2 == 0 ? text.size() : zufall() % text.size();
        auto const nachricht = bruecke::entschluesseln(text.substr(0, laenge));
        EXPECT_LE(nachricht ? nachricht->aktion.size() : 0, laenge);
    }
}

TEST(Anfrage, PagesOfOwnHostsMaySpeak) {
    for (auto const& wirt : eigeneHosts()) {
        EXPECT_TRUE(darf("https://" + wirt + "/uebersicht"));
        EXPECT_TRUE(darf("https://" + wirt));
        EXPECT_TRUE(darf("https://" + wirt + "/x?y#z"));
    }
}

TEST(Anfrage, OwnHostsMaySpeakOnlyOverHttpsAndTheUsualPort) {
    for (auto const& wirt : eigeneHosts()) {
        EXPECT_FALSE(darf("http://" + wirt + "/uebersicht"));
        EXPECT_FALSE(darf("https://" + wirt + ":8443/uebersicht"));
        EXPECT_FALSE(darf("ftp://" + wirt + "/uebersicht"));
    }
}

TEST(Anfrage, WhoeverHasAnotherOriginThanTheShownDocumentMayNotSpeak) {
    constexpr char const* dokument = "https://quillmate.example/uebersicht";
    for (auto const* const ursprung :
         {"", "null", "https://evil.test", "http://quillmate.example", "https://quillmate.example:8443",
          "https://www.quillmate.example", "https://quillmate.example/",
          "https://quillmate.example.evil.test"})
        EXPECT_FALSE(bruecke::darfSprechen({.ursprung = ursprung, .dokument = dokument}, start(dokument)))
            << ursprung;
    EXPECT_FALSE(bruecke::darfSprechen(
        {.ursprung = "https://quillmate.example", .dokument = "https://evil.test/"}, start(dokument)));
    EXPECT_TRUE(bruecke::darfSprechen(
        {.ursprung = "https://quillmate.example", .dokument = dokument}, start(dokument)));
}

TEST(Anfrage, PagesOfTheStartPagesHostAndPortMaySpeak) {
    EXPECT_TRUE(darf("http://127.0.0.1:4711/uebersicht", "http://127.0.0.1:4711/uebersicht"));
    EXPECT_TRUE(darf("http://127.0.0.1:4711/anderes", "http://127.0.0.1:4711/uebersicht"));
    EXPECT_FALSE(darf("http://127.0.0.1:4712/uebersicht", "http://127.0.0.1:4711/uebersicht"));
    EXPECT_FALSE(darf("http://127.0.0.2:4711/uebersicht", "http://127.0.0.1:4711/uebersicht"));
    EXPECT_FALSE(darf("http://localhost:4711/uebersicht", "http://127.0.0.1:4711/uebersicht"));
}

TEST(Anfrage, AMissingPortIsTheSchemesOwn) {
    EXPECT_TRUE(darf("https://dienst.test/", "https://dienst.test:443/"));
    EXPECT_TRUE(darf("http://dienst.test/", "http://dienst.test:80/"));
    EXPECT_FALSE(darf("http://dienst.test/", "https://dienst.test/"));
    EXPECT_FALSE(darf("https://dienst.test/", "http://dienst.test/"));
    EXPECT_FALSE(darf("eigen://dienst.test/", "https://dienst.test/"));
    EXPECT_FALSE(darf("https://dienst.test/", "eigen://dienst.test/"));
    EXPECT_TRUE(darf("eigen://dienst.test/", "eigen://dienst.test/x"));
    EXPECT_FALSE(darf("eigen://dienst.test/", "anders://dienst.test/x"));
}

TEST(Anfrage, OtherPagesMayNotSpeak) {
    for (auto const* const dokument :
         {"",
          "about:blank",
          "about:srcdoc",
          "https://evil.example/",
          "https://sub.quillmate.example/",
          "https://quillmate.example.evil.test/",
          "https://quillmate.example@evil.test/",
          "https://evil.test/quillmate.example",
          "https://evil.test/?https://quillmate.example/",
          "https://evil.test#@quillmate.example/",
          "https://evil.test\\@quillmate.example/",
          "https://quillmate.example./",
          "https://quillmate.example:99999/",
          "data:text/html,quillmate.example",
          "blob:https://quillmate.example/1234",
          "file:///quillmate.example",
          "javascript:alert(1)",
          "https:quillmate.example/",
          "https:/quillmate.example/",
          "quillmate.example",
          "//quillmate.example/",
          "null"})
        EXPECT_FALSE(darf(dokument)) << dokument;
}

TEST(Anfrage, AStartPageWithoutHostOpensTheBridgeToNobody) {
    EXPECT_FALSE(darf("file:///tmp/seite.html", "file:///tmp/seite.html"));
    EXPECT_FALSE(darf("about:blank", "about:blank"));
}
