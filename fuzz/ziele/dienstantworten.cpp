#include "dienst/antworten.h"
#include "grundlage/text.h"
#include "macscan/datum.h"
#include "portal/belegversand.h"
#include "ziel.h"

#include <initializer_list>
#include <optional>

using namespace quillmate;

namespace {

/// The answer to the portal's upload, with each kind of status.
void belegantwort(std::string_view text) {
    for (std::optional<int> const status :
         std::initializer_list<std::optional<int>>{{}, 200, 299, 302, 402, 500})
        for (bool const mitBuchung : {false, true}) {
            auto const meldung =
                portal::belegausgang({.status = status, .fehler = "keine Verbindung"}, text, mitBuchung);
            bool const erfolg = status && *status <= 299;
            VERSPROCHEN(
                meldung.status == portal::Portalstatus::fehler ||
                (erfolg && meldung.status == portal::Portalstatus::importiert));
            VERSPROCHEN(alsUtf8(meldung.nachricht) == meldung.nachricht);
        }
}

} // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    auto const text = fuzz::alsText(daten, groesse);
    auto objekt = dienst::objektAus(std::string{text});
    VERSPROCHEN(objekt.is_object());
    auto const vorgabe = dienst::vorgabeAus(objekt);
    VERSPROCHEN(vorgabe.stichworte.empty() || objekt["context_keywords"].size() == vorgabe.stichworte.size());
    if (vorgabe.fruehestens)
        (void)MacScan::datumAus(vorgabe.fruehestens);
    if (auto const gestoppt = dienst::gestopptAus(objekt))
        VERSPROCHEN(objekt["gestoppt"] == *gestoppt);
    auto const gesehen = dienst::gesehenePfadeAus(text);
    VERSPROCHEN(
        gesehen.pfade.size() <= dienst::hoechstensEintraege &&
        gesehen.hashes.size() <= dienst::hoechstensEintraege);
    auto const hashes = dienst::hashesLesen(text);
    VERSPROCHEN(!hashes || hashes->size() <= dienst::hoechstensEintraege);
    belegantwort(text);
    return 0;
}
