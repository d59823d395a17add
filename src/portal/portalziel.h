#pragma once

#include "grundlage/adresse.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace quillmate::portal {

/// A portal that an invoice can be taken from: plain value, safe to copy between threads.
struct PortalZiel {
    std::string kennung; ///< Stable key in lower case; "weiteres" for every address that the user typed in.
    std::string name;    ///< For people.
    Adresse adresse;     ///< Start page, always https.

    /// The built-in catalogue in its fixed order. Immutable.
    [[nodiscard]] static std::span<PortalZiel const> alle();
    /// The catalogue's entry with this key; null for any other.
    [[nodiscard]] static PortalZiel const* mitKennung(std::string_view kennung);
    /// The entry for an address that the user typed in. `name` may come from a web page: it loses its control
    /// characters and the white space around it and is cut to `hoechsterName` characters; when nothing is left,
    /// the address's host is the name.
    [[nodiscard]] static PortalZiel weiteres(std::string_view name, Adresse adresse);

    static constexpr std::size_t hoechsterName = 120;
};

} // namespace quillmate::portal
