// The bar above a portal's page.
#include "adapter/gtk/portalleiste_gtk.h"
#include "adapter/gtk/programmfenster_gtk.h"
#include "bildschirm.h"
#include "echte_webansicht.h"
#include "werkzeug/bildschirm.h"
#include "werkzeug/voreinstellungen.h"

#include <cstdlib>
#include <memory>
#include <string>

namespace quillmate::adapter::gtk {
namespace {

class Leistenfenster : public EchteWebansicht {
protected:
    ~Leistenfenster() override {
        leiste.reset();
        rahmen.reset();
    }
    void oeffne(std::string const& rumpf) {
        fremdeSeiten = true;
        seiten["/"] = html("<title>Start</title>" + rumpf);
        web = std::make_unique<adapter::gtk::WebansichtGtk>(
            weblager().sitzungen, ports::Webansicht::Einrichtung{.fremdeSeiten = true}, mitschrift);
        rahmen = std::make_unique<adapter::gtk::ProgrammfensterGtk>(
            testanwendung(), voreinstellungen,
            ports::Fenstermasse{.breite = 900, .hoehe = 500, .mindestbreite = 560, .mindesthoehe = 480},
            false);
        rahmen->titel("Portalprobe");
        rahmen->inhalt(*web);
        leiste = leisten.leiste(
            *rahmen, {.adresse = "Sichere Verbindung \u00b7 portal.example",
                      .status = "Downloads werden direkt in Quillmate übernommen.",
                      .knopf = "Aktuelle PDF übernehmen",
                      .knopfhinweis = "Hinweis",
                      .gedrueckt = [] {},
                      .zurueck = [this] { ++zurueck; },
                      .neuLaden = [this] { ++neuGeladen; },
                      .anhalten =
                          [this] {
                              ++angehalten;
                          }});
        rahmen->zeigen();
        laden("/");
    }

    int zurueck{0};
    int neuGeladen{0};
    int angehalten{0};
    werkzeug::SpeicherVoreinstellungen voreinstellungen;
    adapter::gtk::PortalleistenwerkGtk leisten;
    std::unique_ptr<adapter::gtk::ProgrammfensterGtk> rahmen;
    std::unique_ptr<ports::Portalleiste> leiste;
    fenster_echt::Bildschirm bildschirm{std::getenv("DISPLAY")};
};

TEST_F(Leistenfenster, AFreshPortalHasTheKeyboardInItsPage) {
    oeffne("<input id=feld autofocus>");
    EXPECT_EQ(gtk_window_get_focus(rahmen->gtkFenster()), web->widget());
    std::optional<fenster_echt::XFenster> wo;
    ASSERT_TRUE(drehenBis([&] { return (wo = bildschirm.fensterMit("Portalprobe")).has_value(); }));
    ASSERT_TRUE(drehenBis([&] {
        bildschirm.tastaturAn(wo->nummer);
        return bildschirm.tastaturBei() == wo->nummer;
    }));
    EXPECT_TRUE(drehenBis([&] { return wert("document.hasFocus()") == "true"; }));
    EXPECT_TRUE(drehenBis([&] {
        bildschirm.tippe("x");
        return wert("document.getElementById('feld').value").starts_with("x");
    }));
}

TEST_F(Leistenfenster, TheColoursOfARunningAndAFinishedImportAreNotTheRestingOnes) {
    oeffne("<p>Seite");
    bildschirm.bild("leiste_ruhe");
    leiste->status("PDF geladen", ports::Textton::laeuft);
    leiste->laedt(true);
    leiste->zurueckAktiv(true);
    (void)drehenBis([] { return g_main_context_pending(nullptr) == FALSE; });
    bildschirm.bild("leiste_laeuft");
    leiste->status("Beleg importiert", ports::Textton::erfolg);
    leiste->laedt(false);
    (void)drehenBis([] { return g_main_context_pending(nullptr) == FALSE; });
    adw_style_manager_set_color_scheme(adw_style_manager_get_default(), ADW_COLOR_SCHEME_FORCE_DARK);
    (void)drehenBis([] { return g_main_context_pending(nullptr) == FALSE; });
    bildschirm.bild("leiste_dunkel");
    adw_style_manager_set_color_scheme(adw_style_manager_get_default(), ADW_COLOR_SCHEME_DEFAULT);
    EXPECT_EQ(zurueck + neuGeladen + angehalten, 0);
}

} // namespace
} // namespace quillmate::adapter::gtk
