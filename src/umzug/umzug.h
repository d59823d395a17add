#pragma once

#include "lage.h"
#include "ports/dateiwerk.h"
#include "ports/dialoge.h"
#include "ports/hauptschleife.h"
#include "ports/menueeintrag.h"
#include "ports/neustart.h"
#include "ports/voreinstellungen.h"

#include <optional>
#include <string>

namespace quillmate::Umzug {

/// Set right before the relaunch; the next start removes it and confirms the move.
inline constexpr char const* schluesselGeradeUmgezogen = "quillmate.umzug.geradeUmgezogen";
/// Written by earlier versions. The offer is always made again, so every start removes it.
inline constexpr char const* schluesselNichtMehrFragen = "quillmate.umzug.nichtMehrFragen";

/// What became of copying.
struct Kopie {
    std::string ziel; ///< The bundle in the Applications folder.
    ports::Hindernis hindernis;
};

/// Moves the program into the Applications folder: asks, copies, cleans up, relaunches from there, and confirms
/// after the relaunch. However it ends, also killed at any step, a whole bundle is left to start.
/// Threads: main thread; copying blocks it.
/// Ownership: borrows its ports.
class Umzieher {
public:
    struct Hilfen {
        ports::Buendelkunde& buendelkunde;
        ports::Dateiwerk& dateiwerk;
        ports::Dialoge& dialoge;
        ports::Voreinstellungen& voreinstellungen;
        ports::Menueeintrag& menueeintrag;
        ports::Neustart& neustart;
        ports::Hauptschleife& hauptschleife;
    };

    Umzieher(Hilfen hilfen, Ordner ordner);

    /// Assesses the running bundle.
    [[nodiscard]] Lage lage() const;
    /// At start, before any window: offers the move where it is needed. True when a relaunch is under way; the
    /// caller then builds no window.
    [[nodiscard]] bool pruefenUndAnbieten();
    /// Moves and relaunches without asking. True when the relaunch has been started, also by an earlier call, which
    /// is not repeated; otherwise the user has been told why not.
    bool ausfuehren(Lage const& lage);
    /// Says once, after a relaunch from the new place, that the move has worked: as a sheet of `fenster`, without
    /// window as a dialog that is waited for.
    void bestaetigenFallsUmgezogen(ports::Programmfenster* fenster);

    /// A copy of the program that lies in an Applications folder and is at least as new as the bundle at `neben`.
    [[nodiscard]] std::optional<std::string> vorhandeneFassung(std::string const& neben) const;
    /// Copies the bundle that `lage` is about into an Applications folder.
    [[nodiscard]] Kopie kopieren(Lage const& lage);
    /// Puts the old copy into the trash where that is safe. The volume to eject, or nothing.
    [[nodiscard]] std::optional<std::string> aufraeumen(std::string const& ziel, Lage const& lage);
    /// Starts the bundle at `ziel` after the end of this process, which is ended at once.
    void neuStarten(std::string const& ziel, std::optional<std::string> const& auswerfen);

private:
    [[nodiscard]] std::string eigenerProgrammordner() const;

    Hilfen const hilfen_;
    Ordner const ordner_;
    bool neustartLaeuft_{false};
};

} // namespace quillmate::Umzug
