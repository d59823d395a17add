// What a view does when its process does not answer, and what is seen before there is anything to see.
#include "echte_webansicht.h"
#include "werkzeug/bildschirm.h"

#include <atomic>
#include <cstdlib>

namespace quillmate::adapter::gtk {
namespace {

class EchteRuhe : public EchteWebansicht {
protected:
    ~EchteRuhe() override {
        adw_style_manager_set_color_scheme(adw_style_manager_get_default(), ADW_COLOR_SCHEME_DEFAULT);
    }
    /// What the screen shows in the middle of the window.
    std::uint32_t mitte() {
        gtk_window_set_title(GTK_WINDOW(fenster), "Ruheprobe");
        std::optional<fenster_echt::XFenster> wo;
        EXPECT_TRUE(drehenBis([&] { return (wo = bildschirm.fensterMit("Ruheprobe")).has_value(); }));
        return bildschirm.farbe({.x = wo->x + wo->breite / 2, .y = wo->y + wo->hoehe / 2});
    }
    fenster_echt::Bildschirm bildschirm{std::getenv("DISPLAY")};
};

TEST_F(EchteRuhe, AProcessThatAnswersNothingForTooLongIsEndedAndTheReasonSaysSo) {
    haengefrist = std::chrono::seconds{1};
    oeffnen();
    laden("/");
    std::atomic<bool> haengt{false};
    seiten["/jetzt"] = html("");
    beiAnfrage = [&](HttpAnfrage const& anfrage) {
        haengt = haengt || anfrage.pfad == "/jetzt";
    };
    web->skript("const ruf = new XMLHttpRequest(); ruf.open('GET', '/jetzt', false); ruf.send(); for (;;);");
    ASSERT_TRUE(drehenBis([&] { return haengt.load(); }));
    // The engine watches only while it waits for something.
    web->laden(dienst.adresse() + "/zwei", std::chrono::seconds{60});
    ASSERT_TRUE(drehenBis([&] { return !mitschrift.tode.empty(); }));
    EXPECT_EQ(mitschrift.tode.front(), "Der Anzeigeprozess hat nicht mehr geantwortet");
}

TEST_F(EchteRuhe, InADarkDesktopAWindowWithoutAPageYetIsDark) {
    adw_style_manager_set_color_scheme(adw_style_manager_get_default(), ADW_COLOR_SCHEME_FORCE_DARK);
    seiten["/haengt"] = {.haengen = true};
    oeffnen();
    web->laden(dienst.adresse() + "/haengt", std::chrono::seconds{60});
    std::uint32_t farbe = 0xFFFFFF;
    EXPECT_TRUE(drehenBis([&] { return (farbe = mitte()) == 0x242424; })) << std::hex << farbe;
    // And it stays so: the engine's first white would come with its first picture.
    for (int i = 0; i < 50; ++i) {
        g_main_context_iteration(nullptr, FALSE);
        g_usleep(10'000);
        ASSERT_NE(farbe = mitte(), 0xFFFFFFU);
    }
    seiten["/weiss"] = html("<style>html { background: #fff; }</style>");
    web->laden(dienst.adresse() + "/weiss", std::chrono::seconds{60});
    EXPECT_TRUE(drehenBis([&] { return (farbe = mitte()) == 0xFFFFFF; }))
        << "the page's own white is not seen, but " << std::hex << farbe;
}

TEST_F(EchteRuhe, AfterADeathTheWindowShowsItsBackgroundUntilTheNextPageIsPainted) {
    oeffnen();
    seiten["/rot"] = html("<style>html { background: #f00; }</style>");
    laden("/rot");
    EXPECT_TRUE(drehenBis([&] { return mitte() == 0xFF0000; }));
    webkit_web_view_terminate_web_process(WEBKIT_WEB_VIEW(web->widget()));
    ASSERT_TRUE(drehenBis([&] { return !mitschrift.tode.empty(); }));
    web->ladenErsatz("<!doctype html><style>html { background: #0f0; }</style>", dienst.adresse() + "/rot");
    EXPECT_TRUE(drehenBis([&] { return mitte() == 0x00FF00; }))
        << "the first page after a death is not painted";
}

} // namespace
} // namespace quillmate::adapter::gtk
