#include "demo/anmeldung.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

namespace quillmate::demo {
namespace {

using testing::HasSubstr;
using testing::Not;

class AnmeldungTest : public testing::Test {
protected:
    Zugang const zugang{.kunde = 1, .token = "geheim"};
    Anmeldung anmeldung{zugang};
    Anmeldung::Zeitpunkt const jetzt{};

    /// What a browser sends back of a "Set-Cookie" header.
    static std::string gesendet(std::string const& keks) { return keks.substr(0, keks.find(';')); }
};

TEST_F(AnmeldungTest, TicketIsGoodExactlyOnce) {
    auto const merkmal = anmeldung.ausstellen(jetzt);
    EXPECT_GE(merkmal.size(), 32U);
    EXPECT_TRUE(anmeldung.einloesen(merkmal, jetzt));
    EXPECT_FALSE(anmeldung.einloesen(merkmal, jetzt));
}

TEST_F(AnmeldungTest, TicketExpires) {
    auto const rechtzeitig = anmeldung.ausstellen(jetzt);
    auto const zuSpaet = anmeldung.ausstellen(jetzt);
    EXPECT_TRUE(anmeldung.einloesen(rechtzeitig, jetzt + Anmeldung::frist));
    EXPECT_FALSE(anmeldung.einloesen(zuSpaet, jetzt + Anmeldung::frist + std::chrono::seconds{1}));
}

TEST_F(AnmeldungTest, EmptyAndMadeUpTicketsAreRefused) {
    auto const merkmal = anmeldung.ausstellen(jetzt);
    for (auto const& falsch : {std::string{}, std::string{"x"}, merkmal + "0", merkmal.substr(1)})
        EXPECT_FALSE(anmeldung.einloesen(falsch, jetzt)) << falsch;
    EXPECT_TRUE(anmeldung.einloesen(merkmal, jetzt));
}

TEST_F(AnmeldungTest, WaitingTicketsAreBoundedAndTheOldestGoesFirst) {
    auto const erstes = anmeldung.ausstellen(jetzt);
    auto const zweites = anmeldung.ausstellen(jetzt);
    std::set<std::string> alle{erstes, zweites};
    for (std::size_t i = 0; i < Anmeldung::hoechstens - 1; ++i)
        alle.insert(anmeldung.ausstellen(jetzt));
    EXPECT_EQ(alle.size(), Anmeldung::hoechstens + 1);
    EXPECT_FALSE(anmeldung.einloesen(erstes, jetzt));
    EXPECT_TRUE(anmeldung.einloesen(zweites, jetzt));
}

TEST_F(AnmeldungTest, CookieIsFoundAmongOthersAndTellsNothingOfTheToken) {
    auto const keks = anmeldung.keks();
    EXPECT_THAT(keks, HasSubstr("; HttpOnly"));
    EXPECT_THAT(keks, HasSubstr("; SameSite=Lax"));
    EXPECT_THAT(keks, HasSubstr("; Path=/"));
    EXPECT_THAT(keks, HasSubstr("; Max-Age=2592000"));
    EXPECT_THAT(keks, Not(HasSubstr("geheim")));
    auto const paar = gesendet(keks);
    EXPECT_TRUE(anmeldung.istAngemeldet(paar));
    EXPECT_TRUE(anmeldung.istAngemeldet("a=b; " + paar + "; c=d"));
    EXPECT_TRUE(anmeldung.istAngemeldet("a=b;" + paar));
    for (auto const& falsch :
         {std::string{}, std::string{";"}, std::string{"; ;="}, paar + "0", "x" + paar,
          paar.substr(0, paar.size() - 1), paar.substr(0, paar.find('=')),
          paar.substr(0, paar.find('=') + 1)})
        EXPECT_FALSE(anmeldung.istAngemeldet(falsch)) << falsch;
}

TEST_F(AnmeldungTest, CookieIsTheSameAfterARestartAndAnotherForAnotherToken) {
    Anmeldung const neue{zugang};
    EXPECT_TRUE(neue.istAngemeldet(gesendet(anmeldung.keks())));
    Anmeldung const fremde{{.kunde = 1, .token = "anders"}};
    EXPECT_FALSE(fremde.istAngemeldet(gesendet(anmeldung.keks())));
    // Another name, too: cookies do not tell ports apart, and both services may run at once.
    auto const name = [](std::string const& keks) {
        return keks.substr(0, keks.find('='));
    };
    EXPECT_NE(name(fremde.keks()), name(anmeldung.keks()));
}

} // namespace
} // namespace quillmate::demo
