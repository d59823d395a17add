#include "portalanschluss.h"

#include <memory>
#include <utility>

namespace quillmate::app {
namespace {

fenster::Portaleintrag eintragAus(portal::PortalZiel const& ziel) {
    return {.kennung = ziel.kennung, .name = ziel.name, .adresse = ziel.adresse.text()};
}

class Ansicht final : public fenster::Portalansicht {
public:
    Ansicht(portal::PortalFenster::Umgebung umgebung, portal::PortalFenster::Auftrag auftrag)
        : fenster_(umgebung, std::move(auftrag)) {}
    void zeigen() override { fenster_.zeigen(); }
    [[nodiscard]] bool sichtbar() const override { return fenster_.sichtbar(); }

private:
    portal::PortalFenster fenster_;
};

} // namespace

fenster::Portalanschluss portalanschluss(
    portal::PortalAdresse& adresse, portal::PortalFenster::Umgebung umgebung) {
    return {
        .nachschlagen = [](std::string_view kennung) -> std::optional<fenster::Portaleintrag> {
            auto const* const ziel = portal::PortalZiel::mitKennung(kennung);
            return ziel ? std::optional{eintragAus(*ziel)} : std::nullopt;
        },
        .erfragen =
            [&adresse](std::optional<std::string> const& name) -> std::optional<fenster::Portaleintrag> {
            auto const ziel = adresse.auswaehlen(name);
            return ziel ? std::optional{eintragAus(*ziel)} : std::nullopt;
        },
        .fenster = [umgebung](fenster::Portalauftrag auftrag) -> std::unique_ptr<fenster::Portalansicht> {
            auto ziel = Adresse::lesen(auftrag.portal.adresse);
            if (!ziel)
                return nullptr;
            return std::make_unique<Ansicht>(
                umgebung, portal::PortalFenster::Auftrag{
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

} // namespace quillmate::app
