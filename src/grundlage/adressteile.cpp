#include "adressteile.h"

namespace quillmate {

std::optional<Adressteile> Adressteile::lesen(std::string_view adresse) {
    auto const gelesen = Adresse::vomMotor(adresse);
    if (!gelesen)
        return std::nullopt;
    return Adressteile{
        .schema = gelesen->schema(),
        .wirt = gelesen->wirt(),
        .port = gelesen->anschluss(),
        .pfad = gelesen->pfad(),
        .abfrage = gelesen->abfrage()};
}

std::optional<std::uint16_t> Adressteile::wirksamerPort() const {
    if (port || (schema != "https" && schema != "http"))
        return port;
    return std::uint16_t{static_cast<std::uint16_t>(schema == "https" ? 443 : 80)};
}

} // namespace quillmate
