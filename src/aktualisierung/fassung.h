#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::aktualisierung {

/// A version that can be compared: one to four decimal numbers with dots between them. Missing ones count as 0, so
/// "1.2" equals "1.2.0".
class Fassungsnummer {
public:
    /// Nothing for anything else; numbers have nine digits at most. Untrusted input.
    [[nodiscard]] static std::optional<Fassungsnummer> lesen(std::string_view text);

    friend std::strong_ordering operator<=>(Fassungsnummer const& a, Fassungsnummer const& b) noexcept {
        return a.teile_ <=> b.teile_;
    }
    friend bool operator==(Fassungsnummer const& a, Fassungsnummer const& b) noexcept {
        return a.teile_ == b.teile_;
    }

private:
    std::vector<std::uint32_t> teile_; ///< Without zeros at the end.
};

} // namespace quillmate::aktualisierung
