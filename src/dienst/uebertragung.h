#pragma once

#include <array>
#include <string_view>

namespace quillmate::dienst {

/// What became of sending a file.
enum class Uebertragung {
    hochgeladen,                ///< The service accepted it.
    bekannt,                    ///< Its content is a known non-receipt; not sent.
    nichtLesbar,                ///< The file could not be read; not sent.
    zuGross,                    ///< The service refused it for its size.
    uebertragungFehlgeschlagen, ///< No success after the last attempt, or no request could be formed.
};

inline constexpr std::array alleUebertragungen{
    Uebertragung::hochgeladen, Uebertragung::bekannt, Uebertragung::nichtLesbar, Uebertragung::zuGross,
    Uebertragung::uebertragungFehlgeschlagen};

/// The text under which a value appears in reports and logs.
[[nodiscard]] std::string_view rohwert(Uebertragung uebertragung) noexcept;

} // namespace quillmate::dienst
