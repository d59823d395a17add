#include "dialoge_gtk.h"

#include "glib_halter.h"
#include "grundlage/protokoll.h"
#include "langtext.h"
#include "naht.h"
#include "nebenschleife.h"
#include "programmfenster_gtk.h"

#include <adwaita.h>

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <memory>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

/// One open dialog with its answer. Deleted by GTK together with the dialog; an answer that has not been given by then
/// is given as the last button.
struct OffeneFrage {
    std::size_t letzter{0};
    GtkWidget* dialog{nullptr};
    GtkCheckButton* haken{nullptr};
    GtkEditable* feld{nullptr};
    std::function<void()> zusatz;
    std::function<void(ports::Antwort, std::string const& feld)> antwort;

    void antworten(std::size_t knopf) {
        if (auto const rueckruf = std::exchange(antwort, nullptr))
            rueckruf(
                {.knopf = knopf, .haken = haken && gtk_check_button_get_active(haken)},
                feld ? textVon(gtk_editable_get_text(feld)) : std::string{});
    }
};

void beantwortet(GtkWidget*, char const* kennung, gpointer daten) {
    auto& frage = *static_cast<OffeneFrage*>(daten);
    std::size_t knopf = frage.letzter;
    std::string_view const text{kennung};
    std::from_chars(text.data(), text.data() + text.size(), knopf);
    frage.antworten(std::min(knopf, frage.letzter));
}

void zerstoert(GtkWidget*, gpointer daten) {
    auto& frage = *static_cast<OffeneFrage*>(daten);
    // The widgets are going; what they held counts for nothing in an answer that nobody gave.
    frage.haken = nullptr;
    frage.feld = nullptr;
    frage.antworten(frage.letzter);
}

void zusatzGedrueckt(GtkButton*, gpointer daten) {
    auto& frage = *static_cast<OffeneFrage*>(daten);
    auto const dialog = Objekt<GtkWidget>::geteilt(frage.dialog); // `frage` goes with it.
    auto const tun = std::exchange(frage.zusatz, nullptr);
    frage.antworten(frage.letzter);
    if (tun)
        tun();
    naht::meldungWeg(dialog.get());
}

/// What stands below the text, from top to bottom.
GtkWidget* gestapelt(std::initializer_list<GtkWidget*> widgets) {
    auto* const kasten = gtk_box_new(GTK_ORIENTATION_VERTICAL, 12);
    for (auto* const widget : widgets)
        if (widget)
            gtk_box_append(GTK_BOX(kasten), widget);
    return kasten;
}

/// Builds the dialog; the caller shows it. `feld` stands below the text; null for none.
GtkWidget* bauen(ports::Frage const& frage, std::unique_ptr<OffeneFrage> offen, GtkWidget* feld = nullptr) {
    // A label grows with its text, beyond the screen and with it the buttons.
    bool const lang = istLang(frage.erklaerung);
    auto* const dialog = naht::meldungNeu(frage.meldung, lang ? std::string{} : frage.erklaerung);
    offen->letzter = frage.knoepfe.empty() ? 0 : frage.knoepfe.size() - 1;
    // The default button stands last, at the right, where the desktop has it.
    for (std::size_t i = frage.knoepfe.size(); i-- > 0;)
        naht::meldungKnopf(dialog, std::to_string(i).c_str(), frage.knoepfe[i].c_str());
    naht::meldungVorgabe(dialog, std::to_string(frage.vorgabe).c_str());
    naht::meldungSchluss(dialog, std::to_string(offen->letzter).c_str());
    if (!frage.warnung)
        naht::meldungEmpfohlen(dialog, "0");
    GtkWidget* haken = nullptr;
    if (!frage.haken.empty()) {
        haken = gtk_check_button_new_with_label(frage.haken.c_str());
        gtk_widget_set_halign(haken, GTK_ALIGN_CENTER);
        offen->haken = GTK_CHECK_BUTTON(haken);
    }
    GtkWidget* zusatz = nullptr;
    if (frage.zusatz) {
        // Not among the answers: three of them stand one below the other, and the dialog is too low for that.
        offen->zusatz = frage.zusatz->gedrueckt;
        zusatz = gtk_button_new_with_label(frage.zusatz->titel.c_str());
        gtk_widget_set_halign(zusatz, GTK_ALIGN_CENTER);
        g_signal_connect(zusatz, "clicked", G_CALLBACK(zusatzGedrueckt), offen.get());
    }
    auto* const langes = lang ? langtextfeld(frage.erklaerung, frage.meldung) : nullptr;
    if (langes || feld || haken || zusatz)
        naht::meldungZusatz(dialog, gestapelt({langes, feld, haken, zusatz}));
    offen->dialog = dialog;
    auto* const daten = offen.release();
    g_signal_connect(dialog, "response", G_CALLBACK(beantwortet), daten);
    g_signal_connect(dialog, "destroy", G_CALLBACK(zerstoert), daten);
    g_object_weak_ref(
        G_OBJECT(dialog), [](gpointer zeiger, GObject*) { delete static_cast<OffeneFrage*>(zeiger); }, daten);
    return dialog;
}

/// Pixels of the list of places: its names are not cut at the usual size of texts.
constexpr int ortsbreite = 210;

GtkWidget* teilerIn(GtkWidget* widget) {
    if (GTK_IS_PANED(widget))
        return widget;
    for (auto* kind = gtk_widget_get_first_child(widget); kind; kind = gtk_widget_get_next_sibling(kind))
        if (auto* const gefunden = teilerIn(kind))
            return gefunden;
    return nullptr;
}

GtkWindow* gtkFenster(ports::Programmfenster& fenster) {
    auto* const rahmen = dynamic_cast<ProgrammfensterGtk*>(&fenster);
    return rahmen ? rahmen->gtkFenster() : nullptr;
}

/// A panel without one slips behind the window, which then looks dead.
GtkWindow* tafelfenster(ports::Dateiwahl const& wahl) {
    if (wahl.ueber)
        return gtkFenster(*wahl.ueber);
    auto* const anwendung = g_application_get_default();
    return GTK_IS_APPLICATION(anwendung) ? gtk_application_get_active_window(GTK_APPLICATION(anwendung))
                                         : nullptr;
}

} // namespace

void DialogeGtk::fragen(
    ports::Programmfenster& fenster, ports::Frage const& frage, std::function<void(ports::Antwort)> antwort) {
    auto offen = std::make_unique<OffeneFrage>();
    offen->antwort = [antwort = std::move(antwort)](ports::Antwort ergebnis, std::string const&) {
        antwort(ergebnis);
    };
    naht::meldungZeigen(bauen(frage, std::move(offen)), gtkFenster(fenster));
}

ports::Antwort DialogeGtk::fragenUndWarten(ports::Frage const& frage) {
    struct Warten {
        std::optional<ports::Antwort> ergebnis;
        Nebenschleife schleife;
    };
    auto const warten = std::make_shared<Warten>(); // Shared: the dialog may live longer than this call.
    auto offen = std::make_unique<OffeneFrage>();
    offen->antwort = [warten](ports::Antwort antwort, std::string const&) {
        warten->ergebnis = antwort;
        warten->schleife.beenden();
    };
    auto* const dialog = bauen(frage, std::move(offen));
    naht::meldungZeigen(dialog, nullptr, "Quillmate");
    warten->schleife.laufen();
    if (!warten->ergebnis) // The program ends. Nobody has agreed to anything.
        naht::meldungWeg(dialog);
    return warten->ergebnis.value_or(
        ports::Antwort{.knopf = frage.knoepfe.empty() ? 0 : frage.knoepfe.size() - 1});
}

void DialogeGtk::eingeben(
    ports::Programmfenster& fenster, ports::Frage const& frage, std::string const& vorgabe,
    std::function<void(std::optional<std::string>)> antwort) {
    auto offen = std::make_unique<OffeneFrage>();
    auto* const feld = gtk_entry_new();
    gtk_editable_set_text(GTK_EDITABLE(feld), vorgabe.c_str());
    gtk_entry_set_activates_default(GTK_ENTRY(feld), TRUE);
    gtk_widget_set_size_request(feld, 260, -1);
    auto const& beschriftung = istLang(frage.erklaerung) ? frage.meldung : frage.erklaerung;
    gtk_accessible_update_property(
        GTK_ACCESSIBLE(feld), GTK_ACCESSIBLE_PROPERTY_LABEL, beschriftung.c_str(), -1);
    offen->feld = GTK_EDITABLE(feld);
    offen->antwort = [antwort = std::move(antwort)](ports::Antwort ergebnis, std::string const& text) {
        antwort(ergebnis.knopf == 0 ? std::optional{text} : std::nullopt);
    };
    auto* const dialog = bauen(frage, std::move(offen), feld);
    naht::meldungZeigen(dialog, gtkFenster(fenster));
    gtk_widget_grab_focus(feld);
}

void DialogeGtk::zugang(
    ports::Programmfenster& fenster, ports::Frage const& frage,
    std::function<void(std::optional<ports::Zugangsdaten>)> antwort) {
    auto offen = std::make_unique<OffeneFrage>();
    auto* const name = gtk_entry_new();
    auto* const kennwort = gtk_password_entry_new();
    gtk_password_entry_set_show_peek_icon(GTK_PASSWORD_ENTRY(kennwort), TRUE);
    g_object_set(name, "placeholder-text", "Name", "activates-default", TRUE, nullptr);
    g_object_set(kennwort, "placeholder-text", "Kennwort", "activates-default", TRUE, nullptr);
    gtk_accessible_update_property(GTK_ACCESSIBLE(name), GTK_ACCESSIBLE_PROPERTY_LABEL, "Name", -1);
    gtk_accessible_update_property(GTK_ACCESSIBLE(kennwort), GTK_ACCESSIBLE_PROPERTY_LABEL, "Kennwort", -1);
    offen->feld = GTK_EDITABLE(name);
    offen->antwort = [antwort = std::move(antwort),
                      kennwort](ports::Antwort ergebnis, std::string const& wer) {
        // Only a button answers with 0, and while there are buttons there is the field.
        if (ergebnis.knopf == 0)
            antwort(ports::Zugangsdaten{
                .name = wer, .kennwort = textVon(gtk_editable_get_text(GTK_EDITABLE(kennwort)))});
        else
            antwort(std::nullopt);
    };
    auto* const felder = gestapelt({name, kennwort});
    gtk_widget_set_size_request(felder, 260, -1);
    naht::meldungZeigen(bauen(frage, std::move(offen), felder), gtkFenster(fenster));
    gtk_widget_grab_focus(name);
}

void DialogeGtk::dateienWaehlen(
    ports::Dateiwahl const& wahl, std::function<void(std::optional<std::vector<std::string>>)> antwort) {
    naht::dateitafel(tafelfenster(wahl), wahl, std::move(antwort));
}

std::optional<std::string> OrdnertafelGtk::waehlen(Texte const& texte) {
    Nebenschleife schleife;
    std::optional<std::string> gewaehlt;
    // Not the desktop's own panel: it has no place for the hint.
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    auto* const tafel = GTK_WIDGET(g_object_new(
        GTK_TYPE_FILE_CHOOSER_DIALOG, "title", texte.titel.c_str(), "action",
        GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER, "transient-for", gtk_application_get_active_window(anwendung_),
        "use-header-bar", 1, "default-width", breite_, "default-height", hoehe_, nullptr));
    gtk_dialog_add_button(GTK_DIALOG(tafel), "Abbrechen", GTK_RESPONSE_CANCEL);
    auto* const knopf = gtk_dialog_add_button(GTK_DIALOG(tafel), texte.knopf.c_str(), GTK_RESPONSE_ACCEPT);
    gtk_widget_add_css_class(knopf, "suggested-action");
    gtk_dialog_set_default_response(GTK_DIALOG(tafel), GTK_RESPONSE_ACCEPT);
    // Not the list of recently used files, which holds no folders.
    auto const heim = Objekt<GFile>::uebernommen(g_file_new_for_path(g_get_home_dir()));
    gtk_file_chooser_set_current_folder(GTK_FILE_CHOOSER(tafel), heim.get(), nullptr);
    auto* const hinweis = gtk_label_new(texte.hinweis.c_str());
    gtk_label_set_wrap(GTK_LABEL(hinweis), TRUE);
    gtk_widget_add_css_class(hinweis, "dim-label");
    gtk_widget_set_margin_top(hinweis, 9);
    gtk_widget_set_margin_bottom(hinweis, 9);
    gtk_widget_set_margin_start(hinweis, 12);
    gtk_widget_set_margin_end(hinweis, 12);
    gtk_box_prepend(GTK_BOX(gtk_dialog_get_content_area(GTK_DIALOG(tafel))), hinweis);
    G_GNUC_END_IGNORE_DEPRECATIONS
    gtk_window_set_modal(GTK_WINDOW(tafel), TRUE);

    struct Zustand {
        Nebenschleife* schleife;
        std::optional<std::string>* gewaehlt;
        GtkLabel* hinweis;
        std::string heim;
    } zustand{&schleife, &gewaehlt, GTK_LABEL(hinweis), g_get_home_dir()};
    g_signal_connect(
        tafel, "response", G_CALLBACK(+[](GtkWidget* dialog, int antwort, gpointer daten) {
            auto& z = *static_cast<Zustand*>(daten);
            if (antwort == GTK_RESPONSE_ACCEPT) {
                auto pfade = naht::gewaehlte(GTK_FILE_CHOOSER(dialog));
                // Where nothing is selected GTK gives the folder that is shown, at first the whole home.
                if (pfade.empty() || (pfade.front() == z.heim && naht::gezeigter(dialog) == z.heim)) {
                    protokoll("Ordnertafel: nichts gewählt");
                    gtk_label_set_text(z.hinweis, "Wähle zuerst in der Liste einen Ordner aus.");
                    return;
                }
                *z.gewaehlt = std::move(pfade.front());
            }
            gtk_widget_set_visible(dialog, FALSE);
            z.schleife->beenden();
        }),
        &zustand);
    auto const halter = Objekt<GtkWidget>::geteilt(tafel);
    g_signal_connect(
        tafel, "destroy",
        G_CALLBACK(+[](GtkWidget*, gpointer daten) { static_cast<Zustand*>(daten)->schleife->beenden(); }),
        &zustand);
    gtk_window_present(GTK_WINDOW(tafel));
    // On its way to the screen it makes itself as small as its list, and its places as narrow.
    gtk_window_set_default_size(GTK_WINDOW(tafel), breite_, hoehe_);
    if (auto* const teiler = teilerIn(tafel))
        gtk_paned_set_position(GTK_PANED(teiler), ortsbreite);
    schleife.laufen();
    if (gtk_widget_get_width(tafel) > 0)
        gtk_window_get_default_size(GTK_WINDOW(tafel), &breite_, &hoehe_); // Follows whoever resizes it.
    g_signal_handlers_disconnect_by_data(
        tafel, &zustand); // None are left on a panel that has been destroyed.
    gtk_window_destroy(GTK_WINDOW(tafel));
    return gewaehlt;
}

} // namespace quillmate::adapter::gtk
