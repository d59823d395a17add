#pragma once

#include "fenster/echt/seitendienst.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/programm.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::fenster_wayland {

/// The built program under Weston without a screen, with a session bus, a home folder and a service of its own, and
/// without any X server. Nobody can type or click there: the page acts, and what the program asks the compositor for is
/// read from the protocol's own log (WAYLAND_DEBUG).
class WaylandFenster : public testing::Test {
protected:
    WaylandFenster();
    ~WaylandFenster() override;
    void TearDown() override;

    /// Begins the session; once per test.
    void sitzung(int massstab = 1);
    [[nodiscard]] std::unique_ptr<fenster_echt::Programm> starte(
        fenster_echt::Programm::Umgebung const& weitere = {}) const;
    /// Starts the program on the service's start page and waits until that listens.
    void oeffne(fenster_echt::Programm::Umgebung const& weitere = {});

    /// The arguments of all calls of "interface.request" so far, in order, as the log writes them.
    [[nodiscard]] std::vector<std::string> aufrufe(
        std::string_view schnittstelle, std::string_view was) const;
    /// Waits until a top level window has had this title.
    [[nodiscard]] bool warteAufTitel(std::string_view titel) const;

    werkzeug::OrdnerAufZeit ordner; ///< "home", "tmp", "run"
    fenster_echt::Seitendienst dienst;
    std::unique_ptr<fenster_echt::Programm> programm;

private:
    [[nodiscard]] fenster_echt::Programm::Umgebung umgebung() const;

    std::unique_ptr<fenster_echt::Programm> bus_;
    std::unique_ptr<fenster_echt::Programm> weston_;
    std::string busadresse_;
};

} // namespace quillmate::fenster_wayland
