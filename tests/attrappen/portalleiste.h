#pragma once

#include "plattform/portalleiste.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace quillmate::attrappen {

/// Bars without a screen: what stands in the one made last.
class PortalleistenwerkAttrappe final : public plattform::Portalleistenwerk {
public:
    std::unique_ptr<plattform::Portalleiste> leiste(
        plattform::Programmfenster& fenster, plattform::Portalleistenangaben neue) override {
        fensters.push_back(&fenster);
        angaben = std::move(neue);
        adresse = angaben.adresse;
        status = angaben.status;
        ton = plattform::Textton::ruhig;
        knopfAktiv = true;
        ++offen;
        return std::make_unique<Leiste>(*this);
    }

    std::vector<plattform::Programmfenster*> fensters;
    plattform::Portalleistenangaben angaben;
    std::string adresse;
    std::string status;
    plattform::Textton ton{plattform::Textton::ruhig};
    bool knopfAktiv{true};
    int offen{0};

private:
    struct Leiste final : plattform::Portalleiste {
        explicit Leiste(PortalleistenwerkAttrappe& w)
            : werk(w) {}
        ~Leiste() override { --werk.offen; }
        Leiste(Leiste const&) = delete;
        Leiste& operator=(Leiste const&) = delete;
        void adresse(std::string const& text) override { werk.adresse = text; }
        void status(std::string const& text, plattform::Textton ton) override {
            werk.status = text;
            werk.ton = ton;
        }
        void knopfAktiv(bool aktiv) override { werk.knopfAktiv = aktiv; }
        PortalleistenwerkAttrappe& werk;
    };
};

} // namespace quillmate::attrappen
