#include "portal/ablage.h"
#include "portal/belegversand.h"
#include "portal/erfassung.h"
#include "portal/portaladresse.h"
#include "ziel.h"

#include <algorithm>

using namespace quillmate;

namespace {

bool istNurName(std::string_view name) {
    return name.size() <= 200 && name != "." && name != ".." &&
           std::ranges::none_of(name, [](unsigned char c) { return c == '/' || c < 0x20 || c == 0x7F; });
}

} // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    auto const text = fuzz::alsText(daten, groesse);
    VERSPROCHEN(istNurName(portal::belegname(text)));
    auto const ausgang = portal::erfasstePdf(std::string{text});
    if (auto const* const pdf = std::get_if<portal::ErfasstePdf>(&ausgang))
        VERSPROCHEN(pdf->name.size() > 4 && pdf->daten.contains("%PDF-"));
    else
        VERSPROCHEN(!std::get<std::string>(ausgang).empty());
    if (auto const bytes = portal::ausBase64(text))
        VERSPROCHEN(bytes->size() <= text.size() / 4 * 3);
    if (auto const adresse = portal::PortalAdresse::normalisieren(text)) {
        VERSPROCHEN(adresse->schema() == "https" && adresse->wirt());
        auto const hoheit = adresse->text().substr(std::string_view{"https://"}.size());
        VERSPROCHEN(!hoheit.substr(0, hoheit.find_first_of("/?#")).contains('@'));
    }
    return 0;
}
