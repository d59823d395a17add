#include "adresse.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace quillmate {

namespace {

bool istBuchstabe(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool istZiffer(char c) {
    return c >= '0' && c <= '9';
}
bool istHexziffer(char c) {
    return istZiffer(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// RFC 3986 section 2: unreserved and reserved characters; "%" is checked on its own.
bool darfInAdresse(char c) {
    return istBuchstabe(c) || istZiffer(c) ||
           std::string_view{"-._~:/?#[]@!$&'()*+,;="}.find(c) != std::string_view::npos;
}

} // namespace

Adresse::Adresse(std::string text)
    : text_(std::move(text)) {}

std::optional<Adresse> Adresse::lesen(std::string_view text) {
    auto const doppelpunkt = text.find(':');
    if (doppelpunkt == std::string_view::npos || doppelpunkt == 0 || !istBuchstabe(text.front()))
        return std::nullopt;
    auto const schema = text.substr(0, doppelpunkt);
    if (!std::ranges::all_of(schema, [](char c) {
            return istBuchstabe(c) || istZiffer(c) || c == '+' || c == '-' || c == '.';
        }))
        return std::nullopt;
    for (std::size_t i = doppelpunkt; i < text.size(); ++i) {
        if (text[i] == '%') {
            if (i + 2 >= text.size() || !istHexziffer(text[i + 1]) || !istHexziffer(text[i + 2]))
                return std::nullopt;
        } else if (!darfInAdresse(text[i])) {
            return std::nullopt;
        }
    }
    return Adresse{std::string{text}};
}

std::optional<std::string> Adresse::wirt() const {
    // RFC 3986 section 3.2: the authority stands between "//" and the next "/", "?" or "#"; in it, the user
    // ends at the last "@" and the port begins at the ":" behind the host. A lenient reader would find a host
    // in "https:/a/" too, where the page that is loaded has none.
    std::string_view rest = text_;
    rest.remove_prefix(rest.find(':') + 1);
    if (!rest.starts_with("//"))
        return std::nullopt;
    rest.remove_prefix(2);
    rest = rest.substr(0, rest.find_first_of("/?#"));
    if (auto const at = rest.rfind('@'); at != std::string_view::npos)
        rest.remove_prefix(at + 1);
    rest = rest.starts_with('[') ? rest.substr(0, rest.find(']') + 1) : rest.substr(0, rest.find(':'));
    if (rest.empty())
        return std::nullopt;
    std::string wirt{rest};
    for (char& c : wirt)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return wirt;
}

} // namespace quillmate
