#include "adressdialog_gtk.h"

#include "kleinfenster.h"
#include "nebenschleife.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

constexpr int feldbreite = 430;

// GTK 4.8 has no successor to these two yet; 4.10 deprecates them.
G_GNUC_BEGIN_IGNORE_DEPRECATIONS

/// The open dialog. Lives on the stack of fragen(), whose main loop runs meanwhile.
class OffenerDialog {
public:
    OffenerDialog(GtkWindow* ueber, ports::Adressfrage const& frage);
    ~OffenerDialog();
    OffenerDialog(OffenerDialog const&) = delete;
    OffenerDialog& operator=(OffenerDialog const&) = delete;

    [[nodiscard]] std::optional<std::string> laufen();

private:
    static gboolean geschlossen(GtkWindow*, gpointer daten);
    static gboolean passt(
        GtkEntryCompletion* ergaenzung, char const* text, GtkTreeIter* zeile, gpointer daten);

    void fuellen();
    [[nodiscard]] GtkWidget* adressfeld();
    void oeffnen();
    void beanstanden();
    void beenden() { schleife_.beenden(); }

    ports::Adressfrage const& frage_;
    Nebenschleife schleife_;
    Kleinfenster const aufbau_;
    GtkWidget* erklaerung_{nullptr};
    GtkWidget* warnzeichen_{nullptr};
    GtkEditable* feld_{nullptr};
    std::string gefragt_; ///< The text that `passend_` belongs to.
    std::vector<std::string> passend_;
    std::optional<std::string> ergebnis_;
};

OffenerDialog::OffenerDialog(GtkWindow* ueber, ports::Adressfrage const& frage)
    : frage_(frage)
    , aufbau_(Kleinfenster::bauen(ueber, "Quillmate", 0)) {
    gtk_window_set_modal(aufbau_.fenster.get(), TRUE);
    g_signal_connect(aufbau_.fenster.get(), "close-request", G_CALLBACK(geschlossen), this);
    fuellen();
}

OffenerDialog::~OffenerDialog() {
    g_signal_handlers_disconnect_by_data(aufbau_.fenster.get(), this);
    gtk_window_destroy(aufbau_.fenster.get());
}

void OffenerDialog::fuellen() {
    auto* const kopf = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12);
    warnzeichen_ = gtk_image_new_from_icon_name("dialog-warning-symbolic");
    gtk_widget_add_css_class(warnzeichen_, "warning");
    gtk_widget_set_visible(warnzeichen_, FALSE);
    gtk_box_append(GTK_BOX(kopf), warnzeichen_);
    gtk_box_append(GTK_BOX(kopf), textzeile(frage_.meldung, "title-4"));
    gtk_box_append(aufbau_.inhalt, kopf);
    erklaerung_ = textzeile(frage_.erklaerung, nullptr);
    gtk_box_append(aufbau_.inhalt, erklaerung_);
    auto* const beschriftung = textzeile(frage_.beschriftung, "dim-label");
    gtk_widget_set_margin_top(beschriftung, 6);
    gtk_box_append(aufbau_.inhalt, beschriftung);
    gtk_box_append(aufbau_.inhalt, adressfeld());

    auto* const ja = knopf(frage_.oeffnen, [this] { oeffnen(); });
    gtk_widget_add_css_class(ja, "suggested-action");
    gtk_box_append(aufbau_.knoepfe, knopf(frage_.abbrechen, [this] { beenden(); }));
    gtk_box_append(aufbau_.knoepfe, ja);
    gtk_window_set_default_widget(aufbau_.fenster.get(), ja);
}

GtkWidget* OffenerDialog::adressfeld() {
    auto* const auswahl = gtk_combo_box_text_new_with_entry();
    for (auto const& adresse : frage_.bisherige)
        gtk_combo_box_text_append_text(GTK_COMBO_BOX_TEXT(auswahl), adresse.c_str());
    gtk_widget_set_size_request(auswahl, feldbreite, -1);

    auto* const feld = gtk_combo_box_get_child(GTK_COMBO_BOX(auswahl));
    gtk_entry_set_placeholder_text(GTK_ENTRY(feld), frage_.platzhalter.c_str());
    gtk_entry_set_activates_default(GTK_ENTRY(feld), TRUE);
    gtk_entry_set_input_purpose(GTK_ENTRY(feld), GTK_INPUT_PURPOSE_URL);
    gtk_accessible_update_property(
        GTK_ACCESSIBLE(feld), GTK_ACCESSIBLE_PROPERTY_LABEL, frage_.beschriftung.c_str(), -1);
    auto const ergaenzung = Objekt<GtkEntryCompletion>::uebernommen(gtk_entry_completion_new());
    gtk_entry_completion_set_model(ergaenzung.get(), gtk_combo_box_get_model(GTK_COMBO_BOX(auswahl)));
    gtk_entry_completion_set_text_column(ergaenzung.get(), 0);
    gtk_entry_completion_set_inline_completion(ergaenzung.get(), TRUE);
    gtk_entry_completion_set_match_func(ergaenzung.get(), passt, this, nullptr);
    gtk_entry_set_completion(GTK_ENTRY(feld), ergaenzung.get());
    feld_ = GTK_EDITABLE(feld);
    return auswahl;
}

gboolean OffenerDialog::passt(
    GtkEntryCompletion* ergaenzung, char const*, GtkTreeIter* zeile, gpointer daten) {
    auto& ich = *static_cast<OffenerDialog*>(daten);
    // GTK hands over a case-folded text; the caller's rule wants what was typed.
    std::string const text = textVon(gtk_editable_get_text(ich.feld_));
    if (text.empty() || !ich.frage_.passende)
        return FALSE;
    if (text != ich.gefragt_) { // Once per text, not once per row.
        ich.passend_ = ich.frage_.passende(text);
        ich.gefragt_ = text;
    }
    char* adresse = nullptr;
    gtk_tree_model_get(gtk_entry_completion_get_model(ergaenzung), zeile, 0, &adresse, -1);
    GText const halter{adresse};
    return adresse && std::ranges::find(ich.passend_, adresse) != ich.passend_.end() ? TRUE : FALSE;
}

void OffenerDialog::oeffnen() {
    std::string text = textVon(gtk_editable_get_text(feld_));
    if (frage_.annehmbar && !frage_.annehmbar(text)) {
        beanstanden();
        return;
    }
    ergebnis_ = std::move(text);
    beenden();
}

gboolean OffenerDialog::geschlossen(GtkWindow*, gpointer daten) {
    static_cast<OffenerDialog*>(daten)->beenden();
    return TRUE; // The destructor takes it away.
}

void OffenerDialog::beanstanden() {
    gtk_label_set_text(GTK_LABEL(erklaerung_), frage_.beanstandung.c_str());
    gtk_widget_set_visible(warnzeichen_, TRUE);
    gtk_widget_grab_focus(GTK_WIDGET(feld_));
    gtk_editable_select_region(feld_, 0, -1);
}

std::optional<std::string> OffenerDialog::laufen() {
    gtk_window_present(aufbau_.fenster.get());
    gtk_widget_grab_focus(GTK_WIDGET(feld_));
    schleife_.laufen();
    return ergebnis_;
}

G_GNUC_END_IGNORE_DEPRECATIONS

} // namespace

std::optional<std::string> AdressdialogGtk::fragen(ports::Adressfrage const& frage) {
    return OffenerDialog{gtk_application_get_active_window(anwendung_), frage}.laufen();
}

} // namespace quillmate::adapter::gtk
