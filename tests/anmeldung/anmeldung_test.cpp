#include "anmeldung/anmeldung.h"
#include "werkzeug/fehlerausgabe.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using namespace quillmate;
using ports::Anmeldeausgang;

namespace {

/// Sessions whose end a test brings about.
class Sitzungsprobe final : public ports::Anmeldewerk {
public:
    struct Sitzung final : ports::Anmeldesitzung {
        explicit Sitzung(Sitzungsprobe& probe)
            : werk(probe) {
            ++werk.gehalten;
        }
        ~Sitzung() override { --werk.gehalten; }
        Sitzung(Sitzung const&) = delete;
        Sitzung& operator=(Sitzung const&) = delete;
        bool starten() override { return werk.startet; }
        Sitzungsprobe& werk;
    };

    std::shared_ptr<ports::Anmeldesitzung> sitzung(
        ports::Anmeldeauftrag auftrag, std::function<void(Anmeldeausgang const&)> fertig) override {
        auftraege.push_back(std::move(auftrag));
        fertige.push_back(std::move(fertig));
        return std::make_shared<Sitzung>(*this);
    }

    bool startet{true};
    int gehalten{0};
    std::vector<ports::Anmeldeauftrag> auftraege;
    std::vector<std::function<void(Anmeldeausgang const&)>> fertige;
};

class AnmeldungTest : public testing::Test {
protected:
    void kommtZurueck(std::string const& adresse) {
        werk.fertige.back()({.rueckweg = adresse, .fehler = {}});
    }

    Sitzungsprobe werk;
    std::vector<std::string> geladen;
    std::unique_ptr<anmeldung::Anmeldung> anmeldung =
        std::make_unique<anmeldung::Anmeldung>(anmeldung::Anmeldung::Umgebung{
            .werk = werk,
            .start = Adresse::lesen("https://quillmate.example:8443/uebersicht?x=1").value(),
            .laden = [this](std::string const& adresse) {
                geladen.push_back(adresse);
            }});
};

using Texte = std::vector<std::string>;

constexpr char const* google = "https://quillmate.example/auth/google/login?next=%2Fa";
constexpr char const* bank = "https://quillmate.example/auth/enable-banking/start?client=7&token=geheim";

} // namespace

// ------------------------------------------------------------------------------------------- start addresses

TEST(MitAppKennzeichen, IsAppendedBehindTheQuery) {
    EXPECT_EQ(
        anmeldung::mitAppKennzeichen("https://h/auth/google/login", false),
        "https://h/auth/google/login?app=1");
    EXPECT_EQ(
        anmeldung::mitAppKennzeichen("https://h/a?next=%2Fa%2Bb+c#f", false),
        "https://h/a?next=%2Fa%2Bb+c&app=1#f");
    EXPECT_EQ(anmeldung::mitAppKennzeichen("https://h/a?", false), "https://h/a?app=1");
}

TEST(MitAppKennzeichen, ForTheSignInAnExistingItemStays) {
    EXPECT_EQ(anmeldung::mitAppKennzeichen("https://h/a?app=0&b=2", false), "https://h/a?app=0&b=2&app=1");
}

TEST(MitAppKennzeichen, ForTheBankThereIsExactlyOne) {
    EXPECT_EQ(anmeldung::mitAppKennzeichen("https://h/a?app=0&b=2&%61pp&app", true), "https://h/a?b=2&app=1");
    EXPECT_EQ(anmeldung::mitAppKennzeichen("https://h/a?apparat=3", true), "https://h/a?apparat=3&app=1");
}

TEST(MitAppKennzeichen, WhatAnEngineLeavesUnescapedIsEscaped) {
    EXPECT_EQ(anmeldung::mitAppKennzeichen("https://h/a?x={1|2}", false), "https://h/a?x=%7B1%7C2%7D&app=1");
}

TEST(MitAppKennzeichen, WithoutAnAddressThereIsNothing) {
    EXPECT_FALSE(anmeldung::mitAppKennzeichen("", false));
    EXPECT_FALSE(anmeldung::mitAppKennzeichen("/auth/google/login", true));
    EXPECT_FALSE(anmeldung::mitAppKennzeichen("https://h\\@f/", true));
}

// ------------------------------------------------------------------------------------------- the flows

TEST_F(AnmeldungTest, SigningInStartsASessionAndLogsItsAddress) {
    auto const protokoll = werkzeug::fehlerausgabe([&] { anmeldung->anmeldenMitGoogle(google); });
    EXPECT_EQ(
        protokoll,
        "[Quillmate] Anmeldung startet: https://quillmate.example/auth/google/login?next=%2Fa&app=1\n");
    ASSERT_EQ(werk.auftraege.size(), 1U);
    EXPECT_EQ(werk.auftraege[0].adresse, "https://quillmate.example/auth/google/login?next=%2Fa&app=1");
    EXPECT_EQ(werk.auftraege[0].rueckwegschema, "quillmate");
    EXPECT_TRUE(anmeldung->laeuft());
}

TEST_F(AnmeldungTest, TheBankFlowLogsNoAddress) {
    auto const protokoll = werkzeug::fehlerausgabe([&] { anmeldung->bankVerbinden(bank); });
    EXPECT_EQ(protokoll, "[Quillmate] Bankfreigabe startet\n");
    EXPECT_EQ(
        werk.auftraege.at(0).adresse,
        "https://quillmate.example/auth/enable-banking/start?client=7&token=geheim&app=1");
}

TEST_F(AnmeldungTest, NoAddressStartsNothing) {
    EXPECT_EQ(werkzeug::fehlerausgabe([&] { anmeldung->anmeldenMitGoogle("kein Schema"); }), "");
    EXPECT_TRUE(werk.auftraege.empty());
    EXPECT_FALSE(anmeldung->laeuft());
}

TEST_F(AnmeldungTest, ASessionThatDoesNotStartIsLoggedAndStaysStored) {
    werk.startet = false;
    EXPECT_TRUE(werkzeug::fehlerausgabe([&] {
                    anmeldung->anmeldenMitGoogle(google);
                }).ends_with("[Quillmate] Anmeldung liess sich nicht starten\n"));
    EXPECT_TRUE(anmeldung->laeuft());
    EXPECT_TRUE(werkzeug::fehlerausgabe([&] {
                    anmeldung->bankVerbinden(bank);
                }).ends_with("[Quillmate] Bankfreigabe liess sich nicht starten\n"));
}

TEST_F(AnmeldungTest, CancellingIsLoggedAndLeavesNoSession) {
    auto const abbruch =
        Anmeldeausgang{.rueckweg = {}, .fehler = Anmeldeausgang::Fehler{.nummer = 1, .beschreibung = "egal"}};
    anmeldung->anmeldenMitGoogle(google);
    EXPECT_EQ(
        werkzeug::fehlerausgabe([&] { werk.fertige.back()(abbruch); }),
        "[Quillmate] Anmeldung vom Nutzer abgebrochen\n");
    EXPECT_FALSE(anmeldung->laeuft());
    EXPECT_EQ(werk.gehalten, 0);
    anmeldung->bankVerbinden(bank);
    EXPECT_EQ(
        werkzeug::fehlerausgabe([&] { werk.fertige.back()(abbruch); }),
        "[Quillmate] Bankfreigabe vom Nutzer abgebrochen\n");
    EXPECT_TRUE(geladen.empty());
}

TEST_F(AnmeldungTest, OtherFailuresAreLoggedWithTheirDescription) {
    anmeldung->anmeldenMitGoogle(google);
    EXPECT_EQ(
        werkzeug::fehlerausgabe([&] {
            werk.fertige.back()(
                {.rueckweg = {}, .fehler = Anmeldeausgang::Fehler{.nummer = 2, .beschreibung = "kein Netz"}});
        }),
        "[Quillmate] Anmeldung fehlgeschlagen: kein Netz\n");
    anmeldung->bankVerbinden(bank);
    EXPECT_EQ(
        werkzeug::fehlerausgabe([&] { werk.fertige.back()({}); }),
        "[Quillmate] Bankfreigabe fehlgeschlagen: -\n");
    EXPECT_FALSE(anmeldung->laeuft());
}

TEST_F(AnmeldungTest, ANewFlowReplacesTheRunningOneWhoseLateEndDoesNothing) {
    anmeldung->anmeldenMitGoogle(google);
    anmeldung->bankVerbinden(bank);
    EXPECT_EQ(werk.gehalten, 1);
    werk.fertige[0]({.rueckweg = "quillmate://x?merkmal=alt", .fehler = {}});
    EXPECT_TRUE(geladen.empty());
    EXPECT_TRUE(anmeldung->laeuft());
    kommtZurueck("quillmate://bank?client=7");
    EXPECT_EQ(geladen, Texte{"https://quillmate.example:8443/bank?client=7"});
}

TEST_F(AnmeldungTest, ACompletionCountsOnce) {
    anmeldung->anmeldenMitGoogle(google);
    kommtZurueck("quillmate://x?merkmal=1");
    kommtZurueck("quillmate://x?merkmal=2");
    EXPECT_EQ(geladen.size(), 1U);
}

TEST_F(AnmeldungTest, ACompletionAfterTheEndOfEverythingDoesNothing) {
    anmeldung->anmeldenMitGoogle(google);
    anmeldung.reset();
    kommtZurueck("quillmate://x?merkmal=1");
    EXPECT_TRUE(geladen.empty());
}

// ------------------------------------------------------------------------------------------- the ways back

TEST_F(AnmeldungTest, ATicketIsRedeemedOnTheStartPagesHost) {
    anmeldung->anmeldenMitGoogle(google);
    EXPECT_EQ(
        werkzeug::fehlerausgabe([&] { kommtZurueck("quillmate://anything?merkmal=abc"); }),
        "[Quillmate] löse Anmeldung ein\n");
    EXPECT_EQ(geladen, Texte{"https://quillmate.example:8443/auth/app/anmelden?merkmal=abc"});
    EXPECT_FALSE(anmeldung->laeuft());
}

TEST_F(AnmeldungTest, TheTicketIsTheFirstOneAndEncodedAsAValue) {
    anmeldung->einloesen("quillmate:?x=1&merkmal=a%2Bb%26c%3D%C3%BC&merkmal=zweites");
    EXPECT_EQ(geladen, Texte{"https://quillmate.example:8443/auth/app/anmelden?merkmal=a%2Bb%26c%3D%C3%BC"});
}

TEST_F(AnmeldungTest, AnEmptyTicketIsRedeemedButAMissingOneIsNot) {
    anmeldung->einloesen("quillmate://x?merkmal=");
    EXPECT_EQ(geladen, Texte{"https://quillmate.example:8443/auth/app/anmelden?merkmal="});
    for (auto const* const ohne :
         {"quillmate://x", "quillmate://x?merkmal", "quillmate://x?Merkmal=1",
          "quillmate://x?a=merkmal=1#merkmal=1", "quillmate://x?merkmal&merkmal=1"})
        EXPECT_EQ(
            werkzeug::fehlerausgabe([&] { anmeldung->einloesen(ohne); }),
            "[Quillmate] Rückweg ohne Merkmal: " + std::string{ohne} + "\n");
    EXPECT_EQ(geladen.size(), 1U);
}

TEST_F(AnmeldungTest, ABankCallbackShowsTheBankPageWithWhatItSays) {
    anmeldung->bankVerbinden(bank);
    EXPECT_EQ(
        werkzeug::fehlerausgabe([&] { kommtZurueck("quillmate://bank?client=7&bank=ok&x=1"); }),
        "[Quillmate] Bankfreigabe kehrt in die App zurück\n");
    EXPECT_EQ(geladen, Texte{"https://quillmate.example:8443/bank?client=7&bank=ok"});
}

TEST_F(AnmeldungTest, BankItemsKeepTheirOrderAndTheirSpelling) {
    anmeldung->bankRueckweg("quillmate://bank?bank=a+b%20c&token=x&client=&bank");
    anmeldung->bankRueckweg("quillmate://bank/pfad");
    EXPECT_EQ(
        geladen, (Texte{
                     "https://quillmate.example:8443/bank?bank=a+b%20c&client=&bank",
                     "https://quillmate.example:8443/bank?"}));
}

TEST_F(AnmeldungTest, ValuesOfACallbackArriveAsTheyWereMeant) {
    anmeldung->einloesen("quillmate://x?merkmal=a|b{c}^d+e%20f");
    EXPECT_EQ(
        geladen,
        (Texte{"https://quillmate.example:8443/auth/app/anmelden?merkmal=a%7Cb%7Bc%7D%5Ed%2Be%20f"}));
}

TEST_F(AnmeldungTest, OnlyTheHostBankIsABankCallback) {
    for (auto const* const fremd :
         {"quillmate://anmeldung?client=7", "quillmate://BANK?client=7", "quillmate://bank.example?client=7",
          "quillmate:bank?client=7", "quillmate:/bank?client=7", "quillmate://?bank=ok",
          "quillmate://x@y?bank", "", "quillmate://bank?a b"})
        EXPECT_EQ(
            werkzeug::fehlerausgabe([&] { anmeldung->bankRueckweg(fremd); }),
            "[Quillmate] Unbekannter Bank-Rückweg\n")
            << fremd;
    EXPECT_TRUE(geladen.empty());
}

TEST(AnmeldungOhneHost, AStartPageWithoutHostLoadsNothing) {
    Sitzungsprobe werk;
    int geladen = 0;
    anmeldung::Anmeldung anmeldung{
        {.werk = werk, .start = Adresse::lesen("about:blank").value(), .laden = [&](std::string const&) {
             ++geladen;
         }}};
    anmeldung.einloesen("quillmate://x?merkmal=1");
    anmeldung.bankRueckweg("quillmate://bank?client=1");
    EXPECT_EQ(geladen, 0);
}
