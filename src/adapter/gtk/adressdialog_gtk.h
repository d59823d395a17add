#pragma once

#include "ports/adressdialog.h"

#include <gtk/gtk.h>

namespace quillmate::adapter::gtk {

/// A window of its own rather than a message dialog, because it stays when an address is not accepted.
/// Threads: main thread. Ownership: borrows the application, whose active window it lies over.
class AdressdialogGtk final : public ports::Adressdialog {
public:
    explicit AdressdialogGtk(GtkApplication* anwendung)
        : anwendung_(anwendung) {}
    [[nodiscard]] std::optional<std::string> fragen(ports::Adressfrage const& frage) override;

private:
    GtkApplication* const anwendung_;
};

} // namespace quillmate::adapter::gtk
