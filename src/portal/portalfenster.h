#pragma once

#include "belegversand.h"
#include "grundlage/json.h"
#include "portaldialoge.h"
#include "portalziel.h"
#include "ports/dialoge.h"
#include "ports/download.h"
#include "ports/hauptschleife.h"
#include "ports/portalleiste.h"
#include "ports/programmfenster.h"
#include "ports/standardprogramm.h"
#include "ports/webansicht.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace quillmate::portal {

/// A browser window in which the user signs in to a vendor's portal. What the portal downloads, and the PDF that it shows,
/// goes straight to the service. Its view has the portals' own cookies and no bridge, and shows https only.
/// Threads: main thread, but for melden().
/// Ownership: owns its window and view, and lets them go soon after the window has closed.
class PortalFenster final : private ports::Webansicht::Empfaenger {
public:
    /// What a portal's window works with. Borrowed: everything must outlive the PortalFenster.
    struct Umgebung {
        ports::Fensterwerk& werk;
        ports::Portalleistenwerk& leisten;
        ports::Dialoge& dialoge;
        ports::Hauptschleife& schleife;
        Portalablage& ablage;
        Belegversand& versand;
        ports::Standardprogramm* browser{
            nullptr}; ///< For what cannot be done here; without one it is not offered.
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
    /// Shows the host of the page at this address, which is there; without a host everything stays.
    void hostZeigen(std::optional<std::string> const& adresse);
    /// Takes the PDF that the window shows. What the button does.
    void aktuellePDFUebernehmen();

    /// Downloads at a time. A page can start any number.
    static constexpr std::size_t hoechsteDownloads = 32;

private:
    ports::Entscheidung beiNavigation(ports::Webansicht& web, ports::Navigation const& navigation) override;
    ports::Entscheidung beiAntwort(ports::Webansicht& web, ports::Antwortkopf const& antwort) override;
    ports::Webansicht* neuesFenster(
        ports::Webansicht& web, ports::Fensteranfrage const& anfrage,
        VerwandteAnsicht const& verwandte) override;
    void begonnen(ports::Webansicht& web) override;
    void festgeschrieben(ports::Webansicht& web) override;
    void geladen(ports::Webansicht& web) override;
    void fehlgeschlagen(ports::Webansicht& web, ports::Ladefehler const& fehler) override;
    void heruntergeladen(ports::Webansicht& web, std::shared_ptr<ports::Download> const& download) override;
    void prozessGestorben(ports::Webansicht& web, std::string const& grund) override;
    void hinweis(ports::Webansicht& web, std::string const& text, std::function<void()> fertig) override;
    void bestaetigung(
        ports::Webansicht& web, std::string const& text, std::function<void(bool)> antwort) override;
    void eingabe(
        ports::Webansicht& web, std::string const& text, std::string const& vorgabe,
        std::function<void(std::optional<std::string>)> antwort) override;
    void dateienWaehlen(
        ports::Webansicht& web, ports::Dateiwahl const& wahl,
        std::function<void(std::optional<std::vector<std::string>>)> antwort) override;
    void druckGescheitert(ports::Webansicht& web, std::string const& beschreibung) override;
    void zugangErfragen(
        ports::Webansicht& web, ports::Zugangsfrage const& frage,
        std::function<void(std::optional<ports::Zugangsdaten>)> antwort) override;
    void zertifikatVerlangt(ports::Webansicht& web, std::string const& wirt) override;
    void passkeyGewuenscht(ports::Webansicht& web) override;

    /// What the bar says of where the user is.
    enum class Lage {
        sicher,      ///< The server of the shown page has proven who it is.
        unerreicht,  ///< A page of ours about a load that failed, or none yet.
        ungesichert, ///< A page of ours about a server that could not prove who it is.
    };
    void lageZeigen();
    void laedt(bool laeuft);
    [[nodiscard]] Portaldialoge::Frager frager() const;
    [[nodiscard]] std::optional<std::string> downloadziel(
        ports::Download const* download, std::string const& vorschlag);
    /// Why a download must end; nothing when it may go on.
    [[nodiscard]] std::optional<std::string> downloadgrenze(
        ports::Download const* download, std::uint64_t bytes, std::uint64_t gesamt);
    /// The window's lower edge: what is being downloaded, with a button that ends it.
    void downloadsZeigen();
    void downloadsAbbrechen();
    /// Asks whether the portal's cookies and other data may go.
    void anmeldedatenLoeschen();
    void uebernehmePDFErgebnis(std::string antwort);
    void belegHochladen(std::string const& datei);
    void ersatzseite(
        Lage lage, std::string const& meldung, std::string const& erklaerung,
        std::optional<std::string> const& adresse);
    void geschlossen();

    Umgebung const umgebung_;
    Auftrag const auftrag_;
    std::thread::id const hauptfaden_{std::this_thread::get_id()};
    std::shared_ptr<bool> lebt_{std::make_shared<bool>(true)}; ///< What comes later holds it weakly.
    std::unique_ptr<ports::Webansicht> web_; ///< Declared before the window: it must outlive it.
    std::unique_ptr<ports::Programmfenster> fenster_;
    std::unique_ptr<ports::Portalleiste> leiste_;
    std::map<ports::Download const*, std::string> ziele_; ///< Running downloads and their files.
    struct Stand {
        std::weak_ptr<ports::Download> download;
        std::uint64_t bytes{0};
        std::uint64_t gesamt{0};
    };
    std::map<ports::Download const*, Stand> staende_; ///< How far they are.
    Portaldialoge dialoge_;
    std::optional<std::string> letzteNachricht_;
    std::string wirt_; ///< Of the page that is shown, or was to be; as people read it.
    Lage lage_{Lage::unerreicht};
    bool laedt_{false};       ///< Another page is on its way.
    bool erfasst_{false};     ///< A capture is under way.
    bool ersatz_{false};      ///< A page of ours about a load that failed is on its way into the view.
    bool eigeneSeite_{false}; ///< It is there.
    bool geschlossen_{false};
};

} // namespace quillmate::portal
