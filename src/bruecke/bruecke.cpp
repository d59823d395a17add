// From top to bottom: coming and going, the checks, the log of strangers.
#include "bruecke.h"

#include "grundlage/protokoll.h"
#include "grundlage/text.h"

#include <fmt/format.h>

#include <exception>
#include <utility>

namespace quillmate::bruecke {

namespace {

/// Characters of a foreign name in a log line.
constexpr std::size_t hoechstensImProtokoll = 200;
/// Origins that the log names while one document is shown: a page can open windows of any.
constexpr std::size_t hoechstensFremde = 20;

} // namespace

Bruecke::Bruecke(std::weak_ptr<ports::Webansicht> web, PortalOeffnen portalOeffnen, Brueckenumgebung umgebung)
    : web_(std::move(web))
    , stand_{.umgebung = std::move(umgebung), .portalOeffnen = std::move(portalOeffnen)} {}

Bruecke::~Bruecke() = default;

ports::Nutzerskript Bruecke::einspielung(Programmangaben const& angaben) {
    return {.quelltext = einspielungsskript(angaben), .nurHauptrahmen = true};
}

void Bruecke::empfangen(std::string_view json, ports::Absender const& absender) {
    if (!darfSprechen(absender, stand_.umgebung.start)) {
        fremdeMelden(absender);
        return;
    }
    auto const nachricht = entschluesseln(json);
    if (!nachricht) {
        protokoll("Bruecke: unverständliche Nachricht abgewiesen");
        return;
    }
    // Also for what outlives this bridge: an action may run the main loop (a panel), and the loop may end the window.
    Antwortweg const weg{stand_.umgebung.schleife, web_, stand_.lebt, absender.nummer, nachricht->id};
    auto const* const aktion = aktionNamens(nachricht->aktion);
    if (!aktion) {
        protokoll(fmt::format(
            "Bruecke: Aktion '{}' ist nicht erlaubt - abgewiesen",
            einzeilig(nachricht->aktion, hoechstensImProtokoll)));
        weg.antworteFehler("unbekannte Aktion");
        return;
    }
    if (!vollstaendig(*aktion, nachricht->argumente)) {
        weg.antworteFehler(aktion->ablehnung);
        return;
    }
    try {
        aktion->handlung(
            {.stand = stand_,
             .umgebung = stand_.umgebung,
             .argumente = nachricht->argumente,
             .weg = weg,
             .ablehnung = aktion->ablehnung});
    } catch (std::exception const& fehler) { // out of memory, out of threads
        protokoll(fmt::format("Bruecke: Aktion '{}' abgebrochen: {}", aktion->name, fehler.what()));
        weg.antworteFehler("Die Aktion ist unerwartet abgebrochen.");
    }
}

void Bruecke::fremdeMelden(ports::Absender const& absender) {
    if (std::exchange(fremdeVon_, absender.nummer) != absender.nummer)
        fremde_.clear();
    auto const ursprung = einzeilig(absender.ursprung, hoechstensImProtokoll);
    if (fremde_.size() < hoechstensFremde && fremde_.insert(ursprung).second)
        protokoll(fmt::format("Bruecke: Nachrichten von {} werden nicht beachtet", ursprung));
}

} // namespace quillmate::bruecke
