#include "kleinfenster.h"

#include <utility>

namespace quillmate::adapter::gtk {
namespace {

constexpr int rand = 24;
constexpr int abstand = 12;
constexpr int hoechstensZeichen = 56;

} // namespace

Kleinfenster Kleinfenster::bauen(GtkWindow* ueber, char const* titel, int breite) {
    auto fenster = Objekt<GtkWindow>::geteilt(
        GTK_WINDOW(g_object_new(GTK_TYPE_WINDOW, "accessible-role", GTK_ACCESSIBLE_ROLE_DIALOG, nullptr)));
    gtk_window_set_titlebar(
        fenster.get(), gtk_header_bar_new()); // As all our windows, whatever the desktop draws.
    gtk_window_set_title(fenster.get(), titel);
    gtk_window_set_resizable(fenster.get(), FALSE);
    gtk_window_set_transient_for(fenster.get(), ueber);
    auto* const tasten = gtk_shortcut_controller_new();
    gtk_shortcut_controller_add_shortcut(
        GTK_SHORTCUT_CONTROLLER(tasten),
        gtk_shortcut_new(
            gtk_keyval_trigger_new(GDK_KEY_Escape, GdkModifierType{}), gtk_named_action_new("window.close")));
    gtk_widget_add_controller(GTK_WIDGET(fenster.get()), tasten);

    auto* const aussen = gtk_box_new(GTK_ORIENTATION_VERTICAL, abstand);
    for (auto const setzen :
         {gtk_widget_set_margin_top, gtk_widget_set_margin_bottom, gtk_widget_set_margin_start,
          gtk_widget_set_margin_end})
        setzen(aussen, rand);
    if (breite > 0)
        gtk_widget_set_size_request(aussen, breite, -1);
    auto* const inhalt = gtk_box_new(GTK_ORIENTATION_VERTICAL, abstand);
    gtk_box_append(GTK_BOX(aussen), inhalt);
    auto* const knoepfe = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, abstand);
    gtk_widget_set_halign(knoepfe, GTK_ALIGN_END);
    gtk_widget_set_margin_top(knoepfe, abstand);
    gtk_box_append(GTK_BOX(aussen), knoepfe);
    gtk_window_set_child(fenster.get(), aussen);
    return {.fenster = std::move(fenster), .inhalt = GTK_BOX(inhalt), .knoepfe = GTK_BOX(knoepfe)};
}

GtkWidget* textzeile(std::string const& text, char const* klasse, GtkJustification ausrichtung) {
    auto* const beschriftung = gtk_label_new(text.c_str());
    gtk_label_set_wrap(GTK_LABEL(beschriftung), TRUE);
    gtk_label_set_justify(GTK_LABEL(beschriftung), ausrichtung);
    if (ausrichtung == GTK_JUSTIFY_LEFT)
        gtk_label_set_xalign(GTK_LABEL(beschriftung), 0.0F);
    gtk_label_set_max_width_chars(GTK_LABEL(beschriftung), hoechstensZeichen);
    if (klasse)
        gtk_widget_add_css_class(beschriftung, klasse);
    return beschriftung;
}

GtkWidget* knopf(std::string const& titel, std::function<void()> tun) {
    auto* const neu = gtk_button_new_with_label(titel.c_str());
    g_signal_connect_data(
        neu, "clicked", G_CALLBACK(+[](GtkButton*, gpointer daten) {
            // A copy: the call may take the button away, and the function with it.
            auto const kopie = *static_cast<std::function<void()>*>(daten);
            kopie();
        }),
        new std::function<void()>{std::move(tun)},
        [](gpointer daten, GClosure*) { delete static_cast<std::function<void()>*>(daten); },
        G_CONNECT_DEFAULT);
    return neu;
}

} // namespace quillmate::adapter::gtk
