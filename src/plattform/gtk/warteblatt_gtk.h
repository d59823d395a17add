#pragma once

#include "plattform/warteblatt.h"

#include <gtk/gtk.h>

namespace quillmate::plattform::gtk {

/// Small modal windows over the program's foremost one.
/// Threads: main thread. Ownership: borrows the application.
class WarteblattwerkGtk final : public Warteblattwerk {
public:
    explicit WarteblattwerkGtk(GtkApplication* anwendung)
        : anwendung_(anwendung) {}
    [[nodiscard]] std::unique_ptr<Warteblatt> zeigen(
        Wartetext const& text, std::function<void()> abgebrochen) override;

private:
    GtkApplication* const anwendung_;
};

} // namespace quillmate::plattform::gtk
