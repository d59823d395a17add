#pragma once

namespace quillmate::ports {

/// Port: what keeps the program up to date.
/// Threads: main thread.
class Aktualisierer {
public:
    virtual ~Aktualisierer() = default;
    /// The user asked for a check: it runs at once and says in a window what came of it, whatever that is.
    virtual void nachUpdatesSuchen() = 0;
};

} // namespace quillmate::ports
