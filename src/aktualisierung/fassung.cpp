#include "fassung.h"

#include <charconv>

namespace quillmate::aktualisierung {

std::optional<Fassungsnummer> Fassungsnummer::lesen(std::string_view text) {
    constexpr std::size_t hoechstensTeile = 4;
    constexpr std::size_t hoechstensZiffern = 9;
    Fassungsnummer nummer;
    for (;;) {
        auto const ziffern = text.substr(0, text.find('.'));
        if (ziffern.empty() || ziffern.size() > hoechstensZiffern || nummer.teile_.size() == hoechstensTeile)
            return std::nullopt;
        std::uint32_t teil = 0;
        auto const* const ende = ziffern.data() + ziffern.size();
        if (auto const [bis, fehler] = std::from_chars(ziffern.data(), ende, teil);
            fehler != std::errc{} || bis != ende)
            return std::nullopt;
        nummer.teile_.push_back(teil);
        if (ziffern.size() == text.size())
            break;
        text.remove_prefix(ziffern.size() + 1);
    }
    while (!nummer.teile_.empty() && nummer.teile_.back() == 0)
        nummer.teile_.pop_back();
    return nummer;
}

} // namespace quillmate::aktualisierung
