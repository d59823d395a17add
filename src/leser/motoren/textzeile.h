#pragma once

#include <span>
#include <string>
#include <vector>

/// What an engine read, with its place on the picture. Plain values.
namespace quillmate::leser::motoren {

/// Pixels; `rechts` and `unten` are the first that no longer belong to it.
struct Kasten {
    int links{}, oben{}, rechts{}, unten{};
    bool operator==(Kasten const&) const = default;
};

struct Wort {
    std::string text; ///< UTF-8.
    Kasten kasten;
    float zuversicht{0.0F}; ///< 0 to 1.
};

/// One line, its words from left to right.
struct Textzeile {
    std::vector<Wort> woerter;
    float zuversicht{0.0F}; ///< 0 to 1.
};

/// Mean of the confidences; 0 of none.
[[nodiscard]] float mittlereZuversicht(std::span<Wort const> woerter);
[[nodiscard]] float mittlereZuversicht(std::span<Textzeile const> zeilen);

} // namespace quillmate::leser::motoren
