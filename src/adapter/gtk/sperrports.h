#pragma once

#include <string>

namespace quillmate::adapter::gtk {

/// Whether the engine refuses to speak to the port that an http or https address names (mail, name service, …). It then begins
/// no load and tells nobody.
[[nodiscard]] bool hatGesperrtenPort(std::string const& adresse);

} // namespace quillmate::adapter::gtk
