#include "fenster/seiten.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using namespace quillmate;
using testing::HasSubstr;
using testing::Not;

TEST(Seiten, LoadingPageHasItsTextAndColours) {
    auto const seite = fenster::ladeseite();
    EXPECT_THAT(seite, HasSubstr(R"(<meta name="color-scheme" content="light">)"));
    EXPECT_THAT(seite, HasSubstr("html, body { margin: 0; height: 100%; }"));
    EXPECT_THAT(seite, HasSubstr("linear-gradient(180deg, #FCFEFC 0%, #EAF5ED 100%)"));
    EXPECT_THAT(seite, HasSubstr("display: grid; place-items: center;"));
    EXPECT_THAT(seite, HasSubstr("font: 13px/1.5 -apple-system, system-ui, sans-serif;"));
    EXPECT_THAT(seite, HasSubstr("color: rgb(107,115,112);"));
    EXPECT_THAT(seite, HasSubstr("<body>Quillmate &ndash; wird geladen &hellip;</body>"));
}

TEST(Seiten, ErrorPageHasItsTextsInOrder) {
    auto const seite = fenster::fehlerseite("Kein Netz");
    EXPECT_THAT(seite, HasSubstr(R"(<meta name="color-scheme" content="light">)"));
    EXPECT_THAT(seite, HasSubstr("linear-gradient(180deg, #fcfdfb 0%, #eef4ef 100%)"));
    EXPECT_THAT(
        seite, HasSubstr("font: 14px/1.6 -apple-system, system-ui, sans-serif; color: rgb(22,24,26);"));
    EXPECT_THAT(seite, HasSubstr("max-width: 34em; text-align: center; padding: 1.5rem;"));
    EXPECT_THAT(seite, HasSubstr(".leise { color: rgb(107,115,112); font-size: 13px; }"));
    EXPECT_THAT(
        seite, HasSubstr("<p><b>Quillmate ist gerade nicht erreichbar.</b></p>\n"
                         "<p>Diese App zeigt dieselbe Oberfl&auml;che wie im Browser und\n"
                         "     braucht daf&uuml;r eine Internetverbindung &ndash; ohne Netz\n"
                         "     gibt es nichts anzuzeigen.</p>\n"
                         "<p class=\"leise\">Kein Netz</p>\n"
                         "<p class=\"leise\">Men&uuml; &bdquo;Ablage &rarr; Neu laden&ldquo;\n"
                         "     (&#8984;R) versucht es erneut.</p>\n"));
}

TEST(Seiten, OnlyAmpersandsAndLessThanSignsAreEscaped) {
    EXPECT_THAT(fenster::fehlerseite("a<b & c>"), HasSubstr("<p class=\"leise\">a&lt;b &amp; c></p>"));
    EXPECT_THAT(fenster::fehlerseite("&lt; \"'"), HasSubstr("<p class=\"leise\">&amp;lt; \"'</p>"));
    EXPECT_THAT(fenster::fehlerseite("<script>alert(1)</script>"), Not(HasSubstr("<script")));
}

TEST(Seiten, AnEndlessDescriptionIsCut) {
    EXPECT_LT(fenster::fehlerseite(std::string(10'000'000, 'x')).size(), 10'000U);
    EXPECT_THAT(fenster::fehlerseite("\xFF"), HasSubstr("\xEF\xBF\xBD"));
}

TEST(Seiten, TheCrashPageSaysSomethingElse) {
    auto const seite = fenster::absturzseite("Der Anzeigeprozess ist <abgestürzt>");
    EXPECT_THAT(seite, HasSubstr("mehrmals abgest&uuml;rzt"));
    EXPECT_THAT(seite, HasSubstr("Der Anzeigeprozess ist &lt;abgestürzt>"));
    EXPECT_THAT(seite, HasSubstr("Ablage &rarr; Neu laden"));
    EXPECT_THAT(seite, Not(HasSubstr("nicht erreichbar")));
}

namespace {

std::string const vorKnopf = "(() => {\n  document.getElementById('qm-melde')?.remove();\n  const d = "
                             "document.createElement('div');\n  d.id = 'qm-melde';\n  d.style.cssText = "
                             "\"position:fixed;left:50%;bottom:20px;transform:translateX(-50%);z-index:"
                             "2147483000;background:#16181a;color:#"
                             "fff;padding:10px 16px;border-radius:8px;font:13px/1.4 "
                             "-apple-system,system-ui,sans-serif;box-shadow:0 2px 10px "
                             "rgba(0,0,0,.25);max-width:80vw\";\n  d.textContent = \"";
std::string const knopf =
    "  const k = document.createElement('button');\n  k.textContent = 'Im Finder zeigen';\n  k.style.cssText "
    "= "
    "'margin-left:12px;background:none;border:1px solid #fff6;'\n    + "
    "'color:#fff;border-radius:6px;padding:3px 9px;cursor:pointer;font:inherit';\n  k.onclick = () => "
    "window.webkit.messageHandlers.quillmate\n      .postMessage({aktion: 'zeigeDatei', id: 0});\n  "
    "d.appendChild(k);";
std::string const ende = "\n  document.body.appendChild(d);\n  setTimeout(() => d.remove(), 12000);\n})();";

} // namespace

TEST(Meldeskript, ScriptIsThePromisedTextToTheByte) {
    EXPECT_EQ(fenster::meldeskript("Text", false), vorKnopf + "Text\";\n  " + ende);
    EXPECT_EQ(fenster::meldeskript("Text", true), vorKnopf + "Text\";\n  " + knopf + ende);
}

TEST(Meldeskript, QuotesBackslashesAndLineBreaksDoNotBreakTheScript) {
    EXPECT_EQ(fenster::meldeskript("a\"b", false), vorKnopf + R"(a\"b)" + "\";\n  " + ende);
    EXPECT_EQ(fenster::meldeskript("a\\b", false), vorKnopf + R"(a\\b)" + "\";\n  " + ende);
    EXPECT_EQ(fenster::meldeskript("\\\"", false), vorKnopf + R"(\\\")" + "\";\n  " + ende);
    EXPECT_EQ(fenster::meldeskript("a\nb", false), vorKnopf + "a b\";\n  " + ende);
    EXPECT_EQ(fenster::meldeskript("a\r\nb", false), vorKnopf + "a  b\";\n  " + ende);
    EXPECT_EQ(fenster::meldeskript("„ü“ 'x' \xFF", false), vorKnopf + "„ü“ 'x' \xEF\xBF\xBD\";\n  " + ende);
}
