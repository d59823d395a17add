#include "anwendung_gtk.h"

#include "fenstertasten.h"
#include "naht.h"
#include "nebenschleife.h"
#include "programmfenster_gtk.h"

#include <webkit/webkit.h>

#include <array>
#include <memory>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

/// Page zoom: the steps of browsers.
constexpr double zoomschritt = 1.1;

/// An action of the application that calls `tun` whenever it is activated.
void handlung(GtkApplication* anwendung, std::string const& name, std::function<void()> tun) {
    auto const aktion = Objekt<GSimpleAction>::uebernommen(g_simple_action_new(name.c_str(), nullptr));
    g_signal_connect_data(
        aktion.get(), "activate", G_CALLBACK(+[](GSimpleAction*, GVariant*, gpointer daten) {
            (*static_cast<std::function<void()>*>(daten))();
        }),
        new std::function<void()>{std::move(tun)},
        [](gpointer daten, GClosure*) { delete static_cast<std::function<void()>*>(daten); },
        G_CONNECT_DEFAULT);
    g_action_map_add_action(G_ACTION_MAP(anwendung), G_ACTION(aktion.get()));
}

void kuerzelSetzen(
    GtkApplication* anwendung, std::string const& aktion, std::vector<std::string> const& tasten) {
    std::vector<char const*> zeiger;
    for (auto const& taste : tasten)
        zeiger.push_back(taste.c_str());
    zeiger.push_back(nullptr);
    gtk_application_set_accels_for_action(anwendung, aktion.c_str(), zeiger.data());
}

GtkWidget* mitTastatur(GtkApplication* anwendung) {
    auto* const fenster = gtk_application_get_active_window(anwendung);
    return fenster ? gtk_window_get_focus(fenster) : nullptr;
}

struct Bearbeitungsbefehl {
    char const* inSeiten;  ///< The engine's editing command.
    char const* inFeldern; ///< The action of GTK's text fields.
};

Bearbeitungsbefehl bearbeitung(ports::Standardbefehl befehl) {
    switch (befehl) {
    case ports::Standardbefehl::widerrufen:
        return {WEBKIT_EDITING_COMMAND_UNDO, "text.undo"};
    case ports::Standardbefehl::wiederholen:
        return {WEBKIT_EDITING_COMMAND_REDO, "text.redo"};
    case ports::Standardbefehl::ausschneiden:
        return {WEBKIT_EDITING_COMMAND_CUT, "clipboard.cut"};
    case ports::Standardbefehl::kopieren:
        return {WEBKIT_EDITING_COMMAND_COPY, "clipboard.copy"};
    case ports::Standardbefehl::einsetzen:
        return {WEBKIT_EDITING_COMMAND_PASTE, "clipboard.paste"};
    case ports::Standardbefehl::allesAuswaehlen:
        return {WEBKIT_EDITING_COMMAND_SELECT_ALL, "selection.select-all"};
    case ports::Standardbefehl::ueber:
    case ports::Standardbefehl::ausblenden:
    case ports::Standardbefehl::beenden:
    case ports::Standardbefehl::fensterSchliessen:
        break;
    }
    return {nullptr, nullptr};
}

} // namespace

struct AnwendungGtk::Signale {
    static AnwendungGtk& an(gpointer daten) { return *static_cast<AnwendungGtk*>(daten); }

    static void hochgefahren(GApplication*, gpointer daten) {
        auto const& angaben = an(daten).angaben_;
        if (!angaben.symbolordner.empty())
            gtk_icon_theme_add_search_path(
                gtk_icon_theme_get_for_display(gdk_display_get_default()), angaben.symbolordner.c_str());
        gtk_window_set_default_icon_name(angaben.symbol.c_str());
        // The theme draws a menu bar as a strip of its own; within the header bar its edge would be a stray line.
        auto const stil = Objekt<GtkCssProvider>::uebernommen(gtk_css_provider_new());
        naht::stilLaden(stil.get(), ".quillmate-menue { background: none; box-shadow: none; border: none; }");
        gtk_style_context_add_provider_for_display(
            gdk_display_get_default(), GTK_STYLE_PROVIDER(stil.get()),
            GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    }

    static void aktivieren(GApplication*, gpointer daten) {
        auto& ich = an(daten);
        if (!std::exchange(ich.gestartet_, true))
            ich.rueckrufe_.gestartet();
        else
            ich.inDenVordergrund();
    }

    static void oeffnen(GApplication*, GFile** dateien, int anzahl, char const*, gpointer daten) {
        auto& ich = an(daten);
        if (!std::exchange(ich.gestartet_, true))
            ich.rueckrufe_.gestartet();
        for (int i = 0; i < anzahl; ++i) {
            GText const adresse{g_file_get_uri(dateien[i])};
            if (ich.rueckrufe_.oeffnen)
                ich.rueckrufe_.oeffnen(textVon(adresse.get()));
        }
    }
};

AnwendungGtk::AnwendungGtk(std::string const& kennung, Programmangaben angaben, Rueckrufe rueckrufe)
    : angaben_(std::move(angaben))
    , rueckrufe_(std::move(rueckrufe))
    , anwendung_(Objekt<AdwApplication>::uebernommen(
          adw_application_new(kennung.c_str(), G_APPLICATION_HANDLES_OPEN))) {
    g_set_application_name("Quillmate");
    g_set_prgname(kennung.c_str()); // The desktop finds our desktop file, and with it icon and name, by this.
    g_signal_connect_after(anwendung_.get(), "startup", G_CALLBACK(Signale::hochgefahren), this);
    g_signal_connect(anwendung_.get(), "activate", G_CALLBACK(Signale::aktivieren), this);
    g_signal_connect(anwendung_.get(), "open", G_CALLBACK(Signale::oeffnen), this);
}

AnwendungGtk::~AnwendungGtk() {
    g_signal_handlers_disconnect_by_data(anwendung_.get(), this);
}

int AnwendungGtk::laufen() {
    // Arguments have been looked at before; GLib gets none, or it would take its own options out of them.
    return g_application_run(G_APPLICATION(anwendung_.get()), 0, nullptr);
}

void AnwendungGtk::beenden() {
    Nebenschleife::alleBeenden();
    g_application_quit(G_APPLICATION(anwendung_.get()));
}

void AnwendungGtk::inDenVordergrund() {
    // The windows used last come first in the list, and lie on top in the end. A Wayland compositor grants one window per
    // start: the first that asks.
    GList* const fenster = gtk_application_get_windows(gtk());
    if (!fenster) { // A question that is asked before there is a window.
        Objekt<GListModel> const alle = Objekt<GListModel>::geteilt(gtk_window_get_toplevels());
        for (guint i = 0; i < g_list_model_get_n_items(alle.get()); ++i)
            if (auto const eines = Objekt<GtkWindow>::uebernommen(
                    static_cast<GtkWindow*>(g_list_model_get_item(alle.get(), i)));
                gtk_widget_get_visible(GTK_WIDGET(eines.get())))
                gtk_window_present(eines.get());
        return;
    }
    auto const zuletzt = Objekt<GtkWindow>::geteilt(GTK_WINDOW(fenster->data));
    gtk_window_present(zuletzt.get());
    for (GList const* stelle = g_list_last(fenster); stelle; stelle = stelle->prev)
        gtk_window_present(GTK_WINDOW(stelle->data));
}

void AnwendungGtk::menuebalken(std::vector<ports::Menue> const& menues) {
    auto const balken = Objekt<GMenu>::uebernommen(g_menu_new());
    int nummer = 0;
    for (auto const& menue : menues) {
        auto const inhalt = Objekt<GMenu>::uebernommen(g_menu_new());
        auto gruppe = Objekt<GMenu>::uebernommen(g_menu_new());
        for (auto const& punkt : menue.punkte) {
            if (std::holds_alternative<ports::Trennstrich>(punkt.wirkung)) {
                g_menu_append_section(inhalt.get(), nullptr, G_MENU_MODEL(gruppe.get()));
                gruppe = Objekt<GMenu>::uebernommen(g_menu_new());
                continue;
            }
            punktAnfuegen(gruppe.get(), "menue" + std::to_string(nummer++), punkt);
        }
        g_menu_append_section(inhalt.get(), nullptr, G_MENU_MODEL(gruppe.get()));
        g_menu_append_submenu(balken.get(), menue.titel.c_str(), G_MENU_MODEL(inhalt.get()));
    }
    gtk_application_set_menubar(gtk(), G_MENU_MODEL(balken.get()));
    weitereTasten();
}

void AnwendungGtk::punktAnfuegen(GMenu* gruppe, std::string const& nummer, ports::Menuepunkt const& punkt) {
    auto const* const befehl = std::get_if<ports::Standardbefehl>(&punkt.wirkung);
    // The main window knows these two by name, and says whether there is anywhere to go.
    auto const name = befehl               ? nummer
                      : punkt.taste == "[" ? ProgrammfensterGtk::zurueckaktion
                      : punkt.taste == "]" ? ProgrammfensterGtk::vorwaertsaktion
                                           : nummer;
    auto const aktion = "app." + name;
    auto const eintrag = Objekt<GMenuItem>::uebernommen(g_menu_item_new(punkt.titel.c_str(), aktion.c_str()));
    if (befehl) {
        handlung(gtk(), name, [this, was = *befehl] { ausfuehren(was); });
        if (!punkt.taste.empty())
            kuerzelSetzen(gtk(), aktion, tastenkuerzel(punkt.taste));
    } else {
        auto const& tun = std::get<std::function<void()>>(punkt.wirkung);
        handlung(gtk(), name, tun);
        if (!punkt.taste.empty()) {
            // The item means the main window, its keys the one that has the keyboard: two actions.
            auto const tasten = tastenkuerzel(punkt.taste);
            handlung(gtk(), name + "-taste", [this, tun, taste = punkt.taste] {
                tasteAusfuehren(gtk(), taste, tun);
            });
            kuerzelSetzen(gtk(), aktion + "-taste", tasten);
            g_menu_item_set_attribute(eintrag.get(), "accel", "s", tasten.front().c_str());
        }
    }
    g_menu_append_item(gruppe, eintrag.get());
}

void AnwendungGtk::weitereTasten() {
    // What no menu lists: see the window of all keys.
    auto const jeFenster = [this](std::function<void(ProgrammfensterGtk&)> tun) {
        return [this, tun = std::move(tun)] {
            if (auto* const fenster = ProgrammfensterGtk::von(gtk_application_get_active_window(gtk())))
                tun(*fenster);
        };
    };
    auto const zoomen = [&](double faktor) {
        return jeFenster(
            [faktor](ProgrammfensterGtk& eines) { eines.seitengroesse(eines.seitengroesse() * faktor); });
    };
    handlung(gtk(), "groesser", zoomen(zoomschritt));
    handlung(gtk(), "kleiner", zoomen(1 / zoomschritt));
    handlung(gtk(), "normalgroesse", jeFenster([](ProgrammfensterGtk& eines) { eines.seitengroesse(1.0); }));
    handlung(gtk(), "suchen", jeFenster([](ProgrammfensterGtk& eines) { eines.inSeiteSuchen(); }));
    handlung(gtk(), "vollbild", jeFenster([](ProgrammfensterGtk& eines) { eines.vollbildUmschalten(); }));
    handlung(gtk(), "tasten", [this] { naht::tastenfenster(gtk_application_get_active_window(gtk())); });
    kuerzelSetzen(gtk(), "app.groesser", {"<Control>plus", "<Control>equal", "<Control>KP_Add"});
    kuerzelSetzen(gtk(), "app.kleiner", {"<Control>minus", "<Control>KP_Subtract"});
    kuerzelSetzen(gtk(), "app.normalgroesse", {"<Control>0", "<Control>KP_0"});
    kuerzelSetzen(gtk(), "app.suchen", {"<Control>f"});
    kuerzelSetzen(gtk(), "app.vollbild", {"F11"});
    kuerzelSetzen(gtk(), "app.tasten", {"<Control>question", "F1"});
}

void AnwendungGtk::ausfuehren(ports::Standardbefehl befehl) {
    auto* const fenster = gtk_application_get_active_window(gtk());
    switch (befehl) {
    case ports::Standardbefehl::ueber:
        ueberZeigen();
        return;
    case ports::Standardbefehl::beenden:
        beenden();
        return;
    case ports::Standardbefehl::fensterSchliessen:
        if (fenster)
            gtk_window_close(fenster);
        return;
    case ports::Standardbefehl::ausblenden:
        for (GList* stelle = gtk_application_get_windows(gtk()); stelle; stelle = stelle->next)
            gtk_window_minimize(GTK_WINDOW(stelle->data));
        return;
    case ports::Standardbefehl::widerrufen:
    case ports::Standardbefehl::wiederholen:
    case ports::Standardbefehl::ausschneiden:
    case ports::Standardbefehl::kopieren:
    case ports::Standardbefehl::einsetzen:
    case ports::Standardbefehl::allesAuswaehlen:
        break;
    }
    auto* const ziel = mitTastatur(gtk());
    if (!ziel)
        return;
    auto const namen = bearbeitung(befehl);
    if (WEBKIT_IS_WEB_VIEW(ziel))
        webkit_web_view_execute_editing_command(WEBKIT_WEB_VIEW(ziel), namen.inSeiten);
    else
        gtk_widget_activate_action(ziel, namen.inFeldern, nullptr);
}

void AnwendungGtk::ueberZeigen() {
    naht::ueberZeigen(
        gtk_application_get_active_window(gtk()), {.name = "Quillmate",
                                                   .symbol = angaben_.symbol,
                                                   .fassung = angaben_.fassung,
                                                   .hersteller = "Tandemwerk",
                                                   .webseite = angaben_.webseite,
                                                   .lizenz = GTK_LICENSE_AGPL_3_0,
                                                   .mitwirkung = "Mit Hilfe von",
                                                   .mitwirkende = angaben_.mitwirkende});
}

} // namespace quillmate::adapter::gtk
