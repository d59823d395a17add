#include "prozesswerte.h"

#include "text.h"

#include <cstdlib>

namespace quillmate {

std::string_view const fassungstext = QUILLMATE_FASSUNG;

namespace {

// ".example" is reserved (RFC 2606): a build without a service of its own can never talk to a stranger's
// host.
constexpr char const* startseite = "https://quillmate.example/uebersicht";

} // namespace

Adresse startAdresseAus(std::optional<std::string> const& umgebungswert) {
    if (umgebungswert)
        if (auto adresse = Adresse::lesen(*umgebungswert))
            return *adresse;
    return Adresse::lesen(startseite).value();
}

Adresse const& startAdresse() {
    static Adresse const adresse = [] {
        char const* const wert = std::getenv("QUILLMATE_URL");
        return startAdresseAus(wert ? std::optional<std::string>{wert} : std::nullopt);
    }();
    return adresse;
}

std::set<std::string, std::less<>> const& eigeneHosts() {
    static std::set<std::string, std::less<>> const hosts{
        "quillmate.example", "www.quillmate.example", "api.quillmate.example"};
    return hosts;
}

std::set<std::string, std::less<>> const& softwarePfade() {
    static std::set<std::string, std::less<>> const pfade{
        "/",
        "/account",
        "/admin",
        "/abo",
        "/bank",
        "/bank-test",
        "/einstellungen",
        "/hilfe",
        "/invoice-profile",
        "/invoices",
        "/konto",
        "/kunden",
        "/produkte",
        "/belege",
        "/nutzung",
        "/passwort-vergessen",
        "/passwort-zuruecksetzen",
        "/post-purchase",
        "/profil",
        "/projekte",
        "/start",
        "/tarife",
        "/uebergaben",
        "/uebersicht"};
    return pfade;
}

bool istUnserHost(std::optional<Adresse> const& url) {
    if (!url)
        return false;
    auto const wirt = url->wirt();
    return wirt && eigeneHosts().contains(kleingeschrieben(*wirt));
}

} // namespace quillmate
