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

    friend bool operator==(Adresse const&, Adresse const&) = default;

private:
    explicit Adresse(std::string text);
    std::string text_;
};

} // namespace quillmate
