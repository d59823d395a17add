#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// How a program becomes the user's handler of an address scheme, by files alone: a desktop entry (freedesktop.org) in
/// the user's applications folder, and the default in mimeapps.list (MIME Applications Associations).
/// Both are written only where something is missing or wrong, atomically, and everything else in mimeapps.list stays
/// as it is, whoever wrote it. A bundle has one entry: where a package brought one that leads to the running program, the
/// user's own goes. An entry whose program is gone counts for nothing (TryExec).
/// Threads: any, one at a time.
namespace quillmate::adapter::linux {

/// What is registered.
struct Schemaeintrag {
    std::string schema;   ///< "quillmate"
    std::string kennung;  ///< Bundle identifier: names the desktop entry.
    std::string name;     ///< As menus show it.
    std::string programm; ///< Absolute path of the executable; takes the address as its argument.
};

/// Where it is registered.
struct Anwendungsordner {
    std::string daten;                      ///< The user's own, $XDG_DATA_HOME.
    std::string konfiguration;              ///< $XDG_CONFIG_HOME
    std::vector<std::string> systemdaten{}; ///< $XDG_DATA_DIRS: where packages put their entries.
    std::vector<std::string>
        desktops{}; ///< $XDG_CURRENT_DESKTOP in lower case: these have lists of their own.

    /// From the environment.
    [[nodiscard]] static Anwendungsordner desBenutzers();
};

class Schemahandler {
public:
    Schemahandler(Schemaeintrag eintrag, Anwendungsordner ordner);

    /// Makes addresses of the scheme come to this program; writes only what is not so yet. False when that cannot be
    /// done, which is logged.
    [[nodiscard]] bool sicherstellen();
    /// For the start of the program: leads an entry that an earlier run left behind to where the program lies now, or
    /// removes it where a package's does that, and does nothing when there is none.
    void auffrischen();

private:
    [[nodiscard]] std::string eintragsdatei() const;
    [[nodiscard]] bool vomPaketGestellt() const;
    [[nodiscard]] bool schreibeEintrag(std::string const& inhalt) const;
    void entferneEintrag() const;
    [[nodiscard]] bool stelleStandard() const;

    Schemaeintrag const eintrag_;
    Anwendungsordner const ordner_;
};

/// The desktop entry's text. Nothing for a program whose path an entry cannot name (not UTF-8, not absolute).
[[nodiscard]] std::optional<std::string> desktopEintrag(Schemaeintrag const& eintrag);
/// A program and its argument "%u" as the value of the key Exec, with all quoting.
[[nodiscard]] std::string execZeile(std::string_view programm);
/// mimeapps.list with `kennung`.desktop as the first program for `mimetyp`. The same text when it is so already.
[[nodiscard]] std::string mitStandard(
    std::string_view mimeapps, std::string_view mimetyp, std::string_view desktopdatei);

} // namespace quillmate::adapter::linux
