#include "adressdialog_gtk.h"

#include "kleinfenster.h"
#include "nebenschleife.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

constexpr int feldbreite = 430;
constexpr int listenhoehe = 180;

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
    static gboolean tasteImFeld(GtkEventControllerKey*, guint taste, guint, GdkModifierType, gpointer daten);
    static gboolean tasteInDerListe(
        GtkEventControllerKey*, guint taste, guint, GdkModifierType, gpointer daten);
    static void gewaehlt(GtkListBox*, GtkListBoxRow* zeile, gpointer daten);

    void fuellen();
    [[nodiscard]] GtkWidget* adressfeld();
    [[nodiscard]] GtkWidget* verlauf();
    /// Offers what suits the text in the field; the text itself stays what was typed.
    void listeFuellen();
    void insFeld();
    [[nodiscard]] GtkWidget* listenzeile(std::string const& adresse);
    void entfernen(std::string const& adresse);
    void oeffnen();
    void beanstanden();
    void beenden() { schleife_.beenden(); }

    ports::Adressfrage frage_; ///< A copy: the list gets shorter when somebody takes one out.
    Nebenschleife schleife_;
    Kleinfenster const aufbau_;
    GtkWidget* erklaerung_{nullptr};
    GtkWidget* warnzeichen_{nullptr};
    GtkEditable* feld_{nullptr};
    GtkListBox* liste_{nullptr};
    GtkWidget* listenrahmen_{nullptr};
    std::vector<std::string> angeboten_; ///< The rows of the list.
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
    g_signal_handlers_disconnect_by_data(feld_, this);
    g_signal_handlers_disconnect_by_data(liste_, this);
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
    gtk_box_append(aufbau_.inhalt, verlauf());

    auto* const ja = knopf(frage_.oeffnen, [this] { oeffnen(); });
    gtk_widget_add_css_class(ja, "suggested-action");
    gtk_box_append(aufbau_.knoepfe, knopf(frage_.abbrechen, [this] { beenden(); }));
    gtk_box_append(aufbau_.knoepfe, ja);
    gtk_window_set_default_widget(aufbau_.fenster.get(), ja);
}

GtkWidget* OffenerDialog::adressfeld() {
    auto* const feld = gtk_entry_new();
    gtk_entry_set_placeholder_text(GTK_ENTRY(feld), frage_.platzhalter.c_str());
    gtk_entry_set_activates_default(GTK_ENTRY(feld), TRUE);
    gtk_entry_set_input_purpose(GTK_ENTRY(feld), GTK_INPUT_PURPOSE_URL);
    gtk_widget_set_size_request(feld, feldbreite, -1);
    gtk_accessible_update_property(
        GTK_ACCESSIBLE(feld), GTK_ACCESSIBLE_PROPERTY_LABEL, frage_.beschriftung.c_str(), -1);
    feld_ = GTK_EDITABLE(feld);
    g_signal_connect_swapped(
        feld, "changed", G_CALLBACK(+[](OffenerDialog* ich) { ich->listeFuellen(); }), this);
    auto* const tasten = gtk_event_controller_key_new();
    // Before the field's own: to it, Down means the end of the text.
    gtk_event_controller_set_propagation_phase(tasten, GTK_PHASE_CAPTURE);
    g_signal_connect(tasten, "key-pressed", G_CALLBACK(tasteImFeld), this);
    gtk_widget_add_controller(feld, tasten);
    return feld;
}

GtkWidget* OffenerDialog::verlauf() {
    liste_ = GTK_LIST_BOX(gtk_list_box_new());
    gtk_list_box_set_activate_on_single_click(liste_, TRUE);
    gtk_accessible_update_property(
        GTK_ACCESSIBLE(liste_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Bereits verwendete Portale", -1);
    g_signal_connect(liste_, "row-activated", G_CALLBACK(gewaehlt), this);
    auto* const tasten = gtk_event_controller_key_new();
    gtk_event_controller_set_propagation_phase(tasten, GTK_PHASE_CAPTURE);
    g_signal_connect(tasten, "key-pressed", G_CALLBACK(tasteInDerListe), this);
    gtk_widget_add_controller(GTK_WIDGET(liste_), tasten);
    listenrahmen_ = gtk_scrolled_window_new();
    gtk_scrolled_window_set_policy(
        GTK_SCROLLED_WINDOW(listenrahmen_), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(listenrahmen_), TRUE);
    gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(listenrahmen_), listenhoehe);
    gtk_scrolled_window_set_has_frame(GTK_SCROLLED_WINDOW(listenrahmen_), TRUE);
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(listenrahmen_), GTK_WIDGET(liste_));
    listeFuellen();
    return listenrahmen_;
}

void OffenerDialog::listeFuellen() {
    std::string const text = textVon(gtk_editable_get_text(feld_));
    angeboten_ = text.empty() || !frage_.passende ? frage_.bisherige : frage_.passende(text);
    // What stands in the field already is no offer.
    std::erase(angeboten_, text);
    while (auto* const zeile = gtk_list_box_get_row_at_index(liste_, 0))
        gtk_list_box_remove(liste_, GTK_WIDGET(zeile));
    for (auto const& adresse : angeboten_) {
        gtk_list_box_append(liste_, listenzeile(adresse));
    }
    gtk_widget_set_visible(listenrahmen_, !angeboten_.empty());
}

GtkWidget* OffenerDialog::listenzeile(std::string const& adresse) {
    auto* const text = gtk_label_new(adresse.c_str());
    gtk_label_set_xalign(GTK_LABEL(text), 0.0F);
    gtk_label_set_ellipsize(GTK_LABEL(text), PANGO_ELLIPSIZE_MIDDLE);
    gtk_label_set_max_width_chars(GTK_LABEL(text), 1); // As wide as the field, however long it is.
    gtk_widget_set_hexpand(text, TRUE);
    gtk_widget_set_tooltip_text(text, adresse.c_str());
    gtk_widget_set_margin_start(text, 9);
    for (auto const setzen : {gtk_widget_set_margin_top, gtk_widget_set_margin_bottom})
        setzen(text, 6);
    if (!frage_.entfernen) {
        gtk_widget_set_margin_end(text, 9);
        return text;
    }
    auto* const zeile = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
    gtk_box_append(GTK_BOX(zeile), text);
    auto* const weg = knopf("", [this, adresse] { entfernen(adresse); });
    gtk_button_set_icon_name(GTK_BUTTON(weg), "list-remove-symbolic");
    gtk_widget_add_css_class(weg, "flat");
    gtk_widget_set_tooltip_text(weg, "Aus der Liste entfernen (Entf)");
    auto const name = adresse + " aus der Liste entfernen";
    gtk_accessible_update_property(GTK_ACCESSIBLE(weg), GTK_ACCESSIBLE_PROPERTY_LABEL, name.c_str(), -1);
    gtk_box_append(GTK_BOX(zeile), weg);
    return zeile;
}

void OffenerDialog::entfernen(std::string const& adresse) {
    auto const kopie = adresse; // The row that holds it goes.
    frage_.entfernen(kopie);
    std::erase(frage_.bisherige, kopie);
    listeFuellen();
    insFeld();
}

gboolean OffenerDialog::tasteImFeld(
    GtkEventControllerKey*, guint taste, guint, GdkModifierType, gpointer daten) {
    auto& ich = *static_cast<OffenerDialog*>(daten);
    auto* const erste = gtk_list_box_get_row_at_index(ich.liste_, 0);
    if ((taste != GDK_KEY_Down && taste != GDK_KEY_KP_Down) || !erste)
        return FALSE;
    gtk_list_box_select_row(ich.liste_, erste);
    gtk_widget_grab_focus(GTK_WIDGET(erste));
    return TRUE;
}

gboolean OffenerDialog::tasteInDerListe(
    GtkEventControllerKey*, guint taste, guint, GdkModifierType, gpointer daten) {
    auto& ich = *static_cast<OffenerDialog*>(daten);
    auto* const zeile = gtk_list_box_get_selected_row(ich.liste_);
    if (zeile && (taste == GDK_KEY_Return || taste == GDK_KEY_KP_Enter)) {
        // Not left to the row: the window's default button would have the key, too.
        gewaehlt(ich.liste_, zeile, &ich);
        return TRUE;
    }
    if (zeile && ich.frage_.entfernen && (taste == GDK_KEY_Delete || taste == GDK_KEY_KP_Delete)) {
        auto const stelle = static_cast<std::size_t>(gtk_list_box_row_get_index(zeile));
        if (stelle < ich.angeboten_.size())
            ich.entfernen(ich.angeboten_[stelle]);
        return TRUE;
    }
    bool const obenHinaus =
        (taste == GDK_KEY_Up || taste == GDK_KEY_KP_Up) && (!zeile || gtk_list_box_row_get_index(zeile) == 0);
    if (taste != GDK_KEY_Escape && !obenHinaus)
        return FALSE;
    ich.insFeld();
    return TRUE;
}

void OffenerDialog::gewaehlt(GtkListBox*, GtkListBoxRow* zeile, gpointer daten) {
    auto& ich = *static_cast<OffenerDialog*>(daten);
    auto const stelle = static_cast<std::size_t>(gtk_list_box_row_get_index(zeile));
    if (stelle >= ich.angeboten_.size())
        return;
    auto const adresse = ich.angeboten_[stelle]; // Setting the text makes another list.
    gtk_editable_set_text(ich.feld_, adresse.c_str());
    ich.insFeld();
}

void OffenerDialog::insFeld() {
    gtk_list_box_unselect_all(liste_);
    gtk_widget_grab_focus(GTK_WIDGET(feld_));
    gtk_editable_set_position(feld_, -1);
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

} // namespace

std::optional<std::string> AdressdialogGtk::fragen(ports::Adressfrage const& frage) {
    return OffenerDialog{gtk_application_get_active_window(anwendung_), frage}.laufen();
}

} // namespace quillmate::adapter::gtk
