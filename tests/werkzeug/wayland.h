#pragma once

#include "bildschirm.h"
#include "programm.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::fenster_echt {

/// Weston as a window on a test's X display: what a person does there reaches programs by way of Wayland. Each window fills
/// the screen, dialogs stand in the middle.
/// Threads: one. Ends with the object; programs before it.
class Weston {
public:
    /// Its socket lies in `laufordner`, the XDG_RUNTIME_DIR. Throws when it does not start.
    Weston(std::string const& xname, std::string const& laufordner, Programm::Umgebung umgebung);

    /// For programs that shall know no X.
    static constexpr char const* buchse = "wayland-probe";

private:
    std::unique_ptr<Programm> weston_;
};

/// The windows of a program, as its own log of the protocol tells (WAYLAND_DEBUG=client): nobody else may know them under
/// Wayland. Numbers are those of their surfaces.
/// Threads: one.
class Waylandfenster {
public:
    /// `protokoll` is all that has been written so far; nothing while there is no program.
    explicit Waylandfenster(std::function<std::string()> protokoll)
        : protokoll_(std::move(protokoll)) {}

    /// In the order in which they came; places and sizes are those of the screen.
    [[nodiscard]] std::vector<XFenster> alle();
    /// The surface with the keyboard; 0 for none.
    [[nodiscard]] unsigned long tastaturBei();

private:
    struct Rolle {
        unsigned long flaeche{0};
        std::string titel;
    };
    void lesen();
    void zeile(std::string_view text);

    std::function<std::string()> protokoll_;
    std::size_t gelesen_{0};
    std::map<unsigned long, unsigned long> flaechen_;     ///< xdg_surface to wl_surface.
    std::vector<std::pair<unsigned long, Rolle>> rollen_; ///< xdg_toplevel, oldest first.
    unsigned long tastatur_{0};
};

} // namespace quillmate::fenster_echt
