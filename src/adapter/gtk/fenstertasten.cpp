#include "fenstertasten.h"

#include "programmfenster_gtk.h"
#include "webansicht_gtk.h"

#include <webkit/webkit.h>

#include <cctype>

namespace quillmate::adapter::gtk {
namespace {

constexpr guint mausZurueck = 8;
constexpr guint mausVorwaerts = 9;

void mausGedrueckt(GtkGestureClick* geste, int, double, double, gpointer) {
    auto* const web = WEBKIT_WEB_VIEW(gtk_event_controller_get_widget(GTK_EVENT_CONTROLLER(geste)));
    auto const knopf = gtk_gesture_single_get_current_button(GTK_GESTURE_SINGLE(geste));
    if (knopf != mausZurueck && knopf != mausVorwaerts)
        return;
    if (knopf == mausZurueck)
        webkit_web_view_go_back(web);
    else
        webkit_web_view_go_forward(web);
    gtk_gesture_set_state(GTK_GESTURE(geste), GTK_EVENT_SEQUENCE_CLAIMED);
}

} // namespace

std::vector<std::string> tastenkuerzel(std::string const& taste) {
    if (taste == "[")
        return {"<Alt>Left", "<Control>bracketleft"};
    if (taste == "]")
        return {"<Alt>Right", "<Control>bracketright"};
    auto const zeichen = static_cast<unsigned char>(taste.front());
    std::string kuerzel = std::isupper(zeichen) != 0 ? "<Control><Shift>" : "<Control>";
    kuerzel += static_cast<char>(std::tolower(zeichen));
    if (taste == "r")
        return {kuerzel, "F5"};
    return {kuerzel};
}

void tasteAusfuehren(
    GtkApplication* anwendung, std::string const& taste, std::function<void()> const& haupt) {
    auto* const fenster = gtk_application_get_active_window(anwendung);
    if (!fenster || ProgrammfensterGtk::istHauptfenster(fenster)) {
        haupt();
        return;
    }
    auto* const rahmen = ProgrammfensterGtk::von(fenster);
    auto* const web = rahmen ? rahmen->ansicht() : nullptr;
    if (!web)
        return;
    if (taste == "r")
        web->neuLaden();
    else if (taste == "[")
        web->zurueck();
    else if (taste == "]")
        web->vorwaerts();
    else if (taste == "p")
        web->druckenUeber(fenster);
}

void maustastenAnschliessen(GtkWidget* webansicht) {
    auto* const geste = gtk_gesture_click_new();
    gtk_gesture_single_set_button(GTK_GESTURE_SINGLE(geste), 0);
    gtk_event_controller_set_propagation_phase(GTK_EVENT_CONTROLLER(geste), GTK_PHASE_CAPTURE);
    g_signal_connect(geste, "pressed", G_CALLBACK(mausGedrueckt), nullptr);
    gtk_widget_add_controller(webansicht, GTK_EVENT_CONTROLLER(geste));
}

} // namespace quillmate::adapter::gtk
