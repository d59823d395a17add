#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Which addresses belong to the program's own web application, and which start a flow outside of the web view.
/// Pure functions on addresses as a web engine writes them; any thread.
namespace quillmate::fenster {

/// Whether the address is a page of the web application: of an own host, with one of its paths. "/" counts only with
/// a project's "client" and "token" in its query.
[[nodiscard]] bool istEigen(std::optional<std::string> const& adresse);

/// Whether the address has an own host, whatever the path.
[[nodiscard]] bool istAufEigenemHost(std::string_view adresse);

/// Whether the address has a scheme that begins with "http".
[[nodiscard]] bool istWebadresse(std::string_view adresse);

/// Steps of the web application that an embedded view cannot do.
enum class Anmeldeweg { keiner, google, bank };

/// Which of them the address starts, on whatever host.
[[nodiscard]] Anmeldeweg anmeldewegVon(std::optional<std::string> const& adresse);

} // namespace quillmate::fenster
