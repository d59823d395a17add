#include "druck_gtk.h"

#include "fehlertext.h"
#include "glib_halter.h"
#include "naht.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

/// The program's print settings, for as long as it runs.
struct Vorgaben {
    Objekt<GtkPrintSettings> einstellungen{Objekt<GtkPrintSettings>::uebernommen(gtk_print_settings_new())};
    Objekt<GtkPageSetup> seite{Objekt<GtkPageSetup>::uebernommen(gtk_page_setup_new())};
};

Vorgaben& vorgaben() {
    static Vorgaben eine = [] {
        Vorgaben neue;
        // A page printed into a file would otherwise go to wherever the program was started.
        char const* const dokumente = g_get_user_special_dir(G_USER_DIRECTORY_DOCUMENTS);
        gtk_print_settings_set(
            neue.einstellungen.get(), GTK_PRINT_SETTINGS_OUTPUT_DIR,
            dokumente ? dokumente : g_get_home_dir());
        return neue;
    }();
    return eine;
}

/// The page in the paper's width and centred: the engine lays it out at the width between the margins, and makes what is
/// wider smaller, by itself. GTK has no option for either, so what could spoil them is put back: a scale, and
/// margins that are not alike.
void einpassen(Vorgaben const& was) {
    gtk_print_settings_set_scale(was.einstellungen.get(), 100);
    auto* const seite = was.seite.get();
    auto const rand = std::max(
        gtk_page_setup_get_left_margin(seite, GTK_UNIT_MM),
        gtk_page_setup_get_right_margin(seite, GTK_UNIT_MM));
    gtk_page_setup_set_left_margin(seite, rand, GTK_UNIT_MM);
    gtk_page_setup_set_right_margin(seite, rand, GTK_UNIT_MM);
}

/// Keeps an operation until the engine is done with it: whatever becomes of the page and its window meanwhile.
struct Auftrag {
    Objekt<WebKitPrintOperation> druck;
    std::function<void()> beendet;
    Druckfehler gescheitert;
};

void amScheitern(WebKitPrintOperation*, GError* fehler, gpointer daten) {
    if (auto const melden = std::exchange(static_cast<Auftrag*>(daten)->gescheitert, nullptr))
        melden(beschreibungVon(fehler));
}

/// Follows "failed" too.
void amEnde(WebKitPrintOperation* druck, gpointer daten) {
    std::unique_ptr<Auftrag> const auftrag{static_cast<Auftrag*>(daten)};
    g_signal_handlers_disconnect_by_data(druck, daten);
    if (auftrag->beendet)
        auftrag->beendet();
}

/// Belongs to itself from here on, until "finished".
Auftrag* beginnen(WebKitWebView* web, std::function<void()> beendet, Druckfehler gescheitert) {
    auto* const auftrag = new Auftrag{
        Objekt<WebKitPrintOperation>::uebernommen(webkit_print_operation_new(web)), std::move(beendet),
        std::move(gescheitert)};
    g_signal_connect(auftrag->druck.get(), "failed", G_CALLBACK(amScheitern), auftrag);
    g_signal_connect(auftrag->druck.get(), "finished", G_CALLBACK(amEnde), auftrag);
    return auftrag;
}

} // namespace

void druckenMitDialog(WebKitWebView* web, GtkWindow* fenster, Druckfehler gescheitert) {
    auto& meine = vorgaben();
    einpassen(meine);
    auto* const auftrag = beginnen(web, nullptr, std::move(gescheitert));
    auto const druck = auftrag->druck; // "finished" may come before the dialog returns.
    webkit_print_operation_set_print_settings(druck.get(), meine.einstellungen.get());
    webkit_print_operation_set_page_setup(druck.get(), meine.seite.get());
    if (webkit_print_operation_run_dialog(druck.get(), fenster) != WEBKIT_PRINT_OPERATION_RESPONSE_PRINT) {
        amEnde(druck.get(), auftrag); // Nothing begins, so nothing finishes.
        return;
    }
    meine.einstellungen =
        Objekt<GtkPrintSettings>::geteilt(webkit_print_operation_get_print_settings(druck.get()));
    meine.seite = Objekt<GtkPageSetup>::geteilt(webkit_print_operation_get_page_setup(druck.get()));
}

void druckenOhneDialog(
    WebKitWebView* web, GtkPrintSettings* einstellungen, std::function<void()> beendet,
    Druckfehler gescheitert) {
    auto* const auftrag = beginnen(web, std::move(beendet), std::move(gescheitert));
    webkit_print_operation_set_print_settings(auftrag->druck.get(), einstellungen);
    webkit_print_operation_print(auftrag->druck.get());
}

void druckdialogeSchliessen() {
    // The engine makes the dialog and hands it to nobody; it also destroys it, so it is answered and not closed.
    auto const art = g_type_from_name("GtkPrintUnixDialog");
    if (art == 0)
        return;
    auto* const alle = gtk_window_list_toplevels();
    for (GList* stelle = alle; stelle; stelle = stelle->next)
        if (G_TYPE_CHECK_INSTANCE_TYPE(stelle->data, art))
            naht::dialogAntworten(stelle->data, GTK_RESPONSE_CANCEL);
    g_list_free(alle);
}

} // namespace quillmate::adapter::gtk
