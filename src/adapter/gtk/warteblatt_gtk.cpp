#include "warteblatt_gtk.h"

#include "grundlage/text.h"
#include "kleinfenster.h"
#include "programmfenster_gtk.h"

#include <string>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

constexpr int breite = 420;

class WarteblattGtk final : public ports::Warteblatt {
public:
    WarteblattGtk(GtkWindow* ueber, ports::Wartetext const& text, std::function<void()> abgebrochen);
    ~WarteblattGtk() override;
    WarteblattGtk(WarteblattGtk const&) = delete;
    WarteblattGtk& operator=(WarteblattGtk const&) = delete;

    void stocken(std::string const& erklaerung) override;

private:
    static gboolean geschlossen(GtkWindow*, gpointer daten);
    void kopieren();
    void beenden();

    Kleinfenster const aufbau_;
    GtkButton* kopie_{nullptr};
    GtkWidget* rad_{nullptr};
    GtkLabel* erklaerung_{nullptr};
    GtkWidget* adresse_{nullptr};
    std::string const kopiertext_;
    std::function<void()> abgebrochen_;
};

WarteblattGtk::WarteblattGtk(
    GtkWindow* ueber, ports::Wartetext const& text, std::function<void()> abgebrochen)
    : aufbau_(Kleinfenster::bauen(ueber, "Quillmate", breite))
    , kopiertext_(text.kopiertext)
    , abgebrochen_(std::move(abgebrochen)) {
    rad_ = gtk_spinner_new();
    gtk_widget_set_size_request(rad_, 32, 32);
    gtk_widget_set_halign(rad_, GTK_ALIGN_CENTER);
    gtk_spinner_start(GTK_SPINNER(rad_));
    gtk_box_append(aufbau_.inhalt, rad_);
    gtk_box_append(aufbau_.inhalt, textzeile(text.meldung, "title-4", GTK_JUSTIFY_CENTER));
    auto* const erklaerung = textzeile(text.erklaerung, nullptr, GTK_JUSTIFY_CENTER);
    erklaerung_ = GTK_LABEL(erklaerung);
    gtk_box_append(aufbau_.inhalt, erklaerung);
    adresse_ = textzeile("", "monospace");
    gtk_label_set_selectable(GTK_LABEL(adresse_), TRUE);
    gtk_label_set_wrap_mode(GTK_LABEL(adresse_), PANGO_WRAP_CHAR);
    gtk_accessible_update_property(GTK_ACCESSIBLE(adresse_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Adresse", -1);
    gtk_widget_set_visible(adresse_, FALSE);
    gtk_box_append(aufbau_.inhalt, adresse_);

    gtk_widget_set_halign(GTK_WIDGET(aufbau_.knoepfe), GTK_ALIGN_CENTER);
    auto* const kopie = knopf(text.kopieren, [this] { kopieren(); });
    kopie_ = GTK_BUTTON(kopie);
    auto* const ende = knopf(text.abbrechen, [this] { beenden(); });
    gtk_box_append(aufbau_.knoepfe, kopie);
    gtk_box_append(aufbau_.knoepfe, ende);

    auto* const fenster = aufbau_.fenster.get();
    gtk_window_set_modal(fenster, TRUE);
    g_signal_connect(fenster, "close-request", G_CALLBACK(geschlossen), this);
    gtk_window_present(fenster);
    gtk_widget_grab_focus(ende);
}

WarteblattGtk::~WarteblattGtk() {
    g_signal_handlers_disconnect_by_data(aufbau_.fenster.get(), this);
    gtk_window_destroy(aufbau_.fenster.get());
}

void WarteblattGtk::stocken(std::string const& erklaerung) {
    constexpr std::size_t hoechstensGezeigt = 300;
    gtk_spinner_stop(GTK_SPINNER(rad_));
    gtk_widget_set_visible(rad_, FALSE);
    gtk_label_set_text(erklaerung_, erklaerung.c_str());
    auto text = ersteZeichen(ohneSteuerzeichen(alsUtf8(kopiertext_)), hoechstensGezeigt);
    if (text.size() < kopiertext_.size())
        text += "…";
    gtk_label_set_text(GTK_LABEL(adresse_), text.c_str());
    gtk_widget_set_visible(adresse_, TRUE);
    gtk_widget_grab_focus(GTK_WIDGET(kopie_));
}

void WarteblattGtk::kopieren() {
    gdk_clipboard_set_text(gtk_widget_get_clipboard(GTK_WIDGET(aufbau_.fenster.get())), kopiertext_.c_str());
    gtk_button_set_label(kopie_, "Adresse kopiert");
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

void WarteblattwerkGtk::hauptfenster(ports::Programmfenster& fenster) {
    auto* const rahmen = dynamic_cast<ProgrammfensterGtk*>(&fenster);
    hauptfenster_ = rahmen ? rahmen->gtkFenster() : nullptr;
}

std::unique_ptr<ports::Warteblatt> WarteblattwerkGtk::zeigen(
    ports::Wartetext const& text, std::function<void()> abgebrochen) {
    if (!hauptfenster_)
        return nullptr;
    return std::make_unique<WarteblattGtk>(hauptfenster_, text, std::move(abgebrochen));
}

} // namespace quillmate::adapter::gtk
