#pragma once

#include "webansicht.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quillmate::ports {

/// Sizes in device-independent pixels, without the title bar.
struct Fenstermasse {
    int breite{0};
    int hoehe{0};
    int mindestbreite{0};
    int mindesthoehe{0};
};

/// The line at a window's lower edge: what goes on besides the page, and what can be done about it.
struct Fusszeile {
    std::string text;
    bool laeuft{false};           ///< With a bar; what is over in a moment is not shown at all.
    std::optional<double> anteil; ///< From 0 to 1, of what is running; nothing: nobody knows.
    std::string knopf;            ///< Empty for none.
    std::function<void()> gedrueckt{};
};

/// Port: one window of the program, with title bar and controls to close, minimise and resize. Placed by the desktop,
/// in the middle of the screen where it lets programs choose.
/// Threads: main thread.
class Programmfenster {
public:
    virtual ~Programmfenster() = default;
    virtual void titel(std::string const& text) = 0;
    /// Fills the window with the view, below the menu bar where it has one. Borrows the view.
    virtual void inhalt(Webansicht& web) = 0;
    /// Keeps size and state across runs under this name; a kept size wins over the one given at construction.
    virtual void groesseMerken(std::string const& name) = 0;
    /// Shows the window in front of the others and gives it the keyboard.
    virtual void zeigen() = 0;
    /// As if the user had closed it.
    virtual void schliessen() = 0;
    /// False before zeigen() and after closing.
    [[nodiscard]] virtual bool sichtbar() const = 0;
    /// Called once, right before the window closes.
    virtual void beimSchliessen(std::function<void()> rueckruf) = 0;
    /// Shows the line in the place of the one before; nothing takes it away. Announced to screen readers.
    virtual void fusszeile(std::optional<Fusszeile> zeile) = 0;
};

/// Port: makes windows and web views.
/// Threads: main thread.
class Fensterwerk {
public:
    virtual ~Fensterwerk() = default;
    [[nodiscard]] virtual std::unique_ptr<Webansicht> webansicht(
        Webansicht::Einrichtung einrichtung, Webansicht::Empfaenger& empfaenger) = 0;
    [[nodiscard]] virtual std::unique_ptr<Programmfenster> fenster(Fenstermasse const& masse) = 0;
};

} // namespace quillmate::ports
