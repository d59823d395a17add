#pragma once

#include "plattform/dialoge.h"
#include "plattform/ordnertafel.h"

#include <gtk/gtk.h>

#include <functional>

namespace quillmate::plattform::gtk {

/// libadwaita's message dialogs and GTK's file panels.
/// Threads: main thread.
class DialogeGtk final : public Dialoge {
public:
    void fragen(Programmfenster& fenster, Frage const& frage, std::function<void(Antwort)> antwort) override;
    [[nodiscard]] Antwort fragenUndWarten(Frage const& frage) override;
    void eingeben(
        Programmfenster& fenster, Frage const& frage, std::string const& vorgabe,
        std::function<void(std::optional<std::string>)> antwort) override;
    void dateienWaehlen(
        Dateiwahl const& wahl, std::function<void(std::optional<std::vector<std::string>>)> antwort) override;
};

/// GTK's panel for choosing one folder, modal over the program's foremost window.
/// Threads: main thread.
class OrdnertafelGtk final : public Ordnertafel {
public:
    /// Borrows the application, whose active window the panel lies over.
    explicit OrdnertafelGtk(GtkApplication* anwendung)
        : anwendung_(anwendung) {}
    [[nodiscard]] std::optional<std::string> waehlen(Texte const& texte) override;

private:
    GtkApplication* const anwendung_;
};

} // namespace quillmate::plattform::gtk
