#include "echtes_fenster.h"
#include "werkzeug/einstellungsportal.h"
#include "werkzeug/warten.h"

#include <cstdlib>
#include <future>

namespace quillmate::fenster_echt {
namespace {

using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::wartenBis;

using Start = EchtesFenster;

/// Whether no channel of two colours differs by more than a few steps: gradients are dithered.
bool aehnlich(std::uint32_t a, std::uint32_t b) {
    for (int stelle = 0; stelle < 24; stelle += 8)
        if (std::abs(static_cast<int>(a >> stelle & 0xffU) - static_cast<int>(b >> stelle & 0xffU)) > 4)
            return false;
    return true;
}

/// Of the desktop; the switch is libadwaita's.
struct Erscheinung {
    char const* name;
    char const* schalter;
    bool dunkel;
};

class StartIn : public Start, public testing::WithParamInterface<Erscheinung> {
protected:
    [[nodiscard]] static Programm::Umgebung erscheinung() {
        return {{"ADW_DEBUG_COLOR_SCHEME", GetParam().schalter}};
    }
};

INSTANTIATE_TEST_SUITE_P(
    , StartIn,
    testing::Values(
        Erscheinung{.name = "Light", .schalter = "default", .dunkel = false},
        Erscheinung{.name = "Dark", .schalter = "prefer-dark", .dunkel = true}),
    [](auto const& lage) { return lage.param.name; });

TEST_P(StartIn, TheLoadingPageIsShownInItsOwnColoursUntilTheStartPageAnswers) {
    std::promise<void> tor;
    dienst.antworte("/uebersicht", [offen = tor.get_future().share()](HttpAnfrage const&) {
        offen.wait();
        return HttpAntwort{.koerper = "<title>da</title>da", .inhaltstyp = "text/html"};
    });
    programm = starte({}, erscheinung());
    auto const fenster = bildschirm.warteAufFenster("Quillmate");
    ASSERT_TRUE(fenster);
    EXPECT_TRUE(wartenBis([&] { return !dienst.anfragenAn("/uebersicht").empty(); }));
    bildschirm.tastaturAn(fenster->nummer);
    std::optional<std::string> text;
    EXPECT_TRUE(wartenBis([&] {
        bildschirm.taste("ctrl+a");
        bildschirm.taste("ctrl+c");
        text = bildschirm.zwischenablage();
        return text && !text->empty();
    })) << "the page cannot be copied from";
    EXPECT_EQ(text, "Quillmate – wird geladen …");
    auto const masse = *bildschirm.fensterMit("Quillmate");
    EXPECT_TRUE(wartenBis([&] {
        return aehnlich(
            bildschirm.farbe({.x = masse.x + masse.breite / 2, .y = masse.y + masse.hoehe - 20}), 0xeaf5ed);
    })) << "the page's lower edge is not painted";
    bildschirm.bild(std::string{"ladeseite_"} + GetParam().name);
    tor.set_value();
    EXPECT_TRUE(programm->warteAufZeile("geladen: " + dienst.adresse("/uebersicht")));
    EXPECT_TRUE(programm->hatZeile("lade " + dienst.adresse("/uebersicht")));
}

TEST_P(StartIn, PagesAndTheWindowAreLightOrDarkAsTheDesktopIs) {
    dienst.inhalt("<style>:root { color-scheme: light dark; }</style>");
    oeffne(erscheinung());
    EXPECT_EQ(dienst.rufe("return matchMedia('(prefers-color-scheme: dark)').matches"), GetParam().dunkel);
    EXPECT_EQ(dienst.rufe("return matchMedia('(prefers-color-scheme: light)').matches"), !GetParam().dunkel);
    auto const istDunkel = [&](Punkt wo) {
        auto const farbe = bildschirm.farbe(wo);
        return (farbe >> 16U & 0xffU) + (farbe >> 8U & 0xffU) + (farbe & 0xffU) < 3 * 0x80U;
    };
    auto const masse = hauptfenster();
    EXPECT_TRUE(wartenBis([&] {
        return istDunkel({.x = masse.x + masse.breite / 2, .y = masse.y + masse.hoehe / 2}) ==
               GetParam().dunkel;
    })) << "the page";
    EXPECT_TRUE(wartenBis([&] {
        return istDunkel({.x = masse.x + masse.breite / 2, .y = masse.y + 12}) == GetParam().dunkel;
    })) << "the window's header";
    bildschirm.bild(std::string{"startseite_"} + GetParam().name);
}

TEST_F(Start, TheStartPageHasTheBridge) {
    oeffne();
    EXPECT_EQ(dienst.rufe("return window.quillmateApp.fassung"), 3);
    EXPECT_EQ(
        dienst.rufe("return await window.quillmateApp.gemerkteOrdner()")["ordner"], nlohmann::json::array());
    bildschirm.bild("startseite");
}

TEST_F(Start, ClosingTheMainWindowEndsTheProgram) {
    oeffne();
    beende();
}

TEST_F(Start, PagesFollowTheDesktopIntoTheDarkAndBackWhileTheProgramRuns) {
    werkzeug::Einstellungsportal einstellungen{std::getenv("DBUS_SESSION_BUS_ADDRESS")};
    oeffne();
    auto const dunkel = [&] {
        return dienst.rufe("return matchMedia('(prefers-color-scheme: dark)').matches") == true;
    };
    EXPECT_FALSE(dunkel());
    einstellungen.dunkel(true);
    EXPECT_TRUE(wartenBis(dunkel));
    bildschirm.bild("dunkel_umgeschaltet");
    einstellungen.dunkel(false);
    EXPECT_TRUE(wartenBis([&] { return !dunkel(); }));
}

} // namespace
} // namespace quillmate::fenster_echt
