#include "aktualisierung/appcast.h"
#include "aktualisierung/zeitplan.h"
#include "werkbank.h"

#include <gtest/gtest.h>

using namespace quillmate;
using namespace std::chrono_literals;
using namespace aktualisierung;

namespace {

std::optional<Fassungsnummer> nummer(std::string_view text) {
    return Fassungsnummer::lesen(text);
}

std::string ersetzt(std::string text, std::string_view was, std::string_view wodurch) {
    auto const stelle = text.find(was);
    EXPECT_NE(stelle, std::string::npos) << was;
    return text.replace(stelle, was.size(), wodurch);
}

} // namespace

// ----------------------------------------------------------------------------------------------- versions

TEST(Fassungsnummer, ComparesNumberByNumber) {
    EXPECT_LT(*nummer("9"), *nummer("10"));
    EXPECT_LT(*nummer("1.2"), *nummer("1.10"));
    EXPECT_LT(*nummer("1"), *nummer("1.0.1"));
    EXPECT_LT(*nummer("1.9.9.9"), *nummer("2"));
    EXPECT_EQ(*nummer("1.2"), *nummer("1.2.0"));
    EXPECT_EQ(*nummer("050"), *nummer("50"));
    EXPECT_EQ(*nummer("0"), *nummer("0.0"));
}

TEST(Fassungsnummer, TakesNothingElse) {
    for (auto const* text :
         {"", ".", "1.", ".1", "1..2", "1.2.3.4.5", "1a", "a", "-1", "+1", " 1", "1 ", "1,2", "1234567890",
          "1e3"})
        EXPECT_FALSE(nummer(text)) << text;
}

// --------------------------------------------------------------------------------------------- signatures

TEST(Signatur, IsAcceptedFromEitherKeyAndNoOther) {
    werkzeug::Herausgeber h;
    std::vector const schluessel{
        *schluesselLesen(h.eins.oeffentlich()), *schluesselLesen(h.zwei.oeffentlich())};
    auto const passt = [&](std::string const& signaturen) {
        return istSigniert("Inhalt", *signaturenLesen(signaturen), schluessel);
    };
    EXPECT_TRUE(passt(h.eins.signieren("Inhalt")));
    EXPECT_TRUE(passt(h.zwei.signieren("Inhalt")));
    EXPECT_TRUE(passt(h.fremd.signieren("Inhalt") + "  \n" + h.zwei.signieren("Inhalt")));
    EXPECT_FALSE(passt(h.fremd.signieren("Inhalt")));
    EXPECT_FALSE(passt(h.eins.signieren("Inhalt ")));
    EXPECT_FALSE(istSigniert("Inhalt", *signaturenLesen(h.eins.signieren("Inhalt")), {}));
}

TEST(Signatur, FollowsTheKnownVector) {
    // RFC 8032, 7.1, test 2: one byte, 0x72.
    auto const schluessel = schluesselLesen("PUAXw+hDiVqStwqnTRt+vJyYLM8uxJaMwM1V8Sr0Zgw=");
    auto const signatur = signaturLesen(
        "kqAJqfDUyrhyDoILX2QlQKKye1QWUD+Ps3YiI+vbadoIWsHkPhWZbkWPNhPQ8R2MOHsurrQwKu6wDSkWErsMAA==");
    ASSERT_TRUE(schluessel && signatur);
    EXPECT_TRUE(istSigniert("r", std::span{&*signatur, 1}, std::span{&*schluessel, 1}));
    EXPECT_FALSE(istSigniert("s", std::span{&*signatur, 1}, std::span{&*schluessel, 1}));
}

TEST(Signatur, IsOneTextForOneValue) {
    werkzeug::Herausgeber h;
    auto const text = h.eins.signieren("x");
    EXPECT_TRUE(signaturLesen(text));
    EXPECT_FALSE(signaturLesen(text + "A"));
    EXPECT_FALSE(signaturLesen(text.substr(0, text.size() - 1)));
    EXPECT_FALSE(signaturLesen(text.substr(0, text.size() - 2) + "AA"));
    EXPECT_FALSE(signaturLesen("\n" + text.substr(1)));
    EXPECT_FALSE(signaturLesen("-" + text.substr(1)));
    EXPECT_FALSE(signaturLesen(""));
    EXPECT_FALSE(schluesselLesen(text));
    EXPECT_FALSE(signaturenLesen("  \n"));
    EXPECT_FALSE(signaturenLesen(text + " kaputt"));
    EXPECT_FALSE(signaturenLesen(text + " " + text + " " + text + " " + text + " " + text))
        << "a bounded number";
}

// ------------------------------------------------------------------------------------------------ appcast

class Appcastprobe : public testing::Test {
protected:
    std::optional<std::string_view> teil(std::string const& text) {
        bytes_ = text;
        return signierterTeil(bytes_, schluessel);
    }
    werkzeug::Herausgeber h;
    std::vector<Schluessel> schluessel{
        *schluesselLesen(h.eins.oeffentlich()), *schluesselLesen(h.zwei.oeffentlich())};
    std::string const xml{veroeffentlichen::alsXml(h.liste)};

private:
    std::string bytes_;
};

TEST_F(Appcastprobe, SaysWhatWasPublished) {
    ASSERT_EQ(teil(h.appcast()), xml);
    auto const appcast = appcastLesen(xml);
    ASSERT_TRUE(appcast);
    EXPECT_EQ(appcast->kennung, "de.tandemwerk.quillmate");
    EXPECT_EQ(appcast->ausgabe, 17U);
    EXPECT_EQ(appcast->gueltigBis, std::chrono::sys_days{std::chrono::year{2026} / 12 / 31});
    ASSERT_EQ(appcast->angebote.size(), 1U);
    auto const& angebot = appcast->angebote[0];
    EXPECT_EQ(angebot.fassung, *nummer("60"));
    EXPECT_EQ(angebot.kurzfassung, "0.6.0");
    EXPECT_EQ(angebot.url, h.archivadresse);
    EXPECT_EQ(angebot.laenge, h.archiv.size());
    EXPECT_EQ(angebot.notizen, "Neu: <schneller> & besser\n„Größe“");
    EXPECT_TRUE(istSigniert(h.archiv, angebot.signaturen, schluessel));
}

TEST_F(Appcastprobe, IsTakenWithTheSecondKeyAlone) {
    EXPECT_TRUE(teil(veroeffentlichen::mitSignatur(xml, {h.zwei})));
    EXPECT_TRUE(teil(veroeffentlichen::mitSignatur(xml, {h.eins, h.zwei})));
}

TEST_F(Appcastprobe, WithoutSignatureIsRefused) {
    EXPECT_FALSE(teil(xml));
    EXPECT_FALSE(teil(xml + "<!-- signatur  -->\n"));
    EXPECT_FALSE(teil(xml + "<!-- signatur -->\n"));
    EXPECT_FALSE(teil(""));
    EXPECT_FALSE(teil("\n"));
    EXPECT_FALSE(teil("<!-- signatur " + h.eins.signieren("") + " -->\n"))
        << "nothing is not something signed";
}

TEST_F(Appcastprobe, OfAForeignKeyIsRefused) {
    EXPECT_FALSE(teil(veroeffentlichen::mitSignatur(xml, {h.fremd})));
}

TEST_F(Appcastprobe, WithAnyByteChangedIsRefused) {
    auto const ganz = h.appcast();
    for (std::size_t i = 0; i < ganz.size(); i += 7) {
        auto anders = ganz;
        anders[i] = static_cast<char>(anders[i] ^ 1);
        EXPECT_FALSE(teil(anders)) << "byte " << i;
    }
    for (auto const* zusatz : {" ", "\n", "<!-- -->\n", "x"})
        EXPECT_FALSE(teil(ganz + zusatz));
    EXPECT_FALSE(teil(ganz.substr(1)));
    EXPECT_FALSE(teil("<!-- -->\n" + ganz));
}

TEST_F(Appcastprobe, WithSomethingPutBehindTheSignatureIsRefused) {
    EXPECT_FALSE(teil(h.appcast() + xml));
    auto const zeile = h.appcast().substr(xml.size());
    EXPECT_FALSE(teil(xml + xml + zeile));
}

TEST_F(Appcastprobe, BeyondItsSizeIsRefused) {
    auto gross = h.liste;
    gross.eintraege[0].notizen = std::string(2'000'000, 'x');
    EXPECT_FALSE(teil(veroeffentlichen::mitSignatur(veroeffentlichen::alsXml(gross), {h.eins})));
}

TEST_F(Appcastprobe, WithEntitiesOrADocumentTypeIsRefused) {
    for (auto const* vorspann :
         {"<!DOCTYPE rss [<!ENTITY a \"x\">]>", "<!DOCTYPE rss SYSTEM \"file:///etc/passwd\">",
          "<!DOCTYPE rss>"})
        EXPECT_FALSE(appcastLesen(ersetzt(xml, "<rss ", std::string{vorspann} + "<rss "))) << vorspann;
    EXPECT_FALSE(appcastLesen(ersetzt(xml, "0.6.0</q", "&unbekannt;</q")));
}

TEST_F(Appcastprobe, WithAMissingOrBrokenElementIsRefused) {
    struct Fall {
        char const* was;
        char const* wodurch;
    };
    for (auto const& [was, wodurch] : std::vector<Fall>{
             {"<q:kennung>de.tandemwerk.quillmate</q:kennung>", ""},
             {"<q:ausgabe>17</q:ausgabe>", ""},
             {"<q:ausgabe>17</q:ausgabe>", "<q:ausgabe>-1</q:ausgabe>"},
             {"<q:ausgabe>17</q:ausgabe>", "<q:ausgabe>17</q:ausgabe><q:ausgabe>18</q:ausgabe>"},
             {"<q:ausgabe>17</q:ausgabe>", "<ausgabe>17</ausgabe>"},
             {"2026-12-31T00:00:00Z", "2026-13-31T00:00:00Z"},
             {"2026-12-31T00:00:00Z", "bald"},
             {"<q:fassung>60</q:fassung>", "<q:fassung>neu</q:fassung>"},
             {"<q:fassung>60</q:fassung>", "<q:fassung>6<b/>0</q:fassung>"},
             {"<q:fassung>60</q:fassung>", ""},
             {"<q:kurzfassung>0.6.0</q:kurzfassung>", "<q:kurzfassung></q:kurzfassung>"},
             {"<q:kurzfassung>0.6.0</q:kurzfassung>", "<q:kurzfassung>0.6\n0</q:kurzfassung>"},
             {"<q:architektur>x86_64</q:architektur>", ""},
             {"length=\"", "length=\"-"},
             {"length=\"", "length=\"9999999999"},
             {"q:signatur=\"", "q:signatur=\"x"},
             {"q:signatur=", "signatur="},
             {"url=\"https://", "url=\"http://"},
             {"url=\"https://", "url=\"file:///"},
             {"url=\"https://", "url=\"https:// "},
             {"<rss version", "<html version"},
             {"</channel>", ""},
             {"urn:tandemwerk:quillmate:appcast:1", "urn:anders"}})
        EXPECT_FALSE(appcastLesen(ersetzt(xml, was, wodurch))) << was << " -> " << wodurch;
    EXPECT_FALSE(appcastLesen(""));
    EXPECT_FALSE(appcastLesen("kein XML"));
}

TEST_F(Appcastprobe, TakesPlainHttpOnlyWhereATestAsksForIt) {
    EXPECT_TRUE(appcastLesen(ersetzt(xml, "url=\"https://", "url=\"http://"), true));
    EXPECT_FALSE(appcastLesen(ersetzt(xml, "url=\"https://", "url=\"ftp://"), true));
}

TEST_F(Appcastprobe, WithEndlesslyManyVersionsIsRefused) {
    auto viele = h.liste;
    viele.eintraege[0].notizen.clear();
    viele.eintraege.resize(65, viele.eintraege[0]);
    EXPECT_FALSE(appcastLesen(veroeffentlichen::alsXml(viele)));
    viele.eintraege.resize(64);
    EXPECT_TRUE(appcastLesen(veroeffentlichen::alsXml(viele)));
}

TEST_F(Appcastprobe, OffersTheNewestForThisMachineAndNeverAnOldOne) {
    auto viele = h.liste;
    viele.eintraege.resize(4, viele.eintraege[0]);
    viele.eintraege[1].fassung = "62";
    viele.eintraege[2].fassung = "61";
    viele.eintraege[3].fassung = "70";
    viele.eintraege[3].architektur = "aarch64";
    auto const appcast = appcastLesen(veroeffentlichen::alsXml(viele));
    ASSERT_TRUE(appcast);
    ASSERT_TRUE(neuestes(*appcast, *nummer("50"), "x86_64"));
    EXPECT_EQ(neuestes(*appcast, *nummer("50"), "x86_64")->fassungstext, "62");
    EXPECT_EQ(neuestes(*appcast, *nummer("62"), "x86_64"), nullptr) << "the same again";
    EXPECT_EQ(neuestes(*appcast, *nummer("63"), "x86_64"), nullptr) << "a downgrade";
    EXPECT_EQ(neuestes(*appcast, *nummer("50"), "riscv64"), nullptr);
}

TEST(Zeit, IsReadInOneFormOnly) {
    EXPECT_EQ(zeitLesen("1970-01-02T00:00:01Z"), std::chrono::sys_seconds{24h + 1s});
    for (auto const* text :
         {"", "1970-01-02", "1970-01-02T00:00:01", "1970-02-30T00:00:00Z", "1970-01-02T24:00:00Z",
          "1970-01-02T00:60:00Z", "1970-01-02t00:00:01Z", "1970-01-02T00:00:01Z ", "197a-01-02T00:00:01Z"})
        EXPECT_FALSE(zeitLesen(text)) << text;
}

// ------------------------------------------------------------------------------------------------ schedule

TEST(Zeitplan, LooksByItselfOnlyWhereTheBundleWantsIt) {
    EXPECT_FALSE(zeitplanAus({}).automatisch);
    EXPECT_FALSE(zeitplanAus({.feed = "https://x"}).automatisch);
    EXPECT_FALSE(zeitplanAus({.automatisch = true}).automatisch);
    EXPECT_FALSE(zeitplanAus({.feed = "https://x", .automatisch = false}).automatisch);
    EXPECT_TRUE(zeitplanAus({.feed = "https://x", .automatisch = true}).automatisch);
}

TEST(Zeitplan, LooksAtMostOnceADay) {
    EXPECT_EQ(zeitplanAus({}).abstand, 24h);
    EXPECT_EQ(zeitplanAus({.abstand = 60s}).abstand, 24h);
    EXPECT_EQ(zeitplanAus({.abstand = 0s}).abstand, 24h);
    EXPECT_EQ(zeitplanAus({.abstand = 72h}).abstand, 72h);
    EXPECT_LE(
        zeitplanAus({.abstand = std::chrono::hours{24 * 10'000}}).abstand, std::chrono::hours{24 * 366});
}

TEST(Zeitplan, WaitsForWhatIsLeftOfTheInterval) {
    Zeitplan const plan{.automatisch = true, .abstand = 24h};
    std::chrono::sys_seconds const jetzt{1'000'000s};
    EXPECT_EQ(wartezeit(plan, jetzt - 1h, jetzt), 23h);
    EXPECT_EQ(wartezeit(plan, jetzt - 48h, jetzt), 0s);
    EXPECT_EQ(wartezeit(plan, std::nullopt, jetzt), 24h) << "never on the first start";
    EXPECT_EQ(wartezeit(plan, jetzt + 48h, jetzt), 24h) << "the clock was set back";
    EXPECT_EQ(wartezeit({.automatisch = false}, jetzt - 48h, jetzt), std::nullopt);
}
