#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

/// What is known about the documents of a corpus, and which of them may be looked at. Pure functions over files.
namespace quillmate::bench {

/// The lines of NAME.csv (eight coordinates, then the text of a line); empty without such a file.
[[nodiscard]] std::string wahrerText(std::filesystem::path const& csv);
/// The total of NAME.json from its first digit on; empty without one.
[[nodiscard]] std::string wahreSumme(std::filesystem::path const& json);
/// Whether this amount stands in the text, comma and point alike, and not as a part of a larger one.
[[nodiscard]] bool hatBetragWie(std::string text, std::string betrag);

/// Which of two halves a document of this name belongs to, the same everywhere and whatever else lies in the folder: 0, by
/// which our steps may be chosen, or 1, which only tells what they are worth.
[[nodiscard]] std::size_t haelfte(std::string_view name);

} // namespace quillmate::bench
