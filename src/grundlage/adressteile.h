#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate {

/// The parts of an absolute address, split where RFC 3986 says, whatever characters they hold: what a web engine
/// writes down has characters that the RFC forbids ("|", "{"), and must be judged all the same.
/// Plain value, safe to copy between threads.
struct Adressteile {
    std::string schema;                ///< Lower case.
    std::optional<std::string> wirt;   ///< Lower case, without port and user. Nothing when there is none.
    std::optional<std::uint16_t> port; ///< As written; nothing when there is none, or none that there can be.
    std::string pfad;                  ///< As written.
    std::optional<std::string> abfrage; ///< As written, without "?"; nothing when there is no "?".

    /// Nothing for a text without scheme.
    [[nodiscard]] static std::optional<Adressteile> lesen(std::string_view adresse);

    /// The port that is connected to: the written one, otherwise the scheme's own. Nothing for other schemes.
    [[nodiscard]] std::optional<std::uint16_t> wirksamerPort() const;
    /// The path with its percent escapes resolved, as the server understands it. May hold any bytes.
    [[nodiscard]] std::string lesbarerPfad() const;
};

/// One item of a query, decoded.
struct Abfrageteil {
    std::string name;
    std::optional<std::string> wert; ///< Nothing when there is no "=".
};

/// The items of a query ("a=1&b=2") in their order. "+" stays "+".
[[nodiscard]] std::vector<Abfrageteil> abfrageteile(std::string_view abfrage);

/// Resolves percent escapes; what is none stays.
[[nodiscard]] std::string ohneProzent(std::string_view text);

/// Everything but the unreserved characters of RFC 3986 as percent escapes: fits into a query as a name or a value, and
/// no reader can take a "+" in it for a blank.
[[nodiscard]] std::string mitProzent(std::string_view text);

} // namespace quillmate
