// Windows, dialogs and sheets on a display of the test's own.
#include "adapter/gtk/adressdialog_gtk.h"
#include "adapter/gtk/anwendung_gtk.h"
#include "adapter/gtk/dialoge_gtk.h"
#include "adapter/gtk/glib_halter.h"
#include "adapter/gtk/programmfenster_gtk.h"
#include "adapter/gtk/warteblatt_gtk.h"
#include "bildschirm.h"
#include "werkzeug/voreinstellungen.h"

#include <adwaita.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quillmate::adapter::gtk {
namespace {

class EchteFenster : public testing::Test {
public:
    static void SetUpTestSuite() { bildschirmBereiten(); }
    /// One for the process, as in the program.
    static adapter::gtk::AnwendungGtk& eine() {
        static adapter::gtk::AnwendungGtk& eine = *[] {
            auto* const neu = new adapter::gtk::AnwendungGtk{
                "de.tandemwerk.quillmate.fenstertest",
                {.fassung = "9.8.7 (654)",
                 .symbol = "de.tandemwerk.quillmate",
                 .webseite = "https://quillmate.example",
                 .mitwirkende = {"Eine Bibliothek (MIT)", "Eine andere (LGPL)"}},
                {}};
            EXPECT_TRUE(g_application_register(G_APPLICATION(neu->gtk()), nullptr, nullptr));
            return neu;
        }();
        return eine;
    }
    std::unique_ptr<adapter::gtk::ProgrammfensterGtk> fenster() {
        return std::make_unique<adapter::gtk::ProgrammfensterGtk>(
            anwendung.gtk(), voreinstellungen,
            ports::Fenstermasse{.breite = 400, .hoehe = 300, .mindestbreite = 100, .mindesthoehe = 100},
            false);
    }
    /// Ends the program as soon as the main loop turns again.
    void gleichBeenden() {
        g_idle_add(
            [](gpointer daten) -> gboolean {
                static_cast<adapter::gtk::AnwendungGtk*>(daten)->beenden();
                return G_SOURCE_REMOVE;
            },
            &anwendung);
    }

    werkzeug::SpeicherVoreinstellungen voreinstellungen;
    adapter::gtk::AnwendungGtk& anwendung = eine();
};

/// The texts of all labels below.
void beschriftungen(GtkWidget* widget, std::vector<std::string>& texte) {
    if (GTK_IS_LABEL(widget))
        texte.emplace_back(gtk_label_get_text(GTK_LABEL(widget)));
    for (auto* kind = gtk_widget_get_first_child(widget); kind; kind = gtk_widget_get_next_sibling(kind))
        beschriftungen(kind, texte);
}

/// The widget below that has the properties of an about window, whichever class the release has for it.
GtkWidget* ueberfenster(GtkWidget* widget) {
    if (g_object_class_find_property(G_OBJECT_GET_CLASS(widget), "application-name"))
        return widget;
    for (auto* kind = gtk_widget_get_first_child(widget); kind; kind = gtk_widget_get_next_sibling(kind))
        if (auto* const fund = ueberfenster(kind))
            return fund;
    return nullptr;
}

std::string eigenschaft(GtkWidget* widget, char const* name) {
    char* wert = nullptr;
    g_object_get(widget, name, &wert, nullptr);
    adapter::gtk::GText const halter{wert};
    return adapter::gtk::textVon(wert);
}

TEST_F(EchteFenster, AboutTellsVersionLicenceAndWhoseWorkItRestsOn) {
    anwendung.menuebalken(
        {{.titel = "",
          .punkte = {{.titel = "Über Quillmate", .taste = "", .wirkung = ports::Standardbefehl::ueber}}}});
    g_action_group_activate_action(G_ACTION_GROUP(anwendung.gtk()), "menue0", nullptr);
    GtkWidget* ueber = nullptr;
    auto* const alle = gtk_window_get_toplevels();
    for (guint i = 0; i < g_list_model_get_n_items(alle) && !ueber; ++i) {
        auto* const eines = g_list_model_get_item(alle, i);
        ueber = ueberfenster(GTK_WIDGET(eines));
        g_object_unref(eines);
    }
    ASSERT_TRUE(ueber);
    EXPECT_EQ(eigenschaft(ueber, "application-name"), "Quillmate");
    EXPECT_EQ(eigenschaft(ueber, "version"), "9.8.7 (654)");
    EXPECT_EQ(eigenschaft(ueber, "website"), "https://quillmate.example");
    GtkLicense lizenz{};
    g_object_get(ueber, "license-type", &lizenz, nullptr);
    EXPECT_EQ(lizenz, GTK_LICENSE_AGPL_3_0);
    std::vector<std::string> texte;
    beschriftungen(ueber, texte);
    for (auto const* erwartet : {"Mit Hilfe von", "Eine Bibliothek (MIT)", "Eine andere (LGPL)"})
        EXPECT_NE(std::ranges::find(texte, erwartet), texte.end()) << erwartet;
    gtk_window_destroy(GTK_WINDOW(gtk_widget_get_root(ueber)));
}

TEST_F(EchteFenster, SizeIsKeptAlsoWhenTheProgramEndsWithTheWindowOpen) {
    {
        auto const offen = fenster();
        offen->groesseMerken("Probe");
        offen->zeigen();
        gtk_window_set_default_size(offen->gtkFenster(), 711, 522);
    }
    EXPECT_EQ(voreinstellungen.daten("Probe"), "711 522 0");
}

TEST_F(EchteFenster, SizeOfAWindowWithoutNameIsKeptNowhere) {
    fenster()->zeigen();
    EXPECT_TRUE(voreinstellungen.werte.empty());
}

TEST_F(EchteFenster, EndOfTheProgramAnswersAWaitingQuestionWithItsLastButton) {
    gleichBeenden();
    adapter::gtk::DialogeGtk dialoge;
    auto const antwort = dialoge.fragenUndWarten({.meldung = "Verschieben?", .knoepfe = {"Ja", "Später"}});
    EXPECT_EQ(antwort.knopf, 1U);
}

TEST_F(EchteFenster, EndOfTheProgramCancelsAWaitingFolderPanel) {
    auto const offen = fenster();
    offen->zeigen();
    gleichBeenden();
    adapter::gtk::OrdnertafelGtk tafel{anwendung.gtk()};
    EXPECT_EQ(tafel.waehlen({.titel = "Ordner", .hinweis = "Hinweis", .knopf = "Auswählen"}), std::nullopt);
}

TEST_F(EchteFenster, EndOfTheProgramCancelsAWaitingQuestionForAnAddress) {
    auto const offen = fenster();
    offen->zeigen();
    gleichBeenden();
    adapter::gtk::AdressdialogGtk dialog{anwendung.gtk()};
    EXPECT_EQ(
        dialog.fragen({.meldung = "Portal", .oeffnen = "Öffnen", .abbrechen = "Abbrechen"}), std::nullopt);
}

TEST_F(EchteFenster, EndOfTheProgramEndsDialogsWithinDialogsToo) {
    auto const offen = fenster();
    offen->zeigen();
    struct Innen {
        EchteFenster& test;
        std::optional<std::size_t> knopf;
    } innen{*this, {}};
    g_idle_add(
        [](gpointer daten) -> gboolean {
            auto& hier = *static_cast<Innen*>(daten);
            hier.test.gleichBeenden();
            adapter::gtk::DialogeGtk dialoge;
            hier.knopf = dialoge.fragenUndWarten({.meldung = "Innen", .knoepfe = {"Ja", "Nein"}}).knopf;
            return G_SOURCE_REMOVE;
        },
        &innen);
    adapter::gtk::DialogeGtk dialoge;
    EXPECT_EQ(dialoge.fragenUndWarten({.meldung = "Außen", .knoepfe = {"A", "B", "C"}}).knopf, 2U);
    EXPECT_EQ(innen.knopf, 1U);
}

TEST_F(EchteFenster, SheetLiesOverTheMainWindowWhicheverIsInFront) {
    auto const haupt = fenster();
    haupt->zeigen();
    auto const neben = fenster();
    neben->zeigen();
    adapter::gtk::WarteblattwerkGtk werk;
    EXPECT_EQ(werk.zeigen({}, nullptr), nullptr); // There is nothing to lie over yet.
    werk.hauptfenster(*haupt);
    auto const blatt = werk.zeigen({.meldung = "Warte"}, nullptr);
    ASSERT_TRUE(blatt);
    int ueberHaupt = 0;
    auto* const alle = gtk_window_get_toplevels();
    for (guint i = 0; i < g_list_model_get_n_items(alle); ++i) {
        auto const einer =
            adapter::gtk::Objekt<GtkWindow>::uebernommen(GTK_WINDOW(g_list_model_get_item(alle, i)));
        auto* const darunter = gtk_window_get_transient_for(einer.get());
        EXPECT_NE(darunter, neben->gtkFenster());
        ueberHaupt += darunter == haupt->gtkFenster() ? 1 : 0;
    }
    EXPECT_EQ(ueberHaupt, 1);
}

} // namespace
} // namespace quillmate::adapter::gtk
