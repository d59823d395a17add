#pragma once

#include "grundlage/adresse.h"
#include "grundlage/json.h"
#include "macscan/suche.h"
#include "ordner/merkliste.h"
#include "ports/aktualisierer.h"
#include "ports/arbeitsfaden.h"
#include "ports/hauptschleife.h"
#include "ports/ordnertafel.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace quillmate::bruecke {

/// A page asks for the window of a vendor's portal.
struct Portalanfrage {
    std::string kennung;
    std::int64_t clientId{0};
    std::string token;
    std::optional<std::string> name;           ///< Of a portal that the user entered.
    std::optional<std::int64_t> transactionId; ///< The booking that receipts shall be attached to.
};

/// Opens a portal and answers at once. May run the main loop (a question for an address).
using PortalOeffnen = std::function<Json(Portalanfrage const&)>;

/// Where the program lies now.
struct Umzugslage {
    std::string ort; ///< "programme", "downloads", "dmg" or "anderswo".
    bool umzugNoetig{false};
    /// Moves the program, going by this very assessment. Set when `umzugNoetig`.
    std::function<void()> ausfuehren{};
};

/// What the bridge works with. Borrowed: everything must outlive the Bruecke, the main loop also the `suche`, whose
/// threads still send their last messages through it.
struct Brueckenumgebung {
    ports::Hauptschleife& schleife;
    ports::Ordnertafel& ordnertafel;
    ports::Arbeitsfaden& arbeitsfaden;
    ports::Aktualisierer* aktualisierer; ///< May be missing.
    Ordner::Merkliste& merkliste;
    MacScan::Suche& suche;
    std::function<Umzugslage()> umzugLage;
    Adresse start; ///< The start page: pages of its host and port may speak to the bridge.
};

} // namespace quillmate::bruecke
