#include "eigene_seiten.h"

#include "grundlage/adresse.h"
#include "grundlage/prozesswerte.h"

#include <algorithm>
#include <vector>

namespace quillmate::fenster {

namespace {

std::string normalisiert(std::string pfad) {
    if (pfad.empty())
        return "/";
    while (pfad.size() > 1 && pfad.back() == '/')
        pfad.pop_back();
    return pfad;
}

bool hatWert(std::vector<Posten> const& posten, std::string_view name) {
    return std::ranges::any_of(posten, [name](Posten const& einer) {
        return einer.name() == name && einer.wert() && !einer.wert()->empty();
    });
}

} // namespace

bool istEigen(std::optional<std::string> const& text) {
    auto const adresse = text ? Adresse::vomMotor(*text) : Adresse::lesen({});
    if (!adresse || !istUnserHost(*adresse))
        return false;
    auto const pfad = normalisiert(adresse->lesbarerPfad());
    if (!softwarePfade().contains(pfad))
        return false;
    if (pfad != "/")
        return true;
    auto const posten = adresse->posten();
    return hatWert(posten, "client") && hatWert(posten, "token");
}

bool istAufEigenemHost(std::string_view text) {
    auto const adresse = Adresse::vomMotor(text);
    return adresse && istUnserHost(*adresse);
}

bool istWebadresse(std::string_view text) {
    return schemaVon(text).starts_with("http");
}

Anmeldeweg anmeldewegVon(std::optional<std::string> const& text) {
    auto const adresse = text ? Adresse::vomMotor(*text) : Adresse::lesen({});
    if (!adresse)
        return Anmeldeweg::keiner;
    auto const pfad = adresse->lesbarerPfad();
    if (pfad == "/auth/google/login")
        return Anmeldeweg::google;
    if (pfad == "/auth/enable-banking/start")
        return Anmeldeweg::bank;
    return Anmeldeweg::keiner;
}

} // namespace quillmate::fenster
