#pragma once

#include <functional>
#include <memory>
#include <string>

namespace quillmate::ports {

/// Port: a sheet over the main window that says what the program waits for.
/// Threads: main thread.
/// Ownership: destroying it closes the sheet.
class Warteblatt {
public:
    virtual ~Warteblatt() = default;
    /// Nothing will come by itself: the sheet says `erklaerung` in place of its own, shows the address, and looks no
    /// longer as if something were going on.
    virtual void stocken(std::string const& erklaerung) = 0;
};

/// What the sheet says and offers.
struct Wartetext {
    std::string meldung;    ///< The bold first line.
    std::string erklaerung; ///< Below it; wraps.
    std::string
        kopieren; ///< Button that puts `kopiertext` on the clipboard; the sheet stays. It shows that it worked.
    std::string kopiertext; ///< A web address; not shown.
    std::string abbrechen;  ///< The other button, pressed by Escape too.
};

/// Port: shows such sheets.
/// Threads: main thread.
class Warteblattwerk {
public:
    virtual ~Warteblattwerk() = default;
    /// Shows the sheet over the main window, which cannot be used meanwhile, and returns at once. `abgebrochen` is called
    /// at most once, when the user presses that button or closes the window; the sheet may be destroyed in it. Null
    /// when there is no window to show it over.
    [[nodiscard]] virtual std::unique_ptr<Warteblatt> zeigen(
        Wartetext const& text, std::function<void()> abgebrochen) = 0;
};

} // namespace quillmate::ports
