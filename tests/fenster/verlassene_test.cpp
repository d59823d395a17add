// What pages of windows want that somebody has closed. The windows are kept, and their pages go on.
#include "fensterprobe.h"

namespace quillmate::fenstertest {
namespace {

class Verlassene : public FensterTest {
protected:
    /// A child window that has been closed.
    werkzeug::WebansichtAttrappe& geschlossenes() {
        baue();
        auto& neben =
            dynamic_cast<werkzeug::WebansichtAttrappe&>(*neuesFenster("https://quillmate.example/belege"));
        werk.fensters.back()->schliessen();
        return neben;
    }
};

TEST_F(Verlassene, ALoadThatFailsInAClosedWindowIsToldNowhere) {
    auto& neben = geschlossenes();
    auto const vorher = buch();
    EXPECT_EQ(fehlerausgabe([&] { engine().fehlgeschlagen(neben, netzfehler()); }), "");
    EXPECT_EQ(buch(), vorher);
    EXPECT_EQ(web().htmls.size(), 1U) << "only the loading page";
}

TEST_F(Verlassene, DialogsOfAClosedWindowAreAnsweredWithNoAndNobodySeesThem) {
    auto& neben = geschlossenes();
    std::string gehoert;
    engine().hinweis(neben, "Hallo", [&] { gehoert += 'h'; });
    engine().bestaetigung(neben, "Sicher?", [&](bool ja) { gehoert += ja ? 'j' : 'n'; });
    engine().eingabe(
        neben, "Name?", "x", [&](std::optional<std::string> const& text) { gehoert += text ? 't' : '-'; });
    engine().dateienWaehlen(neben, {}, [&](std::optional<std::vector<std::string>> const& pfade) {
        gehoert += pfade ? 'd' : '-';
    });
    EXPECT_EQ(gehoert, "hn--");
    EXPECT_TRUE(dialoge.gefragt.empty());
    EXPECT_TRUE(dialoge.dateifragen.empty());
}

TEST_F(Verlassene, AClosedWindowsPageLeadsNowhereAndOpensNothing) {
    auto& neben = geschlossenes();
    auto const fensterzahl = werk.fensters.size();
    EXPECT_EQ(
        engine().beiNavigation(
            neben, {.adresse = "https://fremd.example/", .art = Navigationsart::link, .geste = geste()}),
        Entscheidung::abbrechen);
    EXPECT_EQ(
        engine().beiNavigation(
            neben, {.adresse = "https://quillmate.example/auth/google/login", .geste = geste()}),
        Entscheidung::abbrechen);
    EXPECT_EQ(
        engine().beiAntwort(neben, {.adresse = "https://quillmate.example/x", .darstellbar = false}),
        Entscheidung::abbrechen);
    EXPECT_EQ(
        engine().neuesFenster(
            neben, {.adresse = "https://fremd.example/", .geste = geste()},
            [this](ports::Webansicht::Empfaenger& empfaenger) { return werk.verwandte(empfaenger); }),
        nullptr);
    EXPECT_TRUE(browser.geoeffnet.empty());
    EXPECT_EQ(werk.fensters.size(), fensterzahl);
}

} // namespace
} // namespace quillmate::fenstertest
