#pragma once

#include "kleinfenster.h"
#include "ports/aktualisierungsanzeige.h"

#include <gtk/gtk.h>

#include <string>

namespace quillmate::adapter::gtk {

/// The window about updates: built anew for each thing that it shows, but for a bar that moves.
/// Threads: main thread. Ownership: borrows the application.
class AktualisierungsanzeigeGtk final : public ports::Aktualisierungsanzeige {
public:
    explicit AktualisierungsanzeigeGtk(GtkApplication* anwendung)
        : anwendung_(anwendung) {}
    ~AktualisierungsanzeigeGtk() override;
    AktualisierungsanzeigeGtk(AktualisierungsanzeigeGtk const&) = delete;
    AktualisierungsanzeigeGtk& operator=(AktualisierungsanzeigeGtk const&) = delete;

    void beschaeftigt(std::string const& meldung, std::function<void()> abbrechen) override;
    void anbieten(Neues const& neues, std::function<void(Wahl)> antwort) override;
    void fortschritt(
        std::string const& meldung, std::uint64_t erledigt, std::uint64_t gesamt,
        std::function<void()> abbrechen) override;
    void mitteilen(std::string const& meldung, std::string const& erklaerung) override;
    void nachVorn() override;
    void schliessen() override;

private:
    static gboolean geschlossen(GtkWindow*, gpointer daten);
    /// A fresh window; `beimSchliessen` is what closing it means.
    Kleinfenster neu(
        std::string const& meldung, std::string const& erklaerung, std::function<void()> beimSchliessen);
    void zeigen(Kleinfenster const& aufbau);

    GtkApplication* const anwendung_;
    Objekt<GtkWindow> fenster_;
    GtkProgressBar* balken_{nullptr}; ///< Of the window that shows progress; null in all others.
    std::function<void()> beimSchliessen_;
};

} // namespace quillmate::adapter::gtk
