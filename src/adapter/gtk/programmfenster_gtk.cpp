#include "programmfenster_gtk.h"

#include "naht.h"
#include "webansicht_gtk.h"

#include <adwaita.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string_view>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

/// Larger than any screen: a damaged record must not make a window that nobody can use.
constexpr int hoechstesMass = 16384;

struct Groesse {
    int breite{0};
    int hoehe{0};
    int maximiert{0};
};

std::string alsText(Groesse const& groesse) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%d %d %d", groesse.breite, groesse.hoehe, groesse.maximiert);
    return text.data();
}

bool lesen(std::string const& text, Groesse& groesse) {
    return std::sscanf(text.c_str(), "%d %d %d", &groesse.breite, &groesse.hoehe, &groesse.maximiert) == 3 &&
           groesse.breite > 0 && groesse.breite <= hoechstesMass && groesse.hoehe > 0 &&
           groesse.hoehe <= hoechstesMass;
}

/// Calls `tun` for each menu below the widget.
void jedesMenue(GtkWidget* widget, std::function<void(GtkWidget*)> const& tun) {
    for (auto* kind = gtk_widget_get_first_child(widget); kind; kind = gtk_widget_get_next_sibling(kind))
        if (GTK_IS_POPOVER(kind))
            tun(kind);
        else
            jedesMenue(kind, tun);
}

/// GTK leaves the keyboard in the menu bar after a menu; who was typing in the page wants to go on there.
gboolean tastaturZurueck(gpointer daten) {
    auto const fenster = Objekt<GtkWindow>::uebernommen(static_cast<GtkWindow*>(daten));
    auto* const leiste = gtk_window_get_titlebar(fenster.get());
    auto* const rahmen = ProgrammfensterGtk::von(fenster.get());
    auto* const inhalt = rahmen && rahmen->ansicht() ? rahmen->ansicht()->widget() : nullptr;
    auto* const tastatur = gtk_window_get_focus(fenster.get());
    if (!leiste || !inhalt || (tastatur && !gtk_widget_is_ancestor(tastatur, leiste)))
        return G_SOURCE_REMOVE;
    bool offen = false;
    jedesMenue(leiste, [&](GtkWidget* menue) { offen = offen || gtk_widget_get_visible(menue) != FALSE; });
    if (!offen) // otherwise the next menu has opened in its place
        gtk_widget_grab_focus(inhalt);
    return G_SOURCE_REMOVE;
}

void menueGeschlossen(GtkPopover* menue, gpointer) {
    if (auto* const wurzel = gtk_widget_get_root(GTK_WIDGET(menue)); GTK_IS_WINDOW(wurzel))
        g_idle_add(tastaturZurueck, g_object_ref(wurzel));
}

/// The window's title, which goes where the window is too narrow for it: GTK's own would keep the window wide.
GtkWidget* titelzeile(GtkWindow* fenster) {
    auto* const text = gtk_label_new(nullptr);
    gtk_widget_add_css_class(text, "title");
    // A host stands at the end, and tells by its end whose it is.
    gtk_label_set_ellipsize(GTK_LABEL(text), PANGO_ELLIPSIZE_MIDDLE);
    g_object_bind_property(fenster, "title", text, "label", G_BINDING_SYNC_CREATE);
    return naht::nurMitPlatz(text);
}

constexpr char const* hauptschluessel = "quillmate-hauptfenster";
constexpr char const* objektschluessel = "quillmate-programmfenster";
/// Bounds of browsers.
constexpr double kleinsteSeite = 0.3;
constexpr double groessteSeite = 5.0;

void schalten(char const* aktion, bool an) {
    auto* const anwendung = g_application_get_default();
    auto* const eine = anwendung ? g_action_map_lookup_action(G_ACTION_MAP(anwendung), aktion) : nullptr;
    if (G_IS_SIMPLE_ACTION(eine))
        g_simple_action_set_enabled(G_SIMPLE_ACTION(eine), an ? TRUE : FALSE);
}

void verlaufGeaendert(WebKitBackForwardList* verlauf, WebKitBackForwardListItem*, gpointer, gpointer) {
    schalten(ProgrammfensterGtk::zurueckaktion, webkit_back_forward_list_get_back_item(verlauf) != nullptr);
    schalten(
        ProgrammfensterGtk::vorwaertsaktion, webkit_back_forward_list_get_forward_item(verlauf) != nullptr);
}

void verlaufVerfolgen(WebKitWebView* web) {
    auto* const verlauf = webkit_web_view_get_back_forward_list(web);
    g_signal_connect(verlauf, "changed", G_CALLBACK(verlaufGeaendert), nullptr);
    verlaufGeaendert(verlauf, nullptr, nullptr, nullptr);
}

} // namespace

struct ProgrammfensterGtk::Signale {
    static gboolean schliessen(GtkWindow*, gpointer daten) {
        auto& ich = *static_cast<ProgrammfensterGtk*>(daten);
        ich.groesseSichern();
        ich.geschlossen_ = true;
        // The widgets stay until this object goes: a view in them may still have something to say.
        gtk_widget_set_visible(GTK_WIDGET(ich.fenster_.get()), FALSE);
        gtk_application_remove_window(gtk_window_get_application(ich.fenster_.get()), ich.fenster_.get());
        if (auto const rueckruf = std::exchange(ich.beimSchliessen_, nullptr))
            rueckruf();
        return TRUE;
    }
};

ProgrammfensterGtk::ProgrammfensterGtk(
    GtkApplication* anwendung, ports::Voreinstellungen& voreinstellungen, ports::Fenstermasse const& masse,
    bool menuebalken)
    : voreinstellungen_(voreinstellungen)
    , fenster_(Objekt<GtkWindow>::geteilt(GTK_WINDOW(gtk_application_window_new(anwendung)))) {
    g_object_set_data(G_OBJECT(fenster_.get()), objektschluessel, this);
    auto* const leiste = gtk_header_bar_new();
    gtk_header_bar_set_title_widget(GTK_HEADER_BAR(leiste), titelzeile(fenster_.get()));
    if (menuebalken) {
        g_object_set_data(G_OBJECT(fenster_.get()), hauptschluessel, fenster_.get());
        auto* const balken = gtk_popover_menu_bar_new_from_model(gtk_application_get_menubar(anwendung));
        gtk_widget_set_valign(balken, GTK_ALIGN_CENTER);
        gtk_accessible_update_property(GTK_ACCESSIBLE(balken), GTK_ACCESSIBLE_PROPERTY_LABEL, "Menü", -1);
        gtk_widget_add_css_class(balken, "quillmate-menue");
        gtk_header_bar_pack_start(GTK_HEADER_BAR(leiste), balken);
        // GTK gives the keyboard to an item as soon as the pointer is over it, which is wherever somebody typing in the
        // page has put it aside. F10, arrows and clicks open menus without that.
        for (auto* punkt = gtk_widget_get_first_child(balken); punkt;
             punkt = gtk_widget_get_next_sibling(punkt))
            gtk_widget_set_focusable(punkt, FALSE);
        jedesMenue(balken, [](GtkWidget* menue) {
            g_signal_connect(menue, "closed", G_CALLBACK(menueGeschlossen), nullptr);
        });
    }
    gtk_window_set_titlebar(fenster_.get(), leiste);
    gtk_application_window_set_show_menubar(GTK_APPLICATION_WINDOW(fenster_.get()), FALSE);
    // The sizes asked for are those of the content; GTK counts the header bar in.
    int leistenhoehe = 0;
    gtk_widget_measure(leiste, GTK_ORIENTATION_VERTICAL, -1, nullptr, &leistenhoehe, nullptr, nullptr);
    gtk_window_set_default_size(fenster_.get(), masse.breite, masse.hoehe + leistenhoehe);
    if (masse.mindestbreite > 0 || masse.mindesthoehe > 0)
        gtk_widget_set_size_request(
            GTK_WIDGET(fenster_.get()), masse.mindestbreite, masse.mindesthoehe + leistenhoehe);
    g_signal_connect(fenster_.get(), "close-request", G_CALLBACK(Signale::schliessen), this);
}

ProgrammfensterGtk::~ProgrammfensterGtk() {
    if (!geschlossen_) // Who quits closes no window.
        groesseSichern();
    g_signal_handlers_disconnect_by_data(fenster_.get(), this);
    g_object_set_data(G_OBJECT(fenster_.get()), objektschluessel, nullptr);
    suche_.reset();
    gtk_window_destroy(fenster_.get());
}

ProgrammfensterGtk* ProgrammfensterGtk::von(GtkWindow* fenster) {
    return fenster ? static_cast<ProgrammfensterGtk*>(g_object_get_data(G_OBJECT(fenster), objektschluessel))
                   : nullptr;
}

bool ProgrammfensterGtk::istHauptfenster(GtkWindow* fenster) {
    return g_object_get_data(G_OBJECT(fenster), hauptschluessel) != nullptr;
}

void ProgrammfensterGtk::titel(std::string const& text) {
    gtk_window_set_title(fenster_.get(), text.c_str());
}

void ProgrammfensterGtk::inhalt(ports::Webansicht& web) {
    auto* const ansicht = dynamic_cast<WebansichtGtk*>(&web);
    if (!ansicht)
        return;
    ansicht_ = ansicht;
    auto* const seite = WEBKIT_WEB_VIEW(ansicht->widget());
    suche_ = std::make_unique<Suchzeile>(seite);
    kasten_ = GTK_BOX(gtk_box_new(GTK_ORIENTATION_VERTICAL, 0));
    for (auto* const widget : {suche_->widget(), ansicht->widget(), fuss_.widget()})
        gtk_box_append(kasten_, widget);
    gtk_window_set_child(fenster_.get(), GTK_WIDGET(kasten_));
    // Otherwise screen readers say the name of its class.
    gtk_accessible_update_property(
        GTK_ACCESSIBLE(seite), GTK_ACCESSIBLE_PROPERTY_LABEL,
        ansicht->zeigtFremde() ? "Seite des Portals" : "Seite von Quillmate", -1);
    gtk_widget_grab_focus(ansicht->widget());
    webkit_web_view_set_zoom_level(seite, seitengroesse());
    if (istHauptfenster(fenster_.get()))
        verlaufVerfolgen(seite);
}

void ProgrammfensterGtk::leisteSetzen(GtkWidget* leiste) {
    if (!kasten_)
        return;
    gtk_box_prepend(kasten_, gtk_separator_new(GTK_ORIENTATION_HORIZONTAL));
    gtk_box_prepend(kasten_, leiste);
}

void ProgrammfensterGtk::fusszeile(std::optional<ports::Fusszeile> zeile) {
    fuss_.zeigen(std::move(zeile));
}

void ProgrammfensterGtk::inSeiteSuchen() {
    if (suche_)
        suche_->oeffnen();
}

void ProgrammfensterGtk::vollbildUmschalten() {
    if (gtk_window_is_fullscreen(fenster_.get()))
        gtk_window_unfullscreen(fenster_.get());
    else
        gtk_window_fullscreen(fenster_.get());
}

char const* ProgrammfensterGtk::groessenschluessel() const {
    return ansicht_ && ansicht_->zeigtFremde() ? "QuillmateSeitengroessePortale"
                                               : "QuillmateSeitengroesseDienst";
}

double ProgrammfensterGtk::seitengroesse() const {
    auto const text = voreinstellungen_.text(groessenschluessel());
    double const prozent = text ? g_ascii_strtod(text->c_str(), nullptr) : 100.0;
    return prozent > 0 ? std::clamp(prozent / 100.0, kleinsteSeite, groessteSeite) : 1.0;
}

void ProgrammfensterGtk::seitengroesse(double groesse) {
    auto const prozent =
        static_cast<int>(std::lround(std::clamp(groesse, kleinsteSeite, groessteSeite) * 100));
    auto const* const schluessel = groessenschluessel();
    if (prozent == 100)
        voreinstellungen_.entferne(schluessel);
    else
        voreinstellungen_.setzeText(schluessel, std::to_string(prozent));
    for (auto const* stelle = gtk_application_get_windows(gtk_window_get_application(fenster_.get())); stelle;
         stelle = stelle->next)
        if (auto* const eines = von(GTK_WINDOW(stelle->data));
            eines && eines->ansicht_ && std::string_view{schluessel} == eines->groessenschluessel())
            webkit_web_view_set_zoom_level(WEBKIT_WEB_VIEW(eines->ansicht_->widget()), prozent / 100.0);
}

void ProgrammfensterGtk::groesseMerken(std::string const& name) {
    merkname_ = name;
    Groesse groesse;
    auto const gespeichert = voreinstellungen_.daten(name);
    if (!gespeichert || !lesen(*gespeichert, groesse))
        return;
    gtk_window_set_default_size(fenster_.get(), groesse.breite, groesse.hoehe);
    if (groesse.maximiert != 0)
        gtk_window_maximize(fenster_.get());
}

void ProgrammfensterGtk::groesseSichern() {
    if (merkname_.empty())
        return;
    Groesse groesse;
    // The default size follows the user's resizing and keeps the size before maximising.
    gtk_window_get_default_size(fenster_.get(), &groesse.breite, &groesse.hoehe);
    groesse.maximiert = gtk_window_is_maximized(fenster_.get()) ? 1 : 0;
    auto const text = alsText(groesse);
    if (voreinstellungen_.daten(merkname_) != text)
        voreinstellungen_.setzeDaten(merkname_, text);
}

void ProgrammfensterGtk::zeigen() {
    gtk_window_present(fenster_.get());
    // A window that is shown for the first time gives the keyboard to the first widget that takes it, a button of its bar.
    if (ansicht_ && !std::exchange(gezeigt_, true))
        gtk_widget_grab_focus(ansicht_->widget());
}

void ProgrammfensterGtk::schliessen() {
    if (!geschlossen_)
        gtk_window_close(fenster_.get());
}

bool ProgrammfensterGtk::sichtbar() const {
    return gtk_widget_get_visible(GTK_WIDGET(fenster_.get())) != FALSE;
}

void ProgrammfensterGtk::beimSchliessen(std::function<void()> rueckruf) {
    beimSchliessen_ = std::move(rueckruf);
}

} // namespace quillmate::adapter::gtk
