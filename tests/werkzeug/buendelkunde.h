#pragma once

#include "ports/buendel.h"

#include <map>
#include <set>
#include <string>

namespace quillmate::werkzeug {

/// Bundles that a test made up.
class FesteBuendelkunde final : public ports::Buendelkunde {
public:
    std::string laufend() override { return laufendes; }
    std::optional<ports::Buendel> lesen(std::string const& pfad) override {
        auto const fund = buendel.find(pfad);
        return fund == buendel.end() ? std::nullopt : std::optional{fund->second};
    }
    std::optional<std::string> originalPfad(std::string const& pfad) override {
        auto const fund = originale.find(pfad);
        return fund == originale.end() ? std::nullopt : std::optional{fund->second};
    }
    bool mitTeamSigniert(std::string const& pfad) override { return signiert.contains(pfad); }

    std::string laufendes;
    std::map<std::string, ports::Buendel> buendel;
    std::map<std::string, std::string> originale;
    std::set<std::string> signiert;
};

} // namespace quillmate::werkzeug
