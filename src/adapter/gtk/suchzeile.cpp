#include "suchzeile.h"

#include <string>

namespace quillmate::adapter::gtk {
namespace {

constexpr guint hoechstensGezaehlt = 1000;
constexpr int rand = 6;
constexpr auto wie =
    static_cast<WebKitFindOptions>(WEBKIT_FIND_OPTIONS_CASE_INSENSITIVE | WEBKIT_FIND_OPTIONS_WRAP_AROUND);

GtkWidget* bildknopf(char const* bild, char const* name) {
    auto* const knopf = gtk_button_new_from_icon_name(bild);
    gtk_widget_add_css_class(knopf, "flat");
    gtk_widget_set_tooltip_text(knopf, name);
    gtk_accessible_update_property(GTK_ACCESSIBLE(knopf), GTK_ACCESSIBLE_PROPERTY_LABEL, name, -1);
    return knopf;
}

} // namespace

struct Suchzeile::Signale {
    static Suchzeile& an(gpointer daten) { return *static_cast<Suchzeile*>(daten); }

    static void geaendert(GtkEditable*, gpointer daten) { an(daten).suchen(); }
    static void vor(GtkWidget*, gpointer daten) { an(daten).weiter(false); }
    static void zurueck(GtkWidget*, gpointer daten) { an(daten).weiter(true); }
    static void ende(GtkWidget*, gpointer daten) { an(daten).schliessen(); }

    static gboolean taste(
        GtkEventControllerKey*, guint taste, guint, GdkModifierType umschalter, gpointer daten) {
        if (taste == GDK_KEY_Escape) {
            an(daten).schliessen();
            return TRUE;
        }
        if (taste != GDK_KEY_Return && taste != GDK_KEY_KP_Enter)
            return FALSE;
        an(daten).weiter((umschalter & GDK_SHIFT_MASK) != 0);
        return TRUE;
    }

    static void gezaehlt(WebKitFindController*, guint anzahl, gpointer daten) {
        auto text = anzahl == 0 ? std::string{"Nichts gefunden"}
                    : anzahl == 1
                        ? std::string{"1 Treffer"}
                        : (anzahl >= hoechstensGezaehlt ? "über " : "") + std::to_string(anzahl) + " Treffer";
        an(daten).melden(text.c_str());
    }
    static void nichts(WebKitFindController*, gpointer daten) { an(daten).melden("Nichts gefunden"); }
};

Suchzeile::Suchzeile(WebKitWebView* web)
    : web_(Objekt<WebKitWebView>::geteilt(web))
    , finder_(webkit_web_view_get_find_controller(web)) {
    auto* const kasten = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, rand);
    for (auto const setzen :
         {gtk_widget_set_margin_top, gtk_widget_set_margin_bottom, gtk_widget_set_margin_start,
          gtk_widget_set_margin_end})
        setzen(kasten, rand);
    auto* const feld = gtk_entry_new();
    gtk_entry_set_placeholder_text(GTK_ENTRY(feld), "In der Seite suchen");
    gtk_accessible_update_property(
        GTK_ACCESSIBLE(feld), GTK_ACCESSIBLE_PROPERTY_LABEL, "In der Seite suchen", -1);
    gtk_widget_set_hexpand(feld, TRUE);
    feld_ = GTK_EDITABLE(feld);
    gtk_editable_set_width_chars(feld_, 8);
    ergebnis_ =
        GTK_LABEL(g_object_new(GTK_TYPE_LABEL, "accessible-role", GTK_ACCESSIBLE_ROLE_STATUS, nullptr));
    gtk_widget_add_css_class(GTK_WIDGET(ergebnis_), "dim-label");
    gtk_label_set_ellipsize(ergebnis_, PANGO_ELLIPSIZE_END); // In a narrow window the field comes first.
    zurueck_ = bildknopf("go-up-symbolic", "Voriger Treffer");
    vor_ = bildknopf("go-down-symbolic", "Nächster Treffer");
    ende_ = bildknopf("window-close-symbolic", "Suche schließen");
    for (auto* const widget : {feld, GTK_WIDGET(ergebnis_), zurueck_, vor_, ende_})
        gtk_box_append(GTK_BOX(kasten), widget);
    gtk_box_append(GTK_BOX(zeile_.get()), kasten);
    gtk_box_append(GTK_BOX(zeile_.get()), gtk_separator_new(GTK_ORIENTATION_HORIZONTAL));
    gtk_widget_set_visible(zeile_.get(), FALSE);

    g_signal_connect(feld, "changed", G_CALLBACK(Signale::geaendert), this);
    g_signal_connect(zurueck_, "clicked", G_CALLBACK(Signale::zurueck), this);
    g_signal_connect(vor_, "clicked", G_CALLBACK(Signale::vor), this);
    g_signal_connect(ende_, "clicked", G_CALLBACK(Signale::ende), this);
    auto* const tasten = gtk_event_controller_key_new();
    gtk_event_controller_set_propagation_phase(tasten, GTK_PHASE_CAPTURE);
    g_signal_connect(tasten, "key-pressed", G_CALLBACK(Signale::taste), this);
    gtk_widget_add_controller(feld, tasten);
    g_signal_connect(finder_, "counted-matches", G_CALLBACK(Signale::gezaehlt), this);
    g_signal_connect(finder_, "failed-to-find-text", G_CALLBACK(Signale::nichts), this);
}

Suchzeile::~Suchzeile() {
    for (gpointer const wer :
         {static_cast<gpointer>(feld_), static_cast<gpointer>(zurueck_), static_cast<gpointer>(vor_),
          static_cast<gpointer>(ende_), static_cast<gpointer>(finder_)})
        g_signal_handlers_disconnect_by_data(wer, this);
    GListModel* const alle = gtk_widget_observe_controllers(GTK_WIDGET(feld_));
    for (guint i = 0; i < g_list_model_get_n_items(alle); ++i) {
        auto const einer = Objekt<GObject>::uebernommen(G_OBJECT(g_list_model_get_item(alle, i)));
        g_signal_handlers_disconnect_by_data(einer.get(), this);
    }
    g_object_unref(alle);
}

void Suchzeile::oeffnen() {
    gtk_widget_set_visible(zeile_.get(), TRUE);
    gtk_widget_grab_focus(GTK_WIDGET(feld_));
    gtk_editable_select_region(feld_, 0, -1);
    suchen();
}

void Suchzeile::schliessen() {
    webkit_find_controller_search_finish(finder_);
    gtk_widget_set_visible(zeile_.get(), FALSE);
    gtk_widget_grab_focus(GTK_WIDGET(web_.get()));
}

void Suchzeile::suchen() {
    char const* const text = gtk_editable_get_text(feld_);
    melden("");
    if (!*text) {
        webkit_find_controller_search_finish(finder_);
        return;
    }
    webkit_find_controller_search(finder_, text, wie, hoechstensGezaehlt);
    webkit_find_controller_count_matches(finder_, text, wie, hoechstensGezaehlt);
}

void Suchzeile::weiter(bool zurueck) {
    if (!*gtk_editable_get_text(feld_))
        return;
    if (zurueck)
        webkit_find_controller_search_previous(finder_);
    else
        webkit_find_controller_search_next(finder_);
}

void Suchzeile::melden(char const* text) {
    gtk_label_set_text(ergebnis_, text);
    gtk_widget_set_visible(
        GTK_WIDGET(ergebnis_), *text != '\0'); // Without a text it would be called by its class.
}

} // namespace quillmate::adapter::gtk
