#pragma once

#include "grundlage/belegdatei.h"
#include "offene_orte.h"
#include "ordner/fund.h"

#include <chrono>
#include <functional>
#include <utility>

namespace quillmate::MacScan {

/// Opens and reads the candidates' files. On a disk of this machine directly. What lies on a share whose server may be
/// gone, or on whatever is mounted below a place, is copied into memory on a thread of its own, so that who reads, judges
/// and sends it asks nobody any more. Where nothing comes that thread is left behind: the file is not readable now, and so
/// are all others there, without a wait for each.
/// Threads: any number at once. Ownership: borrows the places.
class Dateizugriff {
public:
    /// `frist`: how long a share may give no sign of life. `mussEnden` is asked on the threads that call.
    Dateizugriff(OffeneOrte const& orte, std::chrono::milliseconds frist, std::function<bool()> mussEnden)
        : orte_(orte)
        , frist_(frist)
        , mussEnden_(std::move(mussEnden)) {}

    /// Errors: those of Suchorte::oeffnen(), zeitAbgelaufen (the share does not answer), gestoppt.
    [[nodiscard]] Ergebnis<Belegdatei> oeffnen(Ordner::Fund const& fund) const;
    /// Whether what was read is one state of the file. Gives up the copy of one on a share.
    [[nodiscard]] Ergebnis<bool> unveraendertGeblieben(Ordner::Fund const& fund, Belegdatei& datei) const;
    /// Whether the path still leads to this file in this state; opens it again if need be.
    [[nodiscard]] Ergebnis<bool> zumSenden(Ordner::Fund const& fund, Belegdatei& datei) const;

private:
    [[nodiscard]] bool oertlich(Ordner::Fund const& fund) const;
    /// `arbeit(datei, abbrechen)` on the file, on a thread that may be left behind; then the file is lost.
    [[nodiscard]] Ergebnis<bool> dort(
        Ordner::Fund const& fund, Belegdatei& datei,
        std::function<Ergebnis<bool>(Belegdatei&, Abbruchfrage const&)> arbeit) const;
    [[nodiscard]] Fehler keineAntwort(Ordner::Fund const& fund) const;

    OffeneOrte const& orte_;
    std::chrono::milliseconds const frist_;
    std::function<bool()> const mussEnden_;
};

} // namespace quillmate::MacScan
