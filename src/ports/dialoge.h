#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace quillmate::ports {

class Programmfenster;

/// What a dialog says and offers.
struct Frage {
    std::string meldung;              ///< The bold first line.
    std::string erklaerung;           ///< May be empty.
    std::vector<std::string> knoepfe; ///< The first is the action. Escape presses the last.
    bool warnung{false};              ///< Shown as a warning.
    std::size_t vorgabe{0};           ///< Another default button: what Return presses.
    std::string haken;                ///< Label of a check box below the text; empty for none.
    /// One more button, which does something besides: the answer is then that of the last one of `knoepfe`.
    struct Zusatzknopf {
        std::string titel;
        std::function<void()> gedrueckt; ///< Called after the answer.
    };
    std::optional<Zusatzknopf> zusatz{};
};

/// What the user answered.
struct Antwort {
    std::size_t knopf{0}; ///< Index into Frage::knoepfe.
    bool haken{false};    ///< Whether the check box was set.
};

/// What a page's file input asks for.
struct Dateiwahl {
    bool ordner{false};                  ///< Folders and no files; otherwise files and no folders.
    bool mehrere{false};                 ///< More than one.
    std::vector<std::string> mimetypen;  ///< Types to offer ("application/pdf", "image/*").
    std::vector<std::string> endungen{}; ///< Extensions to offer besides (".pdf"). Both empty: all files.
    Programmfenster* ueber{
        nullptr}; ///< The panel stays in front of this window; null for the program's front one.
};

/// Name and password.
struct Zugangsdaten {
    std::string name;
    std::string kennwort;
};

/// Port: native dialogs and panels.
/// Threads: main thread. Answers come on the main thread, exactly once each, also when the window closes meanwhile
/// (then as the last button, or as cancelled).
class Dialoge {
public:
    virtual ~Dialoge() = default;
    /// Shows the question as a sheet of `fenster` and returns at once.
    virtual void fragen(
        Programmfenster& fenster, Frage const& frage, std::function<void(Antwort)> antwort) = 0;
    /// The same without a window, and returns when it is answered. Runs the main loop meanwhile. The last button
    /// when the program ends.
    [[nodiscard]] virtual Antwort fragenUndWarten(Frage const& frage) = 0;
    /// A sheet with a text field, filled with `vorgabe`. The field's text when the first button was pressed.
    virtual void eingeben(
        Programmfenster& fenster, Frage const& frage, std::string const& vorgabe,
        std::function<void(std::optional<std::string>)> antwort) = 0;
    /// A sheet with fields for name and password. Nothing unless the first button was pressed.
    virtual void zugang(
        Programmfenster& fenster, Frage const& frage,
        std::function<void(std::optional<Zugangsdaten>)> antwort) = 0;
    /// A free-standing panel. Absolute paths; nothing when cancelled.
    virtual void dateienWaehlen(
        Dateiwahl const& wahl, std::function<void(std::optional<std::vector<std::string>>)> antwort) = 0;
};

} // namespace quillmate::ports
