#pragma once

#include "buendel.h"
#include "dateiwerk.h"
#include "grundlage/ergebnis.h"

#include <optional>
#include <string>

namespace quillmate::ports {

/// Why a bundle cannot be replaced.
struct Einbauhindernis {
    enum class Art {
        paketverwaltung,   ///< It belongs to a package manager.
        nichtBeschreibbar, ///< The user may not change it.
        andereSchreiben,   ///< Others may change it too, and could put in something else.
        ortUnbekannt,      ///< What the folders are like cannot be found out.
    };
    Art art;
    std::string ordner; ///< Path of the folder that it is about.
};

/// Port: putting a new version in the place of the running bundle. The steps, in this order:
///   baustelle()   an empty folder beside the bundle, to unpack into
///   bereiten()    what is in it reaches the disk
///   einbauenNachEnde()  once this process has ended, a helper exchanges both in one step, starts the new version and
///                 keeps the old one until it has started; if it does not, the old one comes back and is started
///   bestaetigen() called by the new version: it has started
/// Wherever this is interrupted, a whole bundle is at the bundle's path.
/// Threads: any; every operation blocks.
class Einbau {
public:
    virtual ~Einbau() = default;
    /// Why the bundle cannot be replaced; nothing when it can.
    [[nodiscard]] virtual std::optional<Einbauhindernis> hindernis(std::string const& buendel) = 0;
    /// Path of the empty folder; whatever was left there is removed.
    [[nodiscard]] virtual Ergebnis<std::string> baustelle(std::string const& buendel) = 0;
    [[nodiscard]] virtual Hindernis bereiten(std::string const& buendel) = 0;
    /// Returns at once. Fails when the helper could not be started; then nothing will happen.
    [[nodiscard]] virtual Ergebnis<void> einbauenNachEnde(std::string const& buendel) = 0;
    /// Removes the folder to unpack into.
    virtual void verwerfen(std::string const& buendel) = 0;
    /// For the version that runs now: it has started. Harmless when it was not put in just now.
    virtual void bestaetigen(std::string const& buendel) = 0;
};

} // namespace quillmate::ports
