#pragma once

namespace quillmate::adapter::gtk {

/// The main loop, turned within one of its own callbacks until a dialog is answered.
/// Ends also when the program does: the outer loop cannot end before, so a program that shall quit would otherwise wait
/// until somebody closes the dialog.
/// Threads: main thread.
class Nebenschleife {
public:
    Nebenschleife();
    ~Nebenschleife();
    Nebenschleife(Nebenschleife const&) = delete;
    Nebenschleife& operator=(Nebenschleife const&) = delete;

    /// Returns after beenden(), at once when that has been called already.
    void laufen();
    void beenden() noexcept;
    /// For the end of the program, with print dialogs, whose loop is the engine's. The callers see a dialog that nobody
    /// has answered.
    static void alleBeenden() noexcept;

private:
    bool beendet_{false};
};

} // namespace quillmate::adapter::gtk
