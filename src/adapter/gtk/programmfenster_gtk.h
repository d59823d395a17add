#pragma once

#include "fusszeile_gtk.h"
#include "glib_halter.h"
#include "ports/programmfenster.h"
#include "ports/voreinstellungen.h"
#include "suchzeile.h"

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quillmate::adapter::gtk {

class WebansichtGtk;

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
    void fusszeile(std::optional<ports::Fusszeile> zeile) override;

    /// The one that a window belongs to; null for others.
    [[nodiscard]] static ProgrammfensterGtk* von(GtkWindow* fenster);
    /// The page that it shows; null before inhalt().
    [[nodiscard]] WebansichtGtk* ansicht() const noexcept { return ansicht_; }
    void inSeiteSuchen();
    void vollbildUmschalten();
    /// The size of pages, 1 for their own: here and in every window of the same kind, now and at the next start. The service's
    /// windows are one kind, the portals' the other.
    [[nodiscard]] double seitengroesse() const;
    void seitengroesse(double groesse);

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
    [[nodiscard]] char const* groessenschluessel() const;

    ports::Voreinstellungen& voreinstellungen_;
    Objekt<GtkWindow> fenster_;
    std::string merkname_;
    std::function<void()> beimSchliessen_;
    WebansichtGtk* ansicht_{nullptr}; ///< Borrowed; it outlives its window.
    GtkBox* kasten_{nullptr};         ///< What the window holds, from top to bottom; belongs to it.
    std::unique_ptr<Suchzeile> suche_;
    FusszeileGtk fuss_;
    bool gezeigt_{false};
    bool geschlossen_{false};
};

} // namespace quillmate::adapter::gtk
