#include "portalanschluss.h"

#include <memory>
#include <utility>

namespace quillmate {
namespace {

Portaleintrag eintragAus(PortalZiel const& ziel) {
    return {.kennung = ziel.kennung, .name = ziel.name, .adresse = ziel.adresse.text()};
}

class Ansicht final : public Portalansicht {
public:
    Ansicht(PortalFenster::Umgebung umgebung, PortalFenster::Auftrag auftrag)
        : fenster_(umgebung, std::move(auftrag)) {}
    void zeigen() override { fenster_.zeigen(); }
    [[nodiscard]] bool sichtbar() const override { return fenster_.sichtbar(); }

private:
    PortalFenster fenster_;
};

} // namespace

Portalanschluss portalanschluss(PortalAdresse& adresse, PortalFenster::Umgebung umgebung) {
    return {
        .nachschlagen = [](std::string_view kennung) -> std::optional<Portaleintrag> {
            auto const* const ziel = PortalZiel::mitKennung(kennung);
            return ziel ? std::optional{eintragAus(*ziel)} : std::nullopt;
        },
        .erfragen = [&adresse](std::optional<std::string> const& name) -> std::optional<Portaleintrag> {
            auto const ziel = adresse.auswaehlen(name);
            return ziel ? std::optional{eintragAus(*ziel)} : std::nullopt;
        },
        .fenster = [umgebung](Portalauftrag auftrag) -> std::unique_ptr<Portalansicht> {
            auto ziel = Adresse::lesen(auftrag.portal.adresse);
            if (!ziel)
                return nullptr;
            return std::make_unique<Ansicht>(
                umgebung, PortalFenster::Auftrag{
                              .ziel =
                                  {.kennung = std::move(auftrag.portal.kennung),
                                   .name = std::move(auftrag.portal.name),
                                   .adresse = *std::move(ziel)},
                              .clientId = auftrag.clientId,
                              .token = std::move(auftrag.token),
                              .basis = std::move(auftrag.basis),
                              .transaction = auftrag.transactionId,
                              .ereignis = std::move(auftrag.ereignis)});
        }};
}

} // namespace quillmate
