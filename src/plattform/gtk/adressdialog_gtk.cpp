#include "adressdialog_gtk.h"

#include "glib_halter.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace quillmate::plattform::gtk {
namespace {

constexpr int feldbreite = 430;
constexpr int rand = 24;

// GTK 4.8 has no successor to these two yet; 4.10 deprecates them.
G_GNUC_BEGIN_IGNORE_DEPRECATIONS

/// The open dialog. Lives on the stack of fragen(), whose main loop runs meanwhile.
class OffenerDialog {
public:
    OffenerDialog(GtkWindow* ueber, Adressfrage const& frage);
    ~OffenerDialog();
    OffenerDialog(OffenerDialog const&) = delete;
    OffenerDialog& operator=(OffenerDialog const&) = delete;

    [[nodiscard]] std::optional<std::string> laufen();

private:
    static void oeffnen(GtkWidget*, gpointer daten);
    static void abbrechen(GtkWidget*, gpointer daten);
    static gboolean geschlossen(GtkWindow*, gpointer daten);
    static gboolean passt(
        GtkEntryCompletion* ergaenzung, char const* text, GtkTreeIter* zeile, gpointer daten);

    [[nodiscard]] GtkWidget* inhalt();
    [[nodiscard]] GtkWidget* adressfeld();
    void beanstanden();

    Adressfrage const& frage_;
    std::unique_ptr<GMainLoop, decltype(&g_main_loop_unref)> const schleife_{
        g_main_loop_new(nullptr, FALSE), &g_main_loop_unref};
    Objekt<GtkWindow> const fenster_{Objekt<GtkWindow>::geteilt(GTK_WINDOW(gtk_window_new()))};
    GtkWidget* erklaerung_{nullptr};
    GtkWidget* warnzeichen_{nullptr};
    GtkEditable* feld_{nullptr};
    std::string gefragt_; ///< The text that `passend_` belongs to.
    std::vector<std::string> passend_;
    std::optional<std::string> ergebnis_;
};

GtkWidget* zeile(char const* text, char const* klasse) {
    auto* const beschriftung = gtk_label_new(text);
    gtk_label_set_wrap(GTK_LABEL(beschriftung), TRUE);
    gtk_label_set_xalign(GTK_LABEL(beschriftung), 0.0F);
    gtk_label_set_max_width_chars(GTK_LABEL(beschriftung), 56);
    if (klasse)
        gtk_widget_add_css_class(beschriftung, klasse);
    return beschriftung;
}

OffenerDialog::OffenerDialog(GtkWindow* ueber, Adressfrage const& frage)
    : frage_(frage) {
    gtk_window_set_titlebar(
        fenster_.get(), gtk_header_bar_new()); // As all our windows, whatever the desktop draws.
    gtk_window_set_title(fenster_.get(), "Quillmate");
    gtk_window_set_modal(fenster_.get(), TRUE);
    gtk_window_set_resizable(fenster_.get(), FALSE);
    gtk_window_set_transient_for(fenster_.get(), ueber);
    gtk_window_set_child(fenster_.get(), inhalt());
    g_signal_connect(fenster_.get(), "close-request", G_CALLBACK(geschlossen), this);
    auto* const tasten = gtk_shortcut_controller_new();
    gtk_shortcut_controller_add_shortcut(
        GTK_SHORTCUT_CONTROLLER(tasten),
        gtk_shortcut_new(
            gtk_keyval_trigger_new(GDK_KEY_Escape, GdkModifierType{}), gtk_named_action_new("window.close")));
    gtk_widget_add_controller(GTK_WIDGET(fenster_.get()), tasten);
}

OffenerDialog::~OffenerDialog() {
    g_signal_handlers_disconnect_by_data(fenster_.get(), this);
    gtk_window_destroy(fenster_.get());
}

GtkWidget* OffenerDialog::inhalt() {
    auto* const kasten = gtk_box_new(GTK_ORIENTATION_VERTICAL, 12);
    gtk_widget_set_margin_top(kasten, rand);
    gtk_widget_set_margin_bottom(kasten, rand);
    gtk_widget_set_margin_start(kasten, rand);
    gtk_widget_set_margin_end(kasten, rand);

    auto* const kopf = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12);
    warnzeichen_ = gtk_image_new_from_icon_name("dialog-warning-symbolic");
    gtk_widget_add_css_class(warnzeichen_, "warning");
    gtk_widget_set_visible(warnzeichen_, FALSE);
    gtk_box_append(GTK_BOX(kopf), warnzeichen_);
    gtk_box_append(GTK_BOX(kopf), zeile(frage_.meldung.c_str(), "title-4"));
    gtk_box_append(GTK_BOX(kasten), kopf);
    erklaerung_ = zeile(frage_.erklaerung.c_str(), nullptr);
    gtk_box_append(GTK_BOX(kasten), erklaerung_);

    auto* const beschriftung = zeile(frage_.beschriftung.c_str(), "dim-label");
    gtk_widget_set_margin_top(beschriftung, 6);
    gtk_box_append(GTK_BOX(kasten), beschriftung);
    gtk_box_append(GTK_BOX(kasten), adressfeld());

    auto* const knoepfe = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12);
    gtk_widget_set_halign(knoepfe, GTK_ALIGN_END);
    gtk_widget_set_margin_top(knoepfe, 12);
    auto* const nein = gtk_button_new_with_label(frage_.abbrechen.c_str());
    g_signal_connect(nein, "clicked", G_CALLBACK(abbrechen), this);
    auto* const ja = gtk_button_new_with_label(frage_.oeffnen.c_str());
    gtk_widget_add_css_class(ja, "suggested-action");
    g_signal_connect(ja, "clicked", G_CALLBACK(oeffnen), this);
    gtk_box_append(GTK_BOX(knoepfe), nein);
    gtk_box_append(GTK_BOX(knoepfe), ja);
    gtk_box_append(GTK_BOX(kasten), knoepfe);
    gtk_window_set_default_widget(fenster_.get(), ja);
    return kasten;
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

void OffenerDialog::oeffnen(GtkWidget*, gpointer daten) {
    auto& ich = *static_cast<OffenerDialog*>(daten);
    std::string text = textVon(gtk_editable_get_text(ich.feld_));
    if (ich.frage_.annehmbar && !ich.frage_.annehmbar(text)) {
        ich.beanstanden();
        return;
    }
    ich.ergebnis_ = std::move(text);
    g_main_loop_quit(ich.schleife_.get());
}

void OffenerDialog::abbrechen(GtkWidget*, gpointer daten) {
    g_main_loop_quit(static_cast<OffenerDialog*>(daten)->schleife_.get());
}

gboolean OffenerDialog::geschlossen(GtkWindow*, gpointer daten) {
    g_main_loop_quit(static_cast<OffenerDialog*>(daten)->schleife_.get());
    return TRUE; // The destructor takes it away.
}

void OffenerDialog::beanstanden() {
    gtk_label_set_text(GTK_LABEL(erklaerung_), frage_.beanstandung.c_str());
    gtk_widget_set_visible(warnzeichen_, TRUE);
    gtk_widget_grab_focus(GTK_WIDGET(feld_));
    gtk_editable_select_region(feld_, 0, -1);
}

std::optional<std::string> OffenerDialog::laufen() {
    gtk_window_present(fenster_.get());
    gtk_widget_grab_focus(GTK_WIDGET(feld_));
    g_main_loop_run(schleife_.get());
    return ergebnis_;
}

G_GNUC_END_IGNORE_DEPRECATIONS

} // namespace

std::optional<std::string> AdressdialogGtk::fragen(Adressfrage const& frage) {
    return OffenerDialog{gtk_application_get_active_window(anwendung_), frage}.laufen();
}

} // namespace quillmate::plattform::gtk
