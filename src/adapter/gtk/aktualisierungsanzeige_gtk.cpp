#include "aktualisierungsanzeige_gtk.h"

#include <algorithm>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

constexpr int abstand = 12;
constexpr int breite = 460;
constexpr int notizenhoehe = 220;

} // namespace

AktualisierungsanzeigeGtk::~AktualisierungsanzeigeGtk() {
    schliessen();
}

gboolean AktualisierungsanzeigeGtk::geschlossen(GtkWindow*, gpointer daten) {
    auto& ich = *static_cast<AktualisierungsanzeigeGtk*>(daten);
    auto const rueckruf = std::exchange(ich.beimSchliessen_, nullptr);
    ich.schliessen();
    if (rueckruf)
        rueckruf();
    return TRUE;
}

Kleinfenster AktualisierungsanzeigeGtk::neu(
    std::string const& meldung, std::string const& erklaerung, std::function<void()> beimSchliessen) {
    schliessen();
    beimSchliessen_ = std::move(beimSchliessen);
    auto aufbau =
        Kleinfenster::bauen(gtk_application_get_active_window(anwendung_), "Quillmate aktualisieren", breite);
    fenster_ = aufbau.fenster;
    g_signal_connect(fenster_.get(), "close-request", G_CALLBACK(geschlossen), this);
    gtk_box_append(aufbau.inhalt, textzeile(meldung, "title-4"));
    if (!erklaerung.empty())
        gtk_box_append(aufbau.inhalt, textzeile(erklaerung, nullptr));
    return aufbau;
}

void AktualisierungsanzeigeGtk::zeigen(Kleinfenster const& aufbau) {
    auto* const letzter = gtk_widget_get_last_child(GTK_WIDGET(aufbau.knoepfe));
    gtk_window_set_default_widget(fenster_.get(), letzter);
    gtk_window_present(fenster_.get());
    gtk_widget_grab_focus(letzter);
}

void AktualisierungsanzeigeGtk::beschaeftigt(std::string const& meldung, std::function<void()> abbrechen) {
    auto const aufbau = neu(meldung, {}, abbrechen);
    auto* const rad = gtk_spinner_new();
    gtk_widget_set_size_request(rad, 32, 32);
    gtk_spinner_start(GTK_SPINNER(rad));
    gtk_box_append(aufbau.inhalt, rad);
    gtk_box_append(aufbau.knoepfe, knopf("Abbrechen", [this] { gtk_window_close(fenster_.get()); }));
    zeigen(aufbau);
}

void AktualisierungsanzeigeGtk::anbieten(Neues const& neues, std::function<void(Wahl)> antwort) {
    auto const aufbau = neu(neues.meldung, neues.erklaerung, [antwort] { antwort(Wahl::spaeter); });
    if (!neues.notizen.empty()) {
        auto* const text = gtk_text_view_new();
        gtk_text_buffer_set_text(
            gtk_text_view_get_buffer(GTK_TEXT_VIEW(text)), neues.notizen.data(),
            static_cast<int>(neues.notizen.size()));
        gtk_text_view_set_editable(GTK_TEXT_VIEW(text), FALSE);
        gtk_text_view_set_cursor_visible(GTK_TEXT_VIEW(text), FALSE);
        gtk_text_view_set_wrap_mode(GTK_TEXT_VIEW(text), GTK_WRAP_WORD_CHAR);
        gtk_text_view_set_left_margin(GTK_TEXT_VIEW(text), abstand);
        gtk_text_view_set_right_margin(GTK_TEXT_VIEW(text), abstand);
        gtk_text_view_set_top_margin(GTK_TEXT_VIEW(text), abstand);
        gtk_text_view_set_bottom_margin(GTK_TEXT_VIEW(text), abstand);
        gtk_accessible_update_property(
            GTK_ACCESSIBLE(text), GTK_ACCESSIBLE_PROPERTY_LABEL, "Was neu ist", -1);
        auto* const rolle = gtk_scrolled_window_new();
        gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(rolle), text);
        gtk_scrolled_window_set_has_frame(GTK_SCROLLED_WINDOW(rolle), TRUE);
        gtk_widget_set_size_request(rolle, -1, notizenhoehe);
        gtk_box_append(aufbau.inhalt, rolle);
    }
    auto const waehlen = [this, antwort](Wahl wahl) {
        return [this, antwort, wahl] {
            beimSchliessen_ = nullptr;
            schliessen();
            antwort(wahl);
        };
    };
    auto* const ueberspringen = knopf("Diese Fassung überspringen", waehlen(Wahl::ueberspringen));
    gtk_widget_add_css_class(ueberspringen, "flat");
    gtk_box_append(aufbau.knoepfe, ueberspringen);
    gtk_box_append(aufbau.knoepfe, knopf("Später", waehlen(Wahl::spaeter)));
    auto* const installieren = knopf("Installieren und neu starten", waehlen(Wahl::installieren));
    gtk_widget_add_css_class(installieren, "suggested-action");
    gtk_box_append(aufbau.knoepfe, installieren);
    zeigen(aufbau);
}

void AktualisierungsanzeigeGtk::fortschritt(
    std::string const& meldung, std::uint64_t erledigt, std::uint64_t gesamt,
    std::function<void()> abbrechen) {
    if (!balken_) {
        auto const aufbau = neu(meldung, {}, std::move(abbrechen));
        auto* const balken = gtk_progress_bar_new();
        gtk_accessible_update_property(
            GTK_ACCESSIBLE(balken), GTK_ACCESSIBLE_PROPERTY_LABEL, meldung.c_str(), -1);
        gtk_box_append(aufbau.inhalt, balken);
        gtk_box_append(aufbau.knoepfe, knopf("Abbrechen", [this] { gtk_window_close(fenster_.get()); }));
        zeigen(aufbau);
        balken_ = GTK_PROGRESS_BAR(balken);
    }
    if (gesamt > 0)
        gtk_progress_bar_set_fraction(
            balken_, std::min(1.0, static_cast<double>(erledigt) / static_cast<double>(gesamt)));
    else
        gtk_progress_bar_pulse(balken_);
}

void AktualisierungsanzeigeGtk::mitteilen(std::string const& meldung, std::string const& erklaerung) {
    auto const aufbau = neu(meldung, erklaerung, nullptr);
    gtk_box_append(aufbau.knoepfe, knopf("OK", [this] { gtk_window_close(fenster_.get()); }));
    zeigen(aufbau);
}

void AktualisierungsanzeigeGtk::nachVorn() {
    if (fenster_)
        gtk_window_present(fenster_.get());
}

void AktualisierungsanzeigeGtk::schliessen() {
    balken_ = nullptr;
    beimSchliessen_ = nullptr;
    if (!fenster_)
        return;
    auto const fenster = std::exchange(fenster_, {});
    g_signal_handlers_disconnect_by_data(fenster.get(), this);
    gtk_window_destroy(fenster.get());
}

} // namespace quillmate::adapter::gtk
