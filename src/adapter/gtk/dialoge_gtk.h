#pragma once

#include "ports/dialoge.h"
#include "ports/ordnertafel.h"

#include <gtk/gtk.h>

#include <functional>

namespace quillmate::adapter::gtk {

/// libadwaita's message dialogs and GTK's file panels.
/// Threads: main thread.
class DialogeGtk final : public ports::Dialoge {
public:
    void fragen(
        ports::Programmfenster& fenster, ports::Frage const& frage,
        std::function<void(ports::Antwort)> antwort) override;
    [[nodiscard]] ports::Antwort fragenUndWarten(ports::Frage const& frage) override;
    void eingeben(
        ports::Programmfenster& fenster, ports::Frage const& frage, std::string const& vorgabe,
        std::function<void(std::optional<std::string>)> antwort) override;
    void zugang(
        ports::Programmfenster& fenster, ports::Frage const& frage,
        std::function<void(std::optional<ports::Zugangsdaten>)> antwort) override;
    void dateienWaehlen(
        ports::Dateiwahl const& wahl,
        std::function<void(std::optional<std::vector<std::string>>)> antwort) override;
};

/// GTK's panel for choosing one folder, modal over the program's foremost window.
/// Threads: main thread.
class OrdnertafelGtk final : public ports::Ordnertafel {
public:
    /// Borrows the application, whose active window the panel lies over.
    explicit OrdnertafelGtk(GtkApplication* anwendung)
        : anwendung_(anwendung) {}
    [[nodiscard]] std::optional<std::string> waehlen(Texte const& texte) override;

private:
    GtkApplication* const anwendung_;
    int breite_{820}; ///< As its user has left it.
    int hoehe_{560};
};

} // namespace quillmate::adapter::gtk
