#pragma once

#include "portalziel.h"
#include "ports/adressdialog.h"
#include "ports/voreinstellungen.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::portal {

/// Asks the user for the address of a portal, checks it and remembers it.
/// Threads: main thread; the static functions any.
/// Ownership: borrows its ports, which must outlive it.
class PortalAdresse {
public:
    PortalAdresse(ports::Voreinstellungen& voreinstellungen, ports::Adressdialog& dialog);

    /// The https address that the user means, or nothing. "https://" may be left out; a user name, a password, a
    /// control character or another scheme are refused. A host or path in letters beyond ASCII is taken to the form
    /// that addresses have (IDNA, percent escapes).
    [[nodiscard]] static std::optional<Adresse> normalisieren(std::string_view text);
    /// Those of `adressen` that begin with what was typed, "https://" and "www." left out or not, whatever the case.
    /// All of them for an empty text.
    [[nodiscard]] static std::vector<std::string> passende(
        std::vector<std::string> const& adressen, std::string_view text);

    /// The remembered addresses, newest first, in normalised form; what is no good address is left out.
    [[nodiscard]] std::vector<std::string> verlauf();
    /// Puts the address in front of the history. The oldest beyond `hoechstensGemerkt` drop out.
    void merken(Adresse const& adresse);
    /// Takes an address out of the history, if it is in it.
    void vergessen(std::string const& adresse);
    /// Asks in a dialog and returns when it has closed; the main loop runs meanwhile. The portal, or nothing when the
    /// user cancels. `name`: what the page calls the portal. While a dialog is open another call gives nothing at
    /// once: a page cannot pile dialogs up.
    [[nodiscard]] std::optional<PortalZiel> auswaehlen(std::optional<std::string> const& name);

    static constexpr char const* schluessel = "QuillmatePortalVerlaufV1";
    static constexpr std::size_t hoechstensGemerkt = 25;

private:
    ports::Voreinstellungen& voreinstellungen_;
    ports::Adressdialog& dialog_;
    bool offen_{false}; ///< Whether a dialog is open.
};

} // namespace quillmate::portal
