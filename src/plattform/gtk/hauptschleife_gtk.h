#pragma once

#include "plattform/hauptschleife.h"

namespace quillmate::plattform::gtk {

/// The main loop of GLib's default context.
class HauptschleifeGtk final : public Hauptschleife {
public:
    /// `ende` ends the loop; called on the main thread.
    explicit HauptschleifeGtk(Arbeit ende);
    void spaeter(Arbeit arbeit) override;
    void nach(std::chrono::milliseconds dauer, Arbeit arbeit) override;
    void beenden() override;

private:
    Arbeit const ende_;
};

} // namespace quillmate::plattform::gtk
