#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillmate::Texterkennung {

/// Key of one version of a file: SHA-256 over "path|size|mtime|lesart2" as 64 lower-case hexadecimal digits.
/// Path: standardised. Size: bytes, -1 if unknown. Mtime: seconds since 1970 in the shortest decimal form that
/// gives the same double, with at least one decimal; -1.0 if unknown.
[[nodiscard]] std::string zwischenspeicherSchluessel(std::string_view pfad);

/// The texts of files that were read before, one file per key: "KEY.txt", UTF-8; empty for "no text".
/// Errors: none; every failure costs a new reading.
/// Threads and processes: any number at once. Entries are written atomically, the last writer wins.
class Zwischenspeicher {
public:
    /// `ordner` need not exist; it is created by the first entry.
    explicit Zwischenspeicher(std::string ordner);

    struct Eintrag {
        std::optional<std::string> text; ///< Nothing: the file was read and has no text.
    };

    /// Nothing when there is no entry. Broken UTF-8 is repaired.
    [[nodiscard]] std::optional<Eintrag> ausZwischenspeicher(std::string_view schluessel) const;
    void inZwischenspeicher(std::string_view schluessel, std::optional<std::string> const& text) const;

    [[nodiscard]] std::string const& zwischenspeicherOrdner() const noexcept { return ordner_; }

private:
    [[nodiscard]] std::string eintrag(std::string_view schluessel) const;
    std::string ordner_;
};

} // namespace quillmate::Texterkennung
