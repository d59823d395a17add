#pragma once

#include <functional>
#include <string_view>

namespace quillmate::ports {

/// Port: the other programs that the user's desktop session runs.
/// Threads: main thread.
class LaufendeProgramme {
public:
    virtual ~LaufendeProgramme() = default;
    /// Brings all windows of the first running program to the front whose bundle identifier `passt` accepts, never
    /// those of the own process. False when there is none.
    virtual bool aktivieren(std::function<bool(std::string_view kennung)> const& passt) = 0;
};

} // namespace quillmate::ports
