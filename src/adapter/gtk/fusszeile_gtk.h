#pragma once

#include "glib_halter.h"
#include "ports/programmfenster.h"

#include <gtk/gtk.h>

#include <optional>

namespace quillmate::adapter::gtk {

/// The line at a window's lower edge. What is over in a moment is not shown, so that nothing jumps.
/// Threads: main thread. The widget may outlive this object, and then does nothing.
class FusszeileGtk {
public:
    FusszeileGtk();
    ~FusszeileGtk();
    FusszeileGtk(FusszeileGtk const&) = delete;
    FusszeileGtk& operator=(FusszeileGtk const&) = delete;

    void zeigen(std::optional<ports::Fusszeile> zeile);
    [[nodiscard]] GtkWidget* widget() const noexcept { return GTK_WIDGET(rahmen_.get()); }

private:
    static gboolean jetztZeigen(gpointer daten);
    static void gedrueckt(GtkButton*, gpointer daten);
    void wartenBeenden();

    Objekt<GtkRevealer> const rahmen_{Objekt<GtkRevealer>::geteilt(GTK_REVEALER(gtk_revealer_new()))};
    GtkLabel* text_{nullptr}; ///< Belongs to the frame, as the next ones.
    GtkProgressBar* balken_{nullptr};
    GtkButton* knopf_{nullptr};
    std::optional<ports::Fusszeile> zeile_;
    guint warten_{0};
};

} // namespace quillmate::adapter::gtk
