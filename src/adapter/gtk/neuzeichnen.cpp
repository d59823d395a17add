#include "neuzeichnen.h"

namespace quillmate::adapter::gtk {
namespace {

constexpr int bilder = 2;

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

} // namespace quillmate::adapter::gtk
