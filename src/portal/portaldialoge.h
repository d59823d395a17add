#pragma once

#include "ports/dialoge.h"
#include "ports/programmfenster.h"

#include <functional>
#include <optional>
#include <string>

namespace quillmate::portal {

/// The dialogs that a portal's page asks for. Each names the portal's host, so that no page speaks in the program's name,
/// and from the second one of a page on has a button that closes the portal: a page that asks without end can be left with
/// one click.
/// Threads: main thread.
/// Ownership: borrows `dialoge`. `schliessen` closes the portal's window.
class Portaldialoge {
public:
    Portaldialoge(ports::Dialoge& dialoge, std::function<void()> schliessen);

    /// Who asks, and over which window. `wirt` as it is shown to people; may be empty.
    struct Frager {
        ports::Programmfenster& fenster;
        std::string wirt;
    };
    void hinweis(Frager const& wer, std::string const& text, std::function<void()> fertig);
    void bestaetigung(Frager const& wer, std::string const& text, std::function<void(bool)> antwort);
    void eingabe(
        Frager const& wer, std::string const& text, std::string const& vorgabe,
        std::function<void(std::optional<std::string>)> antwort);
    /// Another document is shown: what it asks is counted from the beginning.
    void neueSeite() { gefragt_ = 0; }

private:
    [[nodiscard]] ports::Frage frage(
        Frager const& wer, char const* tut, std::string const& text, std::vector<std::string> knoepfe);

    ports::Dialoge& dialoge_;
    std::function<void()> const schliessen_;
    int gefragt_{0};
};

} // namespace quillmate::portal
