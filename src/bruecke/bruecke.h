#pragma once

#include "anfrage.h"
#include "einspielung.h"
#include "grundlage/adresse.h"
#include "hintergrund.h"
#include "macscan/json.h"
#include "macscan/suche.h"
#include "ordner/merkliste.h"
#include "plattform/aktualisierer.h"
#include "plattform/arbeitsfaden.h"
#include "plattform/hauptschleife.h"
#include "plattform/ordnertafel.h"
#include "plattform/webansicht.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate {

/// A page asks for the window of a vendor's portal.
struct Portalanfrage {
    std::string kennung;
    std::int64_t clientId{0};
    std::string token;
    std::optional<std::string> name;           ///< Of a portal that the user entered.
    std::optional<std::int64_t> transactionId; ///< The booking that receipts shall be attached to.
};

/// Where the program lies now.
struct Umzugslage {
    std::string ort; ///< "programme", "downloads", "dmg" or "anderswo".
    bool umzugNoetig{false};
    /// Moves the program, going by this very assessment. Set when `umzugNoetig`.
    std::function<void()> ausfuehren{};
};

/// What the bridge works with. Borrowed: everything must outlive the Bruecke, the main loop also the `suche`, whose
/// threads still send their last messages through it.
struct Brueckenumgebung {
    plattform::Hauptschleife& schleife;
    plattform::Ordnertafel& ordnertafel;
    plattform::Arbeitsfaden& arbeitsfaden;
    plattform::Aktualisierer* aktualisierer; ///< May be missing.
    Ordner::Merkliste& merkliste;
    MacScan::Suche& suche;
    std::function<Umzugslage()> umzugLage;
    Adresse start; ///< The start page: pages of its host and port may speak to the bridge.
};

/// The web page's way to the native side: decodes a message, judges it, obeys, and answers by a call of
/// `window.__quillmateAntwort` in the main web view.
/// Threads: main thread. Replies may come from any thread inside; they are delivered on the main thread, later.
/// Errors: none reach the caller. What is not understood or not allowed is logged.
/// Ownership: holds the web view weakly; without it replies are dropped. Destroying stops a count of images that
/// is under way.
class Bruecke {
public:
    /// Name of the message handler.
    static constexpr std::string_view name = "quillmate";
    /// Opens a portal and answers at once.
    using PortalOeffnen = std::function<Json(Portalanfrage const&)>;

    /// Without `portalOeffnen` pages are told that there are no portals.
    Bruecke(std::weak_ptr<plattform::Webansicht> web, PortalOeffnen portalOeffnen, Brueckenumgebung umgebung);
    ~Bruecke();
    Bruecke(Bruecke const&) = delete;
    Bruecke& operator=(Bruecke const&) = delete;

    /// The script for every page, made afresh.
    [[nodiscard]] static plattform::Nutzerskript einspielung(Programmangaben const& angaben);

    /// Takes one message from a page: `json` as Webansicht::Nachrichtenempfaenger gets it.
    void empfangen(std::string_view json, plattform::Absender const& absender);

private:
    /// The road of replies. A copy may be used on any thread, also when the bridge is gone; then it does nothing.
    class Antwortweg {
    public:
        Antwortweg(
            plattform::Hauptschleife& schleife, std::weak_ptr<plattform::Webansicht> web,
            std::weak_ptr<void> bruecke) noexcept;
        void antworte(std::int64_t id, Json const& ergebnis) const;

    private:
        plattform::Hauptschleife* schleife_;
        std::weak_ptr<plattform::Webansicht> web_;
        std::weak_ptr<void> bruecke_;
    };
    using Handlung = void (Bruecke::*)(Nachricht const&);
    struct Aktion {
        std::string_view name;
        Handlung handlung;
    };
    static std::vector<Aktion> const& aktionen();

    void antworte(std::int64_t id, Json const& ergebnis) const { antwortweg_.antworte(id, ergebnis); }
    void antworteFehler(std::int64_t id, std::string_view text) const;
    /// For scans: each of their messages becomes a reply to this call.
    [[nodiscard]] MacScan::Melder melder(std::int64_t id) const;

    void ordnerWaehlen(Nachricht const& nachricht);
    void gemerkterOrdner(Nachricht const& nachricht);
    void gemerkteOrdner(Nachricht const& nachricht);
    void ordnerVergessen(Nachricht const& nachricht);
    void portalOeffnen(Nachricht const& nachricht);
    void macScannen(Nachricht const& nachricht);
    void bilderZaehlen(Nachricht const& nachricht);
    void gezieltSuchen(Nachricht const& nachricht);
    void inProgrammeVerschieben(Nachricht const& nachricht);
    void suchStand(Nachricht const& nachricht);
    void nachUpdatesSuchen(Nachricht const& nachricht);
    void gezaehlt(std::string const& kennung, Json const& ergebnis);

    Brueckenumgebung const umgebung_;
    PortalOeffnen const portalOeffnen_;
    std::shared_ptr<void> const lebt_; ///< Watched by what outlives the bridge.
    Antwortweg const antwortweg_;
    bool tafelOffen_{false};
    /// Calls that wait for the count of a folder's images, by its identifier. They share one count.
    std::map<std::string, std::vector<std::int64_t>> zaehlungen_;
    Hintergrund hintergrund_; ///< Last member: its thread ends first.
};

} // namespace quillmate
