#pragma once

#include "glib_halter.h"
#include "ports/menue.h"

#include <adwaita.h>

#include <functional>
#include <string>
#include <vector>

namespace quillmate::adapter::gtk {

/// What the About dialog tells.
struct Programmangaben {
    std::string fassung;
    std::string symbol;       ///< Name of the icon.
    std::string symbolordner; ///< Where it lies; empty when only the icon theme has it.
    std::string webseite;
    std::vector<std::string> mitwirkende; ///< Libraries and their licences.
};

/// The application object: the main loop, the presence on the session bus under the bundle's identifier, menus. Another
/// start of the program brings all windows of this one to the front.
/// Threads: main thread.
class AnwendungGtk {
public:
    struct Rueckrufe {
        std::function<void()> gestartet;                         ///< The desktop is ready for windows. Once.
        std::function<void(std::string const& adresse)> oeffnen; ///< Another start was given this address.
    };

    AnwendungGtk(std::string const& kennung, Programmangaben angaben, Rueckrufe rueckrufe);
    ~AnwendungGtk();
    AnwendungGtk(AnwendungGtk const&) = delete;
    AnwendungGtk& operator=(AnwendungGtk const&) = delete;

    /// Runs the main loop until beenden() or until the last window has closed. The process's exit status.
    int laufen();
    /// Also a dialog that is waited for ends, as if it had been cancelled.
    void beenden();
    /// The menu bar of windows that are made from now on. Its keys work in all windows: those of items that are no
    /// standard command mean the window that has the keyboard.
    void menuebalken(std::vector<ports::Menue> const& menues);

    [[nodiscard]] GtkApplication* gtk() const noexcept { return GTK_APPLICATION(anwendung_.get()); }

private:
    struct Signale;

    void inDenVordergrund();
    void ausfuehren(ports::Standardbefehl befehl);
    void ueberZeigen();
    void punktAnfuegen(GMenu* gruppe, std::string const& nummer, ports::Menuepunkt const& punkt);
    void weitereTasten();

    Programmangaben const angaben_;
    Rueckrufe const rueckrufe_;
    Objekt<AdwApplication> anwendung_;
    bool gestartet_{false};
};

} // namespace quillmate::adapter::gtk
