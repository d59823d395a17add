#include "befugnis.h"

#include "grundlage/adressteile.h"
#include "grundlage/prozesswerte.h"
#include "grundlage/text.h"

#include <algorithm>
#include <array>

namespace quillmate::fenster {

namespace {

/// Longer hosts keep their end, which says whose they are.
constexpr std::size_t hoechstensImOrt = 100;

bool istZahl(std::string_view text) {
    return !text.empty() && text.size() <= 3 &&
           std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

/// A name of this computer. Engines write numbers as four of them.
bool istDieserRechner(std::string_view wirt) {
    if (wirt == "localhost" || wirt == "[::1]")
        return true;
    std::size_t zahlen = 0;
    bool const beginnt = wirt.starts_with("127.");
    for (bool weiter = true; weiter; ++zahlen) {
        auto const punkt = wirt.find('.');
        if (!istZahl(wirt.substr(0, punkt)))
            return false;
        weiter = punkt != std::string_view::npos;
        wirt.remove_prefix(weiter ? punkt + 1 : wirt.size());
    }
    return beginnt && zahlen == 4;
}

bool istEigenerHost(Adressteile const& teile) {
    return teile.schema == "https" && teile.wirksamerPort() == 443 && teile.wirt &&
           eigeneHosts().contains(*teile.wirt);
}

} // namespace

bool gehoertDemDienst(std::string_view adresse, Adresse const& start) {
    auto const teile = Adressteile::lesen(adresse);
    if (!teile || !teile->wirt)
        return false;
    if (istEigenerHost(*teile))
        return true;
    auto const anfang = Adressteile::lesen(start.text());
    return anfang && teile->schema == anfang->schema && teile->wirt == anfang->wirt &&
           teile->wirksamerPort() == anfang->wirksamerPort();
}

bool verlangtVomDienst(ports::Antwortkopf const& antwort, Adresse const& start) {
    auto const adresse = antwort.adresse.value_or("");
    if (!gehoertDemDienst(ohneBlob(adresse), start))
        return false;
    // Bytes that a page has made are read by pages of its origin only, and are asked for without a request.
    if (adresse.starts_with("blob:"))
        return true;
    return antwort.verhaeltnis == "same-origin" || antwort.verhaeltnis == "none" ||
           gehoertDemDienst(antwort.verweiser, start);
}

bool darfGleichAnmelden(std::string_view adresse, Adresse const& start) {
    auto const teile = Adressteile::lesen(adresse);
    if (!teile || !teile->wirt || (teile->schema != "https" && teile->schema != "http"))
        return false;
    if (istEigenerHost(*teile))
        return true;
    auto const anfang = Adressteile::lesen(start.text());
    if (!anfang || !anfang->wirt || teile->wirksamerPort() != anfang->wirksamerPort())
        return false;
    return teile->wirt == anfang->wirt || (istDieserRechner(*teile->wirt) && istDieserRechner(*anfang->wirt));
}

std::string ortVon(std::string_view adresse) {
    auto const teile = Adressteile::lesen(adresse);
    if (!teile)
        return "unbekannter Adresse";
    if (!teile->wirt)
        return einzeilig(teile->schema, hoechstensImOrt) + ":";
    auto ort = *teile->wirt;
    if (teile->port && Adressteile{.schema = teile->schema, .wirt = {}, .port = {}, .pfad = {}, .abfrage = {}}
                               .wirksamerPort() != teile->port)
        ort += ':' + std::to_string(*teile->port);
    if (ort.size() > hoechstensImOrt)
        ort = "…" + ort.substr(ort.size() - hoechstensImOrt);
    return einzeilig(ort, hoechstensImOrt + 3);
}

std::string schemaVon(std::string_view adresse) {
    auto const teile = Adressteile::lesen(adresse);
    return teile ? teile->schema : std::string{};
}

bool istUeblichesSchema(std::string_view schema) {
    static constexpr std::array<std::string_view, 4> uebliche{"http", "https", "mailto", "tel"};
    return std::ranges::find(uebliche, schema) != uebliche.end();
}

std::string_view ohneBlob(std::string_view adresse) {
    constexpr std::string_view schema = "blob:";
    return adresse.starts_with(schema) ? adresse.substr(schema.size()) : adresse;
}

bool Zaehlfenster::nehmen(ports::Uhr::Zeitpunkt jetzt) {
    while (!genommen_.empty() && jetzt - genommen_.front() >= zeit_)
        genommen_.pop_front();
    if (genommen_.size() >= hoechstens_)
        return false;
    genommen_.push_back(jetzt);
    return true;
}

} // namespace quillmate::fenster
