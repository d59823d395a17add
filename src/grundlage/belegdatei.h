#pragma once

#include "datei.h"
#include "ergebnis.h"
#include "pruefsumme.h"

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// One file that is opened once and stays the same one from its judgement to its upload. Asked by path, each look
/// could meet another file: an editor saves, a synchronisation exchanges, or somebody wants exactly that.
namespace quillmate {

/// What tells one version of one file from every other, as fstat(2) has it.
struct Dateistand {
    std::uint64_t geraet{0};
    std::uint64_t inode{0};
    std::int64_t groesse{0}; ///< Bytes.
    std::int64_t geaendert{
        0};                  ///< Last change of the content, in nanoseconds since 1970; wraps for odd years.
    std::int64_t zustand{0}; ///< Last change of the inode, likewise. No program can set it back.

    [[nodiscard]] static Dateistand aus(struct stat const& lage) noexcept;
    [[nodiscard]] bool selbeDatei(Dateistand const& andere) const noexcept {
        return geraet == andere.geraet && inode == andere.inode;
    }
    friend bool operator==(Dateistand const&, Dateistand const&) = default;
};

/// Asked now and then while a large file is read; true ends the reading with Fehlerart::gestoppt.
using Abbruchfrage = std::function<bool()>;

/// An open regular file with the state that it was opened in.
/// Threads: one at a time per object.
/// Errors: a failure says by its kind whether it says anything about the file (Fehler::sagtEtwasUeberDieSache).
class Belegdatei {
public:
    /// Errors: nichtGefunden, nichtErlaubt, falscheForm (no regular file), keineMittel, gestoert.
    [[nodiscard]] static Ergebnis<Belegdatei> oeffnen(std::string pfad);

    [[nodiscard]] std::string const& pfad() const noexcept { return pfad_; }
    /// For readers: at the beginning of the file. -1 after schliessen().
    [[nodiscard]] int deskriptor() const noexcept;
    /// When it was opened, or last taken over by standErneuern().
    [[nodiscard]] Dateistand const& stand() const noexcept { return stand_; }

    /// Whether the open file is still in the state of stand(): size, both times, and a name that leads to it.
    [[nodiscard]] Ergebnis<bool> unveraendert() const;
    /// Takes over the file's present state, so that what is read from now on is judged by it. Forgets the digest.
    [[nodiscard]] Ergebnis<void> standErneuern();

    /// Lower-case hexadecimal SHA-256 of the bytes; read once, kept for as long as the state is.
    /// Errors: zuGross (more than `hoechstens` bytes), gestoppt, gestoert.
    [[nodiscard]] Ergebnis<std::string> pruefsumme(
        std::uint64_t hoechstens, Abbruchfrage const& abbrechen = {});
    /// A digest that was computed earlier for this state of this file; ignored for another one.
    void pruefsummeBekannt(Dateistand const& stand, std::string pruefsumme);

    /// All bytes between `vorspann` and `nachspann`, in one buffer.
    /// Errors: zuGross, keineMittel, gestoppt, gestoert.
    [[nodiscard]] Ergebnis<std::string> inhalt(
        std::uint64_t hoechstens, std::string_view vorspann = {}, std::string_view nachspann = {},
        Abbruchfrage const& abbrechen = {}) const;

    /// Copies the bytes into memory and goes on with the copy: for files whose disk may stop to answer. From then on
    /// deskriptor() and all reading mean the copy, and unveraendert() holds. False when the file is not in the state of
    /// stand() afterwards; then it is as before. Errors: as inhalt().
    [[nodiscard]] Ergebnis<bool> abbilden(std::uint64_t hoechstens, Abbruchfrage const& abbrechen = {});

    /// Gives the descriptor back, and the copy; state and digest stay.
    void schliessen() noexcept {
        deskriptor_ = {};
        abbild_ = false;
    }
    [[nodiscard]] bool abgebildet() const noexcept { return abbild_; }
    [[nodiscard]] bool offen() const noexcept { return static_cast<bool>(deskriptor_); }
    /// Opens the file again if it was closed. Errors: as oeffnen(), and gestoert when the path leads to another file
    /// now or to another state of this one.
    [[nodiscard]] Ergebnis<void> wiederOeffnen();

private:
    Belegdatei(std::string pfad, Deskriptor deskriptor, Dateistand const& stand) noexcept;

    std::string pfad_;
    Deskriptor deskriptor_;
    Dateistand stand_;
    std::optional<std::string> pruefsumme_;
    bool abbild_{false}; ///< deskriptor_ is a copy of the bytes of stand_.
};

} // namespace quillmate
