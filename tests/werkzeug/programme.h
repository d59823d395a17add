#pragma once

#include "ports/aktualisierer.h"
#include "ports/laufende_programme.h"
#include "ports/standardprogramm.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::werkzeug {

/// A default browser that only writes down what it should open.
class StandardprogrammAttrappe final : public ports::Standardprogramm {
public:
    void oeffnen(std::string const& adresse) override { geoeffnet.push_back(adresse); }
    void oeffnen(std::string const& adresse, std::function<void()> gescheitert) override {
        geoeffnet.push_back(adresse);
        if (fehlt)
            gescheitert();
    }
    bool fehlt{false}; ///< There is no program.
    [[nodiscard]] std::optional<std::string> nameFuer(std::string const& schema) const override {
        return schema == "smb" ? std::optional<std::string>{"Dateien"} : std::nullopt;
    }
    std::vector<std::string> geoeffnet;
};

/// Programs that "run", by their identifiers in the order in which the desktop lists them.
class LaufendeProgrammeAttrappe final : public ports::LaufendeProgramme {
public:
    bool aktivieren(std::function<bool(std::string_view kennung)> const& passt) override {
        ++gefragt;
        for (auto const& kennung : kennungen)
            if (passt(kennung)) {
                aktiviert.push_back(kennung);
                return true;
            }
        return false;
    }
    std::vector<std::string> kennungen;
    std::vector<std::string> aktiviert;
    int gefragt{0};
};

/// Counts how often the user asked for updates.
class AktualisiererAttrappe final : public ports::Aktualisierer {
public:
    void nachUpdatesSuchen() override { ++gesucht; }
    int gesucht{0};
};

} // namespace quillmate::werkzeug
