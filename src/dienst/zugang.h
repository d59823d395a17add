#pragma once

#include <cstdint>
#include <string>

namespace quillmate::dienst {

/// Request context: what the web page hands over with each scan or search. Kept for that operation only,
/// never stored and never logged.
struct Zugang {
    std::string server;       ///< API base address, no trailing slash.
    std::int64_t clientId{0}; ///< The service's client number.
    std::string token;        ///< Session token.
};

} // namespace quillmate::dienst
