#pragma once

#include "seitendienst.h"
#include "werkzeug/anzeige.h"
#include "werkzeug/bildschirm.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/programm.h"
#include "werkzeug/wayland.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quillmate::fenster_echt {

/// The built program in a home folder of its own, on a display and a session bus of its own, with a service that the
/// test plays. Each test has all of it afresh.
class EchtesFenster : public testing::Test {
protected:
    EchtesFenster();
    ~EchtesFenster() override;
    void TearDown() override;

    /// The environment that programs get: nothing of the machine's own session.
    [[nodiscard]] Programm::Umgebung umgebung() const;
    /// Another process of the program (`datei`: of another bundle).
    [[nodiscard]] std::unique_ptr<Programm> starte(
        std::vector<std::string> argumente = {}, Programm::Umgebung const& weitere = {},
        std::string const& datei = QUILLMATE_PROGRAMM) const;
    /// Starts the program (`datei`: of another bundle) on the service's start page and waits until that listens.
    void oeffne(Programm::Umgebung const& weitere = {}, std::string const& datei = QUILLMATE_PROGRAMM);
    /// Ends the program by closing its main window, as a person would; then oeffne() is possible again.
    void beende();

    [[nodiscard]] XFenster hauptfenster() const;
    /// Gives the keyboard back to the main window. Without a window manager nobody else does after a dialog.
    void tastaturAnHauptfenster();
    /// A dialog, with the keyboard: the topmost window that is not among those of before.
    [[nodiscard]] std::optional<XFenster> warteAufDialog();
    /// Waits until no window is there but the main one; it has the keyboard again.
    [[nodiscard]] bool warteBisDialogWeg();

    /// Where on the screen the middle of the page's element is. The page must be the one in the topmost window there.
    /// `wessen` is the service that the page is of; null for the program's own.
    [[nodiscard]] Punkt mitteVon(
        std::string const& auswahl, std::string const& seite = "haupt", Seitendienst* wessen = nullptr);
    void klicke(
        std::string const& auswahl, std::string const& seite = "haupt", Seitendienst* wessen = nullptr);

    /// Makes a "browser" the default program for these schemes: it writes down the address that it is given.
    void browserEinrichten(std::vector<std::string> const& schemata = {"http", "https"}) const;
    /// What the browser was given, in order.
    [[nodiscard]] std::vector<std::string> imBrowser() const;
    [[nodiscard]] bool warteAufBrowser(std::string const& adresse) const;

    werkzeug::OrdnerAufZeit ordner; ///< "home", "tmp", "run"
    werkzeug::Anzeige anzeige;
    Bildschirm bildschirm;
    Seitendienst dienst;
    std::unique_ptr<Programm> programm;

    /// Whether the tests run under Wayland this time: they are registered a second time, with QUILLMATE_PROBE=wayland.
    [[nodiscard]] bool wayland() const noexcept { return weston_ != nullptr; }

private:
    std::unique_ptr<Weston> weston_;
    std::unique_ptr<Waylandfenster> fenster_;
    std::map<std::pair<Seitendienst*, std::string>, Punkt>
        ursprung_; ///< Screen place of a page's top left corner.
};

} // namespace quillmate::fenster_echt
