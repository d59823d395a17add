#include "macscan/antworten.h"
#include "ziel.h"

using namespace quillmate::MacScan;

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    auto const text = quillmate::fuzz::alsText(daten, groesse);
    VERSPROCHEN(objektAus(std::string{text}).is_object());
    auto const gesehen = gesehenePfadeAus(text);
    VERSPROCHEN(gesehen.pfade.size() <= hoechstensEintraege && gesehen.hashes.size() <= hoechstensEintraege);
    VERSPROCHEN(hashesAus(text).size() <= hoechstensEintraege);
    return 0;
}
