// A window with one web view and nothing else: what the program's own window is measured against.
//
//   quillmate-bench-fenster DATEN ZWISCHENSPEICHER ADRESSE [LADESEITE]
//
// The web data lie in the two folders, as lastingly as the program's. With a file of HTML, that is shown first, and the
// address is loaded once it is there: a load takes the place of one that is not finished.
#include <webkit/webkit.h>

#include <cstdio>
#include <optional>
#include <string>

namespace {

struct Auftrag {
    std::string daten;
    std::string zwischenspeicher;
    std::string adresse;
    std::optional<std::string> ladeseite; ///< HTML; nothing once it is shown.
};

void geladen(WebKitWebView* web, WebKitLoadEvent ereignis, gpointer zeiger) {
    auto& auftrag = *static_cast<Auftrag*>(zeiger);
    if (ereignis != WEBKIT_LOAD_FINISHED || !auftrag.ladeseite)
        return;
    auftrag.ladeseite.reset();
    webkit_web_view_load_uri(web, auftrag.adresse.c_str());
}

void oeffnen(GtkApplication* anwendung, gpointer zeiger) {
    auto& auftrag = *static_cast<Auftrag*>(zeiger);
    auto* const sitzung = webkit_network_session_new(auftrag.daten.c_str(), auftrag.zwischenspeicher.c_str());
    webkit_cookie_manager_set_persistent_storage(
        webkit_network_session_get_cookie_manager(sitzung), (auftrag.daten + "/cookies.sqlite").c_str(),
        WEBKIT_COOKIE_PERSISTENT_STORAGE_SQLITE);
    auto* const web =
        WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "network-session", sitzung, nullptr));
    g_object_unref(sitzung);
    // As the program does where there is no graphics processor, which the display of a measurement never has. Otherwise
    // every third start of either would show nothing.
    webkit_settings_set_hardware_acceleration_policy(
        webkit_web_view_get_settings(web), WEBKIT_HARDWARE_ACCELERATION_POLICY_NEVER);
    g_signal_connect(web, "load-changed", G_CALLBACK(geladen), zeiger);
    auto* const fenster = GTK_WINDOW(gtk_application_window_new(anwendung));
    gtk_window_set_default_size(fenster, 1280, 860);
    gtk_window_set_child(fenster, GTK_WIDGET(web));
    if (auftrag.ladeseite)
        webkit_web_view_load_html(web, auftrag.ladeseite->c_str(), nullptr);
    else
        webkit_web_view_load_uri(web, auftrag.adresse.c_str());
    gtk_window_present(fenster);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 4 || argc > 5) {
        std::fputs("quillmate-bench-fenster DATEN ZWISCHENSPEICHER ADRESSE [LADESEITE]\n", stderr);
        return 2;
    }
    Auftrag auftrag{.daten = argv[1], .zwischenspeicher = argv[2], .adresse = argv[3], .ladeseite = {}};
    if (char* inhalt = nullptr; argc == 5) {
        if (g_file_get_contents(argv[4], &inhalt, nullptr, nullptr) == FALSE)
            return 1;
        auftrag.ladeseite = inhalt;
        g_free(inhalt);
    }
    auto* const anwendung = gtk_application_new("de.tandemwerk.quillmate.bench", G_APPLICATION_DEFAULT_FLAGS);
    g_signal_connect(anwendung, "activate", G_CALLBACK(oeffnen), &auftrag);
    int const ende = g_application_run(G_APPLICATION(anwendung), 0, nullptr);
    g_object_unref(anwendung);
    return ende;
}
