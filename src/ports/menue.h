#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace quillmate::ports {

/// What a menu item does that belongs to no object of the program: it goes to whatever has the keyboard.
enum class Standardbefehl {
    ueber,      ///< Shows what the program is.
    ausblenden, ///< Gets all windows of the program out of the way.
    beenden,    ///< Ends the program.
    fensterSchliessen,
    widerrufen,
    wiederholen,
    ausschneiden,
    kopieren,
    einsetzen,
    allesAuswaehlen,
};

/// A line between groups of items.
struct Trennstrich {};

struct Menuepunkt {
    std::string titel;
    std::string
        taste; ///< One character, pressed with Control, a capital letter with Shift as well; empty for none.
    std::variant<Trennstrich, Standardbefehl, std::function<void()>> wirkung;
};

/// One menu of the menu bar, in its order.
struct Menue {
    std::string titel;
    std::vector<Menuepunkt> punkte;
};

} // namespace quillmate::ports
