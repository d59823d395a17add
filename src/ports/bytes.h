#pragma once

#include <string>

namespace quillmate::ports {

/// Opaque bytes that the program stores but does not look into. std::string holds them without a copy more.
using Bytes = std::string;

} // namespace quillmate::ports
