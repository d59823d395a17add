#include "eigene_seiten.h"

#include "grundlage/adressteile.h"
#include "grundlage/prozesswerte.h"

#include <algorithm>

namespace quillmate::fenster {

namespace {

std::string normalisiert(std::string pfad) {
    if (pfad.empty())
        return "/";
    while (pfad.size() > 1 && pfad.back() == '/')
        pfad.pop_back();
    return pfad;
}

bool hatWert(std::vector<Abfrageteil> const& teile, std::string_view name) {
    return std::ranges::any_of(teile, [name](Abfrageteil const& teil) {
        return teil.name == name && teil.wert && !teil.wert->empty();
    });
}

bool istUnserWirt(Adressteile const& teile) {
    return teile.wirt && eigeneHosts().contains(*teile.wirt);
}

} // namespace

bool istEigen(std::optional<std::string> const& adresse) {
    auto const teile = adresse ? Adressteile::lesen(*adresse) : std::nullopt;
    if (!teile || !istUnserWirt(*teile))
        return false;
    auto const pfad = normalisiert(teile->lesbarerPfad());
    if (!softwarePfade().contains(pfad))
        return false;
    if (pfad != "/")
        return true;
    auto const abfrage = abfrageteile(teile->abfrage.value_or(""));
    return hatWert(abfrage, "client") && hatWert(abfrage, "token");
}

bool istAufEigenemHost(std::string_view adresse) {
    auto const teile = Adressteile::lesen(adresse);
    return teile && istUnserWirt(*teile);
}

bool istWebadresse(std::string_view adresse) {
    auto const teile = Adressteile::lesen(adresse);
    return teile && teile->schema.starts_with("http");
}

Anmeldeweg anmeldewegVon(std::optional<std::string> const& adresse) {
    auto const teile = adresse ? Adressteile::lesen(*adresse) : std::nullopt;
    if (!teile)
        return Anmeldeweg::keiner;
    auto const pfad = teile->lesbarerPfad();
    if (pfad == "/auth/google/login")
        return Anmeldeweg::google;
    if (pfad == "/auth/enable-banking/start")
        return Anmeldeweg::bank;
    return Anmeldeweg::keiner;
}

} // namespace quillmate::fenster
