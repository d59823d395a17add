#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace quillmate::ports {

/// What the dialog for a web address says and offers.
struct Adressfrage {
    std::string meldung;      ///< The bold first line.
    std::string erklaerung;   ///< Below it.
    std::string beanstandung; ///< Takes the place of `erklaerung` once an address was not accepted.
    std::string beschriftung; ///< Label above the field; wraps. It also names the field for screen readers.
    std::string platzhalter;  ///< Shown in the empty field.
    std::string oeffnen;      ///< The default button, pressed by Return in the field too.
    std::string abbrechen;    ///< The other button, pressed by Escape too.
    std::vector<std::string> bisherige; ///< Offered below the empty field, newest first; may be empty.
    /// What to offer instead for the text typed so far, best first. Called on the main thread.
    std::function<std::vector<std::string>(std::string const& text)> passende;
    /// Takes one of `bisherige` out of what is remembered. Without it none can be taken out.
    std::function<void(std::string const& adresse)> entfernen{};
    /// Whether the address is good. Asked when `oeffnen` is pressed. When it is not, the dialog stays, looks like a
    /// warning, says `beanstandung`, and gives the field the keyboard with its text selected.
    std::function<bool(std::string const& text)> annehmbar;
};

/// Port: asks for a web address: a modal dialog over the program's front window, with a label and an editable field with
/// a list (some 430 by 82 points together: the label up to 42 high, the field below it). The field has the keyboard when
/// the dialog opens.
/// Threads: main thread.
class Adressdialog {
public:
    virtual ~Adressdialog() = default;
    /// Returns when the dialog has closed and runs the main loop meanwhile: the field's text when it was accepted, nothing
    /// when the user cancelled or the program ends.
    [[nodiscard]] virtual std::optional<std::string> fragen(Adressfrage const& frage) = 0;
};

} // namespace quillmate::ports
