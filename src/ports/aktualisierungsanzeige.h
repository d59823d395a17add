#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace quillmate::ports {

/// Port: the one window in which updates are talked about. It shows one thing at a time; a call replaces what the one
/// before showed, and callbacks of what has been replaced are never called.
/// Threads: main thread.
class Aktualisierungsanzeige {
public:
    enum class Wahl {
        installieren,  ///< "Installieren und neu starten"
        spaeter,       ///< "Später"; closing the window is the same.
        ueberspringen, ///< "Diese Fassung überspringen"
    };
    struct Neues {
        std::string meldung;    ///< The bold first line.
        std::string erklaerung; ///< Which version there is and which one runs.
        std::string notizen;    ///< Release notes, plain text with line feeds; may be long or empty.
    };

    virtual ~Aktualisierungsanzeige() = default;
    /// Something takes a while that cannot be measured; "Abbrechen" and closing the window call `abbrechen`.
    virtual void beschaeftigt(std::string const& meldung, std::function<void()> abbrechen) = 0;
    /// Exactly one answer.
    virtual void anbieten(Neues const& neues, std::function<void(Wahl)> antwort) = 0;
    /// As beschaeftigt(), with a bar. Called again and again; `meldung` and `abbrechen` stay those of the first call.
    virtual void fortschritt(
        std::string const& meldung, std::uint64_t erledigt, std::uint64_t gesamt,
        std::function<void()> abbrechen) = 0;
    /// Something to read, with the one button "OK".
    virtual void mitteilen(std::string const& meldung, std::string const& erklaerung) = 0;
    /// Brings the window to the front, if there is one.
    virtual void nachVorn() = 0;
    virtual void schliessen() = 0;
};

} // namespace quillmate::ports
