#pragma once

#include <map>
#include <optional>
#include <string>

namespace quillmate::adapter::linux {

/// Variables that the program has changed for itself, with the values that they had before (nothing: unset). Whatever
/// it starts outside of itself belongs to the user's session and gets those.
using Umgebungswerte = std::map<std::string, std::optional<std::string>>;

} // namespace quillmate::adapter::linux
