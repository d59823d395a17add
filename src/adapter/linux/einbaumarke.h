#pragma once

#include "grundlage/datei.h"
#include "grundlage/ergebnis.h"

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

/// What is known of an update that is being put in, kept where only this user writes. Whatever lies beside a bundle may
/// be anybody's and steers nothing.
/// Threads: any; every operation blocks.
namespace quillmate::adapter::linux {

/// A folder at one moment: what stays with it when it is renamed.
struct Ordnerausweis {
    std::uint64_t geraet{0};
    std::uint64_t inode{0};
    std::uint64_t geburt{
        0}; ///< Nanoseconds; 0 where the file system does not know. Numbers of inodes are used again.
    friend bool operator==(Ordnerausweis const&, Ordnerausweis const&) = default;
};

/// Of the folder at the path itself, not of one that a link there leads to, and only of this user's.
[[nodiscard]] std::optional<Ordnerausweis> ausweisVon(std::string const& ordner);

/// One update of one bundle.
struct Einbaumarke {
    enum class Stand {
        bereit,   ///< Prepared beside the bundle; nothing has been exchanged.
        probe,    ///< To be exchanged, or exchanged and on trial.
        begonnen, ///< On trial, and a start that nobody watched has begun.
        zurueck,  ///< Being taken back, or taken back and not told yet.
    };
    Stand stand{Stand::bereit};
    std::string buendel; ///< Path.
    Ordnerausweis altes; ///< The version before.
    Ordnerausweis neues;
    std::string altesBuild; ///< CFBundleVersion
    std::string neuesBuild;

    friend bool operator==(Einbaumarke const&, Einbaumarke const&) = default;
};

/// The place of the mark of one bundle.
class Markenplatz {
public:
    /// `zustand`: the folder for it, made with mode 0700 where it is missing.
    Markenplatz(std::string zustand, std::string buendel);

    /// The mark, if there is one of this bundle. One that cannot be understood is none.
    [[nodiscard]] std::optional<Einbaumarke> lesen() const;
    /// On the disk on return. Fails where the folder is not this user's alone or takes no file.
    [[nodiscard]] Ergebnis<void> schreiben(Einbaumarke const& marke) const;
    /// True when there is none on return.
    bool entfernen() const;
    [[nodiscard]] bool vorhanden() const;
    /// The one who holds it puts versions in or watches them. Ends with the process.
    /// Errors: keineMittel when somebody else holds it; otherwise why there is no lock.
    [[nodiscard]] Ergebnis<Deskriptor> sperren() const;
    /// Path of the mark's file.
    [[nodiscard]] std::string const& datei() const { return datei_; }

private:
    std::string const zustand_;
    std::string const buendel_;
    std::string const datei_;
};

/// Where the marks of a program of this identifier are kept.
[[nodiscard]] std::string markenordner(std::string const& buendelkennung);

} // namespace quillmate::adapter::linux
