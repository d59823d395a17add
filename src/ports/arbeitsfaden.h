#pragma once

namespace quillmate::ports {

/// Port: the rank of background work among everything else the user's machine does.
/// Threads: any.
class Arbeitsfaden {
public:
    virtual ~Arbeitsfaden() = default;
    /// Called first on each worker thread of a scan: lowers the calling thread's priority so that the work
    /// gives way to whatever the user is doing. Best effort.
    virtual void alsHilfsarbeit() noexcept = 0;
};

} // namespace quillmate::ports
