#include "warteblatt_gtk.h"

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

private:
    static gboolean geschlossen(GtkWindow*, gpointer daten);
    void kopieren();
    void beenden();

    Kleinfenster const aufbau_;
    GtkButton* kopie_{nullptr};
    std::string const kopiertext_;
    std::function<void()> abgebrochen_;
};

WarteblattGtk::WarteblattGtk(
    GtkWindow* ueber, ports::Wartetext const& text, std::function<void()> abgebrochen)
    : aufbau_(Kleinfenster::bauen(ueber, "Quillmate", breite))
    , kopiertext_(text.kopiertext)
    , abgebrochen_(std::move(abgebrochen)) {
    auto* const rad = gtk_spinner_new();
    gtk_widget_set_size_request(rad, 32, 32);
    gtk_widget_set_halign(rad, GTK_ALIGN_CENTER);
    gtk_spinner_start(GTK_SPINNER(rad));
    gtk_box_append(aufbau_.inhalt, rad);
    gtk_box_append(aufbau_.inhalt, textzeile(text.meldung, "title-4", GTK_JUSTIFY_CENTER));
    gtk_box_append(aufbau_.inhalt, textzeile(text.erklaerung, nullptr, GTK_JUSTIFY_CENTER));

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
