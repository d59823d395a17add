#include "fenster/zieldatei.h"
#include "grundlage/adresse.h"
#include "grundlage/adressteile.h"
#include "ziel.h"

#include <string>

using namespace quillmate;

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    auto const text = fuzz::alsText(daten, groesse);
    if (auto const adresse = Adresse::lesen(text)) {
        auto const teile = Adressteile::lesen(text);
        VERSPROCHEN(teile && teile->wirt == adresse->wirt());
    }
    if (auto const teile = Adressteile::lesen(text)) {
        VERSPROCHEN(!teile->schema.empty());
        (void)teile->wirksamerPort();
        (void)teile->lesbarerPfad();
        if (teile->abfrage)
            VERSPROCHEN(abfrageteile(*teile->abfrage).size() <= teile->abfrage->size() + 1);
    }
    VERSPROCHEN(ohneProzent(mitProzent(text)) == text);
    auto const name = fenster::sichererDateiname(text);
    VERSPROCHEN(!name.empty() && name != "." && name != ".." && !name.contains('/') && !name.contains('\0'));
    return 0;
}
