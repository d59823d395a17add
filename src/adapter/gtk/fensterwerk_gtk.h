#pragma once

#include "ports/programmfenster.h"
#include "ports/voreinstellungen.h"
#include "web_sitzung.h"

#include <gtk/gtk.h>

#include <memory>

namespace quillmate::adapter::gtk {

/// Makes GTK windows and WebKitGTK views. The first window is the main one and carries the menu bar.
/// Threads: main thread. Ownership: borrows all three; they must outlive what it makes.
class FensterwerkGtk final : public ports::Fensterwerk {
public:
    FensterwerkGtk(
        GtkApplication* anwendung, WebSitzungen& sitzungen, ports::Voreinstellungen& voreinstellungen)
        : anwendung_(anwendung)
        , sitzungen_(sitzungen)
        , voreinstellungen_(voreinstellungen) {}
    [[nodiscard]] std::unique_ptr<ports::Webansicht> webansicht(
        ports::Webansicht::Einrichtung einrichtung, ports::Webansicht::Empfaenger& empfaenger) override;
    [[nodiscard]] std::unique_ptr<ports::Programmfenster> fenster(ports::Fenstermasse const& masse) override;

private:
    GtkApplication* const anwendung_;
    WebSitzungen& sitzungen_;
    ports::Voreinstellungen& voreinstellungen_;
    bool hauptfensterGebaut_{false};
};

} // namespace quillmate::adapter::gtk
