#pragma once

#include <optional>
#include <string_view>
#include <vector>

/// The menu bar as data; the toolkit's menus are built from it.
/// Threads: any.
namespace quillmate::app::menue {

enum class Befehl {
    ueber,             ///< The About dialog.
    nachUpdatesSuchen, ///< Check for updates, at once.
    ausblenden,        ///< Hide the program's windows.
    beenden,           ///< End the program.
    neuLaden,
    zurueck,
    vorwaerts,
    drucken,
    fensterSchliessen, ///< Close the window that has the keyboard.
    widerrufen,
    wiederholen,
    ausschneiden,
    kopieren,
    einsetzen,
    allesAuswaehlen,
};

/// Who carries a command out.
enum class Ziel {
    aktualisierer,
    haupt,           ///< The main window, whichever has the keyboard.
    ersterEmpfaenger ///< What has the keyboard: the focused widget, its window, or the program.
};

/// Held with Control. An upper-case letter is pressed with Shift.
struct Taste {
    char zeichen;
    [[nodiscard]] bool umschalt() const noexcept { return zeichen >= 'A' && zeichen <= 'Z'; }
    friend bool operator==(Taste, Taste) = default;
};

struct Eintrag {
    std::string_view titel;
    Befehl befehl;
    std::optional<Taste> taste;
    Ziel ziel;
};

/// Entries between two separators.
using Abschnitt = std::vector<Eintrag>;

struct Untermenue {
    std::string_view titel; ///< Empty for the application menu, which bears the program's name.
    std::vector<Abschnitt> abschnitte;
};

/// The menus from left to right.
[[nodiscard]] std::vector<Untermenue> const& menueleiste();

} // namespace quillmate::app::menue
