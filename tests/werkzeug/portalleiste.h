#pragma once

#include "ports/portalleiste.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace quillmate::werkzeug {

/// Bars without a screen: what stands in the one made last.
class PortalleistenwerkAttrappe final : public ports::Portalleistenwerk {
public:
    std::unique_ptr<ports::Portalleiste> leiste(
        ports::Programmfenster& fenster, ports::Portalleistenangaben neue) override {
        fensters.push_back(&fenster);
        angaben = std::move(neue);
        adresse = angaben.adresse;
        status = angaben.status;
        ton = ports::Textton::ruhig;
        knopfAktiv = true;
        zurueckAktiv = false;
        laedt = false;
        ++offen;
        return std::make_unique<Leiste>(*this);
    }

    std::vector<ports::Programmfenster*> fensters;
    ports::Portalleistenangaben angaben;
    std::string adresse;
    std::string status;
    ports::Textton ton{ports::Textton::ruhig};
    bool knopfAktiv{true};
    bool zurueckAktiv{false};
    bool laedt{false};
    int offen{0};

private:
    struct Leiste final : ports::Portalleiste {
        explicit Leiste(PortalleistenwerkAttrappe& w)
            : werk(w) {}
        ~Leiste() override { --werk.offen; }
        Leiste(Leiste const&) = delete;
        Leiste& operator=(Leiste const&) = delete;
        void adresse(std::string const& text) override { werk.adresse = text; }
        void status(std::string const& text, ports::Textton ton) override {
            werk.status = text;
            werk.ton = ton;
        }
        void knopfAktiv(bool aktiv) override { werk.knopfAktiv = aktiv; }
        void zurueckAktiv(bool aktiv) override { werk.zurueckAktiv = aktiv; }
        void laedt(bool laeuft) override { werk.laedt = laeuft; }
        PortalleistenwerkAttrappe& werk;
    };
};

} // namespace quillmate::werkzeug
