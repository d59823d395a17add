#pragma once

#include "adresse.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate {

/// The parts of an Adresse for callers that still hold addresses as text. Reads nothing of its own.
struct Adressteile {
    std::string schema;
    std::optional<std::string> wirt;
    std::optional<std::uint16_t> port;
    std::string pfad;
    std::optional<std::string> abfrage;

    /// Nothing where Adresse::vomMotor() finds no address.
    [[nodiscard]] static std::optional<Adressteile> lesen(std::string_view adresse);
    [[nodiscard]] std::optional<std::uint16_t> wirksamerPort() const;
};

} // namespace quillmate
