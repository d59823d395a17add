#include "warteblatt_gtk.h"

#include "glib_halter.h"

#include <string>
#include <utility>

namespace quillmate::plattform::gtk {
namespace {

constexpr int rand = 24;
constexpr int breite = 420;

class WarteblattGtk final : public Warteblatt {
public:
    WarteblattGtk(GtkWindow* ueber, Wartetext const& text, std::function<void()> abgebrochen);
    ~WarteblattGtk() override;
    WarteblattGtk(WarteblattGtk const&) = delete;
    WarteblattGtk& operator=(WarteblattGtk const&) = delete;

private:
    static void kopieren(GtkButton* knopf, gpointer daten);
    static void abbrechen(GtkWidget*, gpointer daten);
    static gboolean geschlossen(GtkWindow*, gpointer daten);
    void beenden();

    Objekt<GtkWindow> const fenster_{Objekt<GtkWindow>::geteilt(GTK_WINDOW(gtk_window_new()))};
    std::string const kopiertext_;
    std::function<void()> abgebrochen_;
};

GtkWidget* zeile(std::string const& text, char const* klasse) {
    auto* const beschriftung = gtk_label_new(text.c_str());
    gtk_label_set_wrap(GTK_LABEL(beschriftung), TRUE);
    gtk_label_set_justify(GTK_LABEL(beschriftung), GTK_JUSTIFY_CENTER);
    gtk_label_set_max_width_chars(GTK_LABEL(beschriftung), 48);
    if (klasse)
        gtk_widget_add_css_class(beschriftung, klasse);
    return beschriftung;
}

WarteblattGtk::WarteblattGtk(GtkWindow* ueber, Wartetext const& text, std::function<void()> abgebrochen)
    : kopiertext_(text.kopiertext)
    , abgebrochen_(std::move(abgebrochen)) {
    auto* const kasten = gtk_box_new(GTK_ORIENTATION_VERTICAL, 12);
    gtk_widget_set_margin_top(kasten, rand);
    gtk_widget_set_margin_bottom(kasten, rand);
    gtk_widget_set_margin_start(kasten, rand);
    gtk_widget_set_margin_end(kasten, rand);
    gtk_widget_set_size_request(kasten, breite, -1);
    auto* const rad = gtk_spinner_new();
    gtk_widget_set_size_request(rad, 32, 32);
    gtk_widget_set_halign(rad, GTK_ALIGN_CENTER);
    gtk_spinner_start(GTK_SPINNER(rad));
    gtk_box_append(GTK_BOX(kasten), rad);
    gtk_box_append(GTK_BOX(kasten), zeile(text.meldung, "title-4"));
    gtk_box_append(GTK_BOX(kasten), zeile(text.erklaerung, nullptr));

    auto* const knoepfe = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12);
    gtk_widget_set_halign(knoepfe, GTK_ALIGN_CENTER);
    gtk_widget_set_margin_top(knoepfe, 12);
    auto* const kopie = gtk_button_new_with_label(text.kopieren.c_str());
    g_signal_connect(kopie, "clicked", G_CALLBACK(kopieren), this);
    auto* const ende = gtk_button_new_with_label(text.abbrechen.c_str());
    g_signal_connect(ende, "clicked", G_CALLBACK(abbrechen), this);
    gtk_box_append(GTK_BOX(knoepfe), kopie);
    gtk_box_append(GTK_BOX(knoepfe), ende);
    gtk_box_append(GTK_BOX(kasten), knoepfe);

    gtk_window_set_titlebar(
        fenster_.get(), gtk_header_bar_new()); // As all our windows, whatever the desktop draws.
    gtk_window_set_title(fenster_.get(), "Quillmate");
    gtk_window_set_child(fenster_.get(), kasten);
    gtk_window_set_resizable(fenster_.get(), FALSE);
    gtk_window_set_modal(fenster_.get(), TRUE);
    gtk_window_set_transient_for(fenster_.get(), ueber);
    auto* const tasten = gtk_shortcut_controller_new();
    gtk_shortcut_controller_add_shortcut(
        GTK_SHORTCUT_CONTROLLER(tasten),
        gtk_shortcut_new(
            gtk_keyval_trigger_new(GDK_KEY_Escape, GdkModifierType{}), gtk_named_action_new("window.close")));
    gtk_widget_add_controller(GTK_WIDGET(fenster_.get()), tasten);
    g_signal_connect(fenster_.get(), "close-request", G_CALLBACK(geschlossen), this);
    gtk_window_present(fenster_.get());
    gtk_widget_grab_focus(ende);
}

WarteblattGtk::~WarteblattGtk() {
    g_signal_handlers_disconnect_by_data(fenster_.get(), this);
    gtk_window_destroy(fenster_.get());
}

void WarteblattGtk::kopieren(GtkButton* knopf, gpointer daten) {
    auto& ich = *static_cast<WarteblattGtk*>(daten);
    gdk_clipboard_set_text(gtk_widget_get_clipboard(GTK_WIDGET(ich.fenster_.get())), ich.kopiertext_.c_str());
    gtk_button_set_label(knopf, "Adresse kopiert");
}

void WarteblattGtk::abbrechen(GtkWidget*, gpointer daten) {
    static_cast<WarteblattGtk*>(daten)->beenden();
}

gboolean WarteblattGtk::geschlossen(GtkWindow*, gpointer daten) {
    static_cast<WarteblattGtk*>(daten)->beenden();
    return TRUE; // The owner takes the window away.
}

void WarteblattGtk::beenden() {
    // The call may destroy this object, and with it the function; so it runs from a copy of its own.
    if (auto const rueckruf = std::exchange(abgebrochen_, nullptr))
        rueckruf();
}

} // namespace

std::unique_ptr<Warteblatt> WarteblattwerkGtk::zeigen(
    Wartetext const& text, std::function<void()> abgebrochen) {
    auto* const fenster = gtk_application_get_active_window(anwendung_);
    if (!fenster)
        return nullptr;
    return std::make_unique<WarteblattGtk>(fenster, text, std::move(abgebrochen));
}

} // namespace quillmate::plattform::gtk
