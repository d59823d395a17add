#include "herkunftsregeln.h"

#include "prozesswerte.h"

namespace quillmate {

bool istEigenerUrsprung(Ursprung const& ursprung) {
    return ursprung.schema == "https" && ursprung.anschluss == 443 && eigeneHosts().contains(ursprung.wirt);
}

bool darfSprechen(Ursprung const& dokument, Adresse const& start) {
    return istEigenerUrsprung(dokument) || dokument == start.ursprung();
}

Ergebnis<Adresse> dienstadresse(std::string_view server, Adresse const& start) {
    auto adresse = Adresse::lesen(server);
    if (!adresse)
        return adresse;
    auto const ursprung = adresse->ursprung();
    if (!ursprung || adresse->abfrage() || adresse->bruchstueck())
        return fehler(Fehlerart::falscheForm, {}, "Das ist keine Adresse eines Dienstes");
    if (istEigenerUrsprung(*ursprung) || ursprung == start.ursprung() ||
        (start.istSchleife() && adresse->istSchleife()))
        return adresse;
    return fehler(Fehlerart::nichtErlaubt, ursprung->text(), "Dieser Dienst darf keine Dateien bekommen");
}

bool anmeldungOhneFrage(Adresse const& ziel, Adresse const& start) {
    auto const ursprung = ziel.ursprung();
    auto const anfang = start.ursprung();
    if (!ursprung)
        return false;
    if (istEigenerUrsprung(*ursprung))
        return true;
    bool const einWirt =
        anfang && (ursprung->wirt == anfang->wirt || (ziel.istSchleife() && start.istSchleife()));
    return einWirt && ursprung->anschluss == anfang->anschluss;
}

} // namespace quillmate
