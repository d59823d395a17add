// What a screen reader finds of the windows and dialogs, read from the accessibility bus.
#include "echtes_fenster.h"
#include "werkzeug/barriere.h"
#include "werkzeug/warten.h"

#include <algorithm>
#include <cstdlib>

namespace quillmate::fenster_echt {
namespace {

using werkzeug::Barriere;
using werkzeug::wartenBis;

class Hilfsmittel : public EchtesFenster {
protected:
    std::unique_ptr<Barriere> oeffneMitBus() {
        // One of the test's own: its socket lies in the runtime folder, and tests run beside each other.
        traeger =
            std::make_unique<Programm>(QUILLMATE_HILFSMITTELBUS, std::vector<std::string>{}, umgebung());
        auto bus = std::make_unique<Barriere>(std::getenv("DBUS_SESSION_BUS_ADDRESS"));
        oeffne({{"GTK_A11Y", "atspi"}, {"NO_AT_BRIDGE", "0"}});
        return bus;
    }
    void TearDown() override {
        EchtesFenster::TearDown();
        traeger.reset();
    }
    std::unique_ptr<Programm> traeger;
    static void erwarte(Barriere const& bus, Barriere::Ding const& ding) {
        EXPECT_TRUE(wartenBis([&] { return bus.gibtEs(ding); }))
            << ding.rolle << " \"" << ding.name << "\" is missing in:\n"
            << bus.alsText();
    }
};

TEST_F(Hilfsmittel, TheWindowAndItsPageHaveNamesForPeople) {
    auto const traegerbus = oeffneMitBus();
    auto const& bus = *traegerbus;
    ASSERT_TRUE(wartenBis([&] { return bus.alles().size() > 5; })) << bus.alsText();
    bool fenster = false;
    bool seite = false;
    for (auto const& ding : bus.alles()) {
        fenster = fenster || (ding.rolle == "frame" && ding.name == "Quillmate") ||
                  (ding.rolle == "window" && ding.name == "Quillmate");
        seite = seite || ding.name == "Seite von Quillmate";
        EXPECT_EQ(ding.name.find("WebKit"), std::string::npos) << ding.rolle << ' ' << ding.name;
        EXPECT_FALSE(ding.name.starts_with("Gtk") || ding.name.starts_with("Adw"))
            << ding.rolle << " is called by its class, " << ding.name;
    }
    EXPECT_TRUE(fenster && seite) << bus.alsText();
}

TEST_F(Hilfsmittel, AnAlertIsADialogWithItsTextAndButton) {
    auto const traegerbus = oeffneMitBus();
    auto const& bus = *traegerbus;
    (void)dienst.beginne("alert('Gespeichert.')");
    ASSERT_TRUE(warteAufDialog());
    EXPECT_TRUE(wartenBis([&] { return bus.gibtEs({.rolle = "alert dialog", .name = "Quillmate"}); }))
        << bus.alsText();
    // libadwaita builds its buttons twice, side by side and one above the other, and names them after both.
    auto const alle = bus.alles();
    EXPECT_TRUE(std::ranges::any_of(alle, [](auto const& ding) {
        return ding.rolle == "button" && ding.name.starts_with("OK");
    })) << bus.alsText();
    erwarte(bus, {.rolle = "label", .name = "Gespeichert."});
}

TEST_F(Hilfsmittel, TheFindBarsPartsHaveNames) {
    auto const traegerbus = oeffneMitBus();
    auto const& bus = *traegerbus;
    bildschirm.taste("ctrl+f");
    erwarte(bus, {.rolle = "button", .name = "Nächster Treffer"});
    erwarte(bus, {.rolle = "button", .name = "Suche schließen"});
    bildschirm.taste("Escape");
}

} // namespace
} // namespace quillmate::fenster_echt
