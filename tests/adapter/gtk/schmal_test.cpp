// The lines of a window have room in the narrowest one, with the largest texts too.
#include "adapter/gtk/fusszeile_gtk.h"
#include "adapter/gtk/suchzeile.h"
#include "echte_webansicht.h"

namespace quillmate::adapter::gtk {
namespace {

class Schmal : public EchteWebansicht, public testing::WithParamInterface<int> {
protected:
    void SetUp() override {
        g_object_get(gtk_settings_get_default(), "gtk-xft-dpi", &vorher, nullptr);
        g_object_set(gtk_settings_get_default(), "gtk-xft-dpi", 96 * 1024 * GetParam() / 100, nullptr);
    }
    void TearDown() override {
        g_object_set(gtk_settings_get_default(), "gtk-xft-dpi", vorher, nullptr);
        EchteWebansicht::TearDown();
    }
    static int mindestbreite(GtkWidget* widget) {
        int breite = 0;
        gtk_widget_measure(widget, GTK_ORIENTATION_HORIZONTAL, -1, &breite, nullptr, nullptr, nullptr);
        return breite;
    }
    static constexpr int schmalstesFenster = 380;
    int vorher{0};
};
INSTANTIATE_TEST_SUITE_P(TextSize, Schmal, testing::Values(100, 200), testing::PrintToStringParamName());

TEST_P(Schmal, TheLineAtTheLowerEdgeFits) {
    FusszeileGtk zeile;
    zeile.zeigen(ports::Fusszeile{
        .text = "„eine-rechnung-mit-einem-langen-namen.pdf“ wird heruntergeladen … 45 % (12,3 von 27,0 MB)",
        .laeuft = false,
        .anteil = {},
        .knopf = "Abbrechen"});
    EXPECT_LE(mindestbreite(zeile.widget()), schmalstesFenster);
}

TEST_P(Schmal, TheFindBarFits) {
    oeffnen();
    Suchzeile zeile{WEBKIT_WEB_VIEW(web->widget())};
    auto const halter = Objekt<GtkWidget>::geteilt(zeile.widget());
    zeile.oeffnen();
    EXPECT_LE(mindestbreite(zeile.widget()), schmalstesFenster);
}

} // namespace
} // namespace quillmate::adapter::gtk
