#pragma once

#include "dienst/antworten.h"
#include "grundlage/belegdatei.h"
#include "ordner/fund.h"
#include "ordner/suchorte.h"
#include "suche.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace quillmate::MacScan {

/// What all steps of one full scan work with. Borrowed for the length of the run; copied into nothing that outlives it.
struct Lauf {
    Umgebung const& umgebung;
    SuchStand& stand;
    StoppWaechter& stoppWaechter;
    Scanauftrag const& auftrag;
    Melder const& melden;

    [[nodiscard]] bool gestoppt() const { return stoppWaechter.gestoppt(auftrag.zugang); }
};

/// What the service has already. Shared with looks through places, which may outlive the run.
struct Bekanntes {
    std::shared_ptr<dienst::GesehenePfade const> gesehen{std::make_shared<dienst::GesehenePfade>()};
    std::shared_ptr<dienst::Textmenge const> hashes{std::make_shared<dienst::Textmenge>()};
    bool fehlt{false}; ///< A list did not come, which is not the same as an empty one.
};

/// A digest that was computed to ask whether the service has the file, and the state of the file that it is of.
struct Vergleich {
    Dateistand stand;
    std::string pruefsumme;
};
using Vergleiche = std::unordered_map<std::string, Vergleich>; ///< By path.

/// What the steps before the reading phase have gathered; constant from then on.
struct Kandidaten {
    std::vector<Ordner::Fund> funde;
    std::shared_ptr<Ordner::Suchorte const> orte{std::make_shared<Ordner::Suchorte>()};
    Vergleiche verglichen; ///< Of finds that the service does not have in this state.
};

/// Whether the run goes on.
enum class Weiter { ja, nein };

} // namespace quillmate::MacScan
