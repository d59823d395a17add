#pragma once

#include "textzeile.h"

#include <optional>
#include <span>

/// Whether it pays to read a page the other way round as a whole. Most pages without a receipt word lie the right way
/// and have words that nobody thought of; on their heads they are gibberish from the first line on, and gibberish takes
/// the engine longer than words. So a few lines are tried first.
/// Pure functions. Threads: any.
namespace quillmate::leser::motoren {

/// Neighbouring lines of a page with a little room around, from the pixel row `oben` up to, but without, `unten`; may reach
/// beyond the page.
struct Streifen {
    int oben{}, unten{};
    float zuversicht{0.0F}; ///< With which they were read, 0 to 1.
};

/// Lines of a sample. Two or three may be all digits, which look alike on their heads.
inline constexpr std::size_t zeilenDerKostprobe = 6;

/// The sample of a page: of all its neighbouring lines those with the most letters. Nothing when the page is so short
/// that it is read as a whole just as well, or when it was not legible in the first place.
[[nodiscard]] std::optional<Streifen> kostprobe(std::span<Textzeile const> zeilen);

/// Whether these lines, read from the strip the other way round, leave no doubt that the first way was right. No lines
/// prove nothing: then the engine did not find its way about the strip.
[[nodiscard]] bool liegtRichtig(Streifen const& streifen, std::span<Textzeile const> andersherum);

} // namespace quillmate::leser::motoren
