#pragma once

#include <functional>
#include <memory>
#include <string>

namespace quillmate::ports {

class Programmfenster;

/// How a line of text looks.
enum class Textton {
    ruhig,  ///< The desktop's colour for secondary text.
    laeuft, ///< The desktop's ordinary colour.
    erfolg, ///< The desktop's green.
    fehler, ///< The desktop's red.
};

/// Port: the bar above a portal's page: two lines of text and its buttons.
/// Threads: main thread.
/// Ownership: the maker owns it; it may outlive its window, and then does nothing.
class Portalleiste {
public:
    virtual ~Portalleiste() = default;
    /// The upper line: where the user is.
    virtual void adresse(std::string const& text) = 0;
    /// The lower line: what is going on. Announced to screen readers.
    virtual void status(std::string const& text, Textton ton) = 0;
    virtual void knopfAktiv(bool aktiv) = 0;
    virtual void zurueckAktiv(bool aktiv) = 0;
    /// While a page loads, the button that loads again ends the load instead, and says so.
    virtual void laedt(bool laeuft) = 0;
};

/// What the bar holds at first.
struct Portalleistenangaben {
    std::string adresse;
    std::string status;
    std::string knopf;
    std::string knopfhinweis; ///< Tool tip.
    std::function<void()> gedrueckt;
    std::function<void()> zurueck;
    std::function<void()> neuLaden;
    std::function<void()> anhalten;
    std::function<void()> vergessen; ///< Behind a third picture: "Anmeldedaten dieses Portals löschen".
};

/// Port: makes such bars.
/// Threads: main thread.
class Portalleistenwerk {
public:
    virtual ~Portalleistenwerk() = default;
    /// Puts a bar of 58 points in height at the top of the window's content, above the view, which fills the rest. The
    /// upper line (12 points, secondary colour, shortened in the middle) begins 14 points from the left and 8 from the
    /// top; the lower one (11 points, shortened at its end) stands 2 points below it, aligned with it. The button is
    /// small and rounded, 12 points from the right edge, centred vertically; before it stand two with pictures, back and
    /// load again, and both lines end 12 points before those at the latest. All of it grows with the size of texts. To be called once per window, after Programmfenster::inhalt().
    [[nodiscard]] virtual std::unique_ptr<Portalleiste> leiste(
        Programmfenster& fenster, Portalleistenangaben angaben) = 0;
};

} // namespace quillmate::ports
