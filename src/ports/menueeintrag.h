#pragma once

#include "buendel.h"

namespace quillmate::ports {

/// Port: the program's entry in the desktop's menu, which also makes it the handler of its own address scheme.
/// Threads: any.
class Menueeintrag {
public:
    virtual ~Menueeintrag() = default;
    /// Lets the entry of the bundle's identifier start the bundle at its path; an entry for another place is
    /// replaced. Errors are logged: without entry the program still runs.
    virtual void eintragen(Buendel const& buendel) = 0;
};

} // namespace quillmate::ports
