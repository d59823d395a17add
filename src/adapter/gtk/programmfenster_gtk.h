#pragma once

#include "glib_halter.h"
#include "ports/programmfenster.h"
#include "ports/voreinstellungen.h"

#include <gtk/gtk.h>

#include <functional>
#include <string>

namespace quillmate::adapter::gtk {

/// A GtkApplicationWindow with a header bar. What is remembered of it is its size: where a window lies is the window
/// manager's business here, and neither GTK 4 nor Wayland lets a program ask or say.
/// Threads: main thread. Ownership: borrows the user defaults.
class ProgrammfensterGtk final : public ports::Programmfenster {
public:
    /// `menuebalken`: whether this window carries the program's menu bar.
    ProgrammfensterGtk(
        GtkApplication* anwendung, ports::Voreinstellungen& voreinstellungen,
        ports::Fenstermasse const& masse, bool menuebalken);
    ~ProgrammfensterGtk() override;
    ProgrammfensterGtk(ProgrammfensterGtk const&) = delete;
    ProgrammfensterGtk& operator=(ProgrammfensterGtk const&) = delete;

    void titel(std::string const& text) override;
    void inhalt(ports::Webansicht& web) override;
    void groesseMerken(std::string const& name) override;
    void zeigen() override;
    void schliessen() override;
    [[nodiscard]] bool sichtbar() const override;
    void beimSchliessen(std::function<void()> rueckruf) override;

    /// Whether it is the window with the menu bar.
    [[nodiscard]] static bool istHauptfenster(GtkWindow* fenster);
    /// Actions of the application that are only there to choose while the main window's page has a history.
    static constexpr char const* zurueckaktion = "zurueck";
    static constexpr char const* vorwaertsaktion = "vorwaerts";

    [[nodiscard]] GtkWindow* gtkFenster() const noexcept { return fenster_.get(); }
    /// Puts a widget above the content, which fills the rest. Once, after inhalt().
    void leisteSetzen(GtkWidget* leiste);

private:
    struct Signale;

    void groesseSichern();

    ports::Voreinstellungen& voreinstellungen_;
    Objekt<GtkWindow> fenster_;
    std::string merkname_;
    std::function<void()> beimSchliessen_;
    GtkWidget* ansicht_{nullptr}; ///< The page that it shows; belongs to the window.
    bool gezeigt_{false};
    bool geschlossen_{false};
};

} // namespace quillmate::adapter::gtk
