#include "grundlage/adresse.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

using namespace quillmate;

namespace {

Adresse gut(std::string_view text) {
    auto const adresse = Adresse::lesen(text);
    EXPECT_TRUE(adresse) << text;
    return adresse.value_or(Adresse::lesen("about:nichts").value());
}

/// The one form of an address, or "-".
std::string form(Ergebnis<Adresse> const& adresse) {
    return adresse ? adresse->text() : "-";
}

} // namespace

// Each of these was read in different ways by different readers: hosts that a browser, libcurl and a splitter by RFC 3986
// did not agree about. Each has one verdict now.
TEST(Adresse, WhatReadersDisagreeAboutHasOneVerdict) {
    struct Zeile {
        char const* text;
        char const* form;
    };
    Zeile const zeilen[]{
        // No way to hide the host.
        {R"(https://q\@f/)", "-"},
        {R"(https://q.example\.f.example/)", "-"},
        {R"(https:\\q.example\)", "-"},
        {"https://%71uillmate.example/", "-"},
        {"https:/x/", "-"},
        {"https:x/", "-"},
        {"https:///x/", "-"},
        {"https:////x/", "-"},
        {"https://", "-"},
        {"https:", "-"},
        {"https://?x", "-"},
        {"https://#x", "-"},
        {"https://:443/", "-"},
        {"https://a@b@h/", "-"},
        {"https://a@h/", "-"},
        {"https://a:b@h/", "-"},
        {"https://@h/", "-"},
        {"http://127.0.0.1@fremd.example/", "-"},
        {"http://fremd.example#@127.0.0.1/", "http://fremd.example#@127.0.0.1/"},
        {"http://fremd.example?@127.0.0.1/", "http://fremd.example?@127.0.0.1/"},
        {"http://fremd.example/@127.0.0.1/", "http://fremd.example/@127.0.0.1/"},
        {"https://h;x/", "-"},
        {"https://h,x/", "-"},
        {"https://h!x/", "-"},
        {"https://h&x/", "-"},
        {"https://h=x/", "-"},
        {"https://h\tx/", "-"},
        {"https://h\nx/", "-"},
        {" https://h/", "-"},
        {"\thttps://h/", "-"},
        {"https://h/ ", "-"},
        {"https://h/\n", "-"},
        {"https:// h/", "-"},
        {"https://h /", "-"},
        {"ht\ttps://h/", "-"},
        {"h ttps://h/", "-"},
        // Brackets and IPv6.
        {"http://[", "-"},
        {"http://[]/", "-"},
        {"http://]/", "-"},
        {"http://[::1/", "-"},
        {"http://[::1]x/", "-"},
        {"http://[::1]x:80/", "-"},
        {"http://x[::1]/", "-"},
        {"http://::1/", "-"},
        {"http://[fe80::1%25eth0]/", "-"},
        {"http://[fe80::1%eth0]/", "-"},
        {"http://[::1]/", "http://[::1]/"},
        {"http://[0:0:0:0:0:0:0:1]:80/", "http://[::1]/"},
        {"http://[::FFFF:127.0.0.1]/", "http://[::ffff:7f00:1]/"},
        {"http://[1:0:0:2:0:0:0:3]/", "http://[1:0:0:2::3]/"},
        {"http://[1:0:2:3:4:5:6:7]/", "http://[1:0:2:3:4:5:6:7]/"},
        {"http://[1::]/", "http://[1::]/"},
        {"http://[::]/", "http://[::]/"},
        // Numbers that some take for IPv4.
        {"http://127.0.0.1/", "http://127.0.0.1/"},
        {"http://2130706433/", "-"},
        {"http://0x7f.1/", "-"},
        {"http://0x7F000001/", "-"},
        {"http://0x/", "-"},
        {"http://127.1/", "-"},
        {"http://0177.0.0.1/", "-"},
        {"http://127.0.0.01/", "-"},
        {"http://127.0.0.1./", "-"},
        {"http://127.0.0.256/", "-"},
        {"http://1.2.3.4.5/", "-"},
        {"http://a.1/", "-"},
        {"http://127.0.0.1.fremd.example/", "http://127.0.0.1.fremd.example/"},
        {"http://１２７.0.0.1/", "http://127.0.0.1/"},
        // Ports.
        {"https://h:65536/", "-"},
        {"https://h:99999999999999999999/", "-"},
        {"https://h:8a/", "-"},
        {"https://h:-1/", "-"},
        {"https://h:+1/", "-"},
        {"https://h: 1/", "-"},
        {"https://h:0/", "-"},
        {"https://h:1:2/", "-"},
        {"https://h:/", "https://h/"},
        {"https://h:0443/", "https://h/"},
        {"https://h:443/", "https://h/"},
        {"http://h:443/", "http://h:443/"},
        {"http://h:80?x", "http://h?x"},
        // Names.
        {"HTTPS://Quillmate.EXAMPLE/A", "https://quillmate.example/A"},
        {"https://quillmate.example./", "https://quillmate.example./"},
        {"https://quillmate.example../", "-"},
        {"https://.quillmate.example/", "-"},
        {"https://quillmate..example/", "-"},
        {"https://./", "-"},
        {"https://a_b.example/", "https://a_b.example/"},
        {"https://müller.example/", "https://xn--mller-kva.example/"},
        {"https://MÜLLER.example/", "https://xn--mller-kva.example/"},
        {"https://straße.example/", "https://xn--strae-oqa.example/"},
        {"https://quillmate。example/", "https://quillmate.example/"},
        {"https://quill\u00ADmate.example/", "https://quillmate.example/"},
        {"https://xn--mller-kva.example/", "https://xn--mller-kva.example/"},
        {"https://xn--a.example/", "-"},
        {"https://\xFF.example/", "-"},
        {"https://a\u2044b.example/", "https://xn--ab-c6t.example/"},
        {"https://℀.example/", "-"},
        // Schemes.
        {"httpx://quillmate.example/", "httpx://quillmate.example/"},
        {"http+unix://quillmate.example/", "http+unix://quillmate.example/"},
        {"://h/", "-"},
        {"//h/", "-"},
        {"1http://h/", "-"},
        {"ü:x", "-"},
        {"h/a:b", "-"},
        {"quillmate.example", "-"},
        {"", "-"},
        {":", "-"},
        // What is behind the host.
        {"https://h/a/../b/./c", "https://h/b/c"},
        {"https://h/../../a", "https://h/a"},
        {"https://h", "https://h"},
        {"https://h?", "https://h?"},
        {"https://h#", "https://h#"},
        {"https://h/%4", "-"},
        {"https://h/%zz", "-"},
        {"https://h/ä", "-"},
        {"https://h/a|b", "-"},
        {"https://h/?a\\b", "-"},
        {"https://h/a//b", "https://h/a//b"},
    };
    for (auto const& zeile : zeilen)
        EXPECT_EQ(form(Adresse::lesen(zeile.text)), zeile.form) << zeile.text;
}

TEST(Adresse, AnotherSchemeWithTheSameHostIsNoWebAddress) {
    for (auto const* const text :
         {"httpx://quillmate.example/", "http+unix://quillmate.example/", "ftp://quillmate.example/",
          "quillmate://quillmate.example/", "blob:https://quillmate.example/1"}) {
        EXPECT_FALSE(gut(text).istWeb()) << text;
        EXPECT_FALSE(gut(text).ursprung()) << text;
    }
}

TEST(Adresse, ItsLengthIsBounded) {
    auto const mitLaenge = [](std::size_t n) {
        return "https://h/" + std::string(n - 10, 'a');
    };
    EXPECT_TRUE(Adresse::lesen(mitLaenge(10'000)));
    EXPECT_TRUE(Adresse::vomMotor(mitLaenge(Adresse::hoechsteLaenge)));
    EXPECT_EQ(Adresse::lesen(mitLaenge(Adresse::hoechsteLaenge + 1)).error().art, Fehlerart::zuGross);
    EXPECT_EQ(Adresse::vomMotor(mitLaenge(10'000'000)).error().art, Fehlerart::zuGross);
    EXPECT_FALSE(Adresse::getippt(mitLaenge(10'000)));
    EXPECT_FALSE(Adresse::lesen("https://" + std::string(10'000, 'a') + "/"));
    EXPECT_FALSE(Adresse::lesen("https://" + std::string(64, 'a') + ".example/"));
}

TEST(Adresse, ARefusalRepeatsNothingOfWhatMayBeSecret) {
    EXPECT_EQ(
        Adresse::lesen("https://ich:geheim@h/?token=geheim").error().text().find("geheim"),
        std::string::npos);
}

TEST(Adresse, GivesItsParts) {
    auto const adresse = gut("HTTPS://Host:1/a%20b/?x=%41&y#z?");
    EXPECT_EQ(adresse.schema(), "https");
    EXPECT_EQ(adresse.wirt(), "host");
    EXPECT_EQ(adresse.anschluss(), 1);
    EXPECT_EQ(adresse.pfad(), "/a%20b/");
    EXPECT_EQ(adresse.lesbarerPfad(), "/a b/");
    EXPECT_EQ(adresse.abfrage(), "x=%41&y");
    EXPECT_EQ(adresse.bruchstueck(), "z?");
    EXPECT_FALSE(gut("https://h:443/").anschluss());
    EXPECT_EQ(gut("https://h/").wirksamerAnschluss(), 443);
    EXPECT_EQ(gut("http://h/").wirksamerAnschluss(), 80);
    EXPECT_EQ(gut("http://h:443/").wirksamerAnschluss(), 443);
    EXPECT_EQ(gut("https://h?").abfrage(), "");
    EXPECT_EQ(gut("https://h?").pfad(), "");
    EXPECT_EQ(gut("https://h?q=//a/b").wirt(), "h");
}

TEST(Adresse, AnOpaqueAddressIsKeptAsItWasWritten) {
    auto const rueckweg = gut("Quillmate://Bank?client=7#x");
    EXPECT_EQ(rueckweg.text(), "Quillmate://Bank?client=7#x");
    EXPECT_EQ(rueckweg.schema(), "quillmate");
    EXPECT_EQ(rueckweg.wirt(), "Bank");
    EXPECT_EQ(rueckweg.pfad(), "");
    EXPECT_EQ(rueckweg.abfrage(), "client=7");
    EXPECT_EQ(rueckweg.bruchstueck(), "x");
    EXPECT_FALSE(rueckweg.wirksamerAnschluss());
    EXPECT_EQ(gut("eigen://a:1/").wirksamerAnschluss(), 1);
    EXPECT_EQ(gut("about:blank?x").pfad(), "blank");
    for (auto const* const text :
         {"about:blank", "mailto:a@b.de", "data:text/html,x", "file:///tmp/a", "blob:https://a/b",
          "smb://jemand@server/x", "quillmate:bank"})
        EXPECT_FALSE(gut(text).wirt()) << text;
}

TEST(Adresse, EscapesAreAddedToWhatAnEngineLeavesButNeverInFrontOfThePath) {
    struct Zeile {
        char const* text;
        char const* form;
    };
    Zeile const zeilen[]{
        {"https://h/a|b{c}^`?d=|\\#\"<>", "https://h/a%7Cb%7Bc%7D%5E%60?d=%7C%5C#%22%3C%3E"},
        {"https://h/ü%zz", "https://h/%C3%BC%25zz"},
        {"https://h/%41|b", "https://h/%41%7Cb"},
        {"https://h/a b", "-"},
        {"https://h/?a\nb", "-"},
        {"https://h/#a\x7F", "-"},
        {"https://h?|", "https://h?%7C"},
        {"https://h#|", "https://h#%7C"},
        {"quillmate://bank?client=7|8&bank=a{b}^", "quillmate://bank?client=7%7C8&bank=a%7Bb%7D%5E"},
        {"https://h|x/", "-"},
        {"https://h /", "-"},
        {"https://a%40b/", "-"},
        {R"(https://q\@f/)", "-"},
        {R"(https://q/\@f/)", "-"},
        {"https://a@h/", "-"},
        {" https://h/", "-"},
        {"|:x", "-"},
    };
    for (auto const& zeile : zeilen)
        EXPECT_EQ(form(Adresse::vomMotor(zeile.text)), zeile.form) << zeile.text;
}

TEST(Adresse, WhatIsAnAddressAnywayIsTheSameFromAnEngine) {
    for (auto const* const text :
         {"https://h/a%20b?c=d#e", "about:blank", "quillmate://bank?x", "http://[::1]:8080"})
        EXPECT_EQ(form(Adresse::vomMotor(text)), text);
}

TEST(Adresse, AnotherPathAndQueryKeepSchemeHostAndPort) {
    auto const adresse = gut("http://Host:8080/uebersicht?alt=1#f");
    EXPECT_EQ(form(adresse.mit("/bank", {{"client", "7"}})), "http://host:8080/bank?client=7");
    EXPECT_EQ(form(adresse.mit("/bank", {})), "http://host:8080/bank?");
    EXPECT_EQ(form(adresse.mit("/bank")), "http://host:8080/bank");
    EXPECT_EQ(form(adresse.mit("")), "http://host:8080");
    EXPECT_EQ(form(adresse.mitPosten({{"neu", "2"}})), "http://host:8080/uebersicht?neu=2#f");
    EXPECT_EQ(adresse.ohnePosten().text(), "http://host:8080/uebersicht");
    EXPECT_FALSE(adresse.ohnePosten().abfrage());
    for (auto const* const pfad :
         {"bank", ".fremd.example/", ":81/", "@fremd.example/", "/ba nk", "/a?b", "/a#b", "/ü"})
        EXPECT_FALSE(adresse.mit(pfad)) << pfad;
    EXPECT_FALSE(gut("about:blank").mit("/bank"));
    EXPECT_EQ(form(gut("https://h#f").mitPosten({{"a", "b"}})), "https://h?a=b#f");
}

TEST(Adresse, AnEndpointLiesBehindTheBaseAddress) {
    std::vector<Posten> const posten{{"token", "a+b &=/ü#"}, {"leer", ""}};
    auto const abfrage = "?token=a%2Bb%20%26%3D%2F%C3%BC%23&leer=";
    EXPECT_EQ(
        form(gut("http://h:1/api?alt=1#f").darunter("/c", posten)),
        std::string{"http://h:1/api/c"} + abfrage);
    EXPECT_EQ(form(gut("http://h").darunter("/c", posten)), std::string{"http://h/c"} + abfrage);
    EXPECT_EQ(form(gut("http://h/").darunter("/c", posten)), std::string{"http://h/c"} + abfrage);
}

TEST(Adresse, LoopbackNamesAreThreeAndNothingThatLooksLikeThem) {
    for (auto const* const text :
         {"http://localhost/", "https://LOCALHOST:1/", "http://127.0.0.1/", "http://127.9.9.9/",
          "http://[::1]/"})
        EXPECT_TRUE(gut(text).istSchleife()) << text;
    for (auto const* const text :
         {"http://127.0.0.1.fremd.example/", "http://localhost.fremd.example/", "http://localhost./",
          "http://128.0.0.1/", "http://127.example/", "http://[::2]/", "http://[::ffff:127.0.0.1]/",
          "ftp://localhost/"})
        EXPECT_FALSE(gut(text).istSchleife()) << text;
}

TEST(Ursprung, IsEqualWhereAnEngineCallsItTheSameOrigin) {
    EXPECT_EQ(gut("https://A.Example/x?y#z").ursprung(), gut("https://a.example:443/").ursprung());
    EXPECT_NE(gut("https://a.example/").ursprung(), gut("http://a.example/").ursprung());
    EXPECT_NE(gut("https://a.example/").ursprung(), gut("https://a.example:444/").ursprung());
    EXPECT_NE(gut("https://a.example/").ursprung(), gut("https://a.example./").ursprung());
    EXPECT_NE(gut("https://a.example/").ursprung(), gut("https://b.a.example/").ursprung());
}

TEST(Ursprung, GoesToItsTextAndBack) {
    for (auto const* const text :
         {"https://a.example", "http://127.0.0.1:8080", "http://[::1]:1", "https://xn--4ca.example"}) {
        auto const ursprung = Ursprung::lesen(text);
        ASSERT_TRUE(ursprung) << text;
        EXPECT_EQ(ursprung->text(), text);
    }
    EXPECT_EQ(gut("https://ä.example:443/").ursprung()->text(), "https://xn--4ca.example");
    for (auto const* const text :
         {"null", "", "https://a/", "https://a?", "https://a#", "about:blank", "file://", "quillmate://a"})
        EXPECT_FALSE(Ursprung::lesen(text)) << text;
}

TEST(Posten, KeepTheirOrderAndTellEmptyFromMissing) {
    auto const posten = gut("https://h/?a=1&b&c=&=d&a=2=3&%65=%26+").posten();
    ASSERT_EQ(posten.size(), 6U);
    EXPECT_EQ(posten[0], (Posten{"a", "1"}));
    EXPECT_EQ(posten[1].name(), "b");
    EXPECT_FALSE(posten[1].wert());
    EXPECT_EQ(posten[2].wert(), "");
    EXPECT_EQ(posten[3].name(), "");
    EXPECT_EQ(posten[4].wert(), "2=3");
    EXPECT_EQ(posten[5].name(), "e");
    EXPECT_EQ(posten[5].wert(), "&+");
    EXPECT_TRUE(gut("https://h/").posten().empty());
    EXPECT_TRUE(gut("https://h/?").posten().empty());
}

TEST(Posten, OfAForeignAddressPassOnAsTheyWereWritten) {
    auto const adresse = gut("https://h/?a=1+2&b&%63=%2b");
    EXPECT_EQ(form(adresse.mitPosten(adresse.posten())), adresse.text());
}

TEST(Prozent, GoesThereAndBackForAllBytes) {
    std::string alle;
    for (int i = 0; i < 256; ++i)
        alle += static_cast<char>(i);
    EXPECT_EQ(ohneProzent(mitProzent(alle)), alle);
    EXPECT_EQ(mitProzent("a-._~Z9 +&=ü"), "a-._~Z9%20%2B%26%3D%C3%BC");
}

TEST(Prozent, WhatIsNoEscapeStays) {
    EXPECT_EQ(ohneProzent("%"), "%");
    EXPECT_EQ(ohneProzent("%4"), "%4");
    EXPECT_EQ(ohneProzent("%4g%41"), "%4gA");
    EXPECT_EQ(ohneProzent("%%41"), "%A");
    EXPECT_EQ(ohneProzent("%00").size(), 1U);
}
