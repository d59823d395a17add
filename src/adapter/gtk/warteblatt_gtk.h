#pragma once

#include "ports/programmfenster.h"
#include "ports/warteblatt.h"

#include <gtk/gtk.h>

namespace quillmate::adapter::gtk {

/// Small modal windows over the main one.
/// Threads: main thread.
class WarteblattwerkGtk final : public ports::Warteblattwerk {
public:
    /// The window that sheets lie over, whichever is in front; without it there are none. Borrowed.
    void hauptfenster(ports::Programmfenster& fenster);
    [[nodiscard]] std::unique_ptr<ports::Warteblatt> zeigen(
        ports::Wartetext const& text, std::function<void()> abgebrochen) override;

private:
    GtkWindow* hauptfenster_{nullptr};
};

} // namespace quillmate::adapter::gtk
