#include "anmeldung/anmeldung.h"
#include "anmeldung/browseranmeldung.h"
#include "werkzeug/fehlerausgabe.h"
#include "werkzeug/warteblatt.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

using namespace quillmate;
using ports::Anmeldeausgang;

namespace {

class Browser final : public ports::Standardprogramm {
public:
    void oeffnen(std::string const& adresse, std::function<void()> gescheitert) override {
        oeffnen(adresse);
        if (fehlt)
            gescheitert();
    }
    bool fehlt{false};
    void oeffnen(std::string const& adresse) override { geoeffnet.push_back(adresse); }
    std::vector<std::string> geoeffnet;
};

class BrowseranmeldungTest : public testing::Test {
protected:
    std::shared_ptr<ports::Anmeldesitzung> sitzung(std::string adresse = "https://h.example/start?app=1") {
        return werk->sitzung(
            {.adresse = std::move(adresse), .rueckwegschema = "quillmate", .meldung = "M", .erklaerung = "E"},
            [this](Anmeldeausgang const& ausgang) { ausgaenge.push_back(ausgang); });
    }
    /// What is logged about an address that arrives; it must not be obeyed.
    std::string verworfen(std::string const& adresse) {
        bool angenommen = true;
        auto const protokoll = werkzeug::fehlerausgabe([&] { angenommen = werk->rueckweg(adresse); });
        EXPECT_FALSE(angenommen) << adresse;
        return protokoll;
    }

    Browser browser;
    werkzeug::WarteblattwerkAttrappe blaetter;
    bool einrichtbar{true};
    int eingerichtet{0};
    std::vector<Anmeldeausgang> ausgaenge;
    std::unique_ptr<anmeldung::Browseranmeldung> werk =
        std::make_unique<anmeldung::Browseranmeldung>(anmeldung::Browseranmeldung::Umgebung{
            .standardprogramm = browser, .warteblaetter = blaetter, .rueckwegEinrichten = [this] {
                ++eingerichtet;
                return einrichtbar;
            }});
};

constexpr char const* keine = "[Quillmate] Rückweg verworfen: es läuft keine Anmeldung\n";

} // namespace

TEST_F(BrowseranmeldungTest, StartingPreparesTheWayBackShowsTheSheetAndOpensTheBrowser) {
    auto const s = sitzung();
    EXPECT_EQ(eingerichtet, 0);
    ASSERT_TRUE(s->starten());
    EXPECT_EQ(eingerichtet, 1);
    EXPECT_EQ(browser.geoeffnet, std::vector<std::string>{"https://h.example/start?app=1"});
    ASSERT_EQ(blaetter.offen, 1);
    auto const& text = blaetter.texte.at(0);
    EXPECT_EQ(text.meldung, "M");
    EXPECT_EQ(text.erklaerung, "E");
    EXPECT_EQ(text.kopieren, "Adresse kopieren");
    EXPECT_EQ(text.kopiertext, "https://h.example/start?app=1");
    EXPECT_EQ(text.abbrechen, "Abbrechen");
}

TEST_F(BrowseranmeldungTest, WithoutABrowserTheSheetSaysSoAndStaysForWhoeverOpensTheAddressElsewhere) {
    browser.fehlt = true;
    auto const s = sitzung();
    ASSERT_TRUE(s->starten());
    EXPECT_EQ(blaetter.offen, 1);
    EXPECT_TRUE(blaetter.stockt.starts_with("Auf diesem Rechner ist kein Browser eingerichtet"))
        << blaetter.stockt;
    EXPECT_TRUE(werk->rueckweg("quillmate://x?merkmal=abc")) << "the way back is still open";
    EXPECT_EQ(ausgaenge.size(), 1U);
}

TEST_F(BrowseranmeldungTest, ACallbackEndsTheSessionAndItsSheet) {
    auto const s = sitzung();
    ASSERT_TRUE(s->starten());
    EXPECT_TRUE(werk->rueckweg("quillmate://x?merkmal=abc"));
    ASSERT_EQ(ausgaenge.size(), 1U);
    EXPECT_EQ(ausgaenge[0].rueckweg, "quillmate://x?merkmal=abc");
    EXPECT_FALSE(ausgaenge[0].fehler);
    EXPECT_EQ(blaetter.offen, 0);
}

TEST_F(BrowseranmeldungTest, WithoutARunningSessionACallbackIsDroppedAndItsTicketNotLogged) {
    EXPECT_EQ(verworfen("quillmate://x?merkmal=geheim"), keine);
    auto const s = sitzung(); // made but not begun
    EXPECT_EQ(verworfen("quillmate://x?merkmal=geheim"), keine);
    EXPECT_TRUE(ausgaenge.empty());
}

TEST_F(BrowseranmeldungTest, ASecondCallbackIsDropped) {
    auto const s = sitzung();
    ASSERT_TRUE(s->starten());
    EXPECT_TRUE(werk->rueckweg("quillmate://x?merkmal=1"));
    EXPECT_EQ(verworfen("quillmate://x?merkmal=1"), keine);
    EXPECT_EQ(verworfen("quillmate://x?merkmal=2"), keine);
    EXPECT_EQ(ausgaenge.size(), 1U);
}

TEST_F(BrowseranmeldungTest, ACallbackAfterCancellingIsTooLate) {
    auto const s = sitzung();
    ASSERT_TRUE(s->starten());
    blaetter.abbrechen();
    ASSERT_EQ(ausgaenge.size(), 1U);
    EXPECT_EQ(ausgaenge[0].fehler->nummer, 1);
    EXPECT_EQ(blaetter.offen, 0);
    EXPECT_EQ(verworfen("quillmate://x?merkmal=1"), keine);
    blaetter.abbrechen(); // pressed twice
    EXPECT_EQ(ausgaenge.size(), 1U);
}

TEST_F(BrowseranmeldungTest, ACallbackWithCharactersThatNoAddressHoldsIsTaken) {
    auto const s = sitzung();
    ASSERT_TRUE(s->starten());
    EXPECT_TRUE(werk->rueckweg("quillmate://x?merkmal=a|b{c}^\xC3\xBC"));
    ASSERT_EQ(ausgaenge.size(), 1U);
    EXPECT_EQ(ausgaenge[0].rueckweg, "quillmate://x?merkmal=a|b{c}^\xC3\xBC");
}

TEST_F(BrowseranmeldungTest, ForgedAddressesLeaveTheSessionRunning) {
    auto const s = sitzung();
    ASSERT_TRUE(s->starten());
    EXPECT_EQ(verworfen("https://x/?merkmal=1"), "[Quillmate] Rückweg verworfen: ein anderes Schema\n");
    EXPECT_EQ(verworfen("quillmates://x?merkmal=1"), "[Quillmate] Rückweg verworfen: ein anderes Schema\n");
    for (auto const* const text :
         {"", "quillmate", "quillmate://x?merkmal=a b", "quillmate://x?a\nb", "quillmate://x?a\x7F"})
        EXPECT_EQ(verworfen(text), "[Quillmate] Rückweg verworfen: keine Adresse\n") << text;
    EXPECT_EQ(
        verworfen("quillmate://x?merkmal=" + std::string(std::size_t{10} << 20U, 'a')),
        "[Quillmate] Rückweg verworfen: 10485782 Byte sind zu lang\n");
    EXPECT_TRUE(ausgaenge.empty());
    EXPECT_TRUE(werk->rueckweg("QUILLMATE://x?merkmal=1"));
}

TEST_F(BrowseranmeldungTest, ADestroyedSessionTakesNothingAndClosesItsSheet) {
    auto s = sitzung();
    ASSERT_TRUE(s->starten());
    s.reset();
    EXPECT_EQ(blaetter.offen, 0);
    EXPECT_EQ(verworfen("quillmate://x?merkmal=1"), keine);
    blaetter.abbrechen(); // a click that was already on its way
    EXPECT_TRUE(ausgaenge.empty());
}

TEST_F(BrowseranmeldungTest, TheSessionBegunLastGetsTheCallback) {
    auto const alt = sitzung("https://h.example/alt");
    auto const neu = sitzung("https://h.example/neu");
    ASSERT_TRUE(alt->starten());
    ASSERT_TRUE(neu->starten());
    EXPECT_TRUE(werk->rueckweg("quillmate://x?merkmal=1"));
    EXPECT_EQ(ausgaenge.size(), 1U);
    EXPECT_EQ(verworfen("quillmate://x?merkmal=2"), keine);
}

TEST_F(BrowseranmeldungTest, OnlyWebPagesAreOpened) {
    for (auto const* const adresse :
         {"file:///etc/passwd", "ssh://h/auth/google/login", "javascript:alert(1)", "https:///x",
          "quillmate://x", ""}) {
        EXPECT_FALSE(sitzung(adresse)->starten()) << adresse;
    }
    EXPECT_TRUE(browser.geoeffnet.empty());
    EXPECT_EQ(blaetter.offen, 0);
    auto const lokal = sitzung("http://127.0.0.1:8080/auth/google/login"); // a service on this machine
    EXPECT_TRUE(lokal->starten());
}

TEST_F(BrowseranmeldungTest, WithoutAWayBackOrASheetItDoesNotStart) {
    einrichtbar = false;
    EXPECT_FALSE(sitzung()->starten());
    einrichtbar = true;
    blaetter.ohneFenster = true;
    auto const s = sitzung();
    EXPECT_FALSE(s->starten());
    EXPECT_TRUE(browser.geoeffnet.empty());
    EXPECT_EQ(verworfen("quillmate://x?merkmal=1"), keine);
}

TEST_F(BrowseranmeldungTest, ASessionThatOutlivesItsMakerIsDead) {
    auto const s = sitzung();
    werk.reset();
    EXPECT_FALSE(s->starten());
}

TEST_F(BrowseranmeldungTest, TheWholeRoadOfASignIn) {
    std::vector<std::string> geladen;
    anmeldung::Anmeldung anmeldung{
        {.werk = *werk,
         .start = Adresse::lesen("https://quillmate.example/uebersicht").value(),
         .laden = [&](std::string const& adresse) {
             geladen.push_back(adresse);
         }}};
    anmeldung.anmeldenMitGoogle("https://quillmate.example/auth/google/login");
    EXPECT_EQ(browser.geoeffnet.back(), "https://quillmate.example/auth/google/login?app=1");
    EXPECT_EQ(blaetter.texte.back().meldung, "Die Anmeldung geht in deinem Browser weiter");
    EXPECT_TRUE(werk->rueckweg("quillmate://anmeldung?merkmal=abc"));
    EXPECT_EQ(geladen, std::vector<std::string>{"https://quillmate.example/auth/app/anmelden?merkmal=abc"});
    EXPECT_FALSE(anmeldung.laeuft());
    EXPECT_EQ(blaetter.offen, 0);

    anmeldung.bankVerbinden("https://quillmate.example/auth/enable-banking/start?client=7");
    anmeldung.anmeldenMitGoogle("https://quillmate.example/auth/google/login"); // the user changes their mind
    EXPECT_EQ(blaetter.offen, 1);
    blaetter.abbrechen();
    EXPECT_FALSE(anmeldung.laeuft());
    EXPECT_EQ(blaetter.offen, 0);
    EXPECT_EQ(geladen.size(), 1U);
}
