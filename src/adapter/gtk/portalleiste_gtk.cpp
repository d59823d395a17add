#include "portalleiste_gtk.h"

#include "glib_halter.h"
#include "programmfenster_gtk.h"

#include <gtk/gtk.h>

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

    [[nodiscard]] GtkWidget* widget() const noexcept { return leiste_.get(); }

private:
    static void gedrueckt(GtkButton*, gpointer daten);

    // The widgets are held: the bar may outlive its window.
    Objekt<GtkWidget> const leiste_{
        Objekt<GtkWidget>::geteilt(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, randRechts))};
    Objekt<GtkLabel> adresse_;
    Objekt<GtkLabel> status_;
    Objekt<GtkWidget> knopf_;
    std::function<void()> const gedrueckt_;
};

Objekt<GtkLabel> zeile(GtkAccessibleRole rolle, PangoEllipsizeMode kuerzung, double punkte) {
    auto beschriftung =
        Objekt<GtkLabel>::geteilt(GTK_LABEL(g_object_new(GTK_TYPE_LABEL, "accessible-role", rolle, nullptr)));
    gtk_label_set_xalign(beschriftung.get(), 0.0F);
    gtk_label_set_ellipsize(beschriftung.get(), kuerzung);
    auto* const schrift = pango_attr_list_new();
    // Device-independent pixels, as all measures of the bar are, so that it keeps its height.
    pango_attr_list_insert(schrift, pango_attr_size_new_absolute(static_cast<int>(punkte * PANGO_SCALE)));
    gtk_label_set_attributes(beschriftung.get(), schrift);
    pango_attr_list_unref(schrift);
    gtk_widget_add_css_class(GTK_WIDGET(beschriftung.get()), "dim-label");
    return beschriftung;
}

PortalleisteGtk::PortalleisteGtk(ports::Portalleistenangaben angaben)
    : adresse_(zeile(GTK_ACCESSIBLE_ROLE_LABEL, PANGO_ELLIPSIZE_MIDDLE, 12.0))
    , status_(zeile(GTK_ACCESSIBLE_ROLE_STATUS, PANGO_ELLIPSIZE_END, 11.0))
    , knopf_(Objekt<GtkWidget>::geteilt(gtk_button_new_with_label(angaben.knopf.c_str())))
    , gedrueckt_(std::move(angaben.gedrueckt)) {
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
    gtk_widget_set_tooltip_text(knopf_.get(), angaben.knopfhinweis.c_str());
    g_signal_connect(knopf_.get(), "clicked", G_CALLBACK(gedrueckt), this);
    gtk_box_append(GTK_BOX(leiste_.get()), knopf_.get());
    adresse(angaben.adresse);
    status(angaben.status, ports::Textton::ruhig);
}

PortalleisteGtk::~PortalleisteGtk() {
    g_signal_handlers_disconnect_by_data(knopf_.get(), this);
}

void PortalleisteGtk::adresse(std::string const& text) {
    gtk_label_set_text(adresse_.get(), text.c_str());
    gtk_widget_set_tooltip_text(GTK_WIDGET(adresse_.get()), text.c_str()); // The whole of a shortened line.
}

void PortalleisteGtk::status(std::string const& text, ports::Textton ton) {
    gtk_label_set_text(status_.get(), text.c_str());
    gtk_widget_set_tooltip_text(GTK_WIDGET(status_.get()), text.c_str());
    auto* const widget = GTK_WIDGET(status_.get());
    gtk_widget_remove_css_class(widget, ton == ports::Textton::fehler ? "dim-label" : "error");
    gtk_widget_add_css_class(widget, ton == ports::Textton::fehler ? "error" : "dim-label");
}

void PortalleisteGtk::knopfAktiv(bool aktiv) {
    gtk_widget_set_sensitive(knopf_.get(), aktiv ? TRUE : FALSE);
}

void PortalleisteGtk::gedrueckt(GtkButton*, gpointer daten) {
    auto& ich = *static_cast<PortalleisteGtk*>(daten);
    if (ich.gedrueckt_)
        ich.gedrueckt_();
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
