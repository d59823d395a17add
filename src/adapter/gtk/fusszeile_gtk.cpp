#include "fusszeile_gtk.h"

#include <utility>

namespace quillmate::adapter::gtk {
namespace {

constexpr guint abwartenMillisekunden = 400;
constexpr int balkenbreite = 120;
constexpr int rand = 6;
constexpr int abstand = 12;

} // namespace

FusszeileGtk::FusszeileGtk() {
    auto* const kasten = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, abstand);
    gtk_widget_set_margin_top(kasten, rand);
    gtk_widget_set_margin_bottom(kasten, rand);
    gtk_widget_set_margin_start(kasten, abstand);
    gtk_widget_set_margin_end(kasten, abstand);
    text_ = GTK_LABEL(g_object_new(GTK_TYPE_LABEL, "accessible-role", GTK_ACCESSIBLE_ROLE_STATUS, nullptr));
    gtk_label_set_xalign(text_, 0.0F);
    gtk_label_set_ellipsize(text_, PANGO_ELLIPSIZE_MIDDLE);
    gtk_widget_set_hexpand(GTK_WIDGET(text_), TRUE);
    gtk_box_append(GTK_BOX(kasten), GTK_WIDGET(text_));
    balken_ = GTK_PROGRESS_BAR(gtk_progress_bar_new());
    gtk_widget_set_size_request(GTK_WIDGET(balken_), balkenbreite, -1);
    gtk_widget_set_valign(GTK_WIDGET(balken_), GTK_ALIGN_CENTER);
    gtk_accessible_update_property(GTK_ACCESSIBLE(balken_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Fortschritt", -1);
    gtk_box_append(GTK_BOX(kasten), GTK_WIDGET(balken_));
    knopf_ = GTK_BUTTON(gtk_button_new_with_label(""));
    g_signal_connect(knopf_, "clicked", G_CALLBACK(gedrueckt), this);
    gtk_box_append(GTK_BOX(kasten), GTK_WIDGET(knopf_));
    auto* const aussen = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_box_append(GTK_BOX(aussen), gtk_separator_new(GTK_ORIENTATION_HORIZONTAL));
    gtk_box_append(GTK_BOX(aussen), kasten);
    gtk_revealer_set_transition_type(rahmen_.get(), GTK_REVEALER_TRANSITION_TYPE_NONE);
    gtk_revealer_set_child(rahmen_.get(), aussen);
    // Of what is not revealed the keyboard would still find the button.
    gtk_widget_set_visible(widget(), FALSE);
}

FusszeileGtk::~FusszeileGtk() {
    wartenBeenden();
    g_signal_handlers_disconnect_by_data(knopf_, this);
}

void FusszeileGtk::zeigen(std::optional<ports::Fusszeile> zeile) {
    zeile_ = std::move(zeile);
    if (!zeile_) {
        wartenBeenden();
        gtk_revealer_set_reveal_child(rahmen_.get(), FALSE);
        gtk_widget_set_visible(widget(), FALSE);
        return;
    }
    gtk_label_set_text(text_, zeile_->text.c_str());
    gtk_widget_set_tooltip_text(GTK_WIDGET(text_), zeile_->text.c_str());
    gtk_widget_set_visible(GTK_WIDGET(balken_), zeile_->laeuft ? TRUE : FALSE);
    if (zeile_->anteil)
        gtk_progress_bar_set_fraction(balken_, *zeile_->anteil);
    else if (zeile_->laeuft)
        gtk_progress_bar_pulse(balken_);
    gtk_button_set_label(knopf_, zeile_->knopf.c_str());
    gtk_widget_set_visible(GTK_WIDGET(knopf_), !zeile_->knopf.empty());
    if (gtk_widget_get_visible(widget()))
        return;
    if (!zeile_->laeuft) {
        wartenBeenden();
        jetztZeigen(this);
    } else if (warten_ == 0)
        warten_ = g_timeout_add(abwartenMillisekunden, jetztZeigen, this);
}

gboolean FusszeileGtk::jetztZeigen(gpointer daten) {
    auto& ich = *static_cast<FusszeileGtk*>(daten);
    ich.warten_ = 0;
    gtk_widget_set_visible(ich.widget(), TRUE);
    gtk_revealer_set_reveal_child(ich.rahmen_.get(), TRUE);
    return G_SOURCE_REMOVE;
}

void FusszeileGtk::gedrueckt(GtkButton*, gpointer daten) {
    auto const& ich = *static_cast<FusszeileGtk*>(daten);
    // A copy: the call may take the line away, and the function with it.
    auto const tun = ich.zeile_ ? ich.zeile_->gedrueckt : nullptr;
    if (tun)
        tun();
}

void FusszeileGtk::wartenBeenden() {
    if (warten_ != 0)
        g_source_remove(std::exchange(warten_, 0U));
}

} // namespace quillmate::adapter::gtk
