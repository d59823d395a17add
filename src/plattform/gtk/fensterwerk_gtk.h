#pragma once

#include "plattform/programmfenster.h"
#include "plattform/voreinstellungen.h"
#include "web_sitzung.h"

#include <gtk/gtk.h>

#include <memory>

namespace quillmate::plattform::gtk {

/// Makes GTK windows and WebKitGTK views. The first window is the main one and carries the menu bar.
/// Threads: main thread. Ownership: borrows all three; they must outlive what it makes.
class FensterwerkGtk final : public Fensterwerk {
public:
    FensterwerkGtk(GtkApplication* anwendung, WebSitzungen& sitzungen, Voreinstellungen& voreinstellungen)
        : anwendung_(anwendung)
        , sitzungen_(sitzungen)
        , voreinstellungen_(voreinstellungen) {}
    [[nodiscard]] std::unique_ptr<Webansicht> webansicht(
        Webansicht::Einrichtung einrichtung, Webansicht::Empfaenger& empfaenger) override;
    [[nodiscard]] std::unique_ptr<Programmfenster> fenster(Fenstermasse const& masse) override;

private:
    GtkApplication* const anwendung_;
    WebSitzungen& sitzungen_;
    Voreinstellungen& voreinstellungen_;
    bool hauptfensterGebaut_{false};
};

} // namespace quillmate::plattform::gtk
