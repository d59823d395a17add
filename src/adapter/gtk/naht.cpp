#include "naht.h"

#include "glib_halter.h"

#include <adwaita.h>

#include <array>
#include <memory>
#include <string>
#include <utility>

// QUILLMATE_HAT_...: what this release has, as CMake found out.

namespace quillmate::adapter::gtk::naht {
namespace {

using Pfadantwort = std::function<void(std::optional<std::vector<std::string>>)>;

/// Where the user was when a panel was last answered; for as long as the program runs.
Objekt<GFile>& letzterOrdner() {
    static Objekt<GFile> ordner;
    return ordner;
}

char const* tafeltitel(ports::Dateiwahl const& wahl) {
    if (wahl.ordner)
        return "Ordner auswählen";
    return wahl.mehrere ? "Dateien auswählen" : "Datei auswählen";
}

std::vector<std::string> pfadeVon(GListModel* dateien) {
    std::vector<std::string> pfade;
    for (guint i = 0; i < g_list_model_get_n_items(dateien); ++i) {
        auto const datei = Objekt<GFile>::uebernommen(G_FILE(g_list_model_get_item(dateien, i)));
        if (GText const pfad{g_file_get_path(datei.get())})
            pfade.emplace_back(pfad.get());
    }
    return pfade;
}

/// The filters that a panel offers, the first one chosen. None for panels that show everything.
std::vector<Objekt<GtkFileFilter>> filterFuer(ports::Dateiwahl const& wahl) {
    std::vector<Objekt<GtkFileFilter>> filter;
    if ((wahl.mimetypen.empty() && wahl.endungen.empty()) || wahl.ordner)
        return filter;
    auto const& passend = filter.emplace_back(Objekt<GtkFileFilter>::uebernommen(gtk_file_filter_new()));
    gtk_file_filter_set_name(passend.get(), "Passende Dateien");
    for (auto const& typ : wahl.mimetypen)
        gtk_file_filter_add_mime_type(passend.get(), typ.c_str());
    for (auto const& endung : wahl.endungen)
        if (auto const ohnePunkt = endung.substr(endung.starts_with('.') ? 1 : 0); !ohnePunkt.empty())
            gtk_file_filter_add_suffix(passend.get(), ohnePunkt.c_str());
    auto const& alle = filter.emplace_back(Objekt<GtkFileFilter>::uebernommen(gtk_file_filter_new()));
    gtk_file_filter_set_name(alle.get(), "Alle Dateien");
    gtk_file_filter_add_pattern(alle.get(), "*");
    return filter;
}

std::vector<char const*> zeigerVon(std::vector<std::string> const& texte) {
    std::vector<char const*> zeiger;
    for (auto const& text : texte)
        zeiger.push_back(text.c_str());
    zeiger.push_back(nullptr);
    return zeiger;
}

} // namespace

#if QUILLMATE_HAT_ALERTDIALOG

GtkWidget* meldungNeu(std::string const& meldung, std::string const& erklaerung) {
    auto* const dialog = adw_alert_dialog_new(meldung.c_str(), nullptr);
    if (!erklaerung.empty())
        adw_alert_dialog_set_body(ADW_ALERT_DIALOG(dialog), erklaerung.c_str());
    return GTK_WIDGET(dialog);
}

void meldungKnopf(GtkWidget* meldung, char const* name, char const* titel) {
    adw_alert_dialog_add_response(ADW_ALERT_DIALOG(meldung), name, titel);
}

void meldungVorgabe(GtkWidget* meldung, char const* name) {
    adw_alert_dialog_set_default_response(ADW_ALERT_DIALOG(meldung), name);
}

void meldungSchluss(GtkWidget* meldung, char const* name) {
    adw_alert_dialog_set_close_response(ADW_ALERT_DIALOG(meldung), name);
}

void meldungEmpfohlen(GtkWidget* meldung, char const* name) {
    adw_alert_dialog_set_response_appearance(ADW_ALERT_DIALOG(meldung), name, ADW_RESPONSE_SUGGESTED);
}

void meldungZusatz(GtkWidget* meldung, GtkWidget* inhalt) {
    adw_alert_dialog_set_extra_child(ADW_ALERT_DIALOG(meldung), inhalt);
}

void meldungZeigen(GtkWidget* meldung, GtkWindow* ueber, char const* titel) {
    if (titel)
        adw_dialog_set_title(ADW_DIALOG(meldung), titel);
    adw_dialog_present(ADW_DIALOG(meldung), ueber ? GTK_WIDGET(ueber) : nullptr);
}

void meldungWeg(GtkWidget* meldung) {
    adw_dialog_force_close(ADW_DIALOG(meldung));
}

void ueberZeigen(GtkWindow* ueber, Ueberangaben const& angaben) {
    auto* const dialog = adw_about_dialog_new();
    auto* const tafel = ADW_ABOUT_DIALOG(dialog);
    adw_about_dialog_set_application_name(tafel, angaben.name.c_str());
    adw_about_dialog_set_application_icon(tafel, angaben.symbol.c_str());
    adw_about_dialog_set_version(tafel, angaben.fassung.c_str());
    adw_about_dialog_set_developer_name(tafel, angaben.hersteller.c_str());
    adw_about_dialog_set_website(tafel, angaben.webseite.c_str());
    adw_about_dialog_set_license_type(tafel, angaben.lizenz);
    auto mitwirkende = zeigerVon(angaben.mitwirkende);
    adw_about_dialog_add_credit_section(tafel, angaben.mitwirkung.c_str(), mitwirkende.data());
    adw_dialog_present(dialog, ueber ? GTK_WIDGET(ueber) : nullptr);
}

#else

GtkWidget* meldungNeu(std::string const& meldung, std::string const& erklaerung) {
    auto* const dialog = GTK_WIDGET(g_object_new(
        ADW_TYPE_MESSAGE_DIALOG, "accessible-role", GTK_ACCESSIBLE_ROLE_ALERT_DIALOG, "heading",
        meldung.c_str(), nullptr));
    if (!erklaerung.empty())
        adw_message_dialog_set_body(ADW_MESSAGE_DIALOG(dialog), erklaerung.c_str());
    return dialog;
}

void meldungKnopf(GtkWidget* meldung, char const* name, char const* titel) {
    adw_message_dialog_add_response(ADW_MESSAGE_DIALOG(meldung), name, titel);
}

void meldungVorgabe(GtkWidget* meldung, char const* name) {
    adw_message_dialog_set_default_response(ADW_MESSAGE_DIALOG(meldung), name);
}

void meldungSchluss(GtkWidget* meldung, char const* name) {
    adw_message_dialog_set_close_response(ADW_MESSAGE_DIALOG(meldung), name);
}

void meldungEmpfohlen(GtkWidget* meldung, char const* name) {
    adw_message_dialog_set_response_appearance(ADW_MESSAGE_DIALOG(meldung), name, ADW_RESPONSE_SUGGESTED);
}

void meldungZusatz(GtkWidget* meldung, GtkWidget* inhalt) {
    adw_message_dialog_set_extra_child(ADW_MESSAGE_DIALOG(meldung), inhalt);
}

void meldungZeigen(GtkWidget* meldung, GtkWindow* ueber, char const* titel) {
    if (titel)
        gtk_window_set_title(GTK_WINDOW(meldung), titel);
    gtk_window_set_transient_for(GTK_WINDOW(meldung), ueber);
    gtk_window_set_modal(GTK_WINDOW(meldung), TRUE);
    gtk_window_set_destroy_with_parent(GTK_WINDOW(meldung), TRUE);
    gtk_window_present(GTK_WINDOW(meldung));
}

void meldungWeg(GtkWidget* meldung) {
    gtk_window_destroy(GTK_WINDOW(meldung));
}

void ueberZeigen(GtkWindow* ueber, Ueberangaben const& angaben) {
    auto* const fenster = GTK_WIDGET(
        g_object_new(ADW_TYPE_ABOUT_WINDOW, "accessible-role", GTK_ACCESSIBLE_ROLE_DIALOG, nullptr));
    auto* const tafel = ADW_ABOUT_WINDOW(fenster);
    adw_about_window_set_application_name(tafel, angaben.name.c_str());
    adw_about_window_set_application_icon(tafel, angaben.symbol.c_str());
    adw_about_window_set_version(tafel, angaben.fassung.c_str());
    adw_about_window_set_developer_name(tafel, angaben.hersteller.c_str());
    adw_about_window_set_website(tafel, angaben.webseite.c_str());
    adw_about_window_set_license_type(tafel, angaben.lizenz);
    auto mitwirkende = zeigerVon(angaben.mitwirkende);
    adw_about_window_add_credit_section(tafel, angaben.mitwirkung.c_str(), mitwirkende.data());
    gtk_window_set_transient_for(GTK_WINDOW(fenster), ueber);
    gtk_window_set_modal(GTK_WINDOW(fenster), TRUE);
    gtk_window_present(GTK_WINDOW(fenster));
}

#endif

#if QUILLMATE_HAT_DATEIDIALOG

namespace {

template<auto Fertig>
void fertigMitEiner(GObject* tafel, GAsyncResult* ergebnis, gpointer daten) {
    std::unique_ptr<Pfadantwort> const antwort{static_cast<Pfadantwort*>(daten)};
    auto* const gewaehlt = Fertig(GTK_FILE_DIALOG(tafel), ergebnis, nullptr);
    if (!gewaehlt)
        return (*antwort)(std::nullopt); // Cancelled, or there was no panel to be had.
    auto const datei = Objekt<GFile>::uebernommen(gewaehlt);
    letzterOrdner() = Objekt<GFile>::uebernommen(g_file_get_parent(datei.get()));
    GText const pfad{g_file_get_path(datei.get())};
    (*antwort)(pfad ? std::vector<std::string>{pfad.get()} : std::vector<std::string>{});
}

void fertigMitMehreren(GObject* tafel, GAsyncResult* ergebnis, gpointer daten) {
    std::unique_ptr<Pfadantwort> const antwort{static_cast<Pfadantwort*>(daten)};
    auto* const gewaehlt = gtk_file_dialog_open_multiple_finish(GTK_FILE_DIALOG(tafel), ergebnis, nullptr);
    if (!gewaehlt)
        return (*antwort)(std::nullopt);
    auto const dateien = Objekt<GListModel>::uebernommen(gewaehlt);
    if (auto const erste = Objekt<GFile>::uebernommen(G_FILE(g_list_model_get_item(dateien.get(), 0))))
        letzterOrdner() = Objekt<GFile>::uebernommen(g_file_get_parent(erste.get()));
    (*antwort)(pfadeVon(dateien.get()));
}

} // namespace

void dateitafel(GtkWindow* ueber, ports::Dateiwahl const& wahl, Pfadantwort antwort) {
    auto const tafel = Objekt<GtkFileDialog>::uebernommen(gtk_file_dialog_new());
    gtk_file_dialog_set_title(tafel.get(), tafeltitel(wahl));
    gtk_file_dialog_set_accept_label(tafel.get(), "Auswählen");
    // Where somebody has just looked for a receipt, the next one lies.
    if (auto const& zuletzt = letzterOrdner())
        gtk_file_dialog_set_initial_folder(tafel.get(), zuletzt.get());
    if (auto const filter = filterFuer(wahl); !filter.empty()) {
        auto const liste = Objekt<GListStore>::uebernommen(g_list_store_new(GTK_TYPE_FILE_FILTER));
        for (auto const& einer : filter)
            g_list_store_append(liste.get(), einer.get());
        gtk_file_dialog_set_filters(tafel.get(), G_LIST_MODEL(liste.get()));
        gtk_file_dialog_set_default_filter(tafel.get(), filter.front().get());
    }
    auto* const daten = new Pfadantwort{std::move(antwort)};
    if (wahl.ordner)
        gtk_file_dialog_select_folder(
            tafel.get(), ueber, nullptr, fertigMitEiner<gtk_file_dialog_select_folder_finish>, daten);
    else if (wahl.mehrere)
        gtk_file_dialog_open_multiple(tafel.get(), ueber, nullptr, fertigMitMehreren, daten);
    else
        gtk_file_dialog_open(tafel.get(), ueber, nullptr, fertigMitEiner<gtk_file_dialog_open_finish>, daten);
}

#else

namespace {

void tafelBeantwortet(GtkNativeDialog* tafel, int antwort, gpointer daten) {
    std::unique_ptr<Pfadantwort> const rueckruf{static_cast<Pfadantwort*>(daten)};
    if (antwort == GTK_RESPONSE_ACCEPT) {
        letzterOrdner() =
            Objekt<GFile>::uebernommen(gtk_file_chooser_get_current_folder(GTK_FILE_CHOOSER(tafel)));
        (*rueckruf)(gewaehlte(GTK_FILE_CHOOSER(tafel)));
    } else
        (*rueckruf)(std::nullopt);
    g_object_unref(tafel);
}

} // namespace

void dateitafel(GtkWindow* ueber, ports::Dateiwahl const& wahl, Pfadantwort antwort) {
    auto* const tafel = gtk_file_chooser_native_new(
        tafeltitel(wahl), ueber,
        wahl.ordner ? GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER : GTK_FILE_CHOOSER_ACTION_OPEN, "Auswählen",
        "Abbrechen");
    gtk_file_chooser_set_select_multiple(GTK_FILE_CHOOSER(tafel), wahl.mehrere ? TRUE : FALSE);
    // Where somebody has just looked for a receipt, the next one lies.
    if (auto const& zuletzt = letzterOrdner())
        gtk_file_chooser_set_current_folder(GTK_FILE_CHOOSER(tafel), zuletzt.get(), nullptr);
    for (auto const& einer : filterFuer(wahl))
        gtk_file_chooser_add_filter(GTK_FILE_CHOOSER(tafel), einer.get());
    gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(tafel), TRUE);
    g_signal_connect(tafel, "response", G_CALLBACK(tafelBeantwortet), new Pfadantwort{std::move(antwort)});
    gtk_native_dialog_show(GTK_NATIVE_DIALOG(tafel));
}

#endif

void stilLaden(GtkCssProvider* stil, char const* css) {
#if QUILLMATE_HAT_STILTEXT
    gtk_css_provider_load_from_string(stil, css);
#else
    gtk_css_provider_load_from_data(stil, css, -1);
#endif
}

// Deprecated with nothing to take their place: breakpoints need a window of libadwaita's own, the folder panel has to
// be a widget, and the print dialog that the engine makes is a GtkDialog.
G_GNUC_BEGIN_IGNORE_DEPRECATIONS

void tastenfenster(GtkWindow* ueber) {
    struct Taste {
        char const* kuerzel;
        char const* titel;
    };
    struct Gruppe {
        char const* titel;
        std::vector<Taste> tasten;
    };
    static std::array<Gruppe, 4> const gruppen{
        {{"Seite",
          {{"<Control>r F5", "Neu laden"},
           {"<Alt>Left", "Zurück"},
           {"<Alt>Right", "Vorwärts"},
           {"<Control>f", "In der Seite suchen"},
           {"<Control>p", "Drucken"}}},
         {"Ansicht",
          {{"<Control>plus", "Größer"},
           {"<Control>minus", "Kleiner"},
           {"<Control>0", "Normale Größe"},
           {"F11", "Vollbild"}}},
         {"Portale", {{"<Control>s", "Aktuelle PDF übernehmen"}}},
         {"Fenster",
          {{"<Control>w", "Fenster schließen"},
           {"<Control>h", "Quillmate ausblenden"},
           {"<Control>q", "Quillmate beenden"},
           {"F10", "Menü öffnen"},
           {"F1", "Tasten zeigen"}}}}};
    std::string xml =
        "<interface><object class='GtkShortcutsWindow' id='fenster'><property "
        "name='modal'>1</property><property name='accessible-role'>dialog</property><child><object "
        "class='GtkShortcutsSection'><property "
        "name='section-name'>alle</property>";
    for (auto const& gruppe : gruppen) {
        xml += std::string{"<child><object class='GtkShortcutsGroup'><property name='title'>"} +
               gruppe.titel + "</property>";
        for (auto const& taste : gruppe.tasten) {
            GText const kuerzel{g_markup_escape_text(taste.kuerzel, -1)};
            xml += std::string{"<child><object class='GtkShortcutsShortcut'><property name='accelerator'>"} +
                   kuerzel.get() + "</property><property name='title'>" + taste.titel +
                   "</property></object></child>";
        }
        xml += "</object></child>";
    }
    xml += "</object></child></object></interface>";
    auto const bauer = Objekt<GtkBuilder>::uebernommen(gtk_builder_new_from_string(xml.c_str(), -1));
    auto* const fenster = GTK_WINDOW(gtk_builder_get_object(bauer.get(), "fenster"));
    gtk_window_set_title(fenster, "Tasten");
    gtk_window_set_transient_for(fenster, ueber);
    gtk_window_present(fenster);
}

std::vector<std::string> gewaehlte(GtkFileChooser* tafel) {
    auto const dateien = Objekt<GListModel>::uebernommen(gtk_file_chooser_get_files(tafel));
    return pfadeVon(dateien.get());
}

std::string gezeigter(GtkWidget* tafel) {
    auto const ordner =
        Objekt<GFile>::uebernommen(gtk_file_chooser_get_current_folder(GTK_FILE_CHOOSER(tafel)));
    GText const pfad{ordner ? g_file_get_path(ordner.get()) : nullptr};
    return textVon(pfad.get());
}

GtkWidget* nurMitPlatz(GtkWidget* inhalt) {
    auto* const rahmen = GTK_WIDGET(
        g_object_new(ADW_TYPE_SQUEEZER, "accessible-role", GTK_ACCESSIBLE_ROLE_PRESENTATION, nullptr));
    adw_squeezer_add(ADW_SQUEEZER(rahmen), inhalt);
    adw_squeezer_set_allow_none(ADW_SQUEEZER(rahmen), TRUE);
    return rahmen;
}

void dialogAntworten(gpointer dialog, int antwort) {
    gtk_dialog_response(GTK_DIALOG(dialog), antwort);
}

G_GNUC_END_IGNORE_DEPRECATIONS

} // namespace quillmate::adapter::gtk::naht
