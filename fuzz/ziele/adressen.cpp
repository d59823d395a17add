#include "fenster/zieldatei.h"
#include "grundlage/adresse.h"
#include "ziel.h"

#include <string>

using namespace quillmate;

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    auto const text = fuzz::alsText(daten, groesse);
    if (auto const adresse = Adresse::lesen(text)) {
        // What has been read once is read the same again, also as an engine's.
        VERSPROCHEN(Adresse::lesen(adresse->text()) == adresse && Adresse::vomMotor(text) == adresse);
        VERSPROCHEN(!adresse->istWeb() || (adresse->wirt() && !adresse->wirt()->empty()));
        if (auto const ursprung = adresse->ursprung())
            VERSPROCHEN(Ursprung::lesen(ursprung->text()).value() == *ursprung);
        VERSPROCHEN(adresse->posten().size() <= adresse->abfrage().value_or("").size() + 1);
    }
    if (auto const adresse = Adresse::vomMotor(text))
        VERSPROCHEN(Adresse::lesen(adresse->text()));
    if (auto const adresse = Adresse::getippt(text))
        VERSPROCHEN(adresse->istSicher() && Adresse::lesen(adresse->text()) == adresse);
    VERSPROCHEN(ohneProzent(mitProzent(text)) == text);
    auto const name = fenster::sichererDateiname(text);
    VERSPROCHEN(!name.empty() && name != "." && name != ".." && !name.contains('/') && !name.contains('\0'));
    return 0;
}
