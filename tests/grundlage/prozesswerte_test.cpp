#include "grundlage/prozesswerte.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace quillmate;

TEST(Prozesswerte, MissingOverrideStartsOnTheDefaultPage) {
    EXPECT_TRUE(startAdresseAus(std::nullopt).text().ends_with("/uebersicht"));
    EXPECT_TRUE(startAdresseAus(std::nullopt).text().starts_with("https://"));
}

TEST(Prozesswerte, EmptyOverrideStartsOnTheDefaultPage) {
    EXPECT_EQ(startAdresseAus(""), startAdresseAus(std::nullopt));
}

TEST(Prozesswerte, UnparsableOverrideFallsBackSilently) {
    EXPECT_EQ(startAdresseAus("http://exa mple/"), startAdresseAus(std::nullopt));
}

TEST(Prozesswerte, AnOverrideMayHaveLettersBeyondAsciiInItsHost) {
    EXPECT_EQ(startAdresseAus("http://müller.example/x").text(), "http://xn--mller-kva.example/x");
}

TEST(Prozesswerte, AnOverrideThatReadersCouldMistakeFallsBack) {
    for (auto const* const text :
         {"https:/fremd.example/", "https://quillmate.example@fremd.example/", "https://fremd.example\\x"})
        EXPECT_EQ(startAdresseAus(text), startAdresseAus(std::nullopt)) << text;
}

TEST(Prozesswerte, ParsableOverrideOnAForeignHostIsUsedAsItStands) {
    EXPECT_EQ(startAdresseAus("http://127.0.0.1:8080/x?y=1").text(), "http://127.0.0.1:8080/x?y=1");
    EXPECT_EQ(startAdresseAus("about:blank").text(), "about:blank");
}

TEST(Prozesswerte, DefaultPageLiesOnAnOwnHost) {
    EXPECT_TRUE(istUnserHost(startAdresseAus(std::nullopt)));
}

TEST(Prozesswerte, ThereAreThreeOwnHostsInLowerCaseOneWithWww) {
    ASSERT_EQ(eigeneHosts().size(), 3U);
    auto const wirt = startAdresseAus(std::nullopt).wirt().value();
    EXPECT_TRUE(eigeneHosts().contains(wirt));
    EXPECT_TRUE(eigeneHosts().contains("www." + wirt));
}

TEST(Prozesswerte, OwnHostInCapitalsIsOurs) {
    EXPECT_TRUE(istUnserHost(Adresse::lesen("https://QUILLMATE.Example/konto").value()));
}

TEST(Prozesswerte, SubdomainOfAnOwnHostIsNotOurs) {
    EXPECT_FALSE(istUnserHost(Adresse::lesen("https://x.quillmate.example/").value()));
    EXPECT_FALSE(istUnserHost(Adresse::lesen("https://quillmate.example.org/").value()));
}

TEST(Prozesswerte, NoAddressAndNoHostAreNotOurs) {
    EXPECT_FALSE(istUnserHost(std::nullopt));
    EXPECT_FALSE(istUnserHost(Adresse::lesen("about:blank").value()));
}

TEST(Prozesswerte, ThereAre24PathsOfTheWebApplication) {
    EXPECT_EQ(
        softwarePfade(), (std::set<std::string, std::less<>>{
                             "/",
                             "/abo",
                             "/account",
                             "/admin",
                             "/bank",
                             "/bank-test",
                             "/belege",
                             "/einstellungen",
                             "/hilfe",
                             "/invoice-profile",
                             "/invoices",
                             "/konto",
                             "/kunden",
                             "/nutzung",
                             "/passwort-vergessen",
                             "/passwort-zuruecksetzen",
                             "/post-purchase",
                             "/produkte",
                             "/profil",
                             "/projekte",
                             "/start",
                             "/tarife",
                             "/uebergaben",
                             "/uebersicht"}));
    EXPECT_EQ(softwarePfade().size(), 24U);
}

TEST(Prozesswerte, TheEnvironmentIsReadOnceAtTheFirstCall) {
    auto const kind = ::fork(); // the value is fixed for a process
    if (kind == 0) {
        ::setenv("QUILLMATE_URL", "http://127.0.0.1:1/a", 1);
        bool gut = startAdresse().text() == "http://127.0.0.1:1/a";
        ::setenv("QUILLMATE_URL", "http://127.0.0.1:2/b", 1);
        gut = gut && startAdresse().text() == "http://127.0.0.1:1/a";
        ::_exit(gut ? 0 : 1);
    }
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(ausgang, 0);
}
