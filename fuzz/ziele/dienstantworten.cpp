#include "grundlage/text.h"
#include "macscan/antworten.h"
#include "macscan/datum.h"
#include "portal/belegversand.h"
#include "ziel.h"

#include <initializer_list>
#include <optional>

using namespace quillmate;
using namespace quillmate::MacScan;

namespace {

/// The answer to the portal's upload, with each kind of status.
void belegantwort(std::string_view text) {
    for (std::optional<int> const status :
         std::initializer_list<std::optional<int>>{{}, 200, 299, 302, 402, 500})
        for (bool const mitBuchung : {false, true}) {
            auto const meldung =
                belegausgang({.status = status, .fehler = "keine Verbindung"}, text, mitBuchung);
            bool const erfolg = status && *status <= 299;
            VERSPROCHEN(
                meldung.status == Portalstatus::fehler ||
                (erfolg && meldung.status == Portalstatus::importiert));
            VERSPROCHEN(alsUtf8(meldung.nachricht) == meldung.nachricht);
        }
}

} // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    auto const text = fuzz::alsText(daten, groesse);
    auto objekt = objektAus(std::string{text});
    VERSPROCHEN(objekt.is_object());
    auto const vorgabe = vorgabeAus(objekt);
    VERSPROCHEN(vorgabe.stichworte.empty() || objekt["context_keywords"].size() == vorgabe.stichworte.size());
    if (vorgabe.fruehestens)
        (void)datumAus(vorgabe.fruehestens);
    if (auto const gestoppt = gestopptAus(objekt))
        VERSPROCHEN(objekt["gestoppt"] == *gestoppt);
    auto const gesehen = gesehenePfadeAus(text);
    VERSPROCHEN(gesehen.pfade.size() <= hoechstensEintraege && gesehen.hashes.size() <= hoechstensEintraege);
    VERSPROCHEN(hashesAus(text).size() <= hoechstensEintraege);
    belegantwort(text);
    return 0;
}
