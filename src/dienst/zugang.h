#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace quillmate::dienst {

/// Request context: what the web page hands over with each scan or search. Kept for that operation only,
/// never stored and never logged.
struct Zugang {
    std::string server;       ///< API base address, no trailing slash.
    std::int64_t clientId{0}; ///< The service's client number.
    std::string token;        ///< Session token.
    /// Asked about once a second by each call that is under way in this context; true ends the call, as if no answer had
    /// come. Copies of one operation share it.
    std::function<bool()> abbrechen{};
};

} // namespace quillmate::dienst
