#include "browser_fehlt.h"

#include "grundlage/text.h"
#include "kleinfenster.h"

#include <utility>

namespace quillmate::adapter::gtk {
namespace {

constexpr int breite = 420;
constexpr std::size_t hoechstensGezeigt = 300;

/// The open window; it belongs to GTK.
struct Offen {
    GtkWindow* fenster{nullptr};
    GtkLabel* zeile{nullptr};
    std::string adresse;
};

Offen& offen() {
    static Offen eines;
    return eines;
}

void zeigen() {
    auto& eines = offen();
    auto text = ersteZeichen(ohneSteuerzeichen(alsUtf8(eines.adresse)), hoechstensGezeigt);
    if (text.size() < eines.adresse.size())
        text += "…";
    gtk_label_set_text(eines.zeile, text.c_str());
    gtk_window_present(eines.fenster);
}

} // namespace

void browserFehltMelden(std::string const& adresse) {
    auto* const anwendung = g_application_get_default();
    if (!GTK_IS_APPLICATION(anwendung))
        return;
    auto& eines = offen();
    eines.adresse = adresse;
    if (eines.fenster) {
        zeigen();
        return;
    }
    auto const aufbau = Kleinfenster::bauen(
        gtk_application_get_active_window(GTK_APPLICATION(anwendung)), "Quillmate", breite);
    eines.fenster = aufbau.fenster.get();
    gtk_window_set_modal(eines.fenster, TRUE);
    gtk_window_set_destroy_with_parent(eines.fenster, TRUE);
    gtk_box_append(aufbau.inhalt, textzeile("Kein Programm hat die Adresse geöffnet", "title-4"));
    gtk_box_append(
        aufbau.inhalt, textzeile(
                           "Auf diesem Rechner ist kein Standardprogramm dafür eingerichtet, oder es ließ "
                           "sich nicht starten. Du "
                           "kannst die Adresse kopieren und selbst öffnen.",
                           nullptr));
    auto* const zeile = textzeile("", "monospace");
    gtk_label_set_selectable(GTK_LABEL(zeile), TRUE);
    gtk_label_set_wrap_mode(GTK_LABEL(zeile), PANGO_WRAP_CHAR);
    gtk_accessible_update_property(GTK_ACCESSIBLE(zeile), GTK_ACCESSIBLE_PROPERTY_LABEL, "Adresse", -1);
    gtk_box_append(aufbau.inhalt, zeile);
    eines.zeile = GTK_LABEL(zeile);
    auto* const ende = knopf("Schließen", [] { gtk_window_close(offen().fenster); });
    gtk_box_append(aufbau.knoepfe, knopf("Adresse kopieren", [] {
                       gdk_clipboard_set_text(
                           gtk_widget_get_clipboard(GTK_WIDGET(offen().fenster)), offen().adresse.c_str());
                   }));
    gtk_box_append(aufbau.knoepfe, ende);
    gtk_window_set_default_widget(eines.fenster, ende);
    g_signal_connect(
        eines.fenster, "destroy", G_CALLBACK(+[](GtkWidget*, gpointer) { offen() = {}; }), nullptr);
    zeigen();
    gtk_widget_grab_focus(ende);
}

} // namespace quillmate::adapter::gtk
