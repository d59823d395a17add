#pragma once

#include "plattform/programmfenster.h"
#include "plattform/warteblatt.h"

#include <gtk/gtk.h>

namespace quillmate::plattform::gtk {

/// Small modal windows over the main one.
/// Threads: main thread.
class WarteblattwerkGtk final : public Warteblattwerk {
public:
    /// The window that sheets lie over, whichever is in front; without it there are none. Borrowed.
    void hauptfenster(Programmfenster& fenster);
    [[nodiscard]] std::unique_ptr<Warteblatt> zeigen(
        Wartetext const& text, std::function<void()> abgebrochen) override;

private:
    GtkWindow* hauptfenster_{nullptr};
};

} // namespace quillmate::plattform::gtk
