// The service's pages, over real HTTP against the real process, and the texts they are made of.
#include "demo/dienstprozess.h"
#include "demo/hilfsordner.h"
#include "demo/seite_dateien.h"
#include "demo/webseite.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

namespace quillmate::demo::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

TEST(WebseiteTexte, HtmlIsEscapedInTextsAndAttributes) {
    EXPECT_EQ(alsHtml(R"(<a href="x">'&'</a>)"), "&lt;a href=&quot;x&quot;&gt;&#39;&amp;&#39;&lt;/a&gt;");
    EXPECT_EQ(alsHtml("Grüße \xFF"), "Grüße \xEF\xBF\xBD");
}

TEST(WebseiteTexte, JsonInAScriptElementCannotEndIt) {
    json const boese{{"token", "</script><!--<script>"}};
    auto const text = alsSkriptdaten(boese.dump());
    EXPECT_THAT(text, Not(HasSubstr("<")));
    EXPECT_EQ(json::parse(text), boese);
}

TEST(WebseiteTexte, ContentDispositionIsOneLineOfAsciiThatNamesOneFile) {
    EXPECT_EQ(
        inhaltslage(false, "Rechnung.pdf", "Beleg-1.pdf"),
        R"(inline; filename="Beleg-1.pdf"; filename*=UTF-8''Rechnung.pdf)");
    EXPECT_EQ(
        inhaltslage(true, "Übersicht \"März\".pdf", "Beleg-1.pdf"),
        R"(attachment; filename="Beleg-1.pdf"; filename*=UTF-8''%C3%9Cbersicht%20%22M%C3%A4rz%22.pdf)");
    EXPECT_THAT(inhaltslage(true, "../../etc/passwd", "x"), HasSubstr("UTF-8''passwd"));
    EXPECT_THAT(inhaltslage(true, R"(C:\Neu\a.pdf)", "x"), HasSubstr("UTF-8''a.pdf"));
    EXPECT_THAT(
        inhaltslage(true, "a\r\nSet-Cookie: b=c.pdf", "x"), HasSubstr("UTF-8''aSet-Cookie%3A%20b%3Dc.pdf"));
    for (std::string const unbrauchbar : {"", " ", "..", ".", ".verborgen", "ordner/", "\x01\x02"})
        EXPECT_EQ(
            inhaltslage(true, unbrauchbar, "Beleg-7.pdf"),
            R"(attachment; filename="Beleg-7.pdf"; filename*=UTF-8''Beleg-7.pdf)")
            << unbrauchbar;
    EXPECT_THAT(
        inhaltslage(true, std::string(5000, 'a') + ".pdf", "Beleg-7.pdf"), HasSubstr("UTF-8''Beleg-7.pdf"));
}

class WebseiteTest : public testing::Test {
protected:
    Hilfsordner ordner;
    Dienstprozess dienst{ordner.pfad("daten")};
    Klient klient;
    std::string const adresse = dienst.meldung().at("adresse").get<std::string>();
    std::string const token = dienst.meldung().at("token").get<std::string>();

    /// The pair that a browser would send back.
    static std::string keks(Antwort const& antwort) {
        auto const gesetzt = antwort.kopf("set-cookie");
        return "Cookie: " + gesetzt.substr(0, gesetzt.find(';'));
    }
    static std::string merkmal(std::string const& seite) {
        std::smatch treffer;
        return std::regex_search(seite, treffer, std::regex{"merkmal=([0-9a-f]+)"}) ? treffer[1].str() : "";
    }
    static json zugang(std::string const& seite) {
        std::smatch treffer;
        std::regex const muster{R"re(<script type="application/json" id="zugang">([^<]*)</script>)re"};
        return std::regex_search(seite, treffer, muster) ? json::parse(treffer[1].str(), nullptr, false)
                                                         : json{};
    }
};

TEST_F(WebseiteTest, OverviewIsGivenOnlyToTokenOrCookie) {
    for (std::string const frage : {"", "?token=", "?token=falsch", "?client=1", "?client=1&token=x"}) {
        auto const antwort = klient.hole(adresse + "/uebersicht" + frage);
        EXPECT_EQ(antwort.status, 401) << frage;
        EXPECT_THAT(antwort.koerper, Not(HasSubstr(token)));
        EXPECT_THAT(antwort.kopf("set-cookie"), IsEmpty());
        EXPECT_THAT(antwort.koerper, HasSubstr("Nicht angemeldet"));
    }
    auto const seite = klient.hole(dienst.url("/uebersicht", "&client=1"));
    ASSERT_EQ(seite.status, 200);
    EXPECT_EQ(klient.hole(adresse + "/uebersicht", keks(seite)).status, 200);
    EXPECT_EQ(klient.hole(adresse + "/uebersicht/", keks(seite)).status, 200);
    EXPECT_EQ(klient.hole(adresse + "/uebersicht", keks(seite) + "0").status, 401);
    EXPECT_EQ(klient.hole(adresse + "/uebersicht", "Cookie: quillmate_demo=1").status, 401);
    EXPECT_EQ(klient.hole(dienst.url("/uebersicht", "&client=2")).status, 404);
}

TEST_F(WebseiteTest, OverviewTellsClientTokenAndAddress) {
    EXPECT_EQ(
        zugang(klient.hole(dienst.url("/uebersicht")).koerper),
        (json{
            {"client_id", 1},
            {"token", token},
            {"server", adresse},
            {"portal", dienst.meldung().at("portal")}}));
}

TEST_F(WebseiteTest, TokenOfAnyCharactersCannotBreakOutOfThePage) {
    Hilfsordner const anderer;
    std::string const boese = R"(</script><script>alert("1")</script>&'%2F)";
    Dienstprozess const boeser{anderer.pfad(), {"--ohne-texte", "--token", boese}};
    auto const wo = boeser.meldung().at("adresse").get<std::string>();
    auto const seite =
        klient.hole(wo + "/uebersicht?token=%3C/script%3E%3Cscript%3Ealert(%221%22)%3C/script%3E%26'%252F");
    ASSERT_EQ(seite.status, 200);
    EXPECT_EQ(zugang(seite.koerper).at("token"), boese);
    EXPECT_THAT(seite.koerper, Not(HasSubstr("alert(\"1\")</script>")));
}

TEST_F(WebseiteTest, EveryPageAndFileHasItsTypeAndTheStrictHeaders) {
    std::vector<std::tuple<std::string, long, std::string>> wege{
        {"/uebersicht?token=" + token, 200, "text/html; charset=utf-8"},
        {"/uebersicht", 401, "text/html; charset=utf-8"},
        {"/?client=1&token=" + token, 303, ""},
        {"/bank?client=1&bank=ok", 200, "text/html; charset=utf-8"},
        {"/auth/google/login", 200, "text/html; charset=utf-8"},
        {"/auth/app/anmelden?merkmal=x", 403, "text/html; charset=utf-8"},
        {"/auth/enable-banking/start", 200, "text/html; charset=utf-8"},
    };
    for (auto const& datei : seitendateien()) {
        if (datei.name.ends_with(".html"))
            continue;
        auto const* const typ = datei.name.ends_with(".css")  ? "text/css; charset=utf-8"
                                : datei.name.ends_with(".js") ? "text/javascript; charset=utf-8"
                                                              : "image/svg+xml";
        wege.emplace_back("/seite/" + std::string{datei.name}, 200, typ);
    }
    for (auto const& [weg, status, typ] : wege) {
        auto const antwort = klient.hole(adresse + weg);
        EXPECT_EQ(antwort.status, status) << weg;
        if (!typ.empty()) {
            EXPECT_EQ(antwort.typ, typ) << weg;
        }
        EXPECT_THAT(
            antwort.kopf("content-security-policy"),
            AllOf(
                StartsWith("default-src 'none'; script-src 'self'; style-src 'self'; "),
                HasSubstr("frame-ancestors 'none'"), HasSubstr("base-uri 'none'"), Not(HasSubstr("unsafe"))))
            << weg;
        EXPECT_EQ(antwort.kopf("x-content-type-options"), "nosniff") << weg;
        EXPECT_EQ(antwort.kopf("referrer-policy"), "no-referrer") << weg;
        EXPECT_EQ(antwort.kopf("cache-control"), "no-store") << weg;
    }
}

TEST_F(WebseiteTest, TemplatesAndUnknownFilesAreNotServed) {
    for (std::string const weg :
         {"/seite/uebersicht.html", "/seite/karte.html", "/seite/", "/seite/..%2fseite.js", "/seite/x.js"})
        EXPECT_EQ(klient.hole(adresse + weg).status, 404) << weg;
}

TEST_F(WebseiteTest, RootLeadsToTheOverviewWithItsQuery) {
    auto const antwort = klient.hole(adresse + "/?client=1&token=a%2Bb");
    EXPECT_EQ(antwort.status, 303);
    EXPECT_EQ(antwort.kopf("location"), "/uebersicht?client=1&token=a%2Bb");
    EXPECT_EQ(klient.hole(adresse + "/").kopf("location"), "/uebersicht");
}

TEST_F(WebseiteTest, SignInFromTheProgramLeadsBackWithATicketThatIsGoodOnce) {
    auto const seite = klient.hole(dienst.url("/auth/google/login", "&app=1"));
    ASSERT_EQ(seite.status, 200);
    EXPECT_THAT(seite.koerper, HasSubstr("href=\"quillmate://anmeldung?merkmal="));
    EXPECT_THAT(seite.koerper, Not(HasSubstr(token)));
    auto const einloesen = adresse + "/auth/app/anmelden?merkmal=" + merkmal(seite.koerper);
    EXPECT_EQ(klient.holeNurKopf(einloesen).status, 403); // does not use it up
    auto const angemeldet = klient.hole(einloesen);
    EXPECT_EQ(angemeldet.status, 303);
    EXPECT_EQ(angemeldet.kopf("location"), "/uebersicht");
    EXPECT_EQ(klient.hole(adresse + "/uebersicht", keks(angemeldet)).status, 200);
    auto const nochmal = klient.hole(einloesen);
    EXPECT_EQ(nochmal.status, 403);
    EXPECT_THAT(nochmal.kopf("set-cookie"), IsEmpty());
    EXPECT_THAT(nochmal.koerper, HasSubstr("wurde schon benutzt"));
    for (std::string const frage : {"", "?merkmal=", "?merkmal=abc"})
        EXPECT_EQ(klient.hole(adresse + "/auth/app/anmelden" + frage).status, 403) << frage;
}

TEST_F(WebseiteTest, SignInMarkedTwiceAsFromTheProgramStillLeadsBack) {
    EXPECT_THAT(
        klient.hole(dienst.url("/auth/google/login", "&app=0&app=1")).koerper,
        HasSubstr("quillmate://anmeldung?"));
}

TEST_F(WebseiteTest, SignInInABrowserStaysThere) {
    auto const seite = klient.hole(dienst.url("/auth/google/login"));
    EXPECT_THAT(seite.koerper, HasSubstr("href=\"/auth/app/anmelden?merkmal="));
    EXPECT_THAT(seite.koerper, Not(HasSubstr("quillmate://")));
}

TEST_F(WebseiteTest, WhoeverIsSignedInNeedsNoTokenToSignTheProgramIn) {
    auto const seite = klient.hole(dienst.url("/uebersicht"));
    EXPECT_THAT(
        klient.hole(adresse + "/auth/google/login?app=1", keks(seite)).koerper,
        HasSubstr("quillmate://anmeldung?"));
}

TEST_F(WebseiteTest, StrangersAreAskedForTheTokenAndGetNoTicket) {
    auto const seite = klient.hole(adresse + "/auth/google/login?app=1");
    EXPECT_EQ(seite.status, 200);
    EXPECT_THAT(seite.koerper, AllOf(HasSubstr("name=\"token\""), HasSubstr("name=\"app\" value=\"1\"")));
    EXPECT_THAT(merkmal(seite.koerper), IsEmpty());
    auto const falsch = klient.hole(adresse + "/auth/google/login?app=1&token=falsch");
    EXPECT_EQ(falsch.status, 401);
    EXPECT_THAT(falsch.koerper, HasSubstr("Der Schlüssel stimmt nicht."));
    EXPECT_THAT(merkmal(falsch.koerper), IsEmpty());
    EXPECT_THAT(klient.hole(adresse + "/auth/google/login").koerper, Not(HasSubstr("name=\"app\"")));
}

TEST_F(WebseiteTest, BankConnectionReturnsToTheProgramOrToTheBankPage) {
    auto const ausProgramm = klient.hole(adresse + "/auth/enable-banking/start?client=1&app=1").koerper;
    EXPECT_THAT(ausProgramm, HasSubstr("href=\"quillmate://bank?client=1&amp;bank=ok\""));
    EXPECT_THAT(ausProgramm, HasSubstr("href=\"quillmate://bank?client=1&amp;bank=abgelehnt\""));
    EXPECT_THAT(
        klient.hole(adresse + "/auth/enable-banking/start?client=1").koerper,
        HasSubstr("href=\"/bank?client=1&amp;bank=ok\""));
    auto const boese =
        klient.hole(adresse + "/auth/enable-banking/start?app=1&client=%22%3E%3Cb%3E%26x").koerper;
    EXPECT_THAT(boese, HasSubstr("client=%22%3E%3Cb%3E%26x&amp;bank=ok"));
    EXPECT_THAT(boese, Not(HasSubstr("\"><b>")));
}

TEST_F(WebseiteTest, BankPageTellsTheOutcome) {
    EXPECT_THAT(klient.hole(adresse + "/bank?client=1&bank=ok").koerper, HasSubstr("Bank verbunden"));
    EXPECT_THAT(klient.hole(adresse + "/bank?client=1&bank=abgelehnt").koerper, HasSubstr("abgelehnt"));
    auto const boese =
        klient.hole(adresse + "/bank?client=1&bank=%3Cscript%3E" + std::string(500, 'x')).koerper;
    EXPECT_THAT(
        boese,
        AllOf(
            HasSubstr("&lt;script&gt;xx"), Not(HasSubstr("<script>")), Not(HasSubstr(std::string(60, 'x')))));
    EXPECT_EQ(klient.hole(adresse + "/bank?client=2&bank=ok").status, 404);
    EXPECT_EQ(klient.hole(adresse + "/bank").status, 404);
}

TEST_F(WebseiteTest, ReceiptIsShownInlineOrSavedAsAttachment) {
    ASSERT_EQ(
        klient
            .ladeHoch(
                dienst.url("/clients/1/local-receipts/upload"), "/a/Übersicht.pdf", "Übersicht.pdf",
                "%PDF-1.7\n")
            .status,
        200);
    ASSERT_EQ(
        klient.ladeHoch(dienst.url("/clients/1/local-receipts/upload"), "/a/x", "../\n\".pdf", "\x89PNG\r\n")
            .status,
        200);
    auto const gezeigt = klient.hole(dienst.url("/belege/1"));
    EXPECT_EQ(gezeigt.status, 200);
    EXPECT_EQ(gezeigt.typ, "application/pdf");
    EXPECT_EQ(
        gezeigt.kopf("content-disposition"),
        "inline; filename=\"Beleg-1.pdf\"; filename*=UTF-8''%C3%9Cbersicht.pdf");
    EXPECT_EQ(gezeigt.kopf("x-content-type-options"), "nosniff");
    EXPECT_THAT(
        klient.hole(dienst.url("/belege/1", "&anhang=1")).kopf("content-disposition"),
        StartsWith("attachment; "));
    auto const zweiter = klient.hole(dienst.url("/belege/2", "&anhang=1"));
    EXPECT_EQ(
        zweiter.kopf("content-disposition"),
        "attachment; filename=\"Beleg-2.png\"; filename*=UTF-8''%22.pdf");
    EXPECT_EQ(klient.hole(adresse + "/belege/1").status, 401);
}

TEST_F(WebseiteTest, SelfRunIsPrintedAsOneLineAndKept) {
    auto const url = dienst.url("/demo/selbstlauf");
    EXPECT_EQ(klient.hole(url).status, 404);
    EXPECT_EQ(klient.sende(url, R"({"ordner":1})").status, 422);
    EXPECT_EQ(klient.sende(url, "[]").status, 400);
    EXPECT_EQ(klient.sende(adresse + "/demo/selbstlauf", R"({"erfolg":true})").status, 401);
    EXPECT_EQ(klient.sende(url, R"({"erfolg":false,"grund":"zu\nspät","sekunden":300.2})").status, 200);
    EXPECT_EQ(dienst.naechsteZeile(), "Selbstlauf: gescheitert nach 300 s – zu·spät");
    EXPECT_EQ(klient.hole(url).json().at("grund"), "zu\nspät");
    EXPECT_EQ(
        klient
            .sende(
                url,
                R"({"erfolg":true,"sekunden":9,"ordner":1,"dateien":12,"hochgeladen":5,"belege":5,"zugeordnet":4})")
            .status,
        200);
    EXPECT_THAT(
        dienst.naechsteZeile(),
        StartsWith("Selbstlauf: erfolgreich nach 9 s – 1 Ordner gemerkt, 12 Dateien"));
    auto const stand = klient.hole(url).json();
    EXPECT_EQ(stand.at("erfolg"), true);
    EXPECT_EQ(stand.at("zugeordnet"), 4);
    EXPECT_EQ(stand.at("grund"), "");
}

} // namespace
} // namespace quillmate::demo::test
