#pragma once

#include "grundlage/adresse.h"
#include "ports/anmeldesitzung.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quillmate::anmeldung {

/// Sign-in and bank connection: two steps of the web application that run in the user's browser and come back by an
/// address of our own, which becomes a request of the main web view.
/// Threads: main thread.
/// Ownership: borrows the Anmeldewerk, which must outlive it. A completion that comes after the end of this object, or
/// after another flow has taken its place, does nothing.
class Anmeldung {
public:
    struct Umgebung {
        ports::Anmeldewerk& werk;
        Adresse start;                                         ///< The service's start page.
        std::function<void(std::string const& adresse)> laden; ///< Into the main web view, within 60 seconds.
    };
    explicit Anmeldung(Umgebung umgebung);

    /// Both take the address that the page tried to load, as the engine writes it. A flow that runs is replaced.
    void anmeldenMitGoogle(std::string const& adresse);
    void bankVerbinden(std::string const& adresse);

    /// Redeems a sign-in callback in the main web view. Untrusted input.
    void einloesen(std::string const& rueckweg);
    /// Shows the bank page with what a bank callback says. Untrusted input.
    void bankRueckweg(std::string const& rueckweg);

    /// Whether a session is held.
    [[nodiscard]] bool laeuft() const noexcept { return anmeldung_ != nullptr; }

private:
    struct Weg; // what differs between the two flows
    void beginnen(Weg const& weg, std::string const& adresse);

    Umgebung const umgebung_;
    std::shared_ptr<ports::Anmeldesitzung> anmeldung_;
    std::shared_ptr<int> lauf_{
        std::make_shared<int>(0)}; ///< Number of the flow begun last; gone with this object.
};

/// The start address of a flow: with "app=1" behind its query, for `eindeutig` in place of every item of that name.
/// Nothing when no address comes of it.
[[nodiscard]] std::optional<std::string> mitAppKennzeichen(std::string const& adresse, bool eindeutig);

} // namespace quillmate::anmeldung
