#pragma once

#include "dienst/antworten.h"
#include "grundlage/belegdatei.h"
#include "offene_orte.h"
#include "ordner/fund.h"
#include "suche.h"

#include <algorithm>
#include <chrono>
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
    /// Whether what was under way when a stop came has to end now. Asks nobody.
    [[nodiscard]] bool mussEnden() const { return auftrag.zugang.abbrechen && auftrag.zugang.abbrechen(); }
    /// For the calls that close the run, from `beginn` on; a stop must not end them at once, but soon.
    [[nodiscard]] dienst::Zugang schlusszugang(std::chrono::steady_clock::time_point beginn) const {
        auto zugang = auftrag.zugang;
        zugang.abbrechen = [&waechter = stoppWaechter, beginn] {
            auto const seit = waechter.gestopptSeit();
            return seit &&
                   std::chrono::steady_clock::now() - std::max(*seit, beginn) > schlussmeldungNachStopp;
        };
        return zugang;
    }
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
    OffeneOrte orte;
    Vergleiche verglichen; ///< Of finds that the service does not have in this state.
};

/// Whether the run goes on.
enum class Weiter { ja, nein };

} // namespace quillmate::MacScan
