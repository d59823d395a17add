#pragma once

#include "grundlage/ergebnis.h"
#include "grundlage/json.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

/// Decoders of the service's answers. Untrusted input: pure functions that never throw (those on a JSON value: only
/// when memory runs out); any thread.
/// Lists and tables are taken over value by value as they are read, so that an answer of many megabytes never
/// stands in memory as a tree.
namespace quillmate::dienst {

/// A text set or table that is asked with views.
struct TextHash : std::hash<std::string_view> {
    using is_transparent = void;
};
using Textmenge = std::unordered_set<std::string, TextHash, std::equal_to<>>;
using Texttabelle = std::unordered_map<std::string, std::string, TextHash, std::equal_to<>>;

/// What the service has already seen: full paths, and for some of them the digest of the content it has.
struct GesehenePfade {
    Textmenge pfade;
    Texttabelle hashes;
};

/// Most entries of one list or table that are believed: ten times the receipts of a long life.
inline constexpr std::size_t hoechstensEintraege = 1'000'000;

/// The answer's object.
/// Errors: falscheForm, keineMittel.
[[nodiscard]] Ergebnis<FremdesJson> objektLesen(std::string_view antwort) noexcept;
/// The answer's object; an empty one for anything else.
[[nodiscard]] FremdesJson objektAus(std::optional<std::string> const& antwort) noexcept;

/// The scan preferences.
struct Vorgabe {
    std::optional<std::string> fruehestens; ///< "min_file_date", any text.
    std::vector<std::string> stichworte;    ///< "context_keywords", when it is an array of nothing but text.
};

/// What the preferences' object says. A key that is missing or of another type is empty.
[[nodiscard]] Vorgabe vorgabeAus(FremdesJson const& antwort);

/// "gestoppt" of the progress' object; nothing unless it is a Boolean.
[[nodiscard]] std::optional<bool> gestopptAus(FremdesJson const& antwort);

/// "paths" (array of text) and "path_hashes" (object of text to text). A key that is missing or of another type is
/// empty.
/// Errors: falscheForm (no object), zuGross (more entries than are believed), keineMittel.
[[nodiscard]] Ergebnis<GesehenePfade> gesehenePfadeLesen(std::string_view antwort) noexcept;
/// The same; what cannot be read is empty.
[[nodiscard]] GesehenePfade gesehenePfadeAus(std::string_view antwort) noexcept;

/// "hashes" (array of text), by the same rules.
[[nodiscard]] Ergebnis<std::vector<std::string>> hashesLesen(std::string_view antwort) noexcept;

} // namespace quillmate::dienst
