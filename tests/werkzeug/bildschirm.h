#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct _XDisplay;
struct _XImage;

namespace quillmate::fenster_echt {

struct Punkt {
    int x{0};
    int y{0};
};

/// A window as the display server knows it.
struct XFenster {
    unsigned long nummer{0};
    std::string titel;
    int x{0}; ///< Pixels, with the window's shadow.
    int y{0};
    int breite{0};
    int hoehe{0};
    bool aufgeklappt{false}; ///< A menu or the like, that no window manager would touch.
};

/// The user of a display: looks at windows and uses keyboard, pointer and clipboard, through the server's test
/// extension. There is no window manager, so the keyboard is where the last window put it: see tastaturAn().
/// Threads: one.
class Bildschirm {
public:
    explicit Bildschirm(std::string const& name);
    ~Bildschirm();
    Bildschirm(Bildschirm const&) = delete;
    Bildschirm& operator=(Bildschirm const&) = delete;

    /// From now on the windows are those of a program under a compositor that fills the screen: `fenster` names them, and
    /// `tastatur` the one with the keyboard. Nobody gives the keyboard away there but the compositor.
    void unterWayland(
        std::function<std::vector<XFenster>()> fenster, std::function<unsigned long()> tastatur);

    /// The visible windows, lowest first.
    [[nodiscard]] std::vector<XFenster> fenster() const;
    /// The topmost with this title, menus left out.
    [[nodiscard]] std::optional<XFenster> fensterMit(std::string_view titel) const;
    /// The topmost with this title, at the latest after the limit.
    [[nodiscard]] std::optional<XFenster> warteAufFenster(
        std::string_view titel, std::chrono::seconds grenze = std::chrono::seconds{30}) const;
    /// The window with the keyboard; 0 for none.
    [[nodiscard]] unsigned long tastaturBei() const;
    void tastaturAn(unsigned long fenster);
    void groesse(unsigned long fenster, int breite, int hoehe);
    /// Asks the window to close, as a title bar's button would.
    void schliessen(unsigned long fenster);

    /// Shows a window of its own, as another program would; its number.
    unsigned long eigenesZeigen();

    /// Presses a key once: "Return", "ctrl+r", "ctrl+shift+z". Names are those of X.
    void taste(std::string_view kombination);
    /// Types ASCII text.
    void tippe(std::string_view text);
    void bewege(Punkt wohin);
    void klicke(Punkt wohin);
    void rechtsklicke(Punkt wohin);

    /// The text in the clipboard; nothing when there is none, or its owner does not answer in time.
    [[nodiscard]] std::optional<std::string> zwischenablage();
    /// Then there is no text in it until somebody copies.
    void zwischenablageLeeren();
    /// 0xRRGGBB.
    [[nodiscard]] std::uint32_t farbe(Punkt wo) const;
    /// Writes what the screen shows as PNG for people to look at; `name` without folder and suffix.
    void bild(std::string_view name) const;

private:
    using Aufnahme = std::unique_ptr<_XImage, void (*)(_XImage*)>;

    [[nodiscard]] Aufnahme aufnahme() const;
    void drueckeTaste(unsigned long zeichen, bool umschalten);
    void klicke(Punkt wohin, unsigned int knopf);

    std::function<std::vector<XFenster>()> waylandfenster_;
    std::function<unsigned long()> waylandtastatur_;
    _XDisplay* anzeige_;
    unsigned long wurzel_;
    unsigned long eigenes_; ///< Receives the clipboard.
};

} // namespace quillmate::fenster_echt
