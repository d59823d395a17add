#pragma once

#include "ports/hauptschleife.h"

namespace quillmate::adapter::gtk {

/// The main loop of GLib's default context.
class HauptschleifeGtk final : public ports::Hauptschleife {
public:
    /// `ende` ends the loop; called on the main thread.
    explicit HauptschleifeGtk(Arbeit ende);
    void spaeter(Arbeit arbeit) override;
    void nach(std::chrono::milliseconds dauer, Arbeit arbeit) override;
    void beenden() override;

private:
    Arbeit const ende_;
};

} // namespace quillmate::adapter::gtk
