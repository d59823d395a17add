#pragma once

#include <string>
#include <string_view>

/// Bodies of type multipart/form-data (RFC 7578), byte for byte as the service expects them. File names are
/// written as they are, without escaping. Pure but for the random boundary; any thread.
namespace quillmate::netz {

/// A random UUID (RFC 4122, version 4) in upper case.
[[nodiscard]] std::string neueUuid();

/// `vorsatz` and a fresh UUID.
[[nodiscard]] std::string neueGrenze(std::string_view vorsatz);

/// A simple text part, up to and with its line end.
[[nodiscard]] std::string textteil(std::string_view grenze, std::string_view feld, std::string_view wert);
/// What stands before a file's bytes.
[[nodiscard]] std::string dateikopf(
    std::string_view grenze, std::string_view feld, std::string_view dateiname, std::string_view inhaltstyp);
/// What stands behind the last file's bytes.
[[nodiscard]] std::string abschluss(std::string_view grenze);

} // namespace quillmate::netz
