#pragma once

#include <glib.h>

#include <string>

namespace quillmate::adapter::gtk {

/// The engine's other processes speak English, whatever the language: the common failures are told in our own words.
[[nodiscard]] std::string beschreibungVon(GError const* fehler);
/// Why there is no file when a server has answered with this HTTP status, 400 or above.
[[nodiscard]] std::string beschreibungVonStatus(unsigned int status);

} // namespace quillmate::adapter::gtk
