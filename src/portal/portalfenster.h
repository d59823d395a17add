#pragma once

#include "belegversand.h"
#include "macscan/json.h"
#include "plattform/download.h"
#include "plattform/hauptschleife.h"
#include "plattform/portalleiste.h"
#include "plattform/programmfenster.h"
#include "plattform/webansicht.h"
#include "portalziel.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace quillmate {

/// A browser window in which the user signs in to a vendor's portal. What the portal downloads, and the PDF that it shows,
/// goes straight to the service. Its view has the portals' own cookies and no bridge, and shows https only.
/// Threads: main thread, but for melden().
/// Ownership: owns its window and view, and lets them go soon after the window has closed.
class PortalFenster final : private plattform::Webansicht::Empfaenger {
public:
    /// What a portal's window works with. Borrowed: everything must outlive the PortalFenster.
    struct Umgebung {
        plattform::Fensterwerk& werk;
        plattform::Portalleistenwerk& leisten;
        plattform::Hauptschleife& schleife;
        Portalablage& ablage;
        Belegversand& versand;
    };
    /// What it is opened for.
    struct Auftrag {
        PortalZiel ziel;
        std::int64_t clientId{0}; ///< The service's client number.
        std::string token;        ///< For the service's API; kept as long as the window, never logged.
        Adresse basis;            ///< The service.
        std::optional<std::int64_t> transaction; ///< The booking that receipts are attached to.
        /// Takes each event: a JSON object with "kennung", "status", "nachricht" and, with a booking and before the
        /// window closes, "transaction_id". Called on the main thread; must not destroy the window.
        std::function<void(Json const&)> ereignis;
    };

    /// Builds the window, begins to load the portal, and shows nothing yet.
    PortalFenster(Umgebung umgebung, Auftrag auftrag);
    ~PortalFenster() override;
    PortalFenster(PortalFenster const&) = delete;
    PortalFenster& operator=(PortalFenster const&) = delete;

    /// In front of the other windows, with the keyboard.
    void zeigen();
    [[nodiscard]] bool sichtbar() const;
    /// Shows a message in the status line and sends it as an event. Any thread; on another than the main one it happens
    /// later. After the window has closed it does nothing.
    void melden(Portalstatus status, std::string const& nachricht);
    /// Shows the host of the page at this address; without a host everything stays.
    void hostZeigen(std::optional<std::string> const& adresse);
    /// Takes the PDF that the window shows. What the button does.
    void aktuellePDFUebernehmen();

    /// Downloads at a time. A page can start any number.
    static constexpr std::size_t hoechsteDownloads = 32;

private:
    plattform::Entscheidung beiNavigation(
        plattform::Webansicht& web, plattform::Navigation const& navigation) override;
    plattform::Entscheidung beiAntwort(
        plattform::Webansicht& web, plattform::Antwortkopf const& antwort) override;
    plattform::Webansicht* neuesFenster(
        plattform::Webansicht& web, plattform::Fensteranfrage const& anfrage,
        VerwandteAnsicht const& verwandte) override;
    void begonnen(plattform::Webansicht& web) override;
    void geladen(plattform::Webansicht& web) override;
    void fehlgeschlagen(plattform::Webansicht& web, plattform::Ladefehler const& fehler) override;
    void heruntergeladen(
        plattform::Webansicht& web, std::shared_ptr<plattform::Download> const& download) override;
    void prozessGestorben(plattform::Webansicht& web, std::string const& grund) override;

    [[nodiscard]] std::optional<std::string> downloadziel(
        plattform::Download const* download, std::string const& vorschlag);
    void uebernehmePDFErgebnis(std::string antwort);
    void belegHochladen(std::string const& datei);
    void ersatzseite(
        std::string const& meldung, std::string const& erklaerung, std::optional<std::string> const& adresse,
        bool nochmal);
    void geschlossen();

    Umgebung const umgebung_;
    Auftrag const auftrag_;
    std::thread::id const hauptfaden_{std::this_thread::get_id()};
    std::shared_ptr<bool> lebt_{std::make_shared<bool>(true)}; ///< What comes later holds it weakly.
    std::unique_ptr<plattform::Webansicht> web_; ///< Declared before the window: it must outlive it.
    std::unique_ptr<plattform::Programmfenster> fenster_;
    std::unique_ptr<plattform::Portalleiste> leiste_;
    std::map<plattform::Download const*, std::string> ziele_; ///< Running downloads and their files.
    std::optional<std::string> letzteNachricht_;
    bool erfasst_{false}; ///< A capture is under way.
    bool ersatz_{false};  ///< The view shows a page of ours about a load that failed.
    bool geschlossen_{false};
};

} // namespace quillmate
