#include "portalleiste_gtk.h"

#include "glib_halter.h"
#include "programmfenster_gtk.h"

#include <gtk/gtk.h>

#include <array>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

constexpr int leistenhoehe = 58;
constexpr int randLinks = 14;
constexpr int randOben = 8;
constexpr int randRechts = 12;
constexpr int zeilenabstand = 2;

class PortalleisteGtk final : public ports::Portalleiste {
public:
    explicit PortalleisteGtk(ports::Portalleistenangaben angaben);
    ~PortalleisteGtk() override;
    PortalleisteGtk(PortalleisteGtk const&) = delete;
    PortalleisteGtk& operator=(PortalleisteGtk const&) = delete;

    void adresse(std::string const& text) override;
    void status(std::string const& text, ports::Textton ton) override;
    void knopfAktiv(bool aktiv) override;
    void zurueckAktiv(bool aktiv) override;
    void laedt(bool laeuft) override;

    [[nodiscard]] GtkWidget* widget() const noexcept { return leiste_.get(); }

private:
    [[nodiscard]] Objekt<GtkWidget> bildknopf(
        char const* bild, char const* name, void (*gedrueckt)(GtkButton*, gpointer));
    static void gedrueckt(GtkButton*, gpointer daten);
    static void zurueckGedrueckt(GtkButton*, gpointer daten);
    static void ladenGedrueckt(GtkButton*, gpointer daten);
    static void vergessenGedrueckt(GtkButton*, gpointer daten);
    void tasteEinrichten();

    // The widgets are held: the bar may outlive its window.
    Objekt<GtkWidget> const leiste_{
        Objekt<GtkWidget>::geteilt(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, randRechts))};
    Objekt<GtkLabel> adresse_;
    Objekt<GtkLabel> status_;
    Objekt<GtkWidget> knopf_;
    Objekt<GtkWidget> zurueck_;
    Objekt<GtkWidget> neuLaden_; ///< While a page loads it ends the load.
    Objekt<GtkWidget> vergessen_;
    bool laedt_{false};
    ports::Portalleistenangaben const angaben_;
};

constexpr char const* neuLadenName = "Neu laden";
constexpr char const* anhaltenName = "Laden abbrechen";

void benennen(GtkWidget* knopf, char const* name) {
    gtk_widget_set_tooltip_text(knopf, name);
    gtk_accessible_update_property(GTK_ACCESSIBLE(knopf), GTK_ACCESSIBLE_PROPERTY_LABEL, name, -1);
}

/// The theme's style class; null for the ordinary colour.
char const* klasseVon(ports::Textton ton) {
    switch (ton) {
    case ports::Textton::ruhig:
        return "dim-label";
    case ports::Textton::erfolg:
        return "success";
    case ports::Textton::fehler:
        return "error";
    case ports::Textton::laeuft:
        break;
    }
    return nullptr;
}

Objekt<GtkLabel> zeile(GtkAccessibleRole rolle, PangoEllipsizeMode kuerzung, double pixel) {
    auto beschriftung =
        Objekt<GtkLabel>::geteilt(GTK_LABEL(g_object_new(GTK_TYPE_LABEL, "accessible-role", rolle, nullptr)));
    gtk_label_set_xalign(beschriftung.get(), 0.0F);
    gtk_label_set_ellipsize(beschriftung.get(), kuerzung);
    auto* const schrift = pango_attr_list_new();
    // Pixels at the desktop's ordinary size of texts (96 to the inch); whoever reads larger ones gets these larger, too.
    pango_attr_list_insert(schrift, pango_attr_size_new(static_cast<int>(pixel * 0.75 * PANGO_SCALE)));
    gtk_label_set_attributes(beschriftung.get(), schrift);
    pango_attr_list_unref(schrift);
    gtk_widget_add_css_class(GTK_WIDGET(beschriftung.get()), "dim-label");
    return beschriftung;
}

PortalleisteGtk::PortalleisteGtk(ports::Portalleistenangaben angaben)
    : adresse_(zeile(GTK_ACCESSIBLE_ROLE_LABEL, PANGO_ELLIPSIZE_MIDDLE, 12.0))
    , status_(zeile(GTK_ACCESSIBLE_ROLE_STATUS, PANGO_ELLIPSIZE_END, 11.0))
    , knopf_(Objekt<GtkWidget>::geteilt(gtk_button_new_with_label(angaben.knopf.c_str())))
    , zurueck_(bildknopf("go-previous-symbolic", "Zurück", zurueckGedrueckt))
    , neuLaden_(bildknopf("view-refresh-symbolic", neuLadenName, ladenGedrueckt))
    , vergessen_(
          bildknopf("edit-clear-all-symbolic", "Anmeldedaten dieses Portals löschen", vergessenGedrueckt))
    , angaben_(std::move(angaben)) {
    gtk_widget_set_size_request(leiste_.get(), -1, leistenhoehe);
    auto* const zeilen = gtk_box_new(GTK_ORIENTATION_VERTICAL, zeilenabstand);
    gtk_widget_set_margin_start(zeilen, randLinks);
    gtk_widget_set_margin_top(zeilen, randOben);
    gtk_widget_set_hexpand(zeilen, TRUE);
    gtk_box_append(GTK_BOX(zeilen), GTK_WIDGET(adresse_.get()));
    gtk_box_append(GTK_BOX(zeilen), GTK_WIDGET(status_.get()));
    gtk_box_append(GTK_BOX(leiste_.get()), zeilen);

    gtk_widget_set_valign(knopf_.get(), GTK_ALIGN_CENTER);
    gtk_widget_set_margin_end(knopf_.get(), randRechts);
    gtk_widget_set_tooltip_text(knopf_.get(), angaben_.knopfhinweis.c_str());
    g_signal_connect(knopf_.get(), "clicked", G_CALLBACK(gedrueckt), this);
    auto* const bilder = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_box_append(GTK_BOX(bilder), zurueck_.get());
    gtk_box_append(GTK_BOX(bilder), neuLaden_.get());
    gtk_box_append(GTK_BOX(bilder), vergessen_.get());
    gtk_box_append(GTK_BOX(leiste_.get()), bilder);
    gtk_box_append(GTK_BOX(leiste_.get()), knopf_.get());
    adresse(angaben_.adresse);
    status(angaben_.status, ports::Textton::ruhig);
    zurueckAktiv(false);
    tasteEinrichten();
}

void PortalleisteGtk::tasteEinrichten() {
    // Wherever in the window the keyboard is, and before the page, which would save itself.
    auto* const tasten = gtk_shortcut_controller_new();
    gtk_shortcut_controller_set_scope(GTK_SHORTCUT_CONTROLLER(tasten), GTK_SHORTCUT_SCOPE_GLOBAL);
    gtk_event_controller_set_propagation_phase(tasten, GTK_PHASE_CAPTURE);
    gtk_shortcut_controller_add_shortcut(
        GTK_SHORTCUT_CONTROLLER(tasten),
        gtk_shortcut_new(
            gtk_keyval_trigger_new(GDK_KEY_s, GDK_CONTROL_MASK), g_object_ref(gtk_activate_action_get())));
    gtk_widget_add_controller(knopf_.get(), tasten);
}

PortalleisteGtk::~PortalleisteGtk() {
    for (auto* const knopf : {knopf_.get(), zurueck_.get(), neuLaden_.get(), vergessen_.get()})
        g_signal_handlers_disconnect_by_data(knopf, this);
}

void PortalleisteGtk::adresse(std::string const& text) {
    gtk_label_set_text(adresse_.get(), text.c_str());
    gtk_widget_set_tooltip_text(GTK_WIDGET(adresse_.get()), text.c_str()); // The whole of a shortened line.
}

void PortalleisteGtk::status(std::string const& text, ports::Textton ton) {
    gtk_label_set_text(status_.get(), text.c_str());
    gtk_widget_set_tooltip_text(GTK_WIDGET(status_.get()), text.c_str());
    auto* const widget = GTK_WIDGET(status_.get());
    constexpr std::array klassen{"dim-label", "success", "error"};
    for (auto const* const klasse : klassen)
        gtk_widget_remove_css_class(widget, klasse);
    if (auto const* const klasse = klasseVon(ton))
        gtk_widget_add_css_class(widget, klasse);
}

void PortalleisteGtk::knopfAktiv(bool aktiv) {
    gtk_widget_set_sensitive(knopf_.get(), aktiv ? TRUE : FALSE);
}

void PortalleisteGtk::zurueckAktiv(bool aktiv) {
    gtk_widget_set_sensitive(zurueck_.get(), aktiv ? TRUE : FALSE);
}

void PortalleisteGtk::laedt(bool laeuft) {
    laedt_ = laeuft;
    gtk_button_set_icon_name(
        GTK_BUTTON(neuLaden_.get()), laeuft ? "process-stop-symbolic" : "view-refresh-symbolic");
    benennen(neuLaden_.get(), laeuft ? anhaltenName : neuLadenName);
}

Objekt<GtkWidget> PortalleisteGtk::bildknopf(
    char const* bild, char const* name, void (*tun)(GtkButton*, gpointer)) {
    auto knopf = Objekt<GtkWidget>::geteilt(gtk_button_new_from_icon_name(bild));
    gtk_widget_add_css_class(knopf.get(), "flat");
    gtk_widget_set_valign(knopf.get(), GTK_ALIGN_CENTER);
    benennen(knopf.get(), name);
    g_signal_connect(knopf.get(), "clicked", G_CALLBACK(tun), this);
    return knopf;
}

void PortalleisteGtk::gedrueckt(GtkButton*, gpointer daten) {
    if (auto const& tun = static_cast<PortalleisteGtk*>(daten)->angaben_.gedrueckt)
        tun();
}

void PortalleisteGtk::zurueckGedrueckt(GtkButton*, gpointer daten) {
    if (auto const& tun = static_cast<PortalleisteGtk*>(daten)->angaben_.zurueck)
        tun();
}

void PortalleisteGtk::vergessenGedrueckt(GtkButton*, gpointer daten) {
    if (auto const& tun = static_cast<PortalleisteGtk*>(daten)->angaben_.vergessen)
        tun();
}

void PortalleisteGtk::ladenGedrueckt(GtkButton*, gpointer daten) {
    auto const& ich = *static_cast<PortalleisteGtk*>(daten);
    if (auto const& tun = ich.laedt_ ? ich.angaben_.anhalten : ich.angaben_.neuLaden)
        tun();
}

} // namespace

std::unique_ptr<ports::Portalleiste> PortalleistenwerkGtk::leiste(
    ports::Programmfenster& fenster, ports::Portalleistenangaben angaben) {
    auto leiste = std::make_unique<PortalleisteGtk>(std::move(angaben));
    if (auto* const rahmen = dynamic_cast<ProgrammfensterGtk*>(&fenster))
        rahmen->leisteSetzen(leiste->widget());
    return leiste;
}

} // namespace quillmate::adapter::gtk
