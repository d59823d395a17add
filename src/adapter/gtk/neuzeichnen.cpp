#include "neuzeichnen.h"

#include "glib_halter.h"

#include <jsc/jsc.h>

#include <string_view>

namespace quillmate::adapter::gtk {
namespace {

constexpr int bilder = 2;

/// Not 0: of what nobody could see GTK asks for no picture, and the engine waits for that.
constexpr double hauch = 0.01;
/// A page that paints nothing is shown all the same.
constexpr guint hoechstensVerhuelltMillisekunden = 1000;
/// A page that is to come has begun to load by then.
constexpr guint wartenAufSeiteMillisekunden = 300;
constexpr char const* verhuelltSchluessel = "quillmate-verhuellt";
constexpr char const* fristSchluessel = "quillmate-enthuellen";
/// No page sees into this world, and none can have changed what it calls.
constexpr char const* malwelt = "quillmate-malen";
constexpr std::string_view gemalt =
    "await new Promise(weiter => requestAnimationFrame(() => requestAnimationFrame(() => weiter())))";

void zeigen(WebKitWebView* web) {
    if (auto const frist = GPOINTER_TO_UINT(g_object_steal_data(G_OBJECT(web), fristSchluessel)))
        g_source_remove(frist);
    g_object_set_data(G_OBJECT(web), verhuelltSchluessel, nullptr);
    gtk_widget_set_opacity(GTK_WIDGET(web), 1.0);
}

bool istVerhuellt(WebKitWebView* web) {
    return g_object_get_data(G_OBJECT(web), verhuelltSchluessel) != nullptr;
}

struct Zaehler {
    int uebrig{bilder};
};

gboolean jedesBild(GtkWidget* widget, GdkFrameClock*, gpointer daten) {
    if (--static_cast<Zaehler*>(daten)->uebrig > 0)
        return G_SOURCE_CONTINUE;
    gtk_widget_set_margin_bottom(widget, 0);
    return G_SOURCE_REMOVE;
}

} // namespace

void groesseAnstossen(GtkWidget* webansicht) {
    gtk_widget_set_margin_bottom(webansicht, 1);
    gtk_widget_add_tick_callback(
        webansicht, jedesBild, new Zaehler, [](gpointer daten) { delete static_cast<Zaehler*>(daten); });
}

void verhuellen(WebKitWebView* web) {
    if (auto const frist = GPOINTER_TO_UINT(g_object_steal_data(G_OBJECT(web), fristSchluessel)))
        g_source_remove(frist);
    g_object_set_data(G_OBJECT(web), verhuelltSchluessel, web);
    gtk_widget_set_opacity(GTK_WIDGET(web), hauch);
}

void enthuellen(WebKitWebView* web) {
    if (!istVerhuellt(web) || g_object_get_data(G_OBJECT(web), fristSchluessel))
        return;
    auto const frist = g_timeout_add_full(
        G_PRIORITY_DEFAULT, hoechstensVerhuelltMillisekunden,
        [](gpointer daten) -> gboolean {
            auto* const ansicht = WEBKIT_WEB_VIEW(daten);
            g_object_set_data(G_OBJECT(ansicht), fristSchluessel, nullptr);
            if (istVerhuellt(ansicht))
                zeigen(ansicht);
            return G_SOURCE_REMOVE;
        },
        g_object_ref(web), g_object_unref);
    g_object_set_data(G_OBJECT(web), fristSchluessel, GUINT_TO_POINTER(frist));
    webkit_web_view_call_async_javascript_function(
        web, gemalt.data(), static_cast<gssize>(gemalt.size()), nullptr, malwelt, nullptr, nullptr,
        [](GObject* quelle, GAsyncResult* ergebnis, gpointer) {
            GError* fehler = nullptr;
            auto const wert =
                Objekt<JSCValue>::uebernommen(webkit_web_view_call_async_javascript_function_finish(
                    WEBKIT_WEB_VIEW(quelle), ergebnis, &fehler));
            // Of a document that was replaced meanwhile nothing is painted any more; the limit above counts.
            if (fehler)
                g_error_free(fehler);
            else if (istVerhuellt(WEBKIT_WEB_VIEW(quelle)))
                zeigen(WEBKIT_WEB_VIEW(quelle));
        },
        nullptr);
}

void enthuellenOhneSeite(WebKitWebView* web) {
    g_timeout_add_full(
        G_PRIORITY_DEFAULT, wartenAufSeiteMillisekunden,
        [](gpointer daten) -> gboolean {
            auto* const ansicht = WEBKIT_WEB_VIEW(daten);
            if (istVerhuellt(ansicht) && !webkit_web_view_is_loading(ansicht))
                zeigen(ansicht);
            return G_SOURCE_REMOVE;
        },
        g_object_ref(web), g_object_unref);
}

} // namespace quillmate::adapter::gtk
