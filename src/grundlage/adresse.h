#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillmate {

/// An absolute URL (RFC 3986), kept as it was written.
/// Plain value, safe to copy between threads.
class Adresse {
public:
    /// Nothing when `text` has no scheme or holds a character that no URL may hold (blank, control character,
    /// a broken percent escape, anything outside ASCII).
    [[nodiscard]] static std::optional<Adresse> lesen(std::string_view text);

    [[nodiscard]] std::string const& text() const noexcept { return text_; }
    /// Host in lower case, without port and user. Nothing for an address without host ("about:blank").
    [[nodiscard]] std::optional<std::string> wirt() const;

    // The parts as they were written, nothing decoded and nothing resolved.
    [[nodiscard]] std::string schema() const;                     ///< "https"
    [[nodiscard]] std::string pfad() const;                       ///< "/a%20b"; may be empty.
    [[nodiscard]] std::optional<std::string> abfrage() const;     ///< What follows "?".
    [[nodiscard]] std::optional<std::string> bruchstueck() const; ///< What follows "#".

    /// This address with other path and query, without fragment. Both are taken as they stand; without a query
    /// there is no "?" either. Nothing when no address comes of it, or when this one has no host.
    [[nodiscard]] std::optional<Adresse> mit(
        std::string_view pfad, std::optional<std::string_view> abfrage = std::nullopt) const;
    /// The same address with another query; path and fragment stay.
    [[nodiscard]] std::optional<Adresse> mitAbfrage(std::string_view abfrage) const;

    friend bool operator==(Adresse const&, Adresse const&) = default;

private:
    explicit Adresse(std::string text);
    std::string text_;
};

} // namespace quillmate
