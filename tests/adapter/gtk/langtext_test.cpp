// Dialogs whose texts pages have chosen.
#include "adapter/gtk/anwendung_gtk.h"
#include "adapter/gtk/dialoge_gtk.h"
#include "adapter/gtk/langtext.h"
#include "adapter/gtk/programmfenster_gtk.h"
#include "bildschirm.h"
#include "werkzeug/bildschirm.h"
#include "werkzeug/drehen.h"
#include "werkzeug/voreinstellungen.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>

namespace quillmate::adapter::gtk {
namespace {

using werkzeug::drehenBis;

class LangeTexte : public testing::Test {
public:
    static void SetUpTestSuite() { bildschirmBereiten(); }

protected:
    LangeTexte() { haupt.zeigen(); }
    /// Shows the dialog; its window, and how long it took to be there.
    GtkWidget* zeige(ports::Frage const& frage) {
        auto const vorher = std::chrono::steady_clock::now();
        dialoge.fragen(haupt, frage, [this](ports::Antwort const& wert) { antwort = wert; });
        GtkWidget* dialog = nullptr;
        EXPECT_TRUE(drehenBis([&] {
            auto* const alle = gtk_window_get_toplevels();
            for (guint i = 0; i < g_list_model_get_n_items(alle); ++i) {
                auto const eines =
                    adapter::gtk::Objekt<GtkWindow>::uebernommen(GTK_WINDOW(g_list_model_get_item(alle, i)));
                if (gtk_window_get_transient_for(eines.get()) == haupt.gtkFenster() &&
                    gtk_widget_get_mapped(GTK_WIDGET(eines.get())))
                    dialog = GTK_WIDGET(eines.get());
            }
            return dialog && gtk_widget_get_height(dialog) > 0;
        }));
        dauer = std::chrono::steady_clock::now() - vorher;
        return dialog;
    }
    void pruefe(std::string const& name, std::string const& text) {
        SCOPED_TRACE(name);
        auto* const dialog =
            zeige({.meldung = "Quillmate", .erklaerung = text, .knoepfe = {"OK", "Abbrechen"}});
        ASSERT_TRUE(dialog);
        EXPECT_LE(gtk_widget_get_height(dialog), bildhoehe / 2);
        EXPECT_LE(gtk_widget_get_width(dialog), 700);
        EXPECT_LT(dauer, std::chrono::milliseconds{500}); // 100 without anybody else on the machine
        std::fprintf(
            stderr, "%s: %d x %d nach %lld ms\n", name.c_str(), gtk_widget_get_width(dialog),
            gtk_widget_get_height(dialog),
            static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(dauer).count()));
        bildschirm.bild("langtext_" + name);
        gtk_window_destroy(GTK_WINDOW(dialog));
        EXPECT_TRUE(drehenBis([&] { return antwort.has_value(); }));
    }

    static GtkWidget* knopfIn(GtkWidget* widget, std::string const& titel) {
        if (GTK_IS_BUTTON(widget) && textVon(gtk_button_get_label(GTK_BUTTON(widget))) == titel)
            return widget;
        for (auto* kind = gtk_widget_get_first_child(widget); kind; kind = gtk_widget_get_next_sibling(kind))
            if (auto* const gefunden = knopfIn(kind, titel))
                return gefunden;
        return nullptr;
    }

    static constexpr int bildhoehe = 1200;
    werkzeug::SpeicherVoreinstellungen voreinstellungen;
    adapter::gtk::ProgrammfensterGtk haupt{
        testanwendung(), voreinstellungen,
        ports::Fenstermasse{.breite = 900, .hoehe = 700, .mindestbreite = 100, .mindesthoehe = 100}, false};
    adapter::gtk::DialogeGtk dialoge;
    fenster_echt::Bildschirm bildschirm{std::getenv("DISPLAY")};
    std::optional<ports::Antwort> antwort;
    std::chrono::steady_clock::duration dauer{};
};

TEST_F(LangeTexte, ALongTextScrollsInABoxOfAtMostHalfOfTheScreen) {
    std::string viele;
    while (viele.size() < 1950)
        viele += "Wort und noch eines ";
    pruefe("woerter", viele);
}

TEST_F(LangeTexte, ThousandsOfLinesScrollToo) {
    pruefe("zeilen", std::string(4000, '\n') + "Ende");
}

TEST_F(LangeTexte, AWordOfFourThousandCharactersIsBrokenAnywhereAndThereAtOnce) {
    pruefe("wort", std::string(4000, 'x'));
}

TEST_F(LangeTexte, AnOrdinaryQuestionNeedsNoBox) {
    EXPECT_FALSE(adapter::gtk::istLang(
        "Soll die Rechnung wirklich gelöscht werden?\nDas lässt sich nicht rückgängig machen."));
    EXPECT_TRUE(adapter::gtk::istLang(std::string(61, 'x')));
}

TEST_F(LangeTexte, OneMoreButtonAnswersAsTheLastAndDoesItsOwnThing) {
    bool getan = false;
    auto* const dialog = zeige(
        {.meldung = "Das Portal portal.example meldet:",
         .erklaerung = "Noch eine Meldung.",
         .knoepfe = {"OK", "Abbrechen"},
         .zusatz = ports::Frage::Zusatzknopf{.titel = "Portal schließen", .gedrueckt = [&] {
                                                 getan = true;
                                             }}});
    ASSERT_TRUE(dialog);
    bildschirm.bild("zusatzknopf");
    auto* const zusatz = knopfIn(dialog, "Portal schließen");
    ASSERT_TRUE(zusatz);
    g_signal_emit_by_name(zusatz, "clicked");
    EXPECT_TRUE(drehenBis([&] { return antwort.has_value(); }));
    EXPECT_EQ(antwort->knopf, 1U);
    EXPECT_TRUE(getan);
}

} // namespace
} // namespace quillmate::adapter::gtk
