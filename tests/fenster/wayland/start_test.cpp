// What a person sees under Wayland without doing anything, and what the page can do by itself.
#include "wayland_fenster.h"
#include "werkzeug/warten.h"

#include <algorithm>

namespace quillmate::fenster_wayland {
namespace {

using nlohmann::json;
using werkzeug::wartenBis;

using Wayland = WaylandFenster;

TEST_F(Wayland, TheStartPageIsLoadedWithoutAnyXServer) {
    sitzung();
    oeffne();
    EXPECT_EQ(dienst.rufe("return location.pathname"), "/uebersicht");
    EXPECT_FALSE(aufrufe("wl_surface", "commit").empty()) << "nothing was painted";
}

TEST_F(Wayland, TheBridgeAnswersThePage) {
    sitzung();
    oeffne();
    EXPECT_EQ(
        dienst.rufe("return await window.quillmateApp.gemerkteOrdner()"), (json{{"ordner", json::array()}}));
}

TEST_F(Wayland, TheShellFindsTheDesktopEntryByTheWindowsApplicationId) {
    sitzung();
    oeffne();
    auto const kennungen = aufrufe("xdg_toplevel", "set_app_id");
    ASSERT_FALSE(kennungen.empty());
    for (auto const& kennung : kennungen)
        EXPECT_EQ(kennung, "\"" QUILLMATE_EINTRAG "\"") << "the entry's file is named otherwise";
}

class WaylandIn : public WaylandFenster, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Scale, WaylandIn, testing::Values(1, 2), testing::PrintToStringParamName());

TEST_P(WaylandIn, PagesArePaintedInTheScreensScale) {
    sitzung(GetParam());
    oeffne();
    EXPECT_TRUE(wartenBis([&] { return dienst.rufe("return devicePixelRatio") == GetParam(); }));
}

TEST_F(Wayland, PagesAreDarkWhereTheDesktopIs) {
    sitzung();
    oeffne({{"ADW_DEBUG_COLOR_SCHEME", "prefer-dark"}});
    EXPECT_EQ(dienst.rufe("return matchMedia('(prefers-color-scheme: dark)').matches"), true);
}

TEST_F(Wayland, AnAlertIsAWindowOverTheMainOneAndThePageWaits) {
    sitzung();
    oeffne();
    auto const vorher = aufrufe("xdg_surface", "get_toplevel").size();
    int const nummer = dienst.beginne("alert('Gespeichert.'); return 1");
    ASSERT_TRUE(wartenBis([&] { return aufrufe("xdg_surface", "get_toplevel").size() > vorher; }));
    EXPECT_TRUE(wartenBis([&] {
        auto const eltern = aufrufe("xdg_toplevel", "set_parent");
        return std::ranges::any_of(eltern, [](auto const& eins) { return eins.starts_with("xdg_toplevel"); });
    })) << "the dialog stands by itself";
    EXPECT_FALSE(dienst.fertig(nummer));
}

TEST_F(Wayland, TheFolderPanelOpensWithItsTitle) {
    sitzung();
    oeffne();
    int const nummer = dienst.beginne("return await window.quillmateApp.ordnerWaehlen()");
    EXPECT_TRUE(warteAufTitel("Ordner mit Belegen auswählen"));
    EXPECT_FALSE(dienst.fertig(nummer));
}

TEST_F(Wayland, ASecondStartEndsAndShowsTheFirstOne) {
    sitzung();
    oeffne();
    auto const zweites = starte({{"XDG_ACTIVATION_TOKEN", "marke-4711"}});
    EXPECT_EQ(zweites->warteAufEnde(), 0);
    EXPECT_TRUE(zweites->hatZeile("Quillmate läuft bereits"));
    EXPECT_EQ(dienst.dokumente(), 1) << "and nothing is loaded again";
    if (programm->fehlerausgabe().find("xdg_activation_v1") == std::string::npos)
        GTEST_SKIP() << "this Weston knows no activation tokens";
    EXPECT_TRUE(wartenBis([&] {
        auto const alle = aufrufe("xdg_activation_v1", "activate");
        return std::ranges::any_of(alle, [](auto const& eins) { return eins.starts_with("\"marke-4711\""); });
    })) << "the compositor does not learn on whose behalf the window comes to the front";
}

} // namespace
} // namespace quillmate::fenster_wayland
