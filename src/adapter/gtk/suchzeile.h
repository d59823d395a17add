#pragma once

#include "glib_halter.h"

#include <webkit/webkit.h>

namespace quillmate::adapter::gtk {

/// The bar for finding a text in a page, above the page: Return and Shift+Return go on and back, Escape leaves it.
/// Threads: main thread. The widget may outlive this object, and then does nothing. The view must outlive it.
class Suchzeile {
public:
    explicit Suchzeile(WebKitWebView* web);
    ~Suchzeile();
    Suchzeile(Suchzeile const&) = delete;
    Suchzeile& operator=(Suchzeile const&) = delete;

    /// Shows it with the keyboard; what was looked for last is there to be replaced.
    void oeffnen();
    void schliessen();
    [[nodiscard]] GtkWidget* widget() const noexcept { return zeile_.get(); }

private:
    struct Signale;
    void suchen();
    void weiter(bool zurueck);
    void melden(char const* text);

    Objekt<WebKitWebView> const web_;
    WebKitFindController* const finder_; ///< Belongs to the view.
    Objekt<GtkWidget> const zeile_{Objekt<GtkWidget>::geteilt(gtk_box_new(GTK_ORIENTATION_VERTICAL, 0))};
    GtkEditable* feld_{nullptr}; ///< Belongs to the bar, as the next ones.
    GtkLabel* ergebnis_{nullptr};
    GtkWidget* vor_{nullptr};
    GtkWidget* zurueck_{nullptr};
    GtkWidget* ende_{nullptr};
};

} // namespace quillmate::adapter::gtk
