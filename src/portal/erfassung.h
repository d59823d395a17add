#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

/// Taking the PDF that a page shows out of the page.
namespace quillmate::portal {

/// Body of an async function for the page's own world: fetches the page's address again, with the page's cookies, and
/// resolves to the JSON text of an object: "ok", and either "fehler" or "daten" (base64), "name" and "mime".
extern std::string_view const erfassungsskript;

/// A PDF from a page.
struct ErfasstePdf {
    std::string name;  ///< A file name that ends in ".pdf".
    std::string daten; ///< At most 50 MiB; "%PDF-" stands near the beginning.
};

/// What the script's answer holds: the PDF, or a German sentence why there is none. `antwort` comes from the page and is
/// untrusted, whatever the script says. Pure.
[[nodiscard]] std::variant<ErfasstePdf, std::string> erfasstePdf(std::string antwort);

/// The bytes of a base64 text (RFC 4648, padded, without line ends); nothing for any other text.
[[nodiscard]] std::optional<std::string> ausBase64(std::string_view text);

} // namespace quillmate::portal
