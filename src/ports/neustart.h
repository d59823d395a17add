#pragma once

#include "buendel.h"

#include <string>

namespace quillmate::ports {

/// Port: starting a bundle once this process has ended.
/// Threads: main thread.
class Neustart {
public:
    virtual ~Neustart() = default;
    /// Leaves a helper behind that waits for the end of this process (ten seconds at most), starts the bundle and
    /// then ejects the volume mounted at `auswerfen` (empty for none), by force where it must. Returns at once and
    /// does not end this process. A helper that cannot be started is no error: nobody could act on it.
    virtual void vorbereiten(Buendel const& ziel, std::string const& auswerfen) = 0;
};

} // namespace quillmate::ports
