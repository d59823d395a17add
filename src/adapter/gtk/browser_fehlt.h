#pragma once

#include <string>

namespace quillmate::adapter::gtk {

/// Says in a small window over the active one that no program took the address, and lets the user copy it. While that
/// window is open, further calls only put their address in the place of the former one.
/// Threads: main thread. Without an application of GTK's it does nothing.
void browserFehltMelden(std::string const& adresse);

} // namespace quillmate::adapter::gtk
